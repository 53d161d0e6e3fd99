// The controller's status codes into the system's: the decision alone. Pure: knows nothing but its arguments.
#pragma once

#include <cstdint>

#include "supervision/status_codes.h"

// The controller's own codes.
enum class controller_state : std::uint8_t {
    disabled = 0,
    searching = 1,
    delivering = 2,
    overload = 3,
    fault = 4,
    short_circuit = 5,
    requesting = 6,
};

inline constexpr std::uint8_t port_type_per_channel = 2;  // each pair set powers by itself and is watched by itself
inline constexpr std::uint8_t port_type_disabled = 3;     // what a disabled port counts as
inline constexpr std::uint8_t port_type_not_reported = 255;

// What is known about a port, or about one of its pair sets.
struct translation_question {
    std::uint8_t status = 0;  // controller_state, or a code that has no name
    std::uint8_t sub_status = 0;
    std::uint8_t error_code = 0;
    std::uint8_t port_type = 0;
    bool is_channel = false;  // a pair set, not the port
    bool auto_off = false;    // the port is switched off automatically
    bool gone_event = false;  // the port's event counters 1, 2, 3 and 5: non-zero?
    bool overload_event = false;
    bool short_event = false;
    bool denied_event = false;
};

struct translation_answer {
    std::uint8_t status = 0;          // system_status, or the controller's code where it has no translation
    bool is_event = true;             // false: an unknown fault; `status` means nothing, the recorded one stands
    bool is_disabled = false;         // a port's type is then the one of disabled ports
    bool keeps_measurements = false;  // false: voltage, current, class of what is not delivering are cleared
    bool auto_off_if_linked = false;  // switch the port off when its link is up
};

translation_answer translate_status(const translation_question& question);
