// The far side of the platform's door in this campaign: the models' controller at the end of a line on which a plan
// says what befalls each attempt, a link monitor, registers, a clock that only the far side moves, and a memory of all
// that went through the door, in order. Lean, because it is passed hundreds of millions of times.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "faults.h"
#include "models/controller.h"

namespace campaign {

using vswitch::frame;

enum class happening : std::uint8_t {
    attempt,  // number: the driver's wait
    pause,    // number: microseconds
    said,     // text on standard error
    append,   // text: path, a blank, what was appended
    cpld,     // number: register << 16 | value << 8 | mask
    link,     // number: bit n = port n up
};

struct event {
    happening what;
    int result = 0;
    std::uint32_t number = 0;
    frame request{};
    frame answer{};            // what was left in the record
    bool was_damaged = false;  // an attempt that a fault befell
    std::string text{};
};

struct far_side {
    explicit far_side(std::uint32_t seed) : chip(seed) {}

    // --- what stands there ---
    vswitch::controller chip;
    std::array<bool, 4> link_up{};
    bool link_monitor_fails = false;
    std::uint32_t latency_us = 2000;

    // What befalls the next attempt with this request; none: nothing does.
    std::function<befalling(const frame& request)> plan;
    // Called in the middle of each pause, as a client might.
    std::function<void()> in_a_pause;

    // --- what came through ---
    std::vector<event> events;
    std::vector<std::uint8_t> reply;  // the last one
    std::uint64_t replies = 0;
    std::uint64_t attempts = 0;
    std::uint64_t faults = 0;
    std::uint64_t traps = 0;
    frame previous_answer{};
};

extern std::optional<far_side> the_far_side;

inline constexpr int controller_descriptor = 1001;

}  // namespace campaign
