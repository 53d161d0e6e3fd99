// Answers of the controller into values, and values into what the controller takes. Knows nothing but its arguments;
// any thread.
#pragma once

#include <cstdint>

#include "controller/answers.h"
#include "controller/frame.h"

// --- units ---

// The controller counts voltages in steps of 64.45 mV; the daemon in tenths of a volt.
inline constexpr double tenth_volts_per_count = 0.6445;

// A floating value as an integer: truncated to a signed 32-bit one, of which the low bits remain. Every conversion of a
// 16-bit count stays far inside 32 bits.
constexpr std::uint16_t truncated_to_16_bits(double value) {
    return static_cast<std::uint16_t>(static_cast<std::int32_t>(value));
}
constexpr std::uint8_t truncated_to_8_bits(double value) {
    return static_cast<std::uint8_t>(static_cast<std::int32_t>(value));
}

std::uint16_t tenth_volts(std::uint16_t count);

// Tenths of a degree Celsius: 125.0 degrees at count 120, 1.25 less with each count.
std::uint16_t tenth_degrees(std::uint16_t count);

// The voltage thresholds: tenths of a volt from the controller's byte, and back.
std::uint16_t lower_threshold(std::uint8_t count);
std::uint16_t upper_threshold(std::uint8_t count);
std::uint8_t lower_threshold_count(std::uint16_t tenth_volts);
std::uint8_t upper_threshold_count(std::uint16_t tenth_volts);

// --- one for each record ---

// These two add to the 16-bit fields what the answer holds, so they start from a zeroed record.
void decode(const controller_frame& answer, global_status& status);
void decode(const controller_frame& answer, global_power_status& status);

void decode(const controller_frame& answer, port_status& status);
void decode(const controller_frame& answer, port_group_status& status);
void decode(const controller_frame& answer, port_measurement& measurement);
void decode(const controller_frame& answer, port_mib_counters& counters);
void decode(const controller_frame& answer, port_event_status& status);
void decode(const controller_frame& answer, reset_reason& reason);
void decode(const controller_frame& answer, port_basic_cfg& cfg);
void decode(const controller_frame& answer, port_extended_cfg& cfg);
void decode(const controller_frame& answer, global_parameters& parameters);
void decode(const controller_frame& answer, global_pm_cfg& cfg);
void decode(const controller_frame& answer, device_address& address);
void decode(const controller_frame& answer, channel_status& status);
void decode(const controller_frame& answer, channel_vol_cur& measurement);
void decode(const controller_frame& answer, chip_type_info& info);
void decode(const controller_frame& answer, cfg_version& version);
