#include "ipc/status_blocks.h"

namespace {

channel_status_block channel_status_block_of(const channel_stu& channel) {
    channel_status_block block{};
    block.channel_class = channel.channel_class;
    block.error_code = channel.error_code;
    block.sub_status = channel.sub_status;
    block.status = channel.status;
    block.voltage = channel.voltage;
    block.current = channel.current;
    block.power_mw = channel.power_mw;
    return block;
}

}  // namespace

system_status_block system_status_block_of(const sys_pwr_stu& system) {
    system_status_block block{};
    block.total_mw = system.total_mw;
    block.consumed_mw = system.consumed_mw;
    block.remaining_mw = system.remaining_mw;
    block.supply = system.supply;
    block.alarm_raised = system.alarm_raised;
    return block;
}

port_status_block port_status_block_of(const port_snapshot& port) {
    const port_stu& status = port.status;
    port_status_block block{};
    block.port = status.port_number;
    block.Port_Enable = port.Port_Enable;
    block.Schedule_Enable = port.Schedule_Enable;
    block.Sch_On_Off = port.Sch_On_Off;
    block.port_class = status.port_class;
    block.error_code = status.error_code;
    block.sub_status = status.sub_status;
    block.port_type = static_cast<std::uint8_t>(status.port_type);
    block.status = status.status;
    block.auto_off = port.auto_off ? 1U : 0U;
    block.voltage = status.voltage;
    block.current = status.current;
    block.power_mw = status.power_mw;
    block.temperature = status.temperature;
    for (std::size_t i = 0; i < pair_set_count; i++)
        block.channel[i] = channel_status_block_of(status.channel[i]);
    for (std::size_t i = 0; i < status.event_totals.size(); i++)
        block.event_totals[i] = status.event_totals[i];
    return block;
}

re_enable_entry re_enable_entry_of(const port_pwr_re_en& port) {
    re_enable_entry entry{};
    entry.pending = static_cast<std::uint8_t>(port.pending);
    entry.tick = port.tick;
    return entry;
}
