// Arithmetic on pairs of seconds and nanoseconds (0..999999999). Pure.
#pragma once

#include <sys/time.h>

#include "platform/system.h"

inline constexpr std::int64_t nanoseconds_per_second = 1000000000;

// a + b into `out` when there is one, else into `a`.
void _nanoadd(system_time& a, const system_time& b, system_time* out);

// b - a. When b is the earlier one the seconds are negative and the nanoseconds still count forward.
void _nanodiff(const system_time& a, const system_time& b, system_time& out);

// end - begin in seconds.
double diff_timeval_to_double(const timeval& begin, const timeval& end);
