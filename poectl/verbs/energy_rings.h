// A port's energy record as tables, plots and JSON read it: three rings of averages, each with its period and its
// times. Pure.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "poe_client/types.h"

namespace poectl {

inline constexpr std::uint32_t minute_s = 60;
inline constexpr std::uint32_t half_hour_s = 1800;
inline constexpr std::uint32_t two_hours_s = 7200;

// Watts or watt-hours in thousandths, rounded; nothing when the figure is none that can be shown.
inline std::optional<std::int64_t> thousandths_of(float value) {
    constexpr double thousand = 1000.0;
    constexpr double farthest = 1e15;
    const double thousandths = static_cast<double>(value) * thousand;
    if (!std::isfinite(thousandths) || std::abs(thousandths) > farthest) return std::nullopt;
    return std::llround(thousandths);
}

// What is not valid is unknown, which is something else than 0 W.
inline std::optional<std::int64_t> known_mw(bool valid, float average_w) {
    return valid ? thousandths_of(average_w) : std::nullopt;
}

inline std::optional<std::int64_t> known_mw(const poe_client::energy_average& average) {
    return known_mw(average.valid, average.average_w);
}

inline std::optional<std::int64_t> known_mw(const poe_client::energy_slot& slot) {
    return known_mw(slot.valid, slot.average_w);
}

struct energy_ring {
    std::string_view name;    // a key for programs
    std::string_view span;    // what all slots together cover
    std::string_view period;  // what one slot covers
    std::uint32_t period_s;
    std::uint64_t start_s;  // when the first slot ended, since 1970
    std::span<const poe_client::energy_slot> slots;
};

inline constexpr std::size_t ring_count = 3;

// The rings look into `port`, which outlives them.
inline std::array<energy_ring, ring_count> rings_of(const poe_client::port_energy& port) {
    return {energy_ring{"minutes", "hour", "minute", minute_s, port.minutes_start_s, port.minutes},
            energy_ring{"half_hours", "day", "half hour", half_hour_s, port.half_hours_start_s, port.half_hours},
            energy_ring{"two_hours", "week", "two hours", two_hours_s, port.two_hours_start_s, port.two_hours}};
}

// When the slot at a position ended, in seconds since 1970. A slot that was never written has no time. A switch whose
// clock starts in 1970 may have a start before that; the sum wraps back.
inline std::optional<std::int64_t> slot_time_s(const energy_ring& ring, std::size_t position) {
    if (!ring.slots[position].valid) return std::nullopt;
    return static_cast<std::int64_t>(ring.start_s + std::uint64_t{position} * ring.period_s);
}

}  // namespace poectl
