#include "core/locks.h"

#include <cerrno>
#include <string>

#include "world/records.h"

namespace {

// The analysis of locks stops at a pointer, so that a test may lock out of order.
struct named_lock {
    const char* name;
    poe_mutex* mutex;
    int (*lock)();
    int (*unlock)();
};
const named_lock every_lock[]{
    {"tick", &g_mutex_poe_tick_thread, &data____lock_poe_tick_thread, &data_un_lock_poe_tick_thread},
    {"share data", &g_mutex_poe_share_data_thread, &data____lock_poe_share_data_thread,
     &data_un_lock_poe_share_data_thread},
    {"set queue", &g_mutex_poe_internal_set_queue, &data____lock_poe_internal_set_queue,
     &data_un_lock_poe_internal_set_queue},
};

bool is_held(poe_mutex& mutex) {
    if (pthread_mutex_trylock(&mutex.native) != 0) return true;
    pthread_mutex_unlock(&mutex.native);
    return false;
}

std::string held_locks() {
    std::string names;
    for (const named_lock& each : every_lock) {
        if (is_held(*each.mutex)) names += names.empty() ? each.name : std::string(", ") + each.name;
    }
    return names;
}

class locks : public records_test {};

TEST_F(locks, locking_and_unlocking_give_0_and_touch_their_own_mutex_only) {
    for (const named_lock& each : every_lock) {
        EXPECT_EQ(each.lock(), 0) << each.name;
        EXPECT_EQ(held_locks(), each.name);
        EXPECT_EQ(each.unlock(), 0) << each.name;
        EXPECT_EQ(held_locks(), "");
    }
}

TEST_F(locks, a_guard_holds_its_lock_exactly_as_long_as_it_lives) {
    {
        const tick_lock held;
        EXPECT_EQ(held_locks(), "tick");
    }
    {
        const share_data_lock held;
        EXPECT_EQ(held_locks(), "share data");
    }
    {
        const set_queue_lock held;
        EXPECT_EQ(held_locks(), "set queue");
    }
    EXPECT_EQ(held_locks(), "");
}

TEST_F(locks, the_mutexes_have_default_attributes) {
    for (const named_lock& each : every_lock) {
        ASSERT_EQ(each.lock(), 0);
        EXPECT_EQ(pthread_mutex_trylock(&each.mutex->native), EBUSY) << each.name << " lock is recursive";
        ASSERT_EQ(each.unlock(), 0);
    }
}

#if !defined(__SANITIZE_THREAD__)
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define THREAD_SANITIZER
#endif
#endif
#else
#define THREAD_SANITIZER
#endif

#ifndef THREAD_SANITIZER  // which ends the program at the first misuse of a mutex
TEST_F(locks, the_result_is_that_of_the_mutex_call) {
    pthread_mutexattr_t checking;
    pthread_mutexattr_init(&checking);
    pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK);
    for (const named_lock& each : every_lock) {
        pthread_mutex_init(&each.mutex->native, &checking);
        EXPECT_EQ(each.unlock(), EPERM) << each.name;
        EXPECT_EQ(each.lock(), 0);
        EXPECT_EQ(each.lock(), EDEADLK) << each.name;
        EXPECT_EQ(each.unlock(), 0);
    }
    pthread_mutexattr_destroy(&checking);
}
#endif

}  // namespace
