#include "platform/link_mon_intf.h"
int link_mon_intf_param_get(void*) {
    return -1;
}
