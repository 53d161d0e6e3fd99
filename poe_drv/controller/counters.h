// Nine counts of how the controller link does, since start. Written without a lock by the one thread that talks to the
// controller; read by anyone, who may see the halves of a count one carry apart.
#pragma once

#include "core/relaxed.h"

struct dbg_communication_info {
    counter64 total;                     // transactions begun, not attempts
    counter64 rx_retry;                  // attempts that failed without a report key
    counter64 rx_timeout;                // transactions given up after ten of those
    counter64 rx_chksum_error;           // accepted answers with a wrong checksum
    counter64 tx_correctly_executed;     // accepted answers without a report key
    counter64 tx_chksum_error;           // transactions whose last answer reported a wrong checksum
    counter64 tx_subject_byte_conflict;  // always 0; clients know its place
    counter64 tx_wrong_data_byte_value;  // always 0; clients know its place
    counter64 undefined_key_value;       // transactions whose last answer reported an undefined key
};
extern dbg_communication_info g_dbg_communication_info;

// Zeroes all nine. Start-up only.
void clear_communication_counters();
