// A fresh world with every shared record at its start-up default and the locks initialised: the fixture for every room
// above core. Its tests link that room and test_world.
#pragma once

#include "core/records.h"
#include "core/tick.h"
#include "world/world.h"

class records_test : public world_test {
  protected:
    records_test() {
        initialise_mutex(g_mutex_poe_tick_thread);
        initialise_mutex(g_mutex_poe_share_data_thread);
        initialise_mutex(g_mutex_poe_internal_set_queue);
        g_poe_thread_tick_cnt.set(0);
        g_poe_power_budget = default_power_budget;
        g_port_led_stu = g_port_led_blk = g_port_pwr_auto_off = 0;
        poe_drv_do_sent_startup_trap = poe_drv_already_sent_startup_trap = 0;
        g_dbg_read_mixed_info.set(0);
        i_am_the(controller_user);
        fd_poe_kernel_drv = -1;
        nobody_else_is_running();
        g_sys_pwr_stu = {};
        poe_parameter_init();
    }
};
