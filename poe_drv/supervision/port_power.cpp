#include "supervision/port_power.h"

#include "core/records.h"
#include "supervision/power_rule.h"

int port_need_read_info(std::uint8_t port) {
    if (port >= port_count) return 0;
    const port_pmt& stored = g_port_pmt[port];
    return port_need_read_info_2(g_sys_pwr_pmt.enable.get(), stored.Port_Enable.get(), stored.Schedule_Enable.get(),
                                 stored.Sch_On_Off.get());
}
