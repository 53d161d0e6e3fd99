#include <cstring>

#include "poe_client/codec.h"

namespace poe_client {

namespace {

template <typename message>
message blank(ipc_type type) {
    message request;
    std::memset(&request, 0, sizeof request);
    request.envelope.type = static_cast<std::uint8_t>(type);
    return request;
}

template <typename message>
datagram bytes_of(const message& request) {
    datagram bytes(sizeof request);
    std::memcpy(bytes.data(), &request, sizeof request);
    return bytes;
}

// A request of nothing but its type: an envelope.
datagram query(ipc_type type) {
    ipc_envelope envelope{};
    envelope.type = static_cast<std::uint8_t>(type);
    return bytes_of(envelope);
}

std::int8_t or_keep(const std::optional<std::int8_t>& value) {
    return value.value_or(keep_value);
}

port_parameter_block block_of(std::uint8_t port, const port_settings_change& change) {
    port_parameter_block block{};
    block.Port_Number = port;
    block.Port_Enable = or_keep(change.enable);
    block.Power_Priority = or_keep(change.priority);
    block.Schedule_Enable = or_keep(change.schedule_enable);
    block.PoE_Mode = or_keep(change.mode);
    block.Re_Enable_Val = or_keep(change.re_enable_s);
    block.Power_Limit_Val = change.power_limit_dw.value_or(keep_power_limit);
    return block;
}

schedule_state_entry entry_of(std::uint8_t port, const schedule_state& state) {
    return {.port = port, .Sch_On_Off = or_keep(state), .unused = {}};
}

datagram bitmap_request(ipc_type type, port_bitmap ports) {
    auto request = blank<port_bitmap_message>(type);
    request.ports = ports;
    return bytes_of(request);
}

}  // namespace

datagram encode_get_system_settings() {
    return query(ipc_type::get_sys_pwr_pmt);
}
datagram encode_get_all_port_settings() {
    return query(ipc_type::get_all_port_pmt);
}
datagram encode_get_system_status() {
    return query(ipc_type::get_sys_pwr_stu);
}
datagram encode_get_all_port_status() {
    return query(ipc_type::get_all_port_stu);
}
datagram encode_get_whole_status() {
    return query(ipc_type::get_combine_sys_port_stu);
}
datagram encode_get_communication_counters() {
    return query(ipc_type::get_dbg_communication_info);
}
datagram encode_get_deepest_queue() {
    return query(ipc_type::get_dbg_read_mixed_info);
}
datagram encode_get_power_bank() {
    return query(ipc_type::get_pwr_bnk_pmt);
}
datagram encode_get_power_cycles() {
    return query(ipc_type::get_re_enable_port_info);
}
datagram encode_get_energy_recording() {
    return query(ipc_type::get_port_stats_cfg);
}
datagram encode_get_energy_summary() {
    return query(ipc_type::get_all_port_statistics);
}

datagram encode_get_port_settings(std::uint8_t port) {
    auto request = blank<one_port_parameters_message>(ipc_type::get_one_port_pmt);
    request.block.Port_Number = port;
    return bytes_of(request);
}

datagram encode_get_port_status(std::uint8_t port) {
    auto request = blank<one_port_status_message>(ipc_type::get_one_port_stu);
    request.port.port = port;
    return bytes_of(request);
}

datagram encode_get_port_energy(std::uint8_t port) {
    auto request = blank<one_port_statistics_message>(ipc_type::get_one_port_statistics);
    request.port = port;
    return bytes_of(request);
}

datagram encode_clear_energy(port_bitmap ports) {
    return bitmap_request(ipc_type::clear_multi_port_stats, ports);
}

datagram encode_set_system(const system_settings_change& change) {
    auto request = blank<system_parameters_message>(ipc_type::set_sys_pwr_pmt);
    request.block.enable = or_keep(change.enable);
    request.block.parameter_1 = or_keep(change.parameter_1);
    request.block.parameter_2 = or_keep(change.parameter_2);
    request.block.usage_threshold = or_keep(change.threshold_percent);
    request.block.parameter_4 = or_keep(change.parameter_4);
    request.block.parameter_5 = or_keep(change.parameter_5);
    return bytes_of(request);
}

datagram encode_set_port(std::uint8_t port, const port_settings_change& change) {
    auto request = blank<one_port_parameters_message>(ipc_type::set_one_port_pmt);
    request.block = block_of(port, change);
    return bytes_of(request);
}

datagram encode_set_all_ports(const std::array<port_settings_change, port_count>& changes) {
    auto request = blank<all_port_parameters_message>(ipc_type::set_all_port_pmt);
    for (std::uint8_t port = 0; port < port_count; port++)
        request.block[port] = block_of(port, changes[port]);
    return bytes_of(request);
}

datagram encode_set_all_ports_same(const port_settings_change& change) {
    auto request = blank<one_port_parameters_message>(ipc_type::set_all_port_same_pmt);
    request.block = block_of(0, change);
    return bytes_of(request);
}

datagram encode_set_schedule(std::uint8_t port, schedule_state state) {
    auto request = blank<one_port_schedule_message>(ipc_type::set_one_port_sch_on_off);
    request.entry = entry_of(port, state);
    return bytes_of(request);
}

datagram encode_set_all_schedules(const std::array<schedule_state, port_count>& states) {
    auto request = blank<all_port_schedule_message>(ipc_type::set_all_port_sch_on_off);
    for (std::uint8_t port = 0; port < port_count; port++)
        request.entry[port] = entry_of(port, states[port]);
    return bytes_of(request);
}

datagram encode_set_power_bank(const power_bank& bank) {
    auto request = blank<power_bank_message>(ipc_type::set_pwr_bnk_pmt);
    request.limit_w = bank.limit_w;
    request.second = bank.second;
    return bytes_of(request);
}

datagram encode_power_cycle(port_bitmap ports) {
    return bitmap_request(ipc_type::set_re_enable_port_list, ports);
}

datagram encode_set_energy_recording(bool enable) {
    auto request = blank<statistics_configuration_message>(ipc_type::set_port_stats_cfg);
    request.enable = enable ? statistics_on : statistics_off;
    return bytes_of(request);
}

datagram encode_inject_energy_history(std::uint32_t minutes) {
    auto request = blank<fake_statistics_message>(ipc_type::set_fake_port_stats_data);
    request.minutes = minutes;
    return bytes_of(request);
}

}  // namespace poe_client
