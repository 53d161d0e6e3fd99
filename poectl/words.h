// Words and numbers as people read them, the same in tables, JSON and messages. Pure.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "poe_client/types.h"

namespace poectl {

inline constexpr std::array<std::string_view, 4> priority_names{"unknown", "critical", "high", "low"};

constexpr std::string_view priority_name(std::int8_t priority) {
    return priority_names[priority >= 1 && priority <= 3 ? static_cast<std::size_t>(priority) : 0];
}

// The type of a port whose pair sets each have a state of their own.
inline constexpr std::uint8_t dual_signature = 2;

// The modes of a port, by their numbers. What a mode does is the controller's affair; these are the words of the one
// that the virtual switch models.
struct power_mode {
    std::string_view name;  // one word, as it is typed
    std::string_view meaning;
};

inline constexpr std::array<power_mode, 5> power_modes{{
    {"15w", "up to 15.4 W, within the device's class and the limit"},
    {"30w", "up to 30 W, within the device's class and the limit"},
    {"90w", "up to 90 W, within the device's class and the limit"},
    {"90w-no-class", "up to 90 W, within the limit, whatever the device's class"},
    {"90w-no-detection", "up to 90 W, within the limit, whatever is plugged in"},
}};

// Null for a number that is no mode's.
constexpr const power_mode* power_mode_of(std::int8_t number) {
    const auto place = static_cast<std::uint8_t>(number);
    return place < power_modes.size() ? &power_modes[place] : nullptr;
}

// "90w (2)"
std::string mode_words(std::int8_t mode);

constexpr std::string_view on_off(std::int64_t value) {
    return value != 0 ? "on" : "off";
}

constexpr std::string_view enabled_word(std::int64_t value) {
    return value != 0 ? "enabled" : "disabled";
}

constexpr std::string_view yes_no(bool value) {
    return value ? "yes" : "no";
}

constexpr std::string_view pair_set_name(std::size_t pair_set) {
    return pair_set == 0 ? "A" : "B";
}

// What a person calls a port.
constexpr int panel_number(std::size_t port) {
    return static_cast<int>(port) + 1;
}

// The network interface of a port, as the daemon's link monitor was built for.
std::string_view interface_name(std::size_t port);

// "port 2 (lan2)", and "ports 1 (lan1), 3 (lan3)".
std::string port_words(std::size_t port);
std::string ports_words(poe_client::port_bitmap ports);

inline constexpr std::uint32_t mw_a_dw = 100;
inline constexpr std::uint64_t mw_a_w = 1000;

// 154 → "15.4"
inline std::string tenths(std::int64_t value) {
    const std::int64_t magnitude = value < 0 ? -value : value;
    std::string text = value < 0 ? "-" : "";
    text += std::to_string(magnitude / 10);
    text += '.';
    text += std::to_string(magnitude % 10);
    return text;
}

// Thousandths as tenths, rounded half away from zero: 12345 → "12.3", 12350 → "12.4", -50 → "-0.1", -49 → "0.0".
inline std::string thousandths_as_tenths(std::int64_t value) {
    return tenths((value + (value < 0 ? -50 : 50)) / 100);
}

}  // namespace poectl
