#include "supervision/cycle.h"

#include <algorithm>
#include <limits>

#include "controller/operations.h"
#include "core/records.h"
#include "ipc/set_queue.h"
#include "platform/orv_com.h"
#include "supervision/apply.h"
#include "supervision/collection.h"
#include "supervision/link.h"
#include "supervision/port_power.h"
#include "supervision/readings.h"

namespace {

constexpr std::uint8_t first_port = 0;

enum class queue_pass { idle, applied };

queue_pass apply_queued_change(supervision_state& state) REQUIRES(controller_user) EXCLUDES(g_mutex_poe_tick_thread) {
    unsigned char poe_internal_rx_buf_thread[longest_set_record];
    int poe_internal_rx_buf_thread_len = sizeof poe_internal_rx_buf_thread;
    if (poe_internal_rx_queue_data(poe_internal_rx_buf_thread, &poe_internal_rx_buf_thread_len) != 0) {
        return queue_pass::idle;
    }
    if (poe_talk_with_kernel_ipc_proccess(poe_internal_rx_buf_thread, poe_internal_rx_buf_thread_len) != 0) {
        state.port = first_port;
    }
    return queue_pass::applied;
}

// A port that was switched off automatically gets its power back once nothing is plugged into it any more.
void end_auto_off_when_unplugged(supervision_state& state) REQUIRES(controller_user) {
    if (utilBitmapCheck(&g_port_pwr_auto_off, state.port) != 1) return;
    poe_drv_port_status_get(state.port, state.last_link);
    if (state.last_link != link_down) return;
    poe_set_port_power_state(state.port, static_cast<std::uint8_t>(port_need_read_info(state.port)));
    utilBitmapClear(&g_port_pwr_auto_off, state.port);
}

void poll_port(supervision_state& state) REQUIRES(controller_user) {
    end_auto_off_when_unplugged(state);
    if (port_need_read_info(state.port) == 1) {
        port_read_info(state.port);
    } else {
        read_temperature_only(state.port);
    }
}

void poll_disabled_system() REQUIRES(controller_user) {
    for (std::uint8_t port = 0; port < port_count; port++)
        read_temperature_only(port);
}

// A limit that the controller does not tell stays as the previous sweep had it; a temperature becomes 0.
void end_sweep(supervision_state& state) REQUIRES(controller_user) EXCLUDES(g_mutex_poe_tick_thread) {
    poe_get_system_measurments(nullptr, &state.limit, nullptr, nullptr, &state.temperature);
    state.port = first_port;
    {
        const tick_lock held;
        g_sys_pwr_stu.total_mw = state.limit * record_scale;
        g_sys_pwr_stu.supply = state.temperature * record_scale;
    }
    port_read_info_to_global_stu();
}

}  // namespace

supervision_state begin_supervision() {
    const tick_lock held;
    const std::uint32_t limit = g_sys_pwr_stu.total_mw / record_scale;
    const std::uint32_t largest = std::numeric_limits<std::uint16_t>::max();
    return {.port = first_port,
            .last_link = link_down,
            .limit = static_cast<std::uint16_t>(std::min(limit, largest)),
            .temperature = 0};
}

void supervise_once(supervision_state& state) {
    if (apply_queued_change(state) == queue_pass::applied) return;
    if (poe_do_reenable_port_power() == 1) {
        state.port = first_port;
        return;
    }
    if (g_sys_pwr_pmt.enable.get() == 0) {
        poll_disabled_system();
        end_sweep(state);
        return;
    }
    poll_port(state);
    state.port++;
    if (state.port >= port_count) end_sweep(state);
}

void* poe_talk_with_kernel_thread(void*) {
    i_am_the(controller_user);
    supervision_state state = begin_supervision();
    for (;;)
        supervise_once(state);
}
