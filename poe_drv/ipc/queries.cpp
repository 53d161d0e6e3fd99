// Answers from the shared records. Each handler copies what it tells within one hold of the tick lock, so that a reply
// shows one moment, and composes and sends it after the lock is released.
#include <array>

#include "core/diagnostics.h"
#include "core/records.h"
#include "core/tick.h"
#include "ipc/handlers.h"
#include "ipc/reply.h"
#include "ipc/status_blocks.h"
#include "platform/orv_com.h"

static_assert(port_count == ipc_port_count);

namespace {

port_parameter_block parameters_of(std::size_t port) REQUIRES(g_mutex_poe_tick_thread) {
    const port_pmt& stored = g_port_pmt[port];
    port_parameter_block block{};
    block.Port_Number = stored.Port_Number.get();
    block.Port_Enable = stored.Port_Enable.get();
    block.Power_Priority = stored.Power_Priority.get();
    block.Schedule_Enable = stored.Schedule_Enable.get();
    block.PoE_Mode = stored.PoE_Mode.get();
    block.Re_Enable_Val = stored.Re_Enable_Val.get();
    block.Power_Limit_Val = stored.Power_Limit_Val.get();
    return block;
}

port_snapshot snapshot_of(std::size_t port) REQUIRES(g_mutex_poe_tick_thread) {
    return {.status = g_port_stu[port],
            .Port_Enable = g_port_pmt[port].Port_Enable.get(),
            .Schedule_Enable = g_port_pmt[port].Schedule_Enable.get(),
            .Sch_On_Off = g_port_pmt[port].Sch_On_Off.get(),
            .auto_off = utilBitmapCheck(&g_port_pwr_auto_off, static_cast<int>(port)) != 0};
}

using all_port_snapshot = std::array<port_snapshot, port_count>;

all_port_snapshot snapshot_of_all_ports() REQUIRES(g_mutex_poe_tick_thread) {
    all_port_snapshot ports;
    for (std::size_t port = 0; port < port_count; port++)
        ports[port] = snapshot_of(port);
    return ports;
}

std::array<port_status_block, port_count> status_blocks_of(const all_port_snapshot& ports) {
    std::array<port_status_block, port_count> blocks;
    for (std::size_t port = 0; port < port_count; port++)
        blocks[port] = port_status_block_of(ports[port]);
    return blocks;
}

// The reply to a request for a port that does not exist: full length, nothing in it.
template <typename message>
int refuse(int socket, const void* peer, message reply) {
    reply.envelope.result = result_rejected;
    send_reply(socket, peer, reply);
    return request_rejected;
}

}  // namespace

int poe_drv_ipc_reply_get_sys_pwr_pmt(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<system_parameters_message>(ipc_type::get_sys_pwr_pmt);
    {
        const tick_lock held;
        reply.block.enable = g_sys_pwr_pmt.enable.get();
        reply.block.parameter_1 = g_sys_pwr_pmt.parameter_1.get();
        reply.block.parameter_2 = g_sys_pwr_pmt.parameter_2.get();
        reply.block.usage_threshold = g_sys_pwr_pmt.usage_threshold.get();
        reply.block.parameter_4 = g_sys_pwr_pmt.parameter_4.get();
        reply.block.parameter_5 = g_sys_pwr_pmt.parameter_5.get();
    }
    const int result_send = send_reply(socket, peer, reply);
    if (result_send == send_failed) {
        say("[%s , %s() , %d]: result_send=(%d)\n", diagnostics_file_name, __func__, __LINE__, result_send);
    }
    return request_served;
}

int poe_drv_ipc_reply_get_one_port_pmt(int socket, const void* peer, unsigned char* payload, int) {
    auto reply = blank_reply<one_port_parameters_message>(ipc_type::get_one_port_pmt);
    const std::uint8_t port = payload[0];
    if (port >= port_count) return refuse(socket, peer, reply);
    {
        const tick_lock held;
        reply.block = parameters_of(port);
    }
    reply.block.Port_Number = port;
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_reply_get_all_port_pmt(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<all_port_parameters_message>(ipc_type::get_all_port_pmt);
    {
        const tick_lock held;
        for (std::size_t port = 0; port < port_count; port++)
            reply.block[port] = parameters_of(port);
    }
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_reply_get_sys_pwr_stu(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<system_status_message>(ipc_type::get_sys_pwr_stu);
    sys_pwr_stu system;
    {
        const tick_lock held;
        system = g_sys_pwr_stu;
    }
    reply.system = system_status_block_of(system);
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_reply_get_one_port_stu(int socket, const void* peer, unsigned char* payload, int) {
    auto reply = blank_reply<one_port_status_message>(one_port_stu_reply_type);
    const std::uint8_t port = payload[0];
    if (port >= port_count) return refuse(socket, peer, reply);
    port_snapshot snapshot;
    {
        const tick_lock held;
        snapshot = snapshot_of(port);
    }
    reply.port = port_status_block_of(snapshot);
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_reply_get_all_port_stu(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<all_port_status_message>(all_port_stu_reply_type);
    all_port_snapshot ports;
    {
        const tick_lock held;
        ports = snapshot_of_all_ports();
    }
    reply.port = status_blocks_of(ports);
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_reply_get_combine_sys_port_stu(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<combined_status_message>(ipc_type::get_combine_sys_port_stu);
    sys_pwr_stu system;
    all_port_snapshot ports;
    {
        const tick_lock held;
        system = g_sys_pwr_stu;
        ports = snapshot_of_all_ports();
    }
    reply.system = system_status_block_of(system);
    reply.port = status_blocks_of(ports);
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_reply_get_pwr_bnk_pmt(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<power_bank_message>(ipc_type::get_pwr_bnk_pmt);
    pwr_bnk_pmt bank;
    {
        const tick_lock held;
        bank = g_pwr_bnk_pmt.get();
    }
    reply.limit_w = bank.limit_w;
    reply.second = bank.second;
    send_reply(socket, peer, reply);
    return request_served;
}

int poe_drv_ipc_reply_get_re_enable_port_info(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<re_enable_message>(ipc_type::get_re_enable_port_info);
    reply.now_tick = get_poe_tick();
    std::array<port_pwr_re_en, port_count> ports;
    {
        const tick_lock held;
        ports = g_port_pwr_re_en;
    }
    for (std::size_t port = 0; port < port_count; port++)
        reply.entry[port] = re_enable_entry_of(ports[port]);
    send_reply(socket, peer, reply);
    return request_served;
}
