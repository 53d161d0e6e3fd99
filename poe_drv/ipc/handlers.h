// Every request handler, wherever it lives: the message table in dispatch names them all.
//
// Main thread only, one request at a time. A handler sends exactly one reply and returns 0 (served) or -4 (rejected,
// after a reply with result byte 1). It takes the tick lock, alone, while it copies shared records, and never holds a
// lock while it sends. `peer` is the sender's address as the receive delivered it; `message` is the whole datagram,
// except where a declaration says payload: then it points at message offset 8.
#pragma once

inline constexpr int request_served = 0;
inline constexpr int request_rejected = -4;

using ipc_handler = int (*)(int socket, const void* peer, unsigned char* message, int length);

// Answers from the shared records.
int poe_drv_ipc_reply_get_sys_pwr_pmt(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_reply_get_one_port_pmt(int socket, const void* peer, unsigned char* payload, int length);
int poe_drv_ipc_reply_get_all_port_pmt(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_reply_get_sys_pwr_stu(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_reply_get_one_port_stu(int socket, const void* peer, unsigned char* payload, int length);
int poe_drv_ipc_reply_get_all_port_stu(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_reply_get_combine_sys_port_stu(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_reply_get_pwr_bnk_pmt(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_reply_get_re_enable_port_info(int socket, const void* peer, unsigned char* message, int length);

// Debug queries.
int poe_drv_ipc_reply_get_dbg_communication_info(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_reply_get_dbg_read_mixed_info(int socket, const void* peer, unsigned char* message, int length);

// Configuration requests: checked, acknowledged, queued.
int poe_drv_ipc_request_set_sys_pwr_pmt(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_set_one_port_pmt(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_set_all_port_pmt(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_set_all_port_same_pmt(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_set_one_port_sch_on_off(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_set_all_port_sch_on_off(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_set_pwr_bnk_pmt(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_set_re_enable_port_list(int socket, const void* peer, unsigned char* message, int length);

// Energy statistics, in the statistics room.
int poe_drv_ipc_reply_get_port_stats_cfg(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_reply_get_one_port_statistics(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_reply_get_all_port_statistics(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_clear_multi_port_stats(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_set_port_stats_cfg(int socket, const void* peer, unsigned char* message, int length);
int poe_drv_ipc_request_set_fake_port_stats_data(int socket, const void* peer, unsigned char* message, int length);
