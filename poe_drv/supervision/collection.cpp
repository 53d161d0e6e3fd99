#include "supervision/collection.h"

#include "controller/operations.h"
#include "core/tick.h"
#include "platform/orv_com.h"
#include "supervision/link.h"
#include "supervision/port_events.h"
#include "supervision/translation.h"
#include "supervision/traps.h"
#include "supervision/usage.h"

namespace {

constexpr std::uint8_t power_off = 0;
constexpr std::uint32_t mw_divisor = 1000;

constexpr std::array<port_part, 1 + pair_set_count> port_and_pair_sets{port_part::port, port_part::channel_a,
                                                                       port_part::channel_b};

constexpr std::size_t channel_of(port_part part) {
    return part == port_part::channel_b ? 1 : 0;
}

bool is_auto_off(std::uint8_t port) {
    return utilBitmapCheck(&g_port_pwr_auto_off, port) == 1;
}

translation_question question_about(const port_reading& reading, const reported_codes& codes, std::uint8_t port,
                                    port_part part) {
    const auto& counter = reading.event_counter;
    return {.status = codes.status,
            .sub_status = codes.sub_status,
            .error_code = codes.error_code,
            .port_type = reading.port_type,
            .is_channel = part != port_part::port,
            .auto_off = is_auto_off(port),
            .gone_event = counter[0] != 0,
            .overload_event = counter[1] != 0,
            .short_event = counter[2] != 0,
            .denied_event = counter[4] != 0};
}

void switch_off_if_linked(std::uint8_t port) REQUIRES(controller_user) {
    std::uint32_t link = link_down;
    poe_drv_port_status_get(port, link);
    if (link != link_up) return;
    poe_set_port_power_state(port, power_off);  // takes the mark away, so the mark comes after it
    utilBitmapSet(&g_port_pwr_auto_off, port);
}

std::uint32_t recorded_status(const port_stu& record, port_part part) {
    return part == port_part::port ? record.status : record.channel[channel_of(part)].status;
}

std::uint32_t& update_tick_of(port_stu& record, port_part part) {
    return part == port_part::port ? record.update_tick : record.channel[channel_of(part)].update_tick;
}

std::uint32_t power_mw(std::uint32_t current, std::uint32_t voltage) {
    return current * voltage / mw_divisor;
}

void fill_channel(channel_stu& record, const channel_reading& reading) {
    record.channel_class = reading.codes.power_class;
    record.error_code = reading.codes.error_code;
    record.sub_status = reading.codes.sub_status;
    record.status = reading.codes.status;
    record.voltage = reading.voltage * record_scale;
    record.current = reading.current;
    record.power_mw = power_mw(record.current, record.voltage);
}

// Each total's event counter, by its place in the reading.
constexpr std::array<std::size_t, event_counter_count> counter_of_total{1, 2, 4, 0, 3};

// Translates and records one port; true when it has something for a trap.
bool collect_port(std::uint8_t port, std::uint32_t tick) REQUIRES(controller_user, g_mutex_poe_tick_thread) {
    port_reading reading = llp_new[port];
    bool any_event = false;
    for (const port_part part : port_and_pair_sets) {
        if (_modify_poe_status_to_orv_define(reading, port, part) != 1) continue;
        update_tick_of(g_port_stu[port], part) = tick;
        any_event = true;
    }
    if (!any_event) return false;
    const bool trap = set_trap_meg_and_poe_led(port, reading) == 1;
    __fill_port_read_info_to_global_stu(port, reading);
    return trap;
}

// True when the alarm is due now.
bool watch_usage() REQUIRES(g_mutex_poe_tick_thread) {
    const std::int32_t percent = usage_percent(g_sys_pwr_stu.consumed_mw, g_sys_pwr_stu.total_mw);
    const bool raised = g_sys_pwr_stu.alarm_raised != 0;
    const usage_alarm alarm = decide_usage_alarm(percent, g_sys_pwr_pmt.usage_threshold.get(), raised);
    g_sys_pwr_stu.alarm_raised = alarm == usage_alarm::off ? 0 : 1;
    return alarm == usage_alarm::raise;
}

}  // namespace

int port_read_info_to_global_stu() {
    clear_poe_drv_msg();
    const std::uint32_t tick = get_poe_tick();
    const tick_lock held;

    bool trap = false;
    g_sys_pwr_stu.consumed_mw = 0;
    for (std::uint8_t port = 0; port < port_count; port++) {
        if (collect_port(port, tick)) trap = true;
        for (const channel_stu& channel : g_port_stu[port].channel)
            g_sys_pwr_stu.consumed_mw += channel.power_mw;
    }
    g_sys_pwr_stu.remaining_mw = g_sys_pwr_stu.total_mw - g_sys_pwr_stu.consumed_mw;

    if (watch_usage()) {
        poe_drv_msg_log_system_status(g_sys_pwr_stu.consumed_mw);
        trap = true;
    }
    if (trap) poe_drv_trap_send();
    return 0;
}

int _modify_poe_status_to_orv_define(port_reading& reading, std::uint8_t port, port_part part) {
    const bool is_port = part == port_part::port;
    channel_reading& channel = reading.channel[channel_of(part)];
    reported_codes& codes = is_port ? reading.codes : channel.codes;

    const translation_answer answer = translate_status(question_about(reading, codes, port, part));
    codes.status = answer.is_event ? answer.status : static_cast<std::uint8_t>(recorded_status(g_port_stu[port], part));
    // An old answer is no reason to switch a port off.
    if (answer.auto_off_if_linked && !reading.status_is_old) switch_off_if_linked(port);

    if (!answer.keeps_measurements) {
        if (is_port) {
            __clean_energy_and_class(reading);
        } else {
            __clean_energy_and_class_by_channel(channel);
        }
    }
    if (is_port && answer.is_disabled) reading.port_type = port_type_disabled;
    return answer.is_event ? 1 : 0;
}

void __fill_port_read_info_to_global_stu(std::uint8_t port, const port_reading& reading) {
    port_stu& record = g_port_stu[port];
    record.port_class = reading.codes.power_class;
    record.sub_status = reading.codes.sub_status;
    record.error_code = reading.codes.error_code;
    record.status = reading.codes.status;
    record.voltage = reading.voltage * record_scale;
    record.current = reading.current;
    record.power_mw = power_mw(record.current, record.voltage);
    record.temperature = reading.temperature * record_scale;
    if (reading.port_type < port_type_not_reported) record.port_type = reading.port_type;
    for (std::size_t i = 0; i < pair_set_count; i++)
        fill_channel(record.channel[i], reading.channel[i]);
    if (reading.counters_are_old) return;
    for (std::size_t i = 0; i < event_counter_count; i++) {
        record.event_totals[i] += reading.event_counter[counter_of_total[i]];
    }
}

void __clean_energy_and_class(port_reading& reading) {
    reading.voltage = 0;
    reading.current = 0;
    reading.power = 0;
    reading.codes.power_class = 0;
}

void __clean_energy_and_class_by_channel(channel_reading& channel) {
    channel.voltage = 0;
    channel.current = 0;
    channel.codes.power_class = 0;
}
