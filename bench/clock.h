// The clock of floors and load programs.
#pragma once

#include <cstdint>
#include <ctime>

inline std::int64_t monotonic_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}
