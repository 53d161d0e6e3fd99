// The three locks, the scope guards that take them, and the roles that stand in for a lock where a thread is alone.
//
//   g_mutex_poe_tick_thread          the tick counter and every shared record that both threads touch
//   g_mutex_poe_internal_set_queue   the set queue
//   g_mutex_poe_share_data_thread    the set queue's high-water mark, and nothing else
//
// No thread ever holds two of them. None is recursive: get_poe_tick takes the tick lock, so it is called before the
// lock is taken. Each is initialised by the function that starts what needs it (the queue, the tick thread, the
// supervision thread); nothing takes one earlier.
#pragma once

#include <pthread.h>

#include "core/thread_safety.h"

struct CAPABILITY("mutex") poe_mutex {
    pthread_mutex_t native;
};

extern poe_mutex g_mutex_poe_tick_thread;
extern poe_mutex g_mutex_poe_share_data_thread;
extern poe_mutex g_mutex_poe_internal_set_queue;

// Gives a mutex its default attributes. Called once, by the initialiser of what the mutex guards.
void initialise_mutex(poe_mutex& mutex);

// Lock and unlock; each returns the mutex call's result, 0 on success.
int data____lock_poe_tick_thread() ACQUIRES(g_mutex_poe_tick_thread);
int data_un_lock_poe_tick_thread() RELEASES(g_mutex_poe_tick_thread);
int data____lock_poe_share_data_thread() ACQUIRES(g_mutex_poe_share_data_thread);
int data_un_lock_poe_share_data_thread() RELEASES(g_mutex_poe_share_data_thread);
int data____lock_poe_internal_set_queue() ACQUIRES(g_mutex_poe_internal_set_queue);
int data_un_lock_poe_internal_set_queue() RELEASES(g_mutex_poe_internal_set_queue);

struct SCOPED_CAPABILITY tick_lock {
    tick_lock() ACQUIRES(g_mutex_poe_tick_thread) { data____lock_poe_tick_thread(); }
    ~tick_lock() RELEASES() { data_un_lock_poe_tick_thread(); }
    tick_lock(const tick_lock&) = delete;
    tick_lock& operator=(const tick_lock&) = delete;
};

struct SCOPED_CAPABILITY share_data_lock {
    share_data_lock() ACQUIRES(g_mutex_poe_share_data_thread) { data____lock_poe_share_data_thread(); }
    ~share_data_lock() RELEASES() { data_un_lock_poe_share_data_thread(); }
    share_data_lock(const share_data_lock&) = delete;
    share_data_lock& operator=(const share_data_lock&) = delete;
};

struct SCOPED_CAPABILITY set_queue_lock {
    set_queue_lock() ACQUIRES(g_mutex_poe_internal_set_queue) { data____lock_poe_internal_set_queue(); }
    ~set_queue_lock() RELEASES() { data_un_lock_poe_internal_set_queue(); }
    set_queue_lock(const set_queue_lock&) = delete;
    set_queue_lock& operator=(const set_queue_lock&) = delete;
};

// The right to talk to the controller, which is one thread's at a time and needs no lock: the main thread's during
// start-up, the supervision thread's ever after. A function that reaches the controller REQUIRES(controller_user), so a
// request handler that tried to would not build.
struct CAPABILITY("role") role {};
extern role controller_user;

// Said by the two that are entitled to it: the bring-up, and the supervision thread.
inline void i_am_the(role& entitled) ASSERTS_CAPABILITY(entitled) {
    (void)entitled;
}

// Said during start-up, before any thread exists and before the tick lock is initialised: the shared records are the
// caller's alone, as if it held the lock.
inline void nobody_else_is_running() ASSERTS_CAPABILITY(g_mutex_poe_tick_thread) {}
