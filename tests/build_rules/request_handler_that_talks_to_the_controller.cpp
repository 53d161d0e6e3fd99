#include "controller/operations.h"
#include "ipc/handlers.h"

int poe_drv_ipc_reply_get_sys_pwr_pmt(int, const void*, unsigned char*, int) {
    return poe_save_system_settings();
}
