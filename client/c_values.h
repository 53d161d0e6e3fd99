// The library's values as the plain structures of poe_client.h, and back. Pure; any thread.
//
// Each function gives POE_CLIENT_OK and has written its second argument whole, or an error and has not.
#pragma once

#include <array>

#include "poe_client/poe_client.h"
#include "poe_client/types.h"

namespace poe_client {

// --- answers ---

int to_c(const system_settings& from, poe_client_system_settings* to);
int to_c(const port_settings& from, poe_client_port_settings* to);
int to_c(const std::array<port_settings, port_count>& from, poe_client_port_settings* to);
int to_c(const system_status& from, poe_client_system_status* to);
int to_c(const port_status& from, poe_client_port_status* to);
int to_c(const std::array<port_status, port_count>& from, poe_client_port_status* to);
int to_c(const whole_status& from, poe_client_whole_status* to);
int to_c(const communication_counters& from, poe_client_communication_counters* to);
int to_c(const std::uint32_t& from, std::uint32_t* to);
int to_c(const power_bank& from, poe_client_power_bank* to);
int to_c(const power_cycles& from, poe_client_power_cycles* to);
int to_c(const bool& from, std::uint8_t* to);
int to_c(const port_energy& from, poe_client_port_energy* to);
int to_c(const energy_summary& from, poe_client_energy_summary* to);

// --- changes: POE_CLIENT_USAGE for what no change says ---

int from_c(const poe_client_system_settings_change& from, system_settings_change* to);
int from_c(const poe_client_port_settings_change& from, port_settings_change* to);
int from_c(const poe_client_power_bank& from, power_bank* to);
int from_c(int from, schedule_state* to);

}  // namespace poe_client
