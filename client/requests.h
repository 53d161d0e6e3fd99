// Every message of the daemon as one blocking call. One thread at a time on one connection.
//
// A query that is not answered in time is asked once more; a setting never is, because the first one may have been
// taken. A setting that is ok() was accepted: the daemon applies it next, in the order of arrival.
#pragma once

#include "poe_client/connection.h"
#include "poe_client/result.h"
#include "poe_client/types.h"

namespace poe_client {

result<system_settings> get_system_settings(connection& daemon);
result<port_settings> get_port_settings(connection& daemon, std::uint8_t port);
result<std::array<port_settings, port_count>> get_all_port_settings(connection& daemon);
result<system_status> get_system_status(connection& daemon);
result<port_status> get_port_status(connection& daemon, std::uint8_t port);
result<std::array<port_status, port_count>> get_all_port_status(connection& daemon);
result<whole_status> get_whole_status(connection& daemon);
result<communication_counters> get_communication_counters(connection& daemon);
result<std::uint32_t> get_deepest_queue(connection& daemon);
result<power_bank> get_power_bank(connection& daemon);
result<power_cycles> get_power_cycles(connection& daemon);
result<bool> get_energy_recording(connection& daemon);
result<port_energy> get_port_energy(connection& daemon, std::uint8_t port);
result<energy_summary> get_energy_summary(connection& daemon);

failure clear_energy(connection& daemon, port_bitmap ports);
failure set_system(connection& daemon, const system_settings_change& change);
failure set_port(connection& daemon, std::uint8_t port, const port_settings_change& change);
failure set_all_ports(connection& daemon, const std::array<port_settings_change, port_count>& changes);
failure set_all_ports_same(connection& daemon, const port_settings_change& change);  // nothing may be left out
failure set_schedule(connection& daemon, std::uint8_t port, schedule_state state);
failure set_all_schedules(connection& daemon, const std::array<schedule_state, port_count>& states);
failure set_power_bank(connection& daemon, const power_bank& bank);
failure power_cycle(connection& daemon, port_bitmap ports);
failure set_energy_recording(connection& daemon, bool enable);
failure inject_energy_history(connection& daemon, std::uint32_t minutes);  // made-up history, to test displays

}  // namespace poe_client
