// The set queue: the one channel between the main thread, which pushes accepted configuration requests, and the
// supervision thread, which pops and applies them, oldest first. Each record is one allocation and a verbatim copy of
// its request. Push and pop take constant time at any depth; once a burst has drained, its memory goes back to the
// system.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/locks.h"
#include "core/thread_safety.h"

// The largest set request (type 130).
inline constexpr std::size_t longest_set_record = 56;

struct set_record {
    set_record* older;                       // null in the oldest
    set_record* newer;                       // null in the newest
    unsigned char data[longest_set_record];  // the request, envelope included; bytes past its length are undefined
};

// The newest record; null when the queue is empty.
extern set_record* __g_poe_set_data GUARDED_BY(g_mutex_poe_internal_set_queue);

// Initialises the queue's lock and empties it. Start-up only, before any push.
void poe_internal_set_queue_init();

// Queues a copy of `length` bytes. Main thread. Returns -1 (and says so) when `length` is above 56; otherwise 0, also
// when there was no memory for the record (which is said, and the request is lost). Raises g_dbg_read_mixed_info to the
// depth counted after the push.
int poe_internal_tx_queue_data(const void* data, unsigned length)
    EXCLUDES(g_mutex_poe_internal_set_queue, g_mutex_poe_share_data_thread);

// Takes the oldest record out. Supervision thread. On entry `*length` is the capacity of `out`; on a return of 0 it is
// the length of the copied record (0 for a record of unknown type). Returns -1 with `*length` untouched when the queue
// is empty, or when the record did not fit: then it is dropped.
int poe_internal_rx_queue_data(void* out, int* length) EXCLUDES(g_mutex_poe_internal_set_queue);
