#include "platform/poe_ipc.h"
int __poe_drv_ipc_socket_and_bind_init(int*, const char*) {
    return -1;
}
int __poe_drv_ipc_send(int, const void*, const void*, int, struct timeval*) {
    return -1;
}
