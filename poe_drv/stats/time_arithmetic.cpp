#include "stats/time_arithmetic.h"

namespace {

constexpr double microseconds_per_second = 1e6;

}  // namespace

void _nanoadd(system_time& a, const system_time& b, system_time* out) {
    system_time sum{.seconds = a.seconds + b.seconds, .nanoseconds = a.nanoseconds + b.nanoseconds};
    if (sum.nanoseconds >= nanoseconds_per_second) {
        sum.nanoseconds -= nanoseconds_per_second;
        sum.seconds++;
    }
    (out != nullptr ? *out : a) = sum;
}

void _nanodiff(const system_time& a, const system_time& b, system_time& out) {
    system_time difference{.seconds = b.seconds - a.seconds, .nanoseconds = b.nanoseconds - a.nanoseconds};
    if (difference.nanoseconds < 0) {
        difference.nanoseconds += nanoseconds_per_second;
        difference.seconds--;
    }
    out = difference;
}

double diff_timeval_to_double(const timeval& begin, const timeval& end) {
    return static_cast<double>(end.tv_sec - begin.tv_sec) +
           static_cast<double>(end.tv_usec - begin.tv_usec) / microseconds_per_second;
}
