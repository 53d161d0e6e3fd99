// Traps to the SNMP agent: one message a sweep at most, 21 bytes written into the agent's pipe in one write. A trap
// that cannot be delivered is lost, silently, and never repeated.
//
// Supervision thread, during the collection of a sweep.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/locks.h"
#include "core/records.h"
#include "core/wire.h"
#include "supervision/status_codes.h"

// Whose change an entry reports.
enum class trap_kind : std::uint8_t { port = 0, channel_a = 1, channel_b = 2, both_channels = 3 };

// What happened in this sweep, as the agent reads it.
struct poe_drv_msg {
    std::uint8_t ports;                             //  0  bit n = port n has an entry
    std::array<trap_kind, port_count> kind;         //  1
    std::array<std::uint8_t, port_count> status;    //  5  system_status of the port, or of channel A
    std::array<std::uint8_t, port_count> status_b;  //  9  system_status of channel B
    std::uint8_t usage_alarm;                       // 13  1 = usage reached its threshold
    le16 consumed_w;                                // 14  set with the alarm
};
static_assert(wire_record<poe_drv_msg, 16> && offsetof(poe_drv_msg, consumed_w) == 14);

extern poe_drv_msg g_poe_drv_msg GUARDED_BY(controller_user);

void clear_poe_drv_msg() REQUIRES(controller_user);

// Adds one port's event; a second channel's event joins the first's.
void poe_drv_msg_log_port_status(std::uint8_t port, trap_kind kind, std::uint8_t status) REQUIRES(controller_user);

// Adds the usage alarm.
void poe_drv_msg_log_system_status(std::uint32_t consumed_mw) REQUIRES(controller_user);

// Sends what was added.
void poe_drv_trap_send() REQUIRES(controller_user);

// Writes `length` bytes into a named pipe, if somebody made it and there is room.
void pipe_send(const char* path, const void* buffer, std::size_t length);
