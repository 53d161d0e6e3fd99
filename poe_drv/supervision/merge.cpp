#include "supervision/merge.h"

#include "supervision/power_rule.h"

void fill_keep_values(port_parameter_block& block, const port_settings& stored) {
    block.Port_Enable = merged(block.Port_Enable, stored.Port_Enable);
    block.Power_Priority = merged(block.Power_Priority, stored.Power_Priority);
    block.Schedule_Enable = merged(block.Schedule_Enable, stored.Schedule_Enable);
    block.PoE_Mode = merged(block.PoE_Mode, stored.PoE_Mode);
    block.Re_Enable_Val = merged(block.Re_Enable_Val, stored.Re_Enable_Val);
    if (block.Power_Limit_Val >= lowest_keep_power_limit) block.Power_Limit_Val = stored.Power_Limit_Val;
}

port_settings settings_in(const port_parameter_block& block) {
    return {.Port_Enable = block.Port_Enable,
            .Power_Priority = block.Power_Priority,
            .Schedule_Enable = block.Schedule_Enable,
            .PoE_Mode = block.PoE_Mode,
            .Re_Enable_Val = block.Re_Enable_Val,
            .Power_Limit_Val = block.Power_Limit_Val};
}

port_change plan_port_change(const port_settings& stored, const port_settings& wanted, std::int8_t system_enable,
                             std::int8_t schedule_state) {
    if (wanted == stored) return {};
    const int before = port_need_read_info_2(system_enable, stored.Port_Enable, stored.Schedule_Enable, schedule_state);
    const int after = port_need_read_info_2(system_enable, wanted.Port_Enable, wanted.Schedule_Enable, schedule_state);
    port_change change{.differs = true, .power_changes = after != before, .power = static_cast<std::uint8_t>(after)};
    if (before == 0 || change.power_changes) {
        change.program_all = true;
        return change;
    }
    change.program_limit = wanted.Power_Limit_Val != stored.Power_Limit_Val;
    change.program_priority = wanted.Power_Priority != stored.Power_Priority;
    change.program_mode = wanted.PoE_Mode != stored.PoE_Mode;
    return change;
}

port_parameter_block enable_block(std::uint8_t port, std::int8_t enable) {
    port_parameter_block block{.Port_Number = port,
                               .Port_Enable = enable,
                               .Power_Priority = keep_value,
                               .Schedule_Enable = keep_value,
                               .PoE_Mode = keep_value,
                               .Re_Enable_Val = keep_value,
                               .reserved = {},
                               .Power_Limit_Val = {}};
    block.Power_Limit_Val = keep_power_limit;
    return block;
}
