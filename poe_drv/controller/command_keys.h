// Byte 0 of a request: the command. The keys of the two commands that set several things, _rtl_global_set and
// _rtl_port_set, are in settings.h. Byte 1, the selector, is 0 but for the commands named below.
#pragma once

#include <cstdint>

// --- settings ---
inline constexpr std::uint8_t key_power_source_set = 0x04;
inline constexpr std::uint8_t key_port_mapping_enable = 0x05;
inline constexpr std::uint8_t key_port_pair_mapping = 0x06;
inline constexpr std::uint8_t key_parameters_set = 0x0E;

// --- queries ---
inline constexpr std::uint8_t key_global_status = 0x40;
inline constexpr std::uint8_t key_global_power_status = 0x41;
inline constexpr std::uint8_t key_port_status = 0x42;
inline constexpr std::uint8_t key_port_group_status = 0x43;
inline constexpr std::uint8_t key_port_measurement = 0x44;
inline constexpr std::uint8_t key_port_mib_counter = 0x45;
inline constexpr std::uint8_t key_port_event_status = 0x46;
inline constexpr std::uint8_t key_reset_reason = 0x47;
inline constexpr std::uint8_t key_port_basic_cfg = 0x48;
inline constexpr std::uint8_t key_port_extended_cfg = 0x49;
inline constexpr std::uint8_t key_parameters_get = 0x4A;
inline constexpr std::uint8_t key_pm_cfg = 0x4B;  // the selector is the power bank
inline constexpr std::uint8_t key_device_addr = 0x4C;
inline constexpr std::uint8_t key_channel_status = 0x4E;
inline constexpr std::uint8_t key_channel_vol_cur = 0x4F;
inline constexpr std::uint8_t key_chip_type_info = 0x4F;  // the controller knows the two by one key

// --- the configuration store: the selector says what to do with it ---
inline constexpr std::uint8_t key_configuration_store = 0xC0;
inline constexpr std::uint8_t store_save = 1;
inline constexpr std::uint8_t store_clear = 2;
inline constexpr std::uint8_t store_save_version = 3;
inline constexpr std::uint8_t store_get_version = 4;

inline constexpr std::uint8_t no_selector = 0;
