// One function a write command of the controller. Each builds its request, asks once through the transport, reports a
// failure under its own name and returns 0 or a negative controller status; -14 when the controller answered but
// refused the setting (a 1 in a result byte).
#pragma once

#include <array>
#include <cstdint>

#include "core/locks.h"

// --- keys of _rtl_global_set ---
inline constexpr std::uint8_t key_global_power_off = 0x00;  // also clears every port's auto-off mark
inline constexpr std::uint8_t key_global_reset = 0x02;      // value 1; slow
inline constexpr std::uint8_t key_pm_method = 0x10;
inline constexpr std::uint8_t key_system_mask = 0x11;
inline constexpr std::uint8_t key_event_code = 0x16;

// --- keys of _rtl_port_set ---
inline constexpr std::uint8_t key_port_power_state = 0x01;  // 0 off, 1 on, 0xFF unknown
inline constexpr std::uint8_t key_port_power_limit = 0x14;  // steps of 400 mW
inline constexpr std::uint8_t key_port_priority = 0x15;     // 3 critical, 2 high, 0 low
inline constexpr std::uint8_t key_inline_mode_08 = 0x08;
inline constexpr std::uint8_t key_inline_mode_0f = 0x0F;
inline constexpr std::uint8_t key_inline_mode_0c = 0x0C;
inline constexpr std::uint8_t key_inline_mode_12 = 0x12;
inline constexpr std::uint8_t key_inline_mode_18 = 0x18;

// One (port, value) pair of a port setting; an empty one is 0xFF in both.
inline constexpr std::uint8_t empty_pair = 0xFF;
using four_bytes = std::array<std::uint8_t, 4>;

int _rtl_global_set(std::uint8_t key, std::uint8_t value) REQUIRES(controller_user);

// `power` in 0.1 W; `extra` is always 0 in this daemon.
int _rtl_global_power_source_set(std::uint8_t bank, std::uint16_t power, std::uint16_t extra) REQUIRES(controller_user);

int _rtl_port_mapping_enable_set(std::uint8_t enable, std::uint8_t count) REQUIRES(controller_user);

int _rtl_port_pair_mapping_set(std::uint8_t port, std::uint8_t count, std::uint8_t device, std::uint8_t pair_a,
                               std::uint8_t pair_b) REQUIRES(controller_user);

// Voltage thresholds in 0.1 V. The upper one goes where its reading command does not look for it.
int _rtl_global_parameters_set(std::uint16_t lower, std::uint16_t upper) REQUIRES(controller_user);

// Four (port, value) pairs in one frame. A power command cancels the auto-off mark of every port that it names. Names
// each port that the controller refused on standard error.
int _rtl_port_set(std::uint8_t key, const four_bytes& ports, const four_bytes& values) REQUIRES(controller_user);

int _rtl_cfg_info_save() REQUIRES(controller_user);
int _rtl_cfg_info_clear() REQUIRES(controller_user);

// Nothing in the daemon calls it.
int _rtl_cfg_ver_save(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d, std::uint8_t e)
    REQUIRES(controller_user);
