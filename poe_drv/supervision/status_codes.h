// The system port status codes: what queries and traps say about a port or one of its pair sets.
#pragma once

#include <cstdint>

enum class system_status : std::uint8_t {
    disabled = 0,
    delivering = 1,
    searching = 2,  // looking for a device, or no valid one found
    denied = 3,     // power was refused
    fault = 4,      // a fault that stands
    overload = 5,
    fault_0 = 6,          // the controller's fault 0
    fault_7 = 7,          // the controller's fault 7
    fault_5_or_14 = 8,    // the controller's fault 5 or 14
    requesting = 9,       // a device asks for power
    fault_6 = 10,         // the controller's fault 6
    not_read_yet = 11,    // from start-up until the first reading
    idle = 12,            // searching without a result on a port of the other type
    auto_off = 13,        // switched off because its link is up without power
    auto_off_ended = 14,  // traps only: from auto_off back to searching
    enabled = 15,         // traps only: from disabled to searching
};
