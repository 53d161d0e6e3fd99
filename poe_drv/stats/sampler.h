// The power usage sampler: once a second it adds each port's power to that port's energy record, once an hour it saves
// the totals. A thread of its own, which the daemon does not start in this build.
//
// Paced by deadlines that are whole seconds from the start, so that neither a long pass nor an interrupted sleep makes
// it drift: a pass that overruns is followed by others without a pause until they have caught up.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/locks.h"
#include "platform/system.h"

struct power_sampler {
    system_time start;              // monotonic
    system_time offset;             // of the next deadline, from the start
    std::uint32_t minute_uptime_s;  // uptime at the last minute boundary; 0 before the first
};

// Clears every record and the statistics configuration; the first second begins now.
power_sampler begin_power_sampling() EXCLUDES(g_mutex_poe_tick_thread);

// One second of one port; a port that does not exist is ignored.
void sample_port(power_sampler& sampler, std::size_t port) EXCLUDES(g_mutex_poe_tick_thread);

// Saves the totals when the hour of the last minute boundary has not been saved yet.
void save_once_an_hour(const power_sampler& sampler) EXCLUDES(g_mutex_poe_tick_thread);

// Sleeps until the next whole second from the start. Interruptions are slept through; whatever else goes wrong, a
// deadline that has passed included, ends the wait.
void wait_for_next_second(power_sampler& sampler);

// One pass: the four ports, the file, the wait.
void sample_one_second(power_sampler& sampler) EXCLUDES(g_mutex_poe_tick_thread);

// Thread entry: passes for ever.
void* poe_power_usage_with_thread(void*);
