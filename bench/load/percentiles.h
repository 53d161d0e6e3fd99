// What a load program tells of its times.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
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

// The line that bench/run reads: the times, and requests a second.
inline void print_latencies(std::vector<std::int64_t>& taken_ns, std::int64_t whole_ns) {
    const latencies found = latencies_of(taken_ns);
    const double per_second = static_cast<double>(taken_ns.size()) * 1e9 / static_cast<double>(whole_ns);
    std::printf(
        "{\"sent\": %zu, \"p50_us\": %.3f, \"p99_us\": %.3f, \"p99_9_us\": %.3f, \"max_us\": %.3f, \"per_second\": "
        "%.1f}\n",
        taken_ns.size(), found.p50_us, found.p99_us, found.p99_9_us, found.max_us, per_second);
}
