#include "stats/averages.h"

#include <algorithm>

namespace {

constexpr std::uint32_t delivering_power = 1;  // system port status code
constexpr float mw_per_w = 1000.0F;
constexpr std::uint64_t mws_per_ws = 1000;
constexpr auto ws_per_wh = static_cast<float>(seconds_per_hour);

constexpr std::size_t minutes_in_half_hour = half_hour_s / minute_s;
constexpr std::size_t half_hours_in_two = two_hours_s / half_hour_s;
constexpr std::size_t half_hours_per_round = minute_slot_count / minutes_in_half_hour;  // of the minute ring
constexpr std::size_t two_hours_per_round = half_hour_slot_count / half_hours_in_two;   // of the half-hour ring
static_assert(half_hours_per_round == 2 && two_hours_per_round == 12);

// The slot that the period ending with `second` (1..week_s) belongs to.
constexpr std::size_t slot_ending_at(std::uint32_t second, std::uint32_t period, std::size_t count) {
    return (second / period + count - 1) % count;
}

float sum_of(std::span<const stats_slot> slots) {
    float sum = 0.0F;
    for (const stats_slot& slot : slots)
        sum += slot.average_w;
    return sum;
}

void write_slot(stats_slot& slot, const slot_time& now, float average_w) {
    slot.valid = 1;
    slot.wall_clock_s = now.wall_clock_s;
    slot.uptime_s = now.uptime_s;
    slot.average_w = average_w;
}

void condense_minute(port_stats& record, std::uint32_t second, const slot_time& now) {
    const float average_w = static_cast<float>(record.minute_sum_mw) / mw_per_w / static_cast<float>(minute_s);
    write_slot(record.minutes[slot_ending_at(second, minute_s, minute_slot_count)], now, average_w);
    record.minute_sum_mw = 0;
}

void condense_half_hour(port_stats& record, std::uint32_t second, const slot_time& now) {
    const std::size_t index = slot_ending_at(second, half_hour_s, half_hour_slot_count);
    const std::size_t first = index % half_hours_per_round * minutes_in_half_hour;
    const float sum = sum_of(std::span(record.minutes).subspan(first, minutes_in_half_hour));
    write_slot(record.half_hours[index], now, sum / static_cast<float>(minutes_in_half_hour));
}

void condense_two_hours(port_stats& record, std::uint32_t second, const slot_time& now) {
    const std::size_t index = slot_ending_at(second, two_hours_s, two_hour_slot_count);
    const std::size_t first = index % two_hours_per_round * half_hours_in_two;
    const float sum = sum_of(std::span(record.half_hours).subspan(first, half_hours_in_two));
    write_slot(record.two_hours[index], now, sum / static_cast<float>(half_hours_in_two));
}

std::size_t oldest_slot(std::span<const stats_slot> slots) {
    std::size_t oldest = 0;
    for (std::size_t i = 0; i < slots.size() && slots[i].valid != 0; i++) {
        if (slots[i].uptime_s < slots[oldest].uptime_s) oldest = i;
    }
    return oldest;
}

constexpr std::uint32_t slot_span_of_ring(std::size_t count) {
    switch (count) {
        case minute_slot_count:
            return minute_s;
        case half_hour_slot_count:
            return half_hour_s;
        case two_hour_slot_count:
            return two_hours_s;
        default:
            return 0;
    }
}

}  // namespace

power_sample sample_of(const port_stu& port) {
    bool powered = port.status == delivering_power;
    std::uint32_t mw = 0;
    for (const channel_stu& channel : port.channel) {
        powered = powered || channel.status == delivering_power;
        mw += channel.power_mw;
    }
    return {.powered = powered, .mw = mw};
}

void count_second(port_stats& record, const power_sample& sample) {
    record.second_counter++;
    if (sample.powered) record.powered_s++;
    record.energy_mws += sample.mw;
    record.minute_sum_mw += sample.mw;
}

bool ends_a_minute(const port_stats& record) {
    return static_cast<std::uint32_t>(record.second_counter) % minute_s == 0;
}

void condense(port_stats& record, const slot_time& now) {
    const auto second = static_cast<std::uint32_t>(record.second_counter);
    if (second % minute_s == 0) condense_minute(record, second, now);
    if (second % half_hour_s == 0) condense_half_hour(record, second, now);
    if (second % two_hours_s == 0) condense_two_hours(record, second, now);
    if (second == week_s) record.second_counter = 0;
}

void calAvgWatt(std::span<const stats_slot> slots, ring_average& out) {
    out = {};
    if (slots.empty()) return;
    float sum = 0.0F;
    for (const stats_slot& slot : slots) {
        if (slot.valid == 0) return;
        sum += slot.average_w;
    }
    out = {.valid = 1, .average_w = sum / static_cast<float>(slots.size())};
}

std::uint32_t portStatsDataSorting(std::span<const stats_slot> slots, std::span<ring_entry> out_entries,
                                   std::uint64_t& out_start) {
    const std::size_t count = std::min(slots.size(), out_entries.size());
    const std::size_t oldest = oldest_slot(slots.first(count));
    const stats_slot* newest = nullptr;
    std::size_t newest_position = 0;
    std::size_t index = oldest;
    for (std::size_t position = 0; position < count; position++) {
        const stats_slot& slot = slots[index];
        index = index + 1 == count ? 0 : index + 1;
        out_entries[position].valid = slot.valid;
        out_entries[position].uptime_s = slot.uptime_s;
        out_entries[position].average_w = slot.average_w;
        if (slot.valid != 0 && (newest == nullptr || slot.wall_clock_s > newest->wall_clock_s)) {
            newest = &slot;
            newest_position = position;
        }
    }
    const auto newest_s = newest == nullptr ? std::uint64_t{0} : static_cast<std::uint64_t>(newest->wall_clock_s);
    out_start = newest_s - std::uint64_t{newest_position} * slot_span_of_ring(count);
    return static_cast<std::uint32_t>(out_start);
}

float energy_in_wh(std::uint64_t energy_mws) {
    const std::uint64_t whole_ws = energy_mws / mws_per_ws;
    return static_cast<float>(whole_ws) / ws_per_wh;
}
