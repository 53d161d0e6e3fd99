// The statistics file, in which the totals survive a restart: written whole, so that a power cut leaves the old file or
// the new one. File errors are silent. The sampling thread saves once an hour of uptime, to spare the flash; the main
// thread does the rest at clients' requests. All under the tick lock, which guards what the file is made from.
#pragma once

#include <cstdint>

#include "core/locks.h"
#include "stats/record.h"

// Is a save due? Statistics are on, and the hour of the last minute boundary has not been saved yet; before the first
// boundary (uptime 0) none is. Pure.
bool hourly_save_is_due(const port_stats_cfg& configuration, std::uint32_t minute_uptime_s);

// Writes the file from the records and remembers the hour. A file that cannot be written leaves the old one, and the
// hour as it was: a save stays due.
void save_statistics_file(std::uint32_t uptime_s) REQUIRES(g_mutex_poe_tick_thread);

// Statistics have just been switched on. The first time, the file's totals are added to the records, and nothing is
// written; afterwards the records are saved.
void statistics_file_when_enabled() REQUIRES(g_mutex_poe_tick_thread);

// Statistics have just been switched off: no file is kept.
void statistics_file_when_disabled() REQUIRES(g_mutex_poe_tick_thread);

// Records have just been cleared. While statistics are on, a file that is there is made anew from the records; one that
// cannot be is removed, so that what was cleared does not return. The hour of the last save stays.
void statistics_file_when_cleared() REQUIRES(g_mutex_poe_tick_thread);
