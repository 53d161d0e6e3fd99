// The statistics requests: configuration, one port's history, all ports' totals, clearing, made-up history. Their
// declarations are in ipc/handlers.h. Main thread; the tick lock is held while records are copied or changed, never
// while a reply is put together or sent. A reply that cannot be sent is lost without a word.
#include <cstddef>

#include "core/locks.h"
#include "ipc/handlers.h"
#include "ipc/protocol.h"
#include "ipc/reply.h"
#include "platform/orv_com.h"
#include "platform/system.h"
#include "stats/averages.h"
#include "stats/flash_file.h"
#include "stats/made_up_history.h"
#include "stats/record.h"

namespace {

port_stats port_stats_now(std::size_t port) EXCLUDES(g_mutex_poe_tick_thread) {
    const tick_lock held;
    return g_port_stats[port];
}

port_stats_records all_port_stats_now() EXCLUDES(g_mutex_poe_tick_thread) {
    const tick_lock held;
    return g_port_stats;
}

std::uint64_t fill_ring(std::span<const stats_slot> slots, std::span<ring_entry> entries) {
    std::uint64_t start_s = 0;
    portStatsDataSorting(slots, entries, start_s);
    return start_s;
}

void fill_history(one_port_statistics_message& reply, const port_stats& record) {
    reply.powered_s = record.powered_s;
    reply.energy_wh = energy_in_wh(record.energy_mws);
    reply.minutes_start = fill_ring(record.minutes, reply.minutes);
    reply.half_hours_start = fill_ring(record.half_hours, reply.half_hours);
    reply.two_hours_start = fill_ring(record.two_hours, reply.two_hours);
}

average_pair average_of(std::span<const stats_slot> slots) {
    ring_average average;
    calAvgWatt(slots, average);
    average_pair pair{};
    pair.valid = average.valid;
    pair.average_w = average.average_w;
    return pair;
}

energy_summary summary_of(const port_stats& record) {
    energy_summary summary{};
    summary.powered_s = record.powered_s;
    summary.energy_wh = energy_in_wh(record.energy_mws);
    summary.minutes = average_of(record.minutes);
    summary.half_hours = average_of(record.half_hours);
    summary.two_hours = average_of(record.two_hours);
    return summary;
}

// A total is valid as soon as one port's average is; the averages of the others count as 0.
void add_average(average_pair& total, const average_pair& average) {
    total.valid = total.valid | average.valid;
    total.average_w = total.average_w + average.average_w;
}

void add_summary(energy_summary& total, const energy_summary& summary) {
    total.powered_s = total.powered_s + summary.powered_s;
    total.energy_wh = total.energy_wh + summary.energy_wh;
    add_average(total.minutes, summary.minutes);
    add_average(total.half_hours, summary.half_hours);
    add_average(total.two_hours, summary.two_hours);
}

}  // namespace

int poe_drv_ipc_reply_get_port_stats_cfg(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<statistics_configuration_message>(ipc_type::get_port_stats_cfg);
    {
        const tick_lock held;
        reply.enable = g_port_stats_cfg.enable;
    }
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_request_set_port_stats_cfg(int socket, const void* peer, unsigned char* message, int) {
    const auto request = record_from<statistics_configuration_message>(message);
    {
        const tick_lock held;
        g_port_stats_cfg.enable = request.enable;
        if (request.enable == statistics_on) {
            statistics_file_when_enabled();
        } else {
            statistics_file_when_disabled();
        }
    }
    send_acknowledgement(socket, peer, ipc_type::set_port_stats_cfg, result_accepted);
    return request_served;
}

int poe_drv_ipc_reply_get_one_port_statistics(int socket, const void* peer, unsigned char* message, int) {
    const std::uint32_t port = record_from<le32>(message + offsetof(one_port_statistics_message, port));
    auto reply = blank_reply<one_port_statistics_message>(ipc_type::get_one_port_statistics);
    if (port >= port_count) {
        reply.envelope.result = result_rejected;
        send_reply(socket, peer, reply);
        return request_rejected;
    }
    reply.port = port;
    fill_history(reply, port_stats_now(port));
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_reply_get_all_port_statistics(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<all_port_statistics_message>(ipc_type::get_all_port_statistics);
    const port_stats_records records = all_port_stats_now();
    for (std::size_t port = 0; port < port_count; port++) {
        reply.port[port] = summary_of(records[port]);
        add_summary(reply.totals, reply.port[port]);
    }
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_request_clear_multi_port_stats(int socket, const void* peer, unsigned char* message, int) {
    const auto request = record_from<port_bitmap_message>(message);
    {
        const tick_lock held;
        for (std::size_t port = 0; port < port_count; port++) {
            if (utilBitmapCheck(&request.ports, static_cast<int>(port)) != 0) clear_port_stats(port);
        }
        statistics_file_when_cleared();
    }
    send_acknowledgement(socket, peer, ipc_type::clear_multi_port_stats, result_accepted);
    return request_served;
}

int poe_drv_ipc_request_set_fake_port_stats_data(int socket, const void* peer, unsigned char* message, int) {
    const auto request = record_from<fake_statistics_message>(message);
    const slot_time now{.wall_clock_s = system_wall_clock_s(), .uptime_s = system_uptime_s()};
    const history_extent extent = history_extent_of(request.minutes);
    {
        const tick_lock held;
        for (std::size_t port = 0; port < port_count; port++)
            make_up_history(g_port_stats[port], port, extent, now);
    }
    send_acknowledgement(socket, peer, ipc_type::set_fake_port_stats_data, result_accepted);
    return request_served;
}
