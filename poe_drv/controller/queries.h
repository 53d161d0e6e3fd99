// One function a read command of the controller. Each builds its request, asks once through the transport, decodes the
// answer into the caller's record only when the status is 0, reports a failure under its own name and returns the
// status.
#pragma once

#include <cstdint>

#include "controller/answers.h"
#include "core/locks.h"

int _rtl_global_status_get(global_status& status) REQUIRES(controller_user);
int _rtl_global_power_status_get(global_power_status& status) REQUIRES(controller_user);
int _rtl_port_status_get(std::uint8_t port, port_status& status) REQUIRES(controller_user);
int _rtl_port_measurement_get(std::uint8_t port, port_measurement& measurement) REQUIRES(controller_user);
int _rtl_port_mib_counter_get(std::uint8_t port, port_mib_counters& counters) REQUIRES(controller_user);
int _rtl_port_basic_cfg_get(std::uint8_t port, port_basic_cfg& cfg) REQUIRES(controller_user);
int _rtl_port_extended_cfg_get(std::uint8_t port, port_extended_cfg& cfg) REQUIRES(controller_user);
int _rtl_global_parameters_get(global_parameters& parameters) REQUIRES(controller_user);
int _rtl_global_pm_cfg_get(std::uint8_t bank, global_pm_cfg& cfg) REQUIRES(controller_user);
int _rtl_channel_status_get(std::uint8_t channel, channel_status& status) REQUIRES(controller_user);
int _rtl_port_channel_vol_cur_get(std::uint8_t channel, channel_vol_cur& measurement) REQUIRES(controller_user);

// Part of the command set; nothing in the daemon calls these.
int _rtl_port_group_status_get(std::uint8_t index, port_group_status& status) REQUIRES(controller_user);
int _rtl_port_event_status_get(std::uint8_t index, port_event_status& status) REQUIRES(controller_user);
int _rtl_global_reset_reason_get(std::uint8_t index, reset_reason& reason) REQUIRES(controller_user);
int _rtl_global_device_addr_get(std::uint8_t index, device_address& address) REQUIRES(controller_user);
int _rtl_system_chip_type_info_get(std::uint8_t index, chip_type_info& info) REQUIRES(controller_user);
int _rtl_cfg_ver_get(cfg_version& version) REQUIRES(controller_user);
