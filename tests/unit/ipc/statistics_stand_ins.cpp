#include "statistics_stand_ins.h"

#include "ipc/handlers.h"

std::map<int, stand_in_call> statistics_calls;

// The result is one that no handler gives, to show that nobody looks at it.
#define STAND_IN(name, type)                                                     \
    int name(int socket, const void* peer, unsigned char* message, int length) { \
        statistics_calls[type] = {socket, peer, message, length};                \
        return -77;                                                              \
    }

STAND_IN(poe_drv_ipc_reply_get_port_stats_cfg, 16)
STAND_IN(poe_drv_ipc_reply_get_one_port_statistics, 17)
STAND_IN(poe_drv_ipc_reply_get_all_port_statistics, 18)
STAND_IN(poe_drv_ipc_request_clear_multi_port_stats, 83)
STAND_IN(poe_drv_ipc_request_set_port_stats_cfg, 144)
STAND_IN(poe_drv_ipc_request_set_fake_port_stats_data, 148)
