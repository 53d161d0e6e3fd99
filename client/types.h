// What the daemon is asked and what it answers, as values. Plain data: any thread.
//
// Ports are 0..3, as on the wire; a person sees 1..4. Every quantity has its unit in its name: _mw milliwatts, _dw
// tenths of a watt, _w watts, _wh watt-hours, _mv millivolts, _ma milliamperes, _mc thousandths of a degree Celsius,
// _s seconds, _tick periods of the daemon's clock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace poe_client {

inline constexpr std::size_t port_count = 4;
inline constexpr std::size_t pair_set_count = 2;  // A and B
inline constexpr std::size_t event_total_count = 5;
inline constexpr std::size_t event_overload = 0;  // places in port_status::event_totals
inline constexpr std::size_t event_short_circuit = 1;
inline constexpr std::size_t event_power_denied = 2;
inline constexpr std::size_t event_disconnected = 3;
inline constexpr std::size_t event_bad_signature = 4;
inline constexpr std::uint8_t not_reported =
    255;  // a class, error code or sub-status that the port's state does not carry
inline constexpr std::uint32_t ticks_a_second = 5;  // of the daemon's clock

// --- settings ---

struct system_settings {
    std::int8_t enable;       // 0 = every port off
    std::int8_t parameter_1;  // parameters 1, 2, 4 and 5 are kept for other programs; requests cannot change 1
    std::int8_t parameter_2;
    std::int8_t threshold_percent;  // usage alarm, 1..99 percent of the budget
    std::int8_t parameter_4;
    std::int8_t parameter_5;
    bool operator==(const system_settings&) const = default;
};

// A change names what it changes; everything else stays.
struct system_settings_change {
    std::optional<std::int8_t> enable, parameter_1, parameter_2, threshold_percent, parameter_4, parameter_5;
    bool operator==(const system_settings_change&) const = default;
};

inline constexpr std::int8_t priority_critical = 1;
inline constexpr std::int8_t priority_high = 2;
inline constexpr std::int8_t priority_low = 3;

inline constexpr std::uint32_t mw_a_dw = 100;

// A power limit as the daemon takes it. Nothing when it is no whole number of tenths of a watt: a limit is never
// rounded.
constexpr std::optional<std::uint32_t> dw_of_mw(std::uint32_t power_mw) {
    return power_mw % mw_a_dw == 0 ? std::optional(power_mw / mw_a_dw) : std::nullopt;
}

struct port_settings {
    std::uint8_t port;
    std::int8_t enable;
    std::int8_t priority;
    std::int8_t schedule_enable;   // 1 = obeys its time schedule
    std::int8_t mode;              // 0..4
    std::int8_t re_enable_s;       // how long a power-cycle keeps the port off, 5..60
    std::uint32_t power_limit_dw;  // 10..900
    constexpr std::uint64_t power_limit_mw() const { return std::uint64_t{power_limit_dw} * mw_a_dw; }
    bool operator==(const port_settings&) const = default;
};

// The daemon refuses a change of the mode, the re-enable time or both without any of the others.
struct port_settings_change {
    std::optional<std::int8_t> enable, priority, schedule_enable, mode, re_enable_s;
    std::optional<std::uint32_t> power_limit_dw;
    bool operator==(const port_settings_change&) const = default;
};

struct power_bank {
    std::uint16_t limit_w;
    std::uint16_t second;  // kept and reported
    bool operator==(const power_bank&) const = default;
};

// 0 = off period, 1 = on period; nothing = stays.
using schedule_state = std::optional<std::int8_t>;

// Bit n = port n.
using port_bitmap = std::uint8_t;
constexpr port_bitmap bit_of_port(std::size_t port) {
    return static_cast<port_bitmap>(port < 8 ? 1U << port : 0U);
}

// --- status ---

struct system_status {
    std::uint32_t total_mw;
    std::uint32_t consumed_mw;
    std::int32_t remaining_mw;    // below 0 while more is consumed than there is
    std::int32_t temperature_mc;  // of the controller; 0 also when it could not be read
    bool alarm_raised;
    bool operator==(const system_status&) const = default;
};

