// What a port's change means: which events go into the trap, what its LED shows, and how the start-up trap begins and
// ends. Pure: knows nothing but its arguments.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/records.h"
#include "supervision/traps.h"

// --- the start-up trap ---

// Once another process has said, with a flag file, that traps are welcome, one whole sweep reports every port's present
// status; from the next one on changes are reported.
enum class start_up_gate {
    open,    // handle the port
    begins,  // handle the port; the start-up pass begins with it
    ends,    // handle the port; the start-up pass is over, changes are reported
    closed,  // leave the port alone: the start-up pass begins at port 0 only
};

// Asked only while the flag file exists and the start-up trap has not been sent.
start_up_gate start_up_trap_gate(std::uint8_t port, bool being_sent);

// --- a port's change ---

struct port_change_question {
    bool start_up_pass;  // the start-up trap is being sent: everything is reported
    bool reporting;      // it has been sent: changes are reported
    std::uint32_t recorded_type;
    std::uint32_t recorded_status;
    std::array<std::uint32_t, pair_set_count> recorded_channel_status;
    std::uint8_t new_type;
    std::uint8_t new_status;
    std::array<std::uint8_t, pair_set_count> new_channel_status;
    std::array<std::uint8_t, pair_set_count> new_channel_sub_status;
};

struct port_event {
    trap_kind kind;
    std::uint8_t status;
    bool operator==(const port_event&) const = default;
};

// Any event at all is worth a trap.
struct port_change_answer {
    std::array<port_event, pair_set_count> event{};
    std::size_t event_count = 0;
    bool led_changes = false;  // false: the LED is left alone
    bool led_lit = false;
    bool led_blinking = false;
};

port_change_answer decide_port_change(const port_change_question& question);
