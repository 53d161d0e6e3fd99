#include "core/locks.h"

poe_mutex g_mutex_poe_tick_thread;
poe_mutex g_mutex_poe_share_data_thread;
poe_mutex g_mutex_poe_internal_set_queue;
role controller_user;

void initialise_mutex(poe_mutex& mutex) {
    pthread_mutex_init(&mutex.native, nullptr);
}

// The annotations of the declarations say what each wrapper does; the analysis cannot see it in the native calls.
#define UNSEEN POE_ATTRIBUTE(no_thread_safety_analysis)

UNSEEN int data____lock_poe_tick_thread() {
    return pthread_mutex_lock(&g_mutex_poe_tick_thread.native);
}
UNSEEN int data_un_lock_poe_tick_thread() {
    return pthread_mutex_unlock(&g_mutex_poe_tick_thread.native);
}

UNSEEN int data____lock_poe_share_data_thread() {
    return pthread_mutex_lock(&g_mutex_poe_share_data_thread.native);
}
UNSEEN int data_un_lock_poe_share_data_thread() {
    return pthread_mutex_unlock(&g_mutex_poe_share_data_thread.native);
}

UNSEEN int data____lock_poe_internal_set_queue() {
    return pthread_mutex_lock(&g_mutex_poe_internal_set_queue.native);
}
UNSEEN int data_un_lock_poe_internal_set_queue() {
    return pthread_mutex_unlock(&g_mutex_poe_internal_set_queue.native);
}
