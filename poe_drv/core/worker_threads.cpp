#include "core/worker_threads.h"

#include "core/locks.h"
#include "core/tick.h"
#include "platform/system.h"
#include "stats/sampler.h"
#include "supervision/cycle.h"

int poe_thread_tick_init_and_start() {
    initialise_mutex(g_mutex_poe_tick_thread);
    return system_start_thread(poe_tick_thread);
}

int poe_thread_init_and_start() {
    initialise_mutex(g_mutex_poe_share_data_thread);
    return system_start_thread(poe_talk_with_kernel_thread);
}

int poe_thread_power_usage_start() {
    return system_start_thread(poe_power_usage_with_thread);
}
