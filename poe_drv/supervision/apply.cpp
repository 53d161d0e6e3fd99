#include "supervision/apply.h"

#include <array>
#include <optional>

#include "controller/operations.h"
#include "core/records.h"
#include "core/tick.h"
#include "ipc/protocol.h"
#include "platform/orv_com.h"
#include "supervision/merge.h"
#include "supervision/port_power.h"
#include "supervision/power_rule.h"

static_assert(ipc_port_count == port_count);

namespace {

constexpr std::uint32_t mw_per_limit_step = 100;  // a port's limit is stored in tenths of a watt
constexpr std::int8_t off = 0;
constexpr std::int8_t on = 1;

// The controller takes bytes; a stored mode below 0 would be one that it does not know.
std::uint8_t inline_mode(std::int8_t mode) {
    return static_cast<std::uint8_t>(mode);
}

port_settings stored_settings(const port_pmt& stored) {
    return {.Port_Enable = stored.Port_Enable.get(),
            .Power_Priority = stored.Power_Priority.get(),
            .Schedule_Enable = stored.Schedule_Enable.get(),
            .PoE_Mode = stored.PoE_Mode.get(),
            .Re_Enable_Val = stored.Re_Enable_Val.get(),
            .Power_Limit_Val = stored.Power_Limit_Val.get()};
}

void store(port_pmt& stored, const port_settings& wanted) {
    stored.Port_Enable.set(wanted.Port_Enable);
    stored.Power_Priority.set(wanted.Power_Priority);
    stored.Schedule_Enable.set(wanted.Schedule_Enable);
    stored.Power_Limit_Val.set(wanted.Power_Limit_Val);
    stored.PoE_Mode.set(wanted.PoE_Mode);
    stored.Re_Enable_Val.set(wanted.Re_Enable_Val);
}

void program(std::uint8_t port, const port_change& change, const port_settings& wanted) REQUIRES(controller_user) {
    const std::uint32_t limit_mw = wanted.Power_Limit_Val * mw_per_limit_step;
    const auto priority = static_cast<std::uint8_t>(wanted.Power_Priority);
    if (change.program_all) poe_set_port_parameters(port, change.power, limit_mw, priority);
    if (change.program_limit) poe_set_power_limit_for_channels(port, limit_mw);
    if (change.program_priority) poe_set_port_priority(port, priority);
    if (change.program_all || change.program_mode) poe_set_inline_mode(port, inline_mode(wanted.PoE_Mode));
}

// --- one function a request ---

int apply_same_parameters(one_port_parameters_message message) REQUIRES(controller_user) {
    int switched = 0;
    for (std::uint8_t port = 0; port < port_count; port++) {
        message.block.Port_Number = port;
        switched |= poe_talk_with_kernel_ipc_proccess_change_one_port_pmt(message.block);
    }
    return switched;
}

int apply_all_parameters(all_port_parameters_message message) REQUIRES(controller_user) {
    int switched = 0;
    for (std::uint8_t port = 0; port < port_count; port++) {
        message.block[port].Port_Number = port;
        switched |= poe_talk_with_kernel_ipc_proccess_change_one_port_pmt(message.block[port]);
    }
    return switched;
}

int apply_system_parameters(const system_parameter_block& given) REQUIRES(controller_user) {
    const auto take = [](relaxed<std::int8_t>& stored, std::int8_t value) { stored.set(merged(value, stored.get())); };
    take(g_sys_pwr_pmt.parameter_2, given.parameter_2);
    take(g_sys_pwr_pmt.usage_threshold, given.usage_threshold);
    take(g_sys_pwr_pmt.parameter_4, given.parameter_4);
    take(g_sys_pwr_pmt.parameter_5, given.parameter_5);

    const std::int8_t enable = merged(given.enable, g_sys_pwr_pmt.enable.get());
    if (enable == g_sys_pwr_pmt.enable.get()) return 0;
    g_sys_pwr_pmt.enable.set(enable);
    for (std::uint8_t port = 0; port < port_count; port++) {
        if (enable != off && port_need_read_info(port) == 0) continue;
        poe_set_enable_disable_channels(port, enable > off ? on : off, inline_mode(g_port_pmt[port].PoE_Mode.get()));
    }
    return 1;
}

int apply_schedule_state(std::uint8_t port, std::int8_t state) REQUIRES(controller_user) {
    if (port >= port_count) return 0;
    port_pmt& stored = g_port_pmt[port];
    if (state == keep_value || state == stored.Sch_On_Off.get()) return 0;

    const int before = port_need_read_info(port);
    const int after = port_need_read_info_2(g_sys_pwr_pmt.enable.get(), stored.Port_Enable.get(),
                                            stored.Schedule_Enable.get(), state);
    if (after != before) {
        poe_set_enable_disable_channels(port, static_cast<std::uint8_t>(after), inline_mode(stored.PoE_Mode.get()));
    }
    stored.Sch_On_Off.set(state);
    return after != before ? 1 : 0;
}

int apply_schedule_states(const all_port_schedule_message& message) REQUIRES(controller_user) {
    int switched = 0;
    for (std::uint8_t port = 0; port < port_count; port++) {
        switched |= apply_schedule_state(port, message.entry[port].Sch_On_Off);
    }
    return switched;
}

int apply_power_bank(const power_bank_message& message) REQUIRES(controller_user) {
    poe_set_power_banks(all_ports, message.limit_w, programmed_upper_threshold, programmed_lower_threshold);
    g_pwr_bnk_pmt.set({.limit_w = message.limit_w, .second = message.second});
    return 0;
}

// A port that was off already is armed all the same, and so comes on when its delay is over.
int apply_power_cycle(const port_bitmap_message& message) REQUIRES(controller_user) EXCLUDES(g_mutex_poe_tick_thread) {
    const std::uint32_t now = get_poe_tick();
    int switched = 0;
    for (std::uint8_t port = 0; port < port_count; port++) {
        if (utilBitmapCheck(&message.ports, port) != 1) continue;
        port_parameter_block block = enable_block(port, off);
        switched |= poe_talk_with_kernel_ipc_proccess_change_one_port_pmt(block);
        const tick_lock held;
        g_port_pwr_re_en[port] = {.pending = 1, .tick = now};
    }
    return switched;
}

// The request in the record, if the record has its length.
template <typename message>
std::optional<message> request_in(const void* record, int length) {
    if (length != static_cast<int>(sizeof(message))) return std::nullopt;
    return record_from<message>(record);
}

// --- the automatic re-enable ---

// All entries and the tick of one moment: a pass of the cycle asks for them, and takes the lock once.
struct power_cycles {
    std::array<port_pwr_re_en, port_count> entry;
    std::uint32_t now;
};

power_cycles power_cycles_now() EXCLUDES(g_mutex_poe_tick_thread) {
    const tick_lock held;
    return {.entry = g_port_pwr_re_en, .now = g_poe_thread_tick_cnt.get()};
}

bool is_due(const port_pwr_re_en& entry, std::uint8_t port, std::uint32_t now) {
    const std::uint32_t seconds = static_cast<std::uint8_t>(g_port_pmt[port].Re_Enable_Val.get());
    return entry.pending != 0 && now - entry.tick >= seconds * ticks_per_second;
}

}  // namespace

