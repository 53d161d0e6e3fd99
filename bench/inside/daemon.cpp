#include "inside/daemon.h"

#include "controller/counters.h"
#include "controller/error_accounting.h"
#include "core/records.h"
#include "core/tick.h"
#include "ipc/set_queue.h"

namespace bench {

namespace {

// The start's steps that need no device, in its order.
supervision_state start(int descriptor) {
    i_am_the(controller_user);
    initialise_mutex(g_mutex_poe_tick_thread);
    initialise_mutex(g_mutex_poe_share_data_thread);
    clear_error_write_to_flash_flags();
    clear_communication_counters();
    g_dbg_read_mixed_info.set(0);
    poe_internal_set_queue_init();
    poe_parameter_init();
    fd_poe_kernel_drv = descriptor;
    for (port_pmt& port : g_port_pmt)
        port.Port_Enable.set(1);
    // As long after the start as a switch usually is: the agent has had its start-up trap.
    poe_drv_do_sent_startup_trap = poe_drv_already_sent_startup_trap = 1;
    return begin_supervision();
}

}  // namespace

daemon_inside::daemon_inside(int descriptor) : state_(start(descriptor)) {}

void daemon_inside::pass() {
    supervise_once(state_);
}

void daemon_inside::sweep() {
    do {
        supervise_once(state_);
    } while (state_.port != 0);
}

}  // namespace bench
