#include <optional>
#include <type_traits>

#include "poe_client/codec.h"

namespace poe_client {

namespace {

static_assert(port_count == ipc_port_count && minute_count == minute_slot_count &&
              half_hour_count == half_hour_slot_count && two_hour_count == two_hour_slot_count);

// The common road of every reply: type and length make it ours, the result byte says whether there is a value, and
// `read` says what the value is, or that it cannot be (nothing), or whose it is (a verdict).
template <typename message, typename answer, typename reader>
decoded<answer> decode_reply(received_bytes reply, std::uint8_t type, const reader& read) {
    if (reply.size() != sizeof(message)) return {verdict::foreign};
    const auto received = record_from<message>(reply.data());
    const ipc_envelope envelope = record_from<ipc_envelope>(reply.data());
    if (envelope.type != type) return {verdict::foreign};
    if (envelope.result == result_rejected) return {verdict::refused};
    if (envelope.result != result_accepted) return {verdict::malformed};
    return read(received);
}

template <typename message, typename answer, typename reader>
decoded<answer> decode_reply(received_bytes reply, ipc_type type, const reader& read) {
    return decode_reply<message, answer>(reply, static_cast<std::uint8_t>(type), read);
}

port_settings settings_of(const port_parameter_block& block) {
    return {.port = block.Port_Number,
            .enable = block.Port_Enable,
            .priority = block.Power_Priority,
            .schedule_enable = block.Schedule_Enable,
            .mode = block.PoE_Mode,
            .re_enable_s = block.Re_Enable_Val,
            .power_limit_dw = block.Power_Limit_Val};
}

system_status status_of(const system_status_block& block) {
    return {.total_mw = block.total_mw,
            .consumed_mw = block.consumed_mw,
            .remaining_mw = static_cast<std::int32_t>(std::uint32_t{block.remaining_mw}),
            .temperature_mc = temperature_mc_of(block.supply),
            .alarm_raised = block.alarm_raised != 0};
}

pair_set_status status_of(const channel_status_block& block) {
    return {.detected_class = block.channel_class,
            .error_code = block.error_code,
            .sub_status = block.sub_status,
            .status = block.status,
            .voltage_mv = block.voltage,
            .current_ma = block.current,
            .power_mw = block.power_mw};
}

port_status status_of(const port_status_block& block) {
    port_status status{.port = block.port,
                       .enable = block.Port_Enable,
                       .schedule_enable = block.Schedule_Enable,
                       .schedule_on = block.Sch_On_Off,
                       .detected_class = block.port_class,
                       .error_code = block.error_code,
                       .sub_status = block.sub_status,
                       .port_type = block.port_type,
                       .status = block.status,
                       .auto_off = block.auto_off != 0,
                       .voltage_mv = block.voltage,
                       .current_ma = block.current,
                       .power_mw = block.power_mw,
                       .temperature_mc = temperature_mc_of(block.temperature),
                       .pair_set = {status_of(block.channel[0]), status_of(block.channel[1])},
                       .event_totals = {}};
    for (std::size_t i = 0; i < event_total_count; i++)
        status.event_totals[i] = block.event_totals[i];
    return status;
}

energy_average average_of(const average_pair& pair) {
    return {.valid = pair.valid != 0, .average_w = pair.average_w};
}

energy_figures figures_of(const ::energy_summary& summary) {
    return {.powered_s = summary.powered_s,
            .energy_wh = summary.energy_wh,
            .minutes = average_of(summary.minutes),
            .half_hours = average_of(summary.half_hours),
            .two_hours = average_of(summary.two_hours)};
}

template <std::size_t count>
std::array<energy_slot, count> slots_of(const std::array<ring_entry, count>& ring) {
    std::array<energy_slot, count> slots;
    for (std::size_t i = 0; i < count; i++) {
        slots[i] = {.valid = ring[i].valid != 0, .uptime_s = ring[i].uptime_s, .average_w = ring[i].average_w};
    }
    return slots;
}

// Four ports, each under its own number.
template <typename ports>
bool in_port_order(const ports& blocks) {
    for (std::size_t port = 0; port < port_count; port++) {
        if (blocks[port].port != port) return false;
    }
    return true;
}

std::array<port_status, port_count> all_status_of(const std::array<port_status_block, ipc_port_count>& blocks) {
    return {status_of(blocks[0]), status_of(blocks[1]), status_of(blocks[2]), status_of(blocks[3])};
}

template <typename value>
decoded<value> accepted(const value& answer) {
    return {verdict::accepted, answer};
}

}  // namespace

decoded<system_settings> decode_system_settings(received_bytes reply) {
    return decode_reply<system_parameters_message, system_settings>(
        reply, ipc_type::get_sys_pwr_pmt, [](const system_parameters_message& received) {
            const auto& block = received.block;
            return accepted(system_settings{.enable = block.enable,
                                            .parameter_1 = block.parameter_1,
                                            .parameter_2 = block.parameter_2,
                                            .threshold_percent = block.usage_threshold,
                                            .parameter_4 = block.parameter_4,
                                            .parameter_5 = block.parameter_5});
        });
}

decoded<port_settings> decode_port_settings(received_bytes reply, std::uint8_t port) {
    return decode_reply<one_port_parameters_message, port_settings>(
        reply, ipc_type::get_one_port_pmt, [port](const one_port_parameters_message& received) {
            if (received.block.Port_Number != port) return decoded<port_settings>{verdict::foreign};
            return accepted(settings_of(received.block));
        });
}

decoded<std::array<port_settings, port_count>> decode_all_port_settings(received_bytes reply) {
    using answer = std::array<port_settings, port_count>;
    return decode_reply<all_port_parameters_message, answer>(
        reply, ipc_type::get_all_port_pmt, [](const all_port_parameters_message& received) {
            const answer ports{settings_of(received.block[0]), settings_of(received.block[1]),
                               settings_of(received.block[2]), settings_of(received.block[3])};
            return in_port_order(ports) ? accepted(ports) : decoded<answer>{verdict::malformed};
        });
}

decoded<system_status> decode_system_status(received_bytes reply) {
    return decode_reply<system_status_message, system_status>(
        reply, ipc_type::get_sys_pwr_stu,
        [](const system_status_message& received) { return accepted(status_of(received.system)); });
}

decoded<port_status> decode_port_status(received_bytes reply, std::uint8_t port) {
    return decode_reply<one_port_status_message, port_status>(reply, one_port_stu_reply_type,
                                                              [port](const one_port_status_message& received) {
                                                                  if (received.port.port != port)
                                                                      return decoded<port_status>{verdict::foreign};
                                                                  return accepted(status_of(received.port));
                                                              });
}

decoded<std::array<port_status, port_count>> decode_all_port_status(received_bytes reply) {
    using answer = std::array<port_status, port_count>;
    return decode_reply<all_port_status_message, answer>(
        reply, all_port_stu_reply_type, [](const all_port_status_message& received) {
            return in_port_order(received.port) ? accepted(all_status_of(received.port))
                                                : decoded<answer>{verdict::malformed};
        });
}

decoded<whole_status> decode_whole_status(received_bytes reply) {
    return decode_reply<combined_status_message, whole_status>(
        reply, ipc_type::get_combine_sys_port_stu, [](const combined_status_message& received) {
            if (!in_port_order(received.port)) return decoded<whole_status>{verdict::malformed};
            return accepted(whole_status{.system = status_of(received.system), .port = all_status_of(received.port)});
        });
}

decoded<communication_counters> decode_communication_counters(received_bytes reply) {
    return decode_reply<communication_info_message, communication_counters>(
        reply, ipc_type::get_dbg_communication_info, [](const communication_info_message& received) {
            return accepted(communication_counters{.total = received.total,
                                                   .rx_retry = received.rx_retry,
                                                   .rx_timeout = received.rx_timeout,
                                                   .rx_chksum_error = received.rx_chksum_error,
                                                   .tx_correctly_executed = received.tx_correctly_executed,
                                                   .tx_chksum_error = received.tx_chksum_error,
                                                   .tx_subject_byte_conflict = received.tx_subject_byte_conflict,
                                                   .tx_wrong_data_byte_value = received.tx_wrong_data_byte_value,
                                                   .undefined_key_value = received.undefined_key_value});
        });
}

decoded<std::uint32_t> decode_deepest_queue(received_bytes reply) {
    return decode_reply<read_mixed_info_message, std::uint32_t>(
        reply, ipc_type::get_dbg_read_mixed_info,
        [](const read_mixed_info_message& received) { return accepted(std::uint32_t{received.deepest_queue}); });
}

decoded<power_bank> decode_power_bank(received_bytes reply) {
    return decode_reply<power_bank_message, power_bank>(
        reply, ipc_type::get_pwr_bnk_pmt, [](const power_bank_message& received) {
            return accepted(power_bank{.limit_w = received.limit_w, .second = received.second});
        });
}

decoded<power_cycles> decode_power_cycles(received_bytes reply) {
    return decode_reply<re_enable_message, power_cycles>(
        reply, ipc_type::get_re_enable_port_info, [](const re_enable_message& received) {
            power_cycles cycles{.now_tick = received.now_tick, .port = {}};
            for (std::size_t port = 0; port < port_count; port++) {
                cycles.port[port] = {.pending = received.entry[port].pending != 0, .tick = received.entry[port].tick};
            }
            return accepted(cycles);
        });
}

decoded<bool> decode_energy_recording(received_bytes reply) {
    return decode_reply<statistics_configuration_message, bool>(
        reply, ipc_type::get_port_stats_cfg,
        [](const statistics_configuration_message& received) { return accepted(received.enable == statistics_on); });
}

decoded<port_energy> decode_port_energy(received_bytes reply, std::uint8_t port) {
    return decode_reply<one_port_statistics_message, port_energy>(
        reply, ipc_type::get_one_port_statistics, [port](const one_port_statistics_message& received) {
            if (received.port != port) return decoded<port_energy>{verdict::foreign};
            return accepted(port_energy{.port = received.port,
                                        .powered_s = received.powered_s,
                                        .energy_wh = received.energy_wh,
                                        .minutes_start_s = received.minutes_start,
                                        .half_hours_start_s = received.half_hours_start,
                                        .two_hours_start_s = received.two_hours_start,
                                        .minutes = slots_of(received.minutes),
                                        .half_hours = slots_of(received.half_hours),
                                        .two_hours = slots_of(received.two_hours)});
        });
}

decoded<energy_summary> decode_energy_summary(received_bytes reply) {
    return decode_reply<all_port_statistics_message, energy_summary>(
        reply, ipc_type::get_all_port_statistics, [](const all_port_statistics_message& received) {
            return accepted(energy_summary{.totals = figures_of(received.totals),
                                           .port = {figures_of(received.port[0]), figures_of(received.port[1]),
                                                    figures_of(received.port[2]), figures_of(received.port[3])}});
        });
}

decoded<acknowledgement> decode_acknowledgement(received_bytes reply, ipc_type request) {
    return decode_reply<ipc_envelope, acknowledgement>(reply, request,
                                                       [](const ipc_envelope&) { return accepted(acknowledgement{}); });
}

std::int32_t temperature_mc_of(std::uint32_t wire_figure) {
    constexpr std::uint32_t figure_of_one_reading_step = 100;  // a tenth of a degree in thousandths
    const auto reading =
        static_cast<std::int16_t>(static_cast<std::uint16_t>(wire_figure / figure_of_one_reading_step));
    return std::int32_t{reading} * static_cast<std::int32_t>(figure_of_one_reading_step);
}

}  // namespace poe_client
