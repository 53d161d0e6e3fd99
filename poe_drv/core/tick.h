// The tick clock: a thread of its own counts periods of 200 ms, and every delay of the daemon is counted in them.
// Ticks are not corrected for drift: a period is 200 ms, plus scheduling, plus the wait for the tick lock.
#pragma once

#include <cstdint>

#include "core/locks.h"
#include "core/relaxed.h"

inline constexpr std::uint32_t tick_period_us = 200000;
inline constexpr std::uint32_t ticks_per_second = 5;

// Periods since the tick thread started; wraps, so elapsed = now - then in unsigned arithmetic. Counted under the tick
// lock, but set to 0 without it when the thread starts.
extern relaxed<std::uint32_t> g_poe_thread_tick_cnt;

// The tick of the moment. Any thread; takes the tick lock.
std::uint32_t get_poe_tick() EXCLUDES(g_mutex_poe_tick_thread);

// One period: sleep, then count. The tick thread's whole work.
void poe_tick_once() EXCLUDES(g_mutex_poe_tick_thread);

// Thread entry: sets the count to 0 and counts for ever.
void* poe_tick_thread(void*);