struct pair_set_status {
    std::uint8_t detected_class;
    std::uint8_t error_code;
    std::uint8_t sub_status;
    std::uint32_t status;  // see status_codes.h
    std::uint32_t voltage_mv;
    std::uint32_t current_ma;
    std::uint32_t power_mw;
    bool operator==(const pair_set_status&) const = default;
};

struct port_status {
    std::uint8_t port;
    std::int8_t enable;
    std::int8_t schedule_enable;
    std::int8_t schedule_on;  // 1 = inside an on period
    std::uint8_t detected_class;
    std::uint8_t error_code;
    std::uint8_t sub_status;
    std::uint8_t port_type;
    std::uint32_t status;  // see status_codes.h
    bool auto_off;         // switched off automatically
    std::uint32_t voltage_mv;
    std::uint32_t current_ma;
    std::uint32_t power_mw;
    std::int32_t temperature_mc;  // of a port that is switched off 0 also when it could not be read
    std::array<pair_set_status, pair_set_count> pair_set;
    std::array<std::uint32_t, event_total_count> event_totals;  // since the daemon started; see event_overload
    bool operator==(const port_status&) const = default;
};

struct whole_status {  // of one moment
    system_status system;
    std::array<port_status, port_count> port;
    bool operator==(const whole_status&) const = default;
};

struct power_cycle_state {
    bool pending;        // off, to be switched on again
    std::uint32_t tick;  // when the power-cycle was asked for
    bool operator==(const power_cycle_state&) const = default;
};

struct power_cycles {
    std::uint32_t now_tick;
    std::array<power_cycle_state, port_count> port;
    bool operator==(const power_cycles&) const = default;
};

// Seconds until a power-cycled port is switched on again, rounded up; 0 when it is due. `re_enable_s` is the port's.
constexpr std::uint32_t seconds_until_on(std::uint32_t now_tick, const power_cycle_state& state,
                                         std::int8_t re_enable_s) {
    const std::uint32_t wait_ticks = re_enable_s > 0 ? static_cast<std::uint32_t>(re_enable_s) * ticks_a_second : 0;
    const std::uint32_t waited_ticks = now_tick - state.tick;
    if (!state.pending || waited_ticks >= wait_ticks) return 0;
    return (wait_ticks - waited_ticks + ticks_a_second - 1) / ticks_a_second;
}

// --- diagnostics ---

struct communication_counters {  // of the daemon's talk with the controller, since it started
    std::uint64_t total;
    std::uint64_t rx_retry;
    std::uint64_t rx_timeout;
    std::uint64_t rx_chksum_error;
    std::uint64_t tx_correctly_executed;
    std::uint64_t tx_chksum_error;
    std::uint64_t tx_subject_byte_conflict;
    std::uint64_t tx_wrong_data_byte_value;
    std::uint64_t undefined_key_value;
    bool operator==(const communication_counters&) const = default;
};

// --- energy record ---

inline constexpr std::size_t minute_count = 60;
inline constexpr std::size_t half_hour_count = 48;
inline constexpr std::size_t two_hour_count = 84;

struct energy_slot {
    bool valid;
    std::uint32_t uptime_s;
    float average_w;
    bool operator==(const energy_slot&) const = default;
};

struct port_energy {
    std::uint32_t port;
    std::uint32_t powered_s;
    float energy_wh;
    std::uint64_t minutes_start_s;  // since 1970
    std::uint64_t half_hours_start_s;
    std::uint64_t two_hours_start_s;
    std::array<energy_slot, minute_count> minutes;  // oldest first
    std::array<energy_slot, half_hour_count> half_hours;
    std::array<energy_slot, two_hour_count> two_hours;
    bool operator==(const port_energy&) const = default;
};

struct energy_average {
    bool valid;
    float average_w;
    bool operator==(const energy_average&) const = default;
};

struct energy_figures {  // one port's, or the sums over all ports
    std::uint32_t powered_s;
    float energy_wh;
    energy_average minutes, half_hours, two_hours;
    bool operator==(const energy_figures&) const = default;
};

struct energy_summary {
    energy_figures totals;
    std::array<energy_figures, port_count> port;
    bool operator==(const energy_summary&) const = default;
};

}  // namespace poe_client
