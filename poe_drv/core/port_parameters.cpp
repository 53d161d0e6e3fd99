#include "core/port_parameters.h"

#include "core/diagnostics.h"
#include "core/parameter_limits.h"
#include "core/records.h"

namespace {

// The lines are part of the messages.
constexpr int port_number_line = 3477;
constexpr int nothing_to_set_line = 3485;
constexpr int port_enable_line = 3492;
constexpr int power_priority_line = 3499;
constexpr int schedule_enable_line = 3506;
constexpr int power_limit_line = 3514;
constexpr int poe_mode_line = 3522;
constexpr int re_enable_line = 3529;

constexpr bool keep_or_within(std::int8_t value, std::int8_t lowest, std::int8_t highest) {
    return value == keep_value || (value >= lowest && value <= highest);
}

}  // namespace

int check_one_port_pmt_value(const port_parameter_block* block) {
    const auto& b = *block;
    const std::uint32_t limit = b.Power_Limit_Val;
    if (b.Port_Number >= port_count) {
        say("[%s , %d]:Port_Number=(%d)\n", __func__, port_number_line, static_cast<std::int8_t>(b.Port_Number));
        return -1;
    }
    // PoE_Mode and Re_Enable_Val alone are nothing to set.
    if (b.Port_Enable == keep_value && b.Power_Priority == keep_value && b.Schedule_Enable == keep_value &&
        limit == keep_power_limit) {
        say("[%s , %d]:\n", __func__, nothing_to_set_line);
        return -1;
    }
    if (!keep_or_within(b.Port_Enable, 0, 1)) {
        say("[%s , %d]:Port_Enable=(%d)\n", __func__, port_enable_line, b.Port_Enable);
        return -1;
    }
    if (!keep_or_within(b.Power_Priority, highest_priority, lowest_priority)) {
        say("[%s , %d]:Power_Priority=(%d)\n", __func__, power_priority_line, b.Power_Priority);
        return -1;
    }
    if (!keep_or_within(b.Schedule_Enable, 0, 1)) {
        say("[%s , %d]:Schedule_Enable=(%d)\n", __func__, schedule_enable_line, b.Schedule_Enable);
        return -1;
    }
    if (limit != keep_power_limit && (limit < lowest_power_limit || limit > highest_power_limit)) {
        say("[%s , %d]:Power_Limit_Val=(%d)\n", __func__, power_limit_line, static_cast<std::int32_t>(limit));
        return -1;
    }
    if (!keep_or_within(b.PoE_Mode, 0, highest_poe_mode)) {
        say("[%s , %d]:PoE_Mode=(%d)\n", __func__, poe_mode_line, b.PoE_Mode);
        return -1;
    }
    if (!keep_or_within(b.Re_Enable_Val, lowest_re_enable_s, highest_re_enable_s)) {
        say("[%s , %d]:Re_Enable_Val=(%d)\n", __func__, re_enable_line, b.Re_Enable_Val);
        return -1;
    }
    return 0;
}
