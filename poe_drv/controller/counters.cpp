#include "controller/counters.h"

dbg_communication_info g_dbg_communication_info;

void clear_communication_counters() {
    g_dbg_communication_info.total.clear();
    g_dbg_communication_info.rx_retry.clear();
    g_dbg_communication_info.rx_timeout.clear();
    g_dbg_communication_info.rx_chksum_error.clear();
    g_dbg_communication_info.tx_correctly_executed.clear();
    g_dbg_communication_info.tx_chksum_error.clear();
    g_dbg_communication_info.tx_subject_byte_conflict.clear();
    g_dbg_communication_info.tx_wrong_data_byte_value.clear();
    g_dbg_communication_info.undefined_key_value.clear();
}
