// A preload library: seeded delays around every lock operation of the program it is loaded into, so that threads meet
// in ways in which they hardly ever meet by themselves. POE_JITTER_SEED chooses the run. The delays are counted, so
// that a run without any is seen: in a file of 8 bytes, named by the process, in the folder POE_JITTER_COUNTS if there
// is one.
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using lock_call = int (*)(pthread_mutex_t*);

constexpr std::uint64_t yields_in_16 = 5;
constexpr std::uint64_t sleeps_in_16 = 1;
constexpr std::uint64_t longest_sleep_ns = 60'000;

std::atomic<std::uint64_t> threads{0};
[[gnu::tls_model("initial-exec")]] thread_local std::uint64_t state = 0;

using delay_count = std::atomic<std::uint64_t>;
static_assert(delay_count::is_always_lock_free && sizeof(delay_count) == sizeof(std::uint64_t));

delay_count uncounted{0};
delay_count* delays = &uncounted;

// The program is killed in the end: what it shares with a file is there all the same.
[[gnu::constructor]] void share_the_count() {
    const char* const folder = std::getenv("POE_JITTER_COUNTS");
    if (folder == nullptr) return;
    char path[256];
    std::snprintf(path, sizeof path, "%s/%ld", folder, static_cast<long>(getpid()));
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) return;
    if (ftruncate(file, sizeof(delay_count)) == 0) {
        void* const shared = mmap(nullptr, sizeof(delay_count), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        if (shared != MAP_FAILED) delays = static_cast<delay_count*>(shared);
    }
    close(file);
}

std::uint64_t seed() {
    static const char* const text = std::getenv("POE_JITTER_SEED");
    return text != nullptr ? std::strtoull(text, nullptr, 10) : 0;
}

std::uint64_t next() {
    if (state == 0) state = (seed() + 1) * 0x9E3779B97F4A7C15U + threads.fetch_add(1) * 0xD1342543DE82EF95U + 1;
    state ^= state << 13U;
    state ^= state >> 7U;
    state ^= state << 17U;
    return state;
}

void delay() {
    const std::uint64_t choice = next() % 16;
    if (choice < sleeps_in_16 + yields_in_16) delays->fetch_add(1, std::memory_order_relaxed);
    if (choice < sleeps_in_16) {
        timespec span{.tv_sec = 0, .tv_nsec = static_cast<long>(next() % longest_sleep_ns)};
        syscall(SYS_nanosleep, &span, nullptr);  // not the sleep that somebody else may have replaced
    } else if (choice < sleeps_in_16 + yields_in_16) {
        sched_yield();
    }
}

lock_call real(std::atomic<lock_call>& known, const char* name) {
    lock_call call = known.load();
    if (call == nullptr) {
        call = reinterpret_cast<lock_call>(dlsym(RTLD_NEXT, name));
        known.store(call);
    }
    return call;
}

std::atomic<lock_call> real_lock{nullptr};
std::atomic<lock_call> real_unlock{nullptr};

}  // namespace

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    delay();
    const int result = real(real_lock, "pthread_mutex_lock")(mutex);
    delay();
    return result;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    delay();
    const int result = real(real_unlock, "pthread_mutex_unlock")(mutex);
    delay();
    return result;
}

}  // extern "C"
