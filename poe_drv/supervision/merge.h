// A client's parameters onto the stored ones, and what that asks of the controller. Pure: knows nothing but its
// arguments.
#pragma once

#include <cstdint>

#include "core/port_parameter_block.h"

// From here on a power limit stands for "keep what is stored".
inline constexpr std::uint32_t lowest_keep_power_limit = keep_power_limit - 1;

// What a client may set of a port.
struct port_settings {
    std::int8_t Port_Enable;
    std::int8_t Power_Priority;
    std::int8_t Schedule_Enable;
    std::int8_t PoE_Mode;
    std::int8_t Re_Enable_Val;
    std::uint32_t Power_Limit_Val;  // tenths of a watt
    bool operator==(const port_settings&) const = default;
};

// A byte of a client's record onto the stored one.
constexpr std::int8_t merged(std::int8_t given, std::int8_t stored) {
    return given == keep_value ? stored : given;
}

// Puts the stored values in the place of the block's keep values.
void fill_keep_values(port_parameter_block& block, const port_settings& stored);

port_settings settings_in(const port_parameter_block& block);

// What turns a port from its stored settings to the new ones.
struct port_change {
    bool differs = false;        // there is something to store
    bool power_changes = false;  // the port is to be powered, and was not, or the other way round
    std::uint8_t power = 0;      // 1 = the port is to be powered
    bool program_all = false;    // power, limit, priority and inline mode
    bool program_limit = false;  // or only what differs, while the port stays powered
    bool program_priority = false;
    bool program_mode = false;
};

port_change plan_port_change(const port_settings& stored, const port_settings& wanted, std::int8_t system_enable,
                             std::int8_t schedule_state);

// A block that changes a port's Port_Enable and nothing else.
port_parameter_block enable_block(std::uint8_t port, std::int8_t enable);
