// What the controller is told to do, in the form that it keeps: once running, once stored. Pure data.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vswitch {

inline constexpr std::size_t port_count = 4;
inline constexpr std::size_t channel_count = 2 * port_count;
inline constexpr std::size_t bank_count = 8;
inline constexpr std::size_t version_size = 5;
inline constexpr std::uint8_t no_channel = 0xFF;

inline constexpr std::uint32_t limit_step_mw = 400;        // one count of a port's power limit
inline constexpr std::uint8_t highest_limit_counts = 225;  // 90 W
inline constexpr std::uint32_t bank_step_mw = 100;         // one count of a power bank
inline constexpr std::uint8_t limit_mode_by_class = 1;     // the lower of class and limit
inline constexpr std::uint8_t limit_mode_by_setting = 2;   // the limit alone
inline constexpr std::uint8_t detection_off = 0;           // whatever is plugged in gets power

// Power management methods.
inline constexpr std::uint8_t method_none = 0;              // no budget is kept
inline constexpr std::uint8_t method_static = 1;            // each port counts with all that it may draw
inline constexpr std::uint8_t method_dynamic_priority = 2;  // each port counts with what it draws, by priority
inline constexpr std::uint8_t method_dynamic = 3;           // the same, by port number alone

struct port_configuration {
    std::uint8_t power_state = 0;
    std::uint8_t limit_counts = highest_limit_counts;
    std::uint8_t priority = 0;
    std::uint8_t disconnect_mode = 0;
    std::uint8_t detection_mode = 2;
    std::uint8_t power_up_mode = 6;
    std::uint8_t limit_mode = limit_mode_by_class;
    std::uint8_t inline_option = 0;
    bool operator==(const port_configuration&) const = default;
};

struct pair_mapping {
    std::uint8_t a = no_channel;
    std::uint8_t b = no_channel;
    bool operator==(const pair_mapping&) const = default;
};
using port_matrix = std::array<pair_mapping, port_count>;

struct power_bank_configuration {
    std::uint16_t counts = 0;
    std::uint16_t extra = 0;
    bool operator==(const power_bank_configuration&) const = default;
};

// The default is the factory's: every port off, nothing mapped, no budget.
struct configuration {
    std::array<port_configuration, port_count> ports{};
    port_matrix active_matrix{};
    std::array<power_bank_configuration, bank_count> banks{};
    std::uint8_t method = method_none;
    std::uint8_t mask = 0;
    std::uint8_t event_code = 0;
    std::uint8_t lower_threshold = 170;  // counts above 33.0 V
    std::uint8_t upper_threshold = 0;    // counts above 57.0 V
    bool operator==(const configuration&) const = default;
};

// Every port has two channels and no channel has two ports.
constexpr bool is_complete(const port_matrix& matrix) {
    std::array<bool, channel_count> taken{};
    for (const pair_mapping& pairs : matrix) {
        for (const std::uint8_t channel : {pairs.a, pairs.b}) {
            if (channel >= channel_count || taken[channel]) return false;
            taken[channel] = true;
        }
    }
    return true;
}

// What a port may draw before class counts, by its power-up mode and limit.
constexpr std::uint32_t port_cap_mw(const port_configuration& port) {
    constexpr std::uint8_t first_medium_mode = 3;
    constexpr std::uint8_t first_high_mode = 6;
    std::uint32_t cap_mw = 15400;
    if (port.power_up_mode >= first_medium_mode) cap_mw = 30000;
    if (port.power_up_mode >= first_high_mode) cap_mw = 90000;
    const std::uint32_t limit_mw = port.limit_counts * limit_step_mw;
    return limit_mw < cap_mw ? limit_mw : cap_mw;
}

}  // namespace vswitch