int poe_talk_with_kernel_ipc_proccess(const void* record, int length) {
    if (length < static_cast<int>(sizeof(ipc_envelope))) return 0;
    switch (static_cast<ipc_type>(record_from<ipc_envelope>(record).type)) {
        case ipc_type::set_sys_pwr_pmt:
            if (const auto request = request_in<system_parameters_message>(record, length)) {
                return apply_system_parameters(request->block);
            }
            break;
        case ipc_type::set_one_port_pmt:
            if (auto request = request_in<one_port_parameters_message>(record, length)) {
                return poe_talk_with_kernel_ipc_proccess_change_one_port_pmt(request->block);
            }
            break;
        case ipc_type::set_all_port_same_pmt:
            if (const auto request = request_in<one_port_parameters_message>(record, length)) {
                return apply_same_parameters(*request);
            }
            break;
        case ipc_type::set_all_port_pmt:
            if (const auto request = request_in<all_port_parameters_message>(record, length)) {
                return apply_all_parameters(*request);
            }
            break;
        case ipc_type::set_one_port_sch_on_off:
            if (const auto request = request_in<one_port_schedule_message>(record, length)) {
                return apply_schedule_state(request->entry.port, request->entry.Sch_On_Off);
            }
            break;
        case ipc_type::set_all_port_sch_on_off:
            if (const auto request = request_in<all_port_schedule_message>(record, length)) {
                return apply_schedule_states(*request);
            }
            break;
        case ipc_type::set_pwr_bnk_pmt:
            if (const auto request = request_in<power_bank_message>(record, length)) {
                return apply_power_bank(*request);
            }
            break;
        case ipc_type::set_re_enable_port_list:
            if (const auto request = request_in<port_bitmap_message>(record, length)) {
                return apply_power_cycle(*request);
            }
            break;
        default:
            break;
    }
    return 0;
}

int poe_talk_with_kernel_ipc_proccess_change_one_port_pmt(port_parameter_block& block) {
    if (block.Port_Number >= port_count) return 0;
    port_pmt& record = g_port_pmt[block.Port_Number];
    const port_settings stored = stored_settings(record);
    fill_keep_values(block, stored);
    const port_settings wanted = settings_in(block);

    const port_change change = plan_port_change(stored, wanted, g_sys_pwr_pmt.enable.get(), record.Sch_On_Off.get());
    if (!change.differs) return 0;
    program(block.Port_Number, change, wanted);
    store(record, wanted);
    return change.power_changes ? 1 : 0;
}

int poe_do_reenable_port_power() {
    const power_cycles cycles = power_cycles_now();
    int switched = 0;
    for (std::uint8_t port = 0; port < port_count; port++) {
        if (!is_due(cycles.entry[port], port, cycles.now)) continue;
        port_parameter_block block = enable_block(port, on);
        switched |= poe_talk_with_kernel_ipc_proccess_change_one_port_pmt(block);
        const tick_lock held;
        g_port_pwr_re_en[port].pending = 0;
    }
    return switched;
}
