// The CPLD's registers, reached through its character device: opened, asked once and closed again at each access.
// The main thread uses it at start-up, the supervision thread afterwards; no lock is needed. Failures are said on
// standard error and nothing more: the caller goes on as if the access had happened.
#pragma once

#include <cstdint>

// Register 10: bit p lights port p's LED, bit p + 4 makes it blink.
inline constexpr std::uint8_t cpld_led_register = 10;
inline constexpr int cpld_led_blink_shift = 4;
// Register 9: inline mode, a bit a port.
inline constexpr std::uint8_t cpld_inline_mode_register = 9;

// Changes the bits of a register that are set in `mask` to those of `value`.
void __poe_drv_cpld_write_mask(std::uint8_t register_number, std::uint8_t value, std::uint8_t mask);

// Reads a register; `value` is left as it was when that fails.
void __poe_drv_cpld_read(std::uint8_t register_number, std::uint8_t& value);
