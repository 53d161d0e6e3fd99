// The end of a sweep: the four readings are translated and copied into the status records, their changes become traps
// and LED changes, and the consumed power is summed and watched.
//
// Supervision thread. The tick lock is held from the first store to the trap's send, so that a client sees a whole
// sweep or none of it. The functions below the first one work on the sweep's own copy of a reading, never on llp_new.
#pragma once

#include <cstdint>

#include "core/locks.h"
#include "core/records.h"
#include "supervision/readings.h"

// Collects the sweep. Returns 0.
int port_read_info_to_global_stu() REQUIRES(controller_user) EXCLUDES(g_mutex_poe_tick_thread);

enum class port_part : std::uint8_t { port, channel_a, channel_b };

// Translates the codes of a port or of one of its pair sets in place, clears the measurements and class of what is not
// delivering, and switches a linked port off that gives no power. Returns 1 when the result counts as an event. The
// port comes before its pair sets: a disabled port's type changes theirs.
int _modify_poe_status_to_orv_define(port_reading& reading, std::uint8_t port, port_part part)
    REQUIRES(controller_user, g_mutex_poe_tick_thread);

// Copies a translated reading into the port's status record.
void __fill_port_read_info_to_global_stu(std::uint8_t port, const port_reading& reading)
    REQUIRES(g_mutex_poe_tick_thread);

void __clean_energy_and_class(port_reading& reading);
void __clean_energy_and_class_by_channel(channel_reading& channel);
