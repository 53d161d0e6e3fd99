// The energy record: a week of one port's power in three rings, and its totals since they were last cleared.
//
// Guarded by the tick lock, all of it. The sampling thread fills it a second at a time; the main thread reads it,
// clears it, restores its totals from flash and fills it with made-up history. The sampling thread does not run in this
// build, so the record holds zeros until a client restores or injects something.
//
//   minutes      60 slots, an hour          a slot from the minute's own sum
//   half hours   48 slots, a day            a slot from 30 minutes
//   two hours    84 slots, a week           a slot from 4 half hours
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/locks.h"
#include "core/records.h"
#include "ipc/protocol.h"

// What a slot of each ring spans, in seconds.
inline constexpr std::uint32_t minute_s = 60;
inline constexpr std::uint32_t half_hour_s = 1800;
inline constexpr std::uint32_t two_hours_s = 7200;

// The record starts over, in place, after this many samples.
inline constexpr std::uint32_t week_s = 604800;
static_assert(week_s == two_hour_slot_count * two_hours_s);

struct stats_slot {
    std::uint8_t valid;         //  0  1 once the slot was written
    std::uint8_t reserved[7];   //  1
    std::int64_t wall_clock_s;  //  8  seconds since 1970 when the slot was written
    std::uint32_t uptime_s;     // 16  seconds since boot at the last minute boundary
    float average_w;            // 20  over the slot's span
};
static_assert(sizeof(stats_slot) == 24);
static_assert(offsetof(stats_slot, valid) == 0 && offsetof(stats_slot, wall_clock_s) == 8 &&
              offsetof(stats_slot, uptime_s) == 16 && offsetof(stats_slot, average_w) == 20);

struct port_stats {
    std::int32_t second_counter;  //  0  samples taken in the current week, back to 0 at its end
    std::uint32_t minute_sum_mw;  //  4  samples since the last minute boundary, milliwatts
    std::uint32_t powered_s;      //  8  seconds of delivering power; survives a restart in the statistics file
    std::uint32_t reserved;       // 12
    std::uint64_t energy_mws;     // 16  milliwatt-seconds; survives a restart in the statistics file
    std::array<stats_slot, minute_slot_count> minutes;        // 24
    std::array<stats_slot, half_hour_slot_count> half_hours;  // 1464
    std::array<stats_slot, two_hour_slot_count> two_hours;    // 2616
};
static_assert(sizeof(port_stats) == 4632);
static_assert(offsetof(port_stats, second_counter) == 0 && offsetof(port_stats, minute_sum_mw) == 4 &&
              offsetof(port_stats, powered_s) == 8 && offsetof(port_stats, energy_mws) == 16 &&
              offsetof(port_stats, minutes) == 24 && offsetof(port_stats, half_hours) == 1464 &&
              offsetof(port_stats, two_hours) == 2616);

using port_stats_records = std::array<port_stats, port_count>;
extern port_stats_records g_port_stats GUARDED_BY(g_mutex_poe_tick_thread);

// Whether the totals are kept in flash, and when they last were.
struct port_stats_cfg {
    std::uint8_t enable;         // 0  `statistics_on` = on; clients read back the byte they wrote
    std::uint8_t file_restored;  // 1  1 once the statistics file was added to the records
    std::uint8_t unused[2];      // 2
    std::uint32_t saved_hour;    // 4  hour of uptime of the last save
};
static_assert(sizeof(port_stats_cfg) == 8 && offsetof(port_stats_cfg, saved_hour) == 4);
extern port_stats_cfg g_port_stats_cfg GUARDED_BY(g_mutex_poe_tick_thread);

inline constexpr std::uint32_t seconds_per_hour = 3600;

// Forgets one port's history and totals; a port that does not exist is ignored.
void clear_port_stats(std::size_t port) REQUIRES(g_mutex_poe_tick_thread);
