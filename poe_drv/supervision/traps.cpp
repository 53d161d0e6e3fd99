#include "supervision/traps.h"

#include "core/paths.h"
#include "platform/orv_com.h"
#include "platform/system.h"

poe_drv_msg g_poe_drv_msg;

namespace {

// The agent knows a message of this daemon by its first five bytes.
constexpr std::array<std::uint8_t, 5> trap_header{0xAB, 0x31, 0x12, 0x83, 0x07};

struct trap_message {
    std::array<std::uint8_t, trap_header.size()> header;  // 0
    poe_drv_msg body;                                     // 5
};
static_assert(wire_record<trap_message, 21>);

constexpr bool are_the_two_channels(trap_kind one, trap_kind other) {
    return (one == trap_kind::channel_a && other == trap_kind::channel_b) ||
           (one == trap_kind::channel_b && other == trap_kind::channel_a);
}

}  // namespace

void clear_poe_drv_msg() {
    g_poe_drv_msg = {};
}

void poe_drv_msg_log_port_status(std::uint8_t port, trap_kind kind, std::uint8_t status) {
    if (port >= port_count) return;
    utilBitmapSet(&g_poe_drv_msg.ports, port);
    trap_kind& logged = g_poe_drv_msg.kind[port];
    logged = are_the_two_channels(logged, kind) ? trap_kind::both_channels : kind;
    auto& statuses = kind == trap_kind::channel_b ? g_poe_drv_msg.status_b : g_poe_drv_msg.status;
    statuses[port] = status;
}

void poe_drv_msg_log_system_status(std::uint32_t consumed_mw) {
    g_poe_drv_msg.usage_alarm = 1;
    g_poe_drv_msg.consumed_w = static_cast<std::uint16_t>(consumed_mw / mw_per_watt);
}

void poe_drv_trap_send() {
    const trap_message message{.header = trap_header, .body = g_poe_drv_msg};
    pipe_send(trap_pipe_path, &message, sizeof message);
}

void pipe_send(const char* path, const void* buffer, std::size_t length) {
    if (buffer == nullptr) return;
    const int pipe = system_open_pipe(path);
    if (pipe < 0) return;
    system_write(pipe, buffer, length);
    system_close(pipe);
}
