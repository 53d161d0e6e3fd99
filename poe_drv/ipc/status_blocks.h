// From copies of the shared records to the blocks that clients receive. Pure: the copies are taken under the tick lock
// by whoever asks, and composed without it.
#pragma once

#include <cstdint>

#include "core/records.h"
#include "ipc/protocol.h"

// One port as it was at one moment: its status record and what else its status block tells.
struct port_snapshot {
    port_stu status;
    std::int8_t Port_Enable;
    std::int8_t Schedule_Enable;
    std::int8_t Sch_On_Off;
    bool auto_off;
};

system_status_block system_status_block_of(const sys_pwr_stu& system);
port_status_block port_status_block_of(const port_snapshot& port);

// The re-enable entry of a port; only the low byte of the flag is told.
re_enable_entry re_enable_entry_of(const port_pwr_re_en& port);
