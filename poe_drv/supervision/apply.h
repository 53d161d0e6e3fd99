// Queued configuration requests onto the controller and into the parameter records, and the automatic re-enable of
// power-cycled ports.
//
// Supervision thread. The parameter records are written without a lock: a client may see one between two field updates.
// They are updated whether the controller accepted the settings or not: the client was acknowledged long ago, and what
// the controller refused is said where it was refused. The re-enable entries are touched under the tick lock.
//
// Each function returns 1 when a port's power was switched (or, for system parameters, the system was enabled or
// disabled), so that the sweep begins again at port 0; else 0.
#pragma once

#include "core/locks.h"
#include "core/port_parameter_block.h"

// Applies one queued record of `length` bytes; a record of another length than its type has, or of another type, is
// ignored.
int poe_talk_with_kernel_ipc_proccess(const void* record, int length) REQUIRES(controller_user)
    EXCLUDES(g_mutex_poe_tick_thread);

// Applies one port's block. Its keep values become the stored ones: what a client sends for all ports alike then gives
// the next ports the first one's.
int poe_talk_with_kernel_ipc_proccess_change_one_port_pmt(port_parameter_block& block) REQUIRES(controller_user);

// Switches power-cycled ports on again whose delay is over.
int poe_do_reenable_port_power() REQUIRES(controller_user) EXCLUDES(g_mutex_poe_tick_thread);
