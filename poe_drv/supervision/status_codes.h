// The system port status codes: what queries and traps say about a port or one of its pair sets.
#pragma once

#include <cstdint>

enum class system_status : std::uint8_t {
    off = 0,
    delivering = 1,
    searching = 2,  // no device that draws power
    overload = 3,
    power_denied = 4,
    short_circuit = 5,
    fault_6 = 6,  // the controller's error 0
    fault_7 = 7,  // its error 7
    fault_8 = 8,  // its error 5 or 14
    waiting_for_power = 9,
    fault_10 = 10,         // the controller's error 6
    not_read_yet = 11,     // from start-up until the first reading
    on_hold = 12,          // no device that may be powered
    auto_off = 13,         // switched off because the link is up without power
    searching_again = 14,  // traps only: from auto_off to searching
    switched_on = 15,      // traps only: from off to searching
};
