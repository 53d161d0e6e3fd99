// Which values a configuration request may carry, apart from the port parameter block's own check. Pure.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/parameter_limits.h"
#include "core/records.h"
#include "ipc/protocol.h"

constexpr bool is_keep_off_or_on(std::int8_t value) {
    return value == keep_value || value == 0 || value == 1;
}

constexpr bool is_acceptable(const system_parameter_block& block) {
    const bool threshold_fits =
        block.usage_threshold == keep_value ||
        (block.usage_threshold >= lowest_usage_threshold && block.usage_threshold <= highest_usage_threshold);
    return is_keep_off_or_on(block.enable) && is_keep_off_or_on(block.parameter_1) &&
           is_keep_off_or_on(block.parameter_2) && threshold_fits && is_keep_off_or_on(block.parameter_4) &&
           is_keep_off_or_on(block.parameter_5);
}

constexpr bool is_acceptable(const schedule_state_entry& entry) {
    return entry.port < port_count && is_keep_off_or_on(entry.Sch_On_Off);
}

constexpr bool is_acceptable(const all_port_schedule_message& request) {
    return std::all_of(request.entry.begin(), request.entry.end(),
                       [](const schedule_state_entry& entry) { return is_acceptable(entry); });
}

// The same parameters for all ports must all be given: there is no one stored value to keep.
constexpr bool keeps_anything(const port_parameter_block& block) {
    return block.Port_Enable == keep_value || block.Power_Priority == keep_value ||
           block.Schedule_Enable == keep_value || block.Power_Limit_Val == keep_power_limit ||
           block.PoE_Mode == keep_value || block.Re_Enable_Val == keep_value;
}
