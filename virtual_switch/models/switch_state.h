// All models of one switch side by side, for the facade, the operator's verbs and the descriptions.
#pragma once

#include <cstdint>
#include <deque>

#include "models/controller.h"
#include "models/cpld.h"
#include "models/faults.h"
#include "models/frame_log.h"
#include "models/link_monitor.h"
#include "models/trap.h"

namespace vswitch {

inline constexpr std::uint32_t default_latency_us = 2000;

struct trap_entry {
    std::uint64_t at_us;
    trap_message message;
};

struct switch_counters {
    std::uint64_t queries = 0;
    std::uint64_t settings = 0;
    std::uint64_t failed_ioctls = 0;
    std::uint64_t undefined_keys = 0;
    std::uint64_t wrong_checksums = 0;  // of requests
    std::uint64_t faults_struck = 0;
    std::uint64_t cpld_writes = 0;
    std::uint64_t cpld_reads = 0;
    std::uint64_t link_queries = 0;
    std::uint64_t traps = 0;
    std::uint64_t daemon_starts = 0;
};

struct switch_state {
    static constexpr std::size_t most_traps = 4096;

    explicit switch_state(std::uint32_t seed) : chip(seed) {}

    controller chip;
    cpld registers{};
    link_monitor_model links{};
    trap_reader trap_pipe{};
    std::deque<trap_entry> traps{};
    fault_list faults{};
    forced_answer_list forced{};
    frame_log log{};
    switch_counters counters{};
    std::uint32_t latency_us = default_latency_us;
    bool daemon_runs = false;
};

}  // namespace vswitch
