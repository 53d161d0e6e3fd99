// Names for clang's thread-safety analysis; nothing under other compilers. A capability is a lock, or a role: a right
// that one thread has at a time without any lock.
#pragma once

#if defined(__clang__)
#define POE_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define POE_ATTRIBUTE(attribute)
#endif

#define CAPABILITY(name) POE_ATTRIBUTE(capability(name))
#define SCOPED_CAPABILITY POE_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(lock) POE_ATTRIBUTE(guarded_by(lock))
#define REQUIRES(...) POE_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRES(...) POE_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASES(...) POE_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) POE_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ASSERTS_CAPABILITY(lock) POE_ATTRIBUTE(assert_capability(lock))
