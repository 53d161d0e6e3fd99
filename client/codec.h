// Requests as bytes and replies as values: every message of the wire, without a socket. Pure; any thread.
//
// A decode function judges what was received as an answer to one request. It reads nothing outside the bytes it is
// given, whatever they are.
#pragma once

#include <array>
#include <cstdint>

#include "ipc/protocol.h"
#include "poe_client/result.h"
#include "poe_client/types.h"
#include "poe_client/verdict.h"

namespace poe_client {

template <typename answer>
struct decoded {
    verdict said;
    answer value{};  // only when accepted
};

// --- queries ---

datagram encode_get_system_settings();                 // type 0
datagram encode_get_port_settings(std::uint8_t port);  // type 1
datagram encode_get_all_port_settings();               // type 2
datagram encode_get_system_status();                   // type 5
datagram encode_get_port_status(std::uint8_t port);    // type 6
datagram encode_get_all_port_status();                 // type 7
datagram encode_get_whole_status();                    // type 11
datagram encode_get_communication_counters();          // type 12
datagram encode_get_deepest_queue();                   // type 13
datagram encode_get_power_bank();                      // type 14
datagram encode_get_power_cycles();                    // type 15
datagram encode_get_energy_recording();                // type 16
datagram encode_get_port_energy(std::uint8_t port);    // type 17
datagram encode_get_energy_summary();                  // type 18

decoded<system_settings> decode_system_settings(received_bytes reply);
decoded<port_settings> decode_port_settings(received_bytes reply, std::uint8_t port);
decoded<std::array<port_settings, port_count>> decode_all_port_settings(received_bytes reply);
decoded<system_status> decode_system_status(received_bytes reply);
decoded<port_status> decode_port_status(received_bytes reply, std::uint8_t port);
decoded<std::array<port_status, port_count>> decode_all_port_status(received_bytes reply);
decoded<whole_status> decode_whole_status(received_bytes reply);
decoded<communication_counters> decode_communication_counters(received_bytes reply);
decoded<std::uint32_t> decode_deepest_queue(received_bytes reply);
decoded<power_bank> decode_power_bank(received_bytes reply);
decoded<power_cycles> decode_power_cycles(received_bytes reply);
decoded<bool> decode_energy_recording(received_bytes reply);
decoded<port_energy> decode_port_energy(received_bytes reply, std::uint8_t port);
decoded<energy_summary> decode_energy_summary(received_bytes reply);

// --- settings: all answered by an acknowledgement ---

datagram encode_clear_energy(port_bitmap ports);                                             // type 83
datagram encode_set_system(const system_settings_change& change);                            // type 128
datagram encode_set_port(std::uint8_t port, const port_settings_change& change);             // type 129
datagram encode_set_all_ports(const std::array<port_settings_change, port_count>& changes);  // type 130
datagram encode_set_all_ports_same(const port_settings_change& change);                      // type 132
datagram encode_set_schedule(std::uint8_t port, schedule_state state);                       // type 137
datagram encode_set_all_schedules(const std::array<schedule_state, port_count>& states);     // type 138
datagram encode_set_power_bank(const power_bank& bank);                                      // type 142
datagram encode_power_cycle(port_bitmap ports);                                              // type 143
datagram encode_set_energy_recording(bool enable);                                           // type 144
datagram encode_inject_energy_history(std::uint32_t minutes);                                // type 148

decoded<acknowledgement> decode_acknowledgement(received_bytes reply, ipc_type request);

// --- figures ---

// The daemon multiplies the low 16 bits of a reading in tenths of a degree; below zero they stand for value + 65536.
std::int32_t temperature_mc_of(std::uint32_t wire_figure);

}  // namespace poe_client
