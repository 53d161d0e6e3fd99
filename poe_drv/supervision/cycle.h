// The supervision thread: the only user of the controller once the daemon is up. It never ends and never sleeps; its
// pace is that of the controller.
//
//   queued change? --yes--> apply it                                        (a burst is applied before polling goes on)
//        | no
//   power-cycled port due? --yes--> switch it on
//        | no
//   poll the next port --> after the fourth: system measurements, then the sweep goes into the records
//
// A change that switches a port's power begins the sweep again at port 0.
#pragma once

#include <cstdint>

#include "core/locks.h"

// What the thread remembers from pass to pass.
struct supervision_state {
    std::uint8_t port;          // the port that the next pass polls
    std::uint32_t last_link;    // of the last link query that was answered
    std::uint16_t limit;        // 0.1 W; what the controller last reported as its power limit
    std::uint16_t temperature;  // 0.1 degree Celsius
};

// Before the first sweep the limit is the one that start-up left in the total power record.
supervision_state begin_supervision() EXCLUDES(g_mutex_poe_tick_thread);

// One pass.
void supervise_once(supervision_state& state) REQUIRES(controller_user) EXCLUDES(g_mutex_poe_tick_thread);

// Thread entry.
void* poe_talk_with_kernel_thread(void*);
