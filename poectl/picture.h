// What the daemon said, gathered for one command, ready to be shown as tables or as JSON. Plain data.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "poe_client/status_codes.h"
#include "poe_client/types.h"

namespace poectl {

struct port_picture {
    poe_client::port_status status;
    poe_client::port_settings settings;
    bool cycle_pending;
    std::uint32_t on_again_s;  // while a power-cycle is pending
};

struct system_picture {
    poe_client::system_status status;
    poe_client::system_settings settings;
};

struct energy_picture {
    bool kept_in_flash;
    poe_client::energy_summary summary;
};

// Only what the command asked for is there; a set command leaves `done`.
struct picture {
    std::optional<system_picture> system;
    std::vector<port_picture> ports;
    std::optional<poe_client::power_bank> bank;
    std::optional<poe_client::communication_counters> counters;
    std::optional<std::uint32_t> deepest_queue;
    std::optional<energy_picture> energy;
    std::optional<poe_client::port_energy> port_energy;
    std::string done;  // a sentence: what was accepted
};

// The class of the powered device: known while power is delivered and the controller reports one.
constexpr std::optional<std::uint8_t> known_class(std::uint32_t status, std::uint8_t detected_class) {
    if (status != poe_client::status_delivering || detected_class == poe_client::not_reported) return std::nullopt;
    return detected_class;
}

}  // namespace poectl
