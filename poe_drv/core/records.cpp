#include "core/records.h"

std::array<port_pmt, port_count> g_port_pmt;
std::array<port_stu, port_count> g_port_stu;
sys_pwr_pmt g_sys_pwr_pmt;
sys_pwr_stu g_sys_pwr_stu;
std::uint16_t g_poe_power_budget = default_power_budget;
relaxed<pwr_bnk_pmt> g_pwr_bnk_pmt;
std::array<port_pwr_re_en, port_count> g_port_pwr_re_en;

unsigned char g_port_led_stu;
unsigned char g_port_led_blk;
unsigned char g_port_pwr_auto_off;

std::uint8_t poe_drv_do_sent_startup_trap;
std::uint8_t poe_drv_already_sent_startup_trap;

relaxed<std::uint32_t> g_dbg_read_mixed_info;
int fd_poe_kernel_drv = -1;

namespace {

constexpr std::uint32_t status_before_first_reading = 11;

void set_default_system_parameters() {
    g_sys_pwr_pmt.enable.set(1);
    g_sys_pwr_pmt.parameter_1.set(0);
    g_sys_pwr_pmt.parameter_2.set(0);
    g_sys_pwr_pmt.usage_threshold.set(95);
    g_sys_pwr_pmt.parameter_4.set(0);
    g_sys_pwr_pmt.parameter_5.set(0);
}

void set_default_port_parameters(std::uint8_t port) {
    port_pmt& parameters = g_port_pmt[port];
    parameters.Port_Number.set(port);
    parameters.PoE_Mode.set(2);
    parameters.Port_Enable.set(0);
    parameters.Power_Priority.set(3);
    parameters.Schedule_Enable.set(0);
    parameters.Sch_On_Off.set(1);
    parameters.Re_Enable_Val.set(10);
    parameters.Power_Limit_Val.set(900);
}

}  // namespace

int poe_parameter_init() {
    nobody_else_is_running();
    set_default_system_parameters();

    g_sys_pwr_stu.alarm_raised = 0;
    g_sys_pwr_stu.consumed_mw = 0;
    g_sys_pwr_stu.remaining_mw = g_poe_power_budget * mw_per_watt;
    g_sys_pwr_stu.total_mw = g_poe_power_budget * mw_per_watt;

    for (std::uint8_t port = 0; port < port_count; port++)
        set_default_port_parameters(port);

    g_port_stu = {};
    for (std::uint8_t port = 0; port < port_count; port++) {
        g_port_stu[port].port_number = port;
        g_port_stu[port].status = status_before_first_reading;
    }

    g_pwr_bnk_pmt.set({.limit_w = g_poe_power_budget, .second = 0});
    g_port_pwr_re_en = {};
    return 0;
}
