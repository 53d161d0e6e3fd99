#include "core/records.h"

std::uint32_t consumed_now() {
    return g_sys_pwr_stu.consumed_mw;
}
