// What the daemon says about the system and its ports, gathered from several of its messages. One thread at a time.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

#include "poe_client/connection.h"
#include "poe_client/requests.h"
#include "poe_client/result.h"
#include "poe_client/status_codes.h"
#include "poe_client/types.h"

namespace poectl {

struct port_reading {
    poe_client::port_status status;
    poe_client::port_settings settings;
    bool cycle_pending;
    std::uint32_t on_again_s;  // while a power-cycle is pending
};

struct system_reading {
    poe_client::system_status status;
    poe_client::system_settings settings;
};

struct whole_reading {
    system_reading system;
    std::array<port_reading, poe_client::port_count> ports;
    poe_client::power_cycles cycles{};  // their ticks begin when the daemon starts
};

// When the controller does not answer the daemon, what the daemon says of status and power is what it read last.
struct controller_reading {
    poe_client::communication_counters counters;
    bool answers = true;
};

// Each stops at the first failure, and leaves `into` alone then. The status is of one moment, the rest of the next.
poe_client::failure read_whole(poe_client::connection& daemon, whole_reading& into);
poe_client::failure read_port(poe_client::connection& daemon, std::uint8_t port, port_reading& into);
poe_client::failure read_system(poe_client::connection& daemon, system_reading& into);

// While the controller answers, transactions with it come to their good end all the time. An attempt that fails takes
// half a second: this is more than three of them in a row.
inline constexpr std::chrono::milliseconds patience_with_the_controller{2000};

// Does the controller answer the daemon? True as soon as a transaction has come to its good end since `before`.
poe_client::failure read_whether_controller_answers(poe_client::connection& daemon,
                                                    const poe_client::communication_counters& before, bool& into,
                                                    std::chrono::milliseconds patience = patience_with_the_controller);

inline bool succeeded(const poe_client::failure& error) {
    return error.kind == poe_client::failure_kind::none;
}

// Puts an answer where it belongs, or hands the failure on.
template <typename answer>
poe_client::failure take(poe_client::result<answer> outcome, answer& into) {
    if (outcome.ok()) into = outcome.value;
    return outcome.error;
}

// What `read` takes from the daemon, and beside it how the controller is.
template <typename reader>
poe_client::failure read_beside_controller(poe_client::connection& daemon, controller_reading& into, reader read) {
    auto error = take(get_communication_counters(daemon), into.counters);
    if (succeeded(error)) error = read();
    if (succeeded(error)) error = read_whether_controller_answers(daemon, into.counters, into.answers);
    return error;
}

// The class of the powered device: known while power is delivered and the controller reports one.
constexpr std::optional<std::uint8_t> known_class(std::uint32_t status, std::uint8_t detected_class) {
    if (status != poe_client::status_delivering || detected_class == poe_client::not_reported) return std::nullopt;
    return detected_class;
}

// Voltage, current, power and temperature mean nothing before the port's first reading.
constexpr bool is_measured(const poe_client::port_status& port) {
    return port.status != poe_client::status_not_read_yet;
}

// The daemon says 0 when it could not read the controller's temperature.
constexpr std::optional<std::int32_t> known_temperature_mc(const poe_client::system_status& system) {
    if (system.temperature_mc == 0) return std::nullopt;
    return system.temperature_mc;
}

}  // namespace poectl
