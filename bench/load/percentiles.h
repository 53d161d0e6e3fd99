// What a load program tells of its times.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

struct latencies {
    double p50_us, p99_us, p99_9_us, max_us;
};

// Sorts the times; there is at least one.
inline latencies latencies_of(std::vector<std::int64_t>& taken_ns) {
    std::sort(taken_ns.begin(), taken_ns.end());
    const auto at = [&](std::size_t of_a_thousand) {
        const std::size_t rank = (taken_ns.size() * of_a_thousand + 999) / 1000;
        return static_cast<double>(taken_ns[rank - 1]) / 1000;
    };
    return {.p50_us = at(500), .p99_us = at(990), .p99_9_us = at(999), .max_us = at(1000)};
}
