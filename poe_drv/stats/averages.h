// The arithmetic of the energy record: what a second adds, how rings condense, how a ring is averaged and put in order.
// Pure: it knows its arguments only, so whoever passes a shared record holds the tick lock. Single precision
// throughout.
#pragma once

#include <cstdint>
#include <span>

#include "ipc/protocol.h"
#include "stats/record.h"

// What the sampler saw in one second.
struct power_sample {
    bool powered;      // the port, or one of its pair sets, delivers power
    std::uint32_t mw;  // both pair sets together
};
power_sample sample_of(const port_stu& port);

// Adds a second to the record's counter, sums and totals.
void count_second(port_stats& record, const power_sample& sample);

// True when the second that was just counted ends a minute: the time is read and the rings condensed.
bool ends_a_minute(const port_stats& record);

struct slot_time {
    std::int32_t wall_clock_s;
    std::uint32_t uptime_s;
};

// Writes the slots of every ring whose span ends with the second just counted, and starts the next week at a week's
// end.
void condense(port_stats& record, const slot_time& now);

// The mean of a ring of which every slot is valid; a ring that is not yet full has none.
struct ring_average {
    std::uint32_t valid;  // 1 or 0
    float average_w;      // 0 when not valid
};
void calAvgWatt(std::span<const stats_slot> slots, ring_average& out);

// Copies a ring in time order, oldest first, into as many entries, and tells the time of the first: that of the newest
// slot less its position. Returns the low 32 bits of that time.
//
// The oldest slot is the one with the least uptime among those before the first invalid one. Wall-clock time decides
// which is the newest. An empty ring starts at time 0; a count that is none of the three rings' spans no time.
std::uint32_t portStatsDataSorting(std::span<const stats_slot> slots, std::span<ring_entry> out_entries,
                                   std::uint64_t& out_start);

// A record's energy in watt-hours, from whole watt-seconds.
float energy_in_wh(std::uint64_t energy_mws);
