#include "controller/queries.h"

#include "controller/command.h"

namespace {

constexpr std::uint8_t read_event_counters = 1;  // the second data byte of the event counter query

}  // namespace

int _rtl_global_status_get(global_status& status) {
    return query({__func__, __LINE__}, blank_request(key_global_status, no_selector), status);
}

int _rtl_global_power_status_get(global_power_status& status) {
    return query({__func__, __LINE__}, blank_request(key_global_power_status, no_selector), status);
}

int _rtl_port_status_get(std::uint8_t port, port_status& status) {
    return query({__func__, __LINE__}, blank_request(key_port_status, no_selector, {port}), status);
}

int _rtl_port_group_status_get(std::uint8_t index, port_group_status& status) {
    return query({__func__, __LINE__}, blank_request(key_port_group_status, no_selector, {index}), status);
}

int _rtl_port_measurement_get(std::uint8_t port, port_measurement& measurement) {
    return query({__func__, __LINE__}, blank_request(key_port_measurement, no_selector, {port}), measurement);
}

int _rtl_port_mib_counter_get(std::uint8_t port, port_mib_counters& counters) {
    return query({__func__, __LINE__}, blank_request(key_port_mib_counter, no_selector, {port, read_event_counters}),
                 counters);
}

int _rtl_port_event_status_get(std::uint8_t index, port_event_status& status) {
    return query({__func__, __LINE__}, blank_request(key_port_event_status, no_selector, {index}), status);
}

int _rtl_global_reset_reason_get(std::uint8_t index, reset_reason& reason) {
    return query({__func__, __LINE__}, blank_request(key_reset_reason, no_selector, {index}), reason);
}

int _rtl_port_basic_cfg_get(std::uint8_t port, port_basic_cfg& cfg) {
    return query({__func__, __LINE__}, blank_request(key_port_basic_cfg, no_selector, {port}), cfg);
}

int _rtl_port_extended_cfg_get(std::uint8_t port, port_extended_cfg& cfg) {
    return query({__func__, __LINE__}, blank_request(key_port_extended_cfg, no_selector, {port}), cfg);
}

int _rtl_global_parameters_get(global_parameters& parameters) {
    return query({__func__, __LINE__}, blank_request(key_parameters_get, no_selector), parameters);
}

int _rtl_global_pm_cfg_get(std::uint8_t bank, global_pm_cfg& cfg) {
    return query({__func__, __LINE__}, blank_request(key_pm_cfg, bank), cfg);
}

int _rtl_global_device_addr_get(std::uint8_t index, device_address& address) {
    return query({__func__, __LINE__}, blank_request(key_device_addr, no_selector, {index}), address);
}

int _rtl_channel_status_get(std::uint8_t channel, channel_status& status) {
    return query({__func__, __LINE__}, blank_request(key_channel_status, no_selector, {channel}), status);
}

int _rtl_port_channel_vol_cur_get(std::uint8_t channel, channel_vol_cur& measurement) {
    return query({__func__, __LINE__}, blank_request(key_channel_vol_cur, no_selector, {channel}), measurement);
}

int _rtl_system_chip_type_info_get(std::uint8_t index, chip_type_info& info) {
    return query({__func__, __LINE__}, blank_request(key_chip_type_info, no_selector, {index}), info);
}

int _rtl_cfg_ver_get(cfg_version& version) {
    return query({__func__, __LINE__}, blank_request(key_configuration_store, store_get_version), version);
}
