// What a sweep's new reading of a port means to the outside: traps and LEDs. Supervision thread, during the collection
// of a sweep: with the tick lock held, and before the reading is copied into the port's status record.
#pragma once

#include <cstdint>

#include "core/locks.h"
#include "supervision/readings.h"

// Compares the port's record with its translated reading, adds to the sweep's trap and sets the LED. Returns 1 when a
// trap is to be sent, else 0.
int set_trap_meg_and_poe_led(std::uint8_t port, const port_reading& reading)
    REQUIRES(controller_user, g_mutex_poe_tick_thread);
