#include "stats/made_up_history.h"

#include <algorithm>
#include <array>
#include <span>

namespace {

constexpr std::uint64_t hour_s = minute_slot_count * minute_s;
constexpr std::uint64_t day_s = half_hour_slot_count * half_hour_s;
static_assert(hour_s == 3600 && day_s == 86400);

struct watt_pattern {
    float least_w;
    float step_w;  // from one slot to the next
};
constexpr std::size_t slots_per_climb = 12;

struct port_patterns {
    watt_pattern even;
    watt_pattern odd;
};
// clang-format off
constexpr std::array patterns{
    port_patterns{.even = {.least_w =  3.0F, .step_w = 0.25F}, .odd = {.least_w =  4.5F, .step_w = 0.25F}},  // a telephone
    port_patterns{.even = {.least_w =  8.0F, .step_w = 0.5F},  .odd = {.least_w = 11.0F, .step_w = 0.25F}},  // a camera
    port_patterns{.even = {.least_w = 16.0F, .step_w = 0.75F}, .odd = {.least_w = 20.0F, .step_w = 0.5F}},   // an access point
    port_patterns{.even = {.least_w = 36.0F, .step_w = 1.5F},  .odd = {.least_w = 42.5F, .step_w = 1.0F}},   // a display
};
// clang-format on

void fill_ring(std::span<stats_slot> ring, std::size_t filled, std::uint32_t period, std::size_t port,
               const slot_time& now) {
    filled = std::min(filled, ring.size());
    for (std::size_t i = 0; i < filled; i++) {
        const auto age_s = static_cast<std::uint32_t>(filled - 1 - i) * period;
        ring[i].valid = 1;
        ring[i].wall_clock_s = std::int64_t{now.wall_clock_s} - age_s;
        ring[i].uptime_s = now.uptime_s - std::min(now.uptime_s, age_s);
        ring[i].average_w = made_up_watts(port, i);
    }
}

}  // namespace

history_extent history_extent_of(std::uint32_t minutes) {
    const std::uint64_t seconds = std::uint64_t{minutes} * minute_s;
    return {
        .minutes = static_cast<std::size_t>(seconds < hour_s ? minutes : minute_slot_count),
        .half_hours = static_cast<std::size_t>(seconds < day_s ? seconds / half_hour_s : half_hour_slot_count),
        .two_hours = static_cast<std::size_t>(seconds < week_s ? seconds / two_hours_s : two_hour_slot_count),
    };
}

float made_up_watts(std::size_t port, std::size_t slot) {
    const port_patterns& mine = patterns[std::min(port, patterns.size() - 1)];
    const watt_pattern& pattern = slot % 2 == 0 ? mine.even : mine.odd;
    return pattern.least_w + pattern.step_w * static_cast<float>(slot % slots_per_climb);
}

void make_up_history(port_stats& record, std::size_t port, const history_extent& extent, const slot_time& now) {
    record = {};
    fill_ring(record.minutes, extent.minutes, minute_s, port, now);
    fill_ring(record.half_hours, extent.half_hours, half_hour_s, port, now);
    fill_ring(record.two_hours, extent.two_hours, two_hours_s, port, now);
}
