// The sleeping functions of the C library, with time that runs `speed` times as fast. What the program asked for is
// counted a thread, so that the controller's model can live through the same pauses.
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <limits>

#include <unistd.h>

#include "preload/real_calls.h"
#include "preload/settings.h"

namespace vswitch {
namespace {

constexpr std::uint64_t ns_per_s = 1'000'000'000;
constexpr std::uint64_t ns_per_us = 1'000;
constexpr std::uint64_t longest_s = std::numeric_limits<std::int32_t>::max();  // 68 years, in any width of time
constexpr std::uint64_t moment_ns = 50'000;

// Initial-exec: reachable without an allocation, wherever the program is.
[[gnu::tls_model("initial-exec")]] thread_local std::uint64_t slept_ns = 0;

real_call<int(clockid_t, int, const timespec*, timespec*)> real_clock_nanosleep{"clock_nanosleep"};

bool is_valid(const timespec& span) {
    return span.tv_sec >= 0 && span.tv_nsec >= 0 && static_cast<std::uint64_t>(span.tv_nsec) < ns_per_s;
}

std::uint64_t nanoseconds(const timespec& span) {
    const auto seconds = static_cast<std::uint64_t>(span.tv_sec);
    return (seconds < longest_s ? seconds : longest_s) * ns_per_s + static_cast<std::uint64_t>(span.tv_nsec);
}

timespec span_of(std::uint64_t ns) {
    timespec span{};
    span.tv_sec = static_cast<time_t>(ns / ns_per_s);
    span.tv_nsec = static_cast<long>(ns % ns_per_s);
    return span;
}

// Sleeps `wanted_ns` of the switch's time. Returns 0 or an errno, with what was left of the wanted time in `left_ns`.
int sleep_scaled(clockid_t clock, std::uint64_t wanted_ns, std::uint64_t& left_ns) {
    const std::uint64_t speed = settings().speed;
    const timespec scaled = span_of(wanted_ns / speed);
    timespec rest{};
    const int error = real_clock_nanosleep.get()(clock, 0, &scaled, &rest);
    left_ns = error == EINTR ? nanoseconds(rest) * speed : 0;
    if (left_ns > wanted_ns) left_ns = wanted_ns;
    if (error == 0 || error == EINTR) slept_ns += wanted_ns - left_ns;
    return error;
}

}  // namespace

std::uint64_t take_slept_us() {
    const std::uint64_t slept_us = slept_ns / ns_per_us;
    slept_ns %= ns_per_us;
    return slept_us;
}

void wait_a_moment() {
    const timespec moment = span_of(moment_ns);
    real_clock_nanosleep.get()(CLOCK_MONOTONIC, 0, &moment, nullptr);
}

}  // namespace vswitch

extern "C" {

int clock_nanosleep(clockid_t clock, int flags, const timespec* wanted, timespec* left) {
    using namespace vswitch;
    timespec now{};
    if (wanted == nullptr || !is_valid(*wanted) || clock_gettime(clock, &now) != 0) {
        return real_clock_nanosleep.get()(clock, flags, wanted, left);
    }
    std::uint64_t wanted_ns = nanoseconds(*wanted);
    const bool until_a_time = (flags & TIMER_ABSTIME) != 0;
    if (until_a_time) wanted_ns -= nanoseconds(now) < wanted_ns ? nanoseconds(now) : wanted_ns;
    std::uint64_t left_ns = 0;
    const int error = sleep_scaled(clock, wanted_ns, left_ns);
    if (error == EINTR && left != nullptr && !until_a_time) *left = span_of(left_ns);
    return error;
}

int nanosleep(const timespec* wanted, timespec* left) {
    const int error = clock_nanosleep(CLOCK_REALTIME, 0, wanted, left);
    if (error == 0) return 0;
    errno = error;
    return -1;
}

int usleep(useconds_t microseconds) {
    std::uint64_t left_ns = 0;
    const int error = vswitch::sleep_scaled(CLOCK_MONOTONIC, microseconds * vswitch::ns_per_us, left_ns);
    if (error == 0) return 0;
    errno = error;
    return -1;
}

unsigned int sleep(unsigned int seconds) {
    std::uint64_t left_ns = 0;
    vswitch::sleep_scaled(CLOCK_REALTIME, seconds * vswitch::ns_per_s, left_ns);
    return static_cast<unsigned int>((left_ns + vswitch::ns_per_s - 1) / vswitch::ns_per_s);
}

}  // extern "C"

#if __TIMESIZE == 32
// The names for programs whose time is 64 bits wide.
namespace {

struct wide_timespec {
    std::int64_t tv_sec;
    std::int32_t halves[2];  // nanoseconds, and nothing

    static constexpr int nanoseconds_half = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 0 : 1;

    timespec narrowed() const {
        constexpr std::int64_t latest = std::numeric_limits<time_t>::max();
        return {.tv_sec = static_cast<time_t>(tv_sec < 0        ? -1
                                              : tv_sec < latest ? tv_sec
                                                                : latest),
                .tv_nsec = halves[nanoseconds_half]};
    }
    void widen(const timespec& span) {
        tv_sec = span.tv_sec;
        halves[nanoseconds_half] = static_cast<std::int32_t>(span.tv_nsec);
    }
};

}  // namespace

extern "C" {

int __clock_nanosleep_time64(clockid_t clock, int flags, const wide_timespec* wanted, wide_timespec* left) {
    if (wanted == nullptr) return EFAULT;
    const timespec span = wanted->narrowed();
    timespec rest{};
    const int error = clock_nanosleep(clock, flags, &span, &rest);
    if (error == EINTR && left != nullptr && (flags & TIMER_ABSTIME) == 0) left->widen(rest);
    return error;
}

int __nanosleep64(const wide_timespec* wanted, wide_timespec* left) {
    const int error = __clock_nanosleep_time64(CLOCK_REALTIME, 0, wanted, left);
    if (error == 0) return 0;
    errno = error;
    return -1;
}

}  // extern "C"
#endif
