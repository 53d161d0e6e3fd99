// The daemon's vocabulary for the controller: each operation composes one or more commands, converts units and fans a
// setting out to all ports (128). Bring-up, stress test and supervision use these.
//
// Every function returns 0 or a negative controller status. Output pointers may be null; an output is written only when
// the command that supplies it succeeded. After a failed command the rest are still sent, and the last failure is
// returned unless a declaration says otherwise. Ports are 0..3.
#pragma once

#include <cstdint>

#include "core/locks.h"

// --- reading ---

// Voltage in 0.1 V, current and power as the controller counts them, temperature in 0.1 degree Celsius. Nothing is
// written to `spare`.
int poe_get_port_measurements(std::uint8_t port, std::uint16_t* voltage, std::uint16_t* current, std::uint16_t* power,
                              std::uint16_t* spare, std::uint16_t* temperature) REQUIRES(controller_user);

// Status, then event counters. `detail` is 255 unless the state is 4, `low` and `high` are 255 when it is. Nothing is
// written to the spares. The fourth event counter takes the answer's byte 7, the fifth its byte 6. Returns the event
// counters' failure if there was one, else the status's; `mib_result` tells the event counters' own result.
int poe_get_new_port_status(std::uint8_t port, std::uint8_t* spare1, std::uint8_t* spare2, std::uint8_t* state,
                            std::uint8_t* detail, std::uint8_t* low, std::uint8_t* high, std::uint8_t* pair_mode,
                            std::uint8_t* mib1, std::uint8_t* mib2, std::uint8_t* mib3, std::uint8_t* mib4,
                            std::uint8_t* mib5, int* mib_result = nullptr) REQUIRES(controller_user);

// Voltage (0.1 V) and current of both pair sets of a port, in one answer; called with the port number.
int poe_get_channel_measurements(std::uint8_t channel, std::uint16_t* voltage1, std::uint16_t* raw1,
                                 std::uint16_t* voltage2, std::uint16_t* raw2) REQUIRES(controller_user);

// Status of both pair sets of a port, in one answer; called with the port number. The outputs are the answer's bytes
// 6, 5, 3, 4 and 10, 9, 7, 8.
int poe_get_new_channel_status(std::uint8_t channel, std::uint8_t* o1, std::uint8_t* o2, std::uint8_t* o3,
                               std::uint8_t* o4, std::uint8_t* o5, std::uint8_t* o6, std::uint8_t* o7, std::uint8_t* o8)
    REQUIRES(controller_user);

int poe_get_pm_method(std::uint8_t* method) REQUIRES(controller_user);

// Limit in whole watts, thresholds in 0.1 V. Returns the thresholds' failure if there was one, else the bank's.
int poe_get_power_banks(std::uint8_t bank, std::uint16_t* power, std::uint16_t* upper, std::uint16_t* lower)
    REQUIRES(controller_user);

int poe_get_physical_port_number_from_active_matrix(std::uint8_t port, std::uint8_t* pair_a, std::uint8_t* pair_b)
    REQUIRES(controller_user);

// states[port] becomes 0 or 1 for the first `count` ports (at most 4); left alone where the controller says neither.
int poe_get_all_port_enable_disable(std::uint8_t* states, std::uint8_t count) REQUIRES(controller_user);

// The active power bank, its limit in 0.1 W, the power word, and the temperature of port 0 in 0.1 degree Celsius (0
// when it cannot be read). Nothing is written to `spare`. The temperature's failure is not returned.
int poe_get_system_measurments(std::uint8_t* bank, std::uint16_t* bank_power, std::uint16_t* power_word,
                               std::uint16_t* spare, std::uint16_t* temperature) REQUIRES(controller_user);

// The bytes 3, 4, (5,6), 7, 8, the bits 0, 1, 2 of byte 9, and byte 10 of the global status.
int poe_get_software_version(std::uint8_t* o0, std::uint8_t* o1, std::uint16_t* o2, std::uint8_t* o3, std::uint8_t* o4,
                             std::uint8_t* o5, std::uint8_t* o6, std::uint8_t* o7, std::uint8_t* o8)
    REQUIRES(controller_user);

// 1 critical, 2 high, 3 low; an unknown controller code leaves the output alone. Nothing in the daemon calls it.
int poe_get_port_priority(std::uint8_t port, std::uint8_t* priority) REQUIRES(controller_user);

// Tenths of a watt. Nothing in the daemon calls it.
int poe_get_port_power_limit(std::uint8_t port, std::uint32_t* limit) REQUIRES(controller_user);

// --- writing ---

// Stores the controller's running configuration in its own memory.
int poe_save_system_settings() REQUIRES(controller_user);

int poe_set_pm_method(std::uint8_t method) REQUIRES(controller_user);
int poe_set_system_mask(std::uint8_t mask) REQUIRES(controller_user);

// Maps a port to its two channels in the temporary matrix.
int poe_set_temporary_matrix(std::uint8_t port, std::uint8_t pair_a, std::uint8_t pair_b) REQUIRES(controller_user);

// 0 = begin programming the temporary matrix, 1 = make it the active one.
int poe_program_global_matrix(std::uint8_t enable) REQUIRES(controller_user);

// The voltage thresholds, in 0.1 V, that the daemon programs whenever it sets power banks.
inline constexpr std::uint16_t programmed_upper_threshold = 576;
inline constexpr std::uint16_t programmed_lower_threshold = 446;

// One bank, or all eight with 128; then the voltage thresholds in 0.1 V, whose failure comes first.
int poe_set_power_banks(std::uint8_t bank, std::uint16_t watts, std::uint16_t upper, std::uint16_t lower)
    REQUIRES(controller_user);

// One port: 0 off, 1 on.
int poe_set_port_power_state(std::uint8_t port, std::uint8_t state) REQUIRES(controller_user);

// One port, or all with 128: 1 critical, 2 high, 3 low.
int poe_set_port_priority(std::uint8_t port, std::uint8_t priority) REQUIRES(controller_user);

// One port, or all with 128. The controller takes steps of 400 mW in one byte.
int poe_set_power_limit_for_channels(std::uint8_t port, std::uint32_t milliwatts) REQUIRES(controller_user);

// Power state, limit and priority of one port, or of all with 128.
int poe_set_port_parameters(std::uint8_t port, std::uint8_t enable, std::uint32_t milliwatts, std::uint8_t priority)
    REQUIRES(controller_user);

// Inline mode 0..4 of one port, or of all with 128: up to five settings, then the CPLD's inline-mode register. A mode
// of 5 and above sends nothing to the controller.
int poe_set_inline_mode(std::uint8_t port, std::uint8_t mode) REQUIRES(controller_user);

// Switches one port, or all with 128, on (1) or off (0) and reprograms the inline mode, whose failure comes first.
int poe_set_enable_disable_channels(std::uint8_t port, std::uint8_t enable, std::uint8_t mode)
    REQUIRES(controller_user);
