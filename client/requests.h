// Every message of the daemon, in two ways. One thread at a time on one connection.
//
//   get_port_status(daemon, 2)        sends, waits, and gives the answer or the failure
//   begin_get_port_status(daemon, 2)  sends; the answer is taken later (pending.h), for programs with a loop of their
//   own
//
// A query that is not answered in time is asked once more; a setting never is, because the first one may have been
// taken. A setting that is ok() was accepted: the daemon applies it next, in the order of arrival. What has become of
// it is seen by asking.
#pragma once

#include <array>
#include <cstdint>

#include "poe_client/connection.h"
#include "poe_client/pending.h"
#include "poe_client/result.h"
#include "poe_client/types.h"

namespace poe_client {

POE_CLIENT_API result<system_settings> get_system_settings(connection& daemon);
POE_CLIENT_API result<port_settings> get_port_settings(connection& daemon, std::uint8_t port);
POE_CLIENT_API result<std::array<port_settings, port_count>> get_all_port_settings(connection& daemon);
POE_CLIENT_API result<system_status> get_system_status(connection& daemon);
POE_CLIENT_API result<port_status> get_port_status(connection& daemon, std::uint8_t port);
POE_CLIENT_API result<std::array<port_status, port_count>> get_all_port_status(connection& daemon);
POE_CLIENT_API result<whole_status> get_whole_status(connection& daemon);
POE_CLIENT_API result<communication_counters> get_communication_counters(connection& daemon);
POE_CLIENT_API result<std::uint32_t> get_deepest_queue(connection& daemon);
POE_CLIENT_API result<power_bank> get_power_bank(connection& daemon);
POE_CLIENT_API result<power_cycles> get_power_cycles(connection& daemon);
POE_CLIENT_API result<bool> get_energy_recording(connection& daemon);
POE_CLIENT_API result<port_energy> get_port_energy(connection& daemon, std::uint8_t port);
POE_CLIENT_API result<energy_summary> get_energy_summary(connection& daemon);

POE_CLIENT_API failure clear_energy(connection& daemon, port_bitmap ports);
POE_CLIENT_API failure set_system(connection& daemon, const system_settings_change& change);
POE_CLIENT_API failure set_port(connection& daemon, std::uint8_t port, const port_settings_change& change);
POE_CLIENT_API failure set_all_ports(connection& daemon, const std::array<port_settings_change, port_count>& changes);
POE_CLIENT_API failure set_all_ports_same(connection& daemon,
                                          const port_settings_change& change);  // nothing may be left out
POE_CLIENT_API failure set_schedule(connection& daemon, std::uint8_t port, schedule_state state);
POE_CLIENT_API failure set_all_schedules(connection& daemon, const std::array<schedule_state, port_count>& states);
POE_CLIENT_API failure set_power_bank(connection& daemon, const power_bank& bank);
// A port that was disabled is enabled by it.
POE_CLIENT_API failure power_cycle(connection& daemon, port_bitmap ports);
POE_CLIENT_API failure set_energy_recording(connection& daemon, bool enable);
POE_CLIENT_API failure inject_energy_history(connection& daemon,
                                             std::uint32_t minutes);  // made-up history, to test displays

// --- the same, to be taken later ---

POE_CLIENT_API pending<system_settings> begin_get_system_settings(connection& daemon);
POE_CLIENT_API pending<port_settings> begin_get_port_settings(connection& daemon, std::uint8_t port);
POE_CLIENT_API pending<std::array<port_settings, port_count>> begin_get_all_port_settings(connection& daemon);
POE_CLIENT_API pending<system_status> begin_get_system_status(connection& daemon);
POE_CLIENT_API pending<port_status> begin_get_port_status(connection& daemon, std::uint8_t port);
POE_CLIENT_API pending<std::array<port_status, port_count>> begin_get_all_port_status(connection& daemon);
POE_CLIENT_API pending<whole_status> begin_get_whole_status(connection& daemon);
POE_CLIENT_API pending<communication_counters> begin_get_communication_counters(connection& daemon);
POE_CLIENT_API pending<std::uint32_t> begin_get_deepest_queue(connection& daemon);
POE_CLIENT_API pending<power_bank> begin_get_power_bank(connection& daemon);
POE_CLIENT_API pending<power_cycles> begin_get_power_cycles(connection& daemon);
POE_CLIENT_API pending<bool> begin_get_energy_recording(connection& daemon);
POE_CLIENT_API pending<port_energy> begin_get_port_energy(connection& daemon, std::uint8_t port);
POE_CLIENT_API pending<energy_summary> begin_get_energy_summary(connection& daemon);

POE_CLIENT_API pending<acknowledgement> begin_clear_energy(connection& daemon, port_bitmap ports);
POE_CLIENT_API pending<acknowledgement> begin_set_system(connection& daemon, const system_settings_change& change);
POE_CLIENT_API pending<acknowledgement> begin_set_port(connection& daemon, std::uint8_t port,
                                                       const port_settings_change& change);
POE_CLIENT_API pending<acknowledgement> begin_set_all_ports(
    connection& daemon, const std::array<port_settings_change, port_count>& changes);
POE_CLIENT_API pending<acknowledgement> begin_set_all_ports_same(connection& daemon,
                                                                 const port_settings_change& change);
POE_CLIENT_API pending<acknowledgement> begin_set_schedule(connection& daemon, std::uint8_t port, schedule_state state);
POE_CLIENT_API pending<acknowledgement> begin_set_all_schedules(connection& daemon,
                                                                const std::array<schedule_state, port_count>& states);
POE_CLIENT_API pending<acknowledgement> begin_set_power_bank(connection& daemon, const power_bank& bank);
POE_CLIENT_API pending<acknowledgement> begin_power_cycle(connection& daemon, port_bitmap ports);
POE_CLIENT_API pending<acknowledgement> begin_set_energy_recording(connection& daemon, bool enable);
POE_CLIENT_API pending<acknowledgement> begin_inject_energy_history(connection& daemon, std::uint32_t minutes);

}  // namespace poe_client
