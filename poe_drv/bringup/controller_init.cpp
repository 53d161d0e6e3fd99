#include "bringup/controller_init.h"

#include <array>
#include <cstdio>

#include "controller/operations.h"
#include "controller/settings.h"
#include "controller/status.h"
#include "core/diagnostics.h"
#include "core/paths.h"
#include "core/records.h"
#include "core/status_file.h"
#include "platform/system.h"

namespace {

constexpr const char* poe_chip_init_name = "poe_chip_init";  // its checks and steps speak under its name

// The lines are part of the messages.
constexpr int check_ports_line = 958;
constexpr int port_not_disabled_line = 966;
constexpr int check_method_line = 976;
constexpr int wrong_method_line = 980;
constexpr int check_matrix_line = 988;
constexpr int wrong_matrix_line = 995;
constexpr int expected_matrix_line = 996;
constexpr int read_matrix_line = 997;
constexpr int check_bank_line = 1008;
constexpr int wrong_bank_line = 1015;
constexpr int set_default_line = 1025;
constexpr int set_method_line = 1031;
constexpr int begin_matrix_line = 1039;
constexpr int write_matrix_line = 1044;
constexpr int activate_matrix_line = 1050;
constexpr int reset_line = 1055;
constexpr int set_banks_line = 1061;
constexpr int disable_ports_line = 1067;
constexpr int set_parameters_line = 1069;
constexpr int event_code_line = 1075;
constexpr int save_line = 1078;
constexpr int verdict_line = 1082;

constexpr std::uint8_t method_dynamic_with_priority = 2;
constexpr std::uint8_t method_unread = 255;

// In tenths of a volt. What is programmed reads back a step lower on the controller that the switch is fitted with.
constexpr std::uint16_t accepted_upper_threshold = 575;
constexpr std::uint16_t accepted_lower_threshold = 444;

constexpr std::uint8_t port_disabled = 0;
constexpr std::uint8_t default_inline_mode = 2;
constexpr std::uint8_t lowest_priority = 3;
constexpr std::uint32_t highest_port_limit_mw = 90000;
constexpr std::uint8_t event_code = 6;
constexpr std::uint8_t system_mask = 1;

constexpr std::uint32_t one_second_us = 1000000;
constexpr std::size_t longest_command = 128;

bool all_ports_are_disabled() REQUIRES(controller_user) {
    say("[%s() , %d]: Check whether the all port power is disabled.\n", poe_chip_init_name, check_ports_line);
    std::array<std::uint8_t, port_count> enabled{};
    poe_get_all_port_enable_disable(enabled.data(), port_count);
    for (std::size_t port = 0; port < port_count; port++) {
        if (enabled[port] == port_disabled) continue;
        say("[%s() , %d]: Port %d is not disabled (%d)\n", poe_chip_init_name, port_not_disabled_line,
            static_cast<int>(port), enabled[port]);
        return false;
    }
    return true;
}

bool method_is_dynamic_with_priority() REQUIRES(controller_user) {
    say("[%s() , %d]: Check whether the power management mode is dynamic mode with priority.\n", poe_chip_init_name,
        check_method_line);
    std::uint8_t method = method_unread;
    poe_get_pm_method(&method);
    if (method == method_dynamic_with_priority) return true;
    say("[%s() , %d]: Power management is not dynamic mode with priority (%d)\n", poe_chip_init_name, wrong_method_line,
        method);
    return false;
}

bool matrix_is_ours() REQUIRES(controller_user) {
    say("[%s() , %d]: Check whether the port mapping configuration is correct.\n", poe_chip_init_name,
        check_matrix_line);
    for (std::uint8_t port = 0; port < port_count; port++) {
        std::uint8_t pair_a = 0;
        std::uint8_t pair_b = 0;
        poe_get_physical_port_number_from_active_matrix(port, &pair_a, &pair_b);
        if (pair_a == POE_SW2PAIR_A[port] && pair_b == POE_SW2PAIR_B[port]) continue;
        say("[%s() , %d]: Port %d's mapping configuration error!!\n", poe_chip_init_name, wrong_matrix_line, port);
        say("[%s() , %d]: POE_SW2PAIR : pair-a(%d), pair-b(%d)\n", poe_chip_init_name, expected_matrix_line,
            POE_SW2PAIR_A[port], POE_SW2PAIR_B[port]);
        say("[%s() , %d]: Device Cfg  : pair-a(%d), pair-b(%d)\n", poe_chip_init_name, read_matrix_line, pair_a,
            pair_b);
        return false;
    }
    return true;
}

bool bank_is_ours() REQUIRES(controller_user) {
    say("[%s() , %d]: Check whether the total budget configuration is correct.\n", poe_chip_init_name, check_bank_line);
    std::uint16_t limit_w = 0;
    std::uint16_t upper = 0;
    std::uint16_t lower = 0;
    poe_get_power_banks(0, &limit_w, &upper, &lower);
    if (limit_w == g_poe_power_budget && upper == accepted_upper_threshold && lower == accepted_lower_threshold) {
        return true;
    }
    say("[%s() , %d]: power bank error (%d, %d, %d)\n", poe_chip_init_name, wrong_bank_line, limit_w, upper, lower);
    return false;
}

// A daemon that is killed between the last bank and the save leaves a controller that passes every check and yet lacks
// limits, priorities and event code, and keeps nothing over a power cut. The mark stands from the first step to the
// last.
bool programming_was_interrupted() {
    char nothing = 0;
    if (system_read_file(controller_programming_mark_path, &nothing, sizeof nothing) < 0) return false;
    say("[%s() , %d]: The last programming was interrupted.\n", poe_chip_init_name, __LINE__);
    return true;
}

void program_matrix() REQUIRES(controller_user) {
    say("[%s() , %d]: do poe_program_global_matrix\n", poe_chip_init_name, begin_matrix_line);
    poe_program_global_matrix(0);
    system_sleep_us(2 * one_second_us);
    say("[%s() , %d]: do poe_set_temporary_matrix\n", poe_chip_init_name, write_matrix_line);
    for (std::uint8_t port = 0; port < port_count; port++) {
        poe_set_temporary_matrix(port, POE_SW2PAIR_A[port], POE_SW2PAIR_B[port]);
    }
    say("[%s() , %d]: do poe_program_global_matrix\n", poe_chip_init_name, activate_matrix_line);
    poe_program_global_matrix(1);
    system_sleep_us(one_second_us);
}

void note_in_the_kernel_log() {
    char command[longest_command];
    std::snprintf(command, sizeof command, "echo \"[poe_dev] reset chipset configuration...\" >%s", kernel_log_path);
    system_shell(command);
}

// A failing command is reported by the controller link; the steps go on.
void program_and_save() REQUIRES(controller_user) {
    system_append_durably(controller_programming_mark_path, "");
    note_in_the_kernel_log();
    say("[%s() , %d]: Set the default configuration of ORV to MCU and save it.\n", poe_chip_init_name,
        set_default_line);
    _rtl_cfg_info_clear();
    say("[%s() , %d]: do poe_set_pm_method\n", poe_chip_init_name, set_method_line);
    poe_set_pm_method(method_dynamic_with_priority);
    program_matrix();
    say("[%s() , %d]: do _rtl_global_set(do global reset)\n", poe_chip_init_name, reset_line);
    _rtl_global_set(key_global_reset, 1);
    system_sleep_us(2 * one_second_us);
    say("[%s() , %d]: do poe_set_power_banks(g_poe_power_budget = %d)\n", poe_chip_init_name, set_banks_line,
        g_poe_power_budget);
    poe_set_power_banks(all_ports, g_poe_power_budget, programmed_upper_threshold, programmed_lower_threshold);
    say("[%s() , %d]: do poe_set_enable_disable_channels\n", poe_chip_init_name, disable_ports_line);
    poe_set_enable_disable_channels(all_ports, port_disabled, default_inline_mode);
    say("[%s() , %d]: do poe_set_port_parameters\n", poe_chip_init_name, set_parameters_line);
    poe_set_port_parameters(all_ports, port_disabled, highest_port_limit_mw, lowest_priority);
    say("[%s() , %d]: eventCode : %d\n", poe_chip_init_name, event_code_line, event_code);
    _rtl_global_set(key_event_code, event_code);
    say("[%s() , %d]: do poe_save_system_settings\n", poe_chip_init_name, save_line);
    poe_save_system_settings();
    system_remove_file(controller_programming_mark_path);
}

void take_first_measurements() REQUIRES(controller_user) {
    nobody_else_is_running();
    // Unread, the budget stays in the total: one bad transfer must not make it vanish.
    const auto budget = static_cast<std::uint16_t>(g_sys_pwr_stu.total_mw / record_scale);
    std::uint16_t limit = budget;
    std::uint16_t temperature = 0;
    const int status = poe_get_system_measurments(nullptr, &limit, nullptr, nullptr, &temperature);
    if (status == controller_ok || limit != budget) g_sys_pwr_stu.total_mw = limit * record_scale;
    g_sys_pwr_stu.supply = temperature * record_scale;
}

void publish_software_version() REQUIRES(controller_user) {
    std::uint8_t version = 0;
    std::uint8_t last = 0;
    if (poe_get_software_version(nullptr, nullptr, nullptr, &version, nullptr, nullptr, nullptr, nullptr, &last) !=
        controller_ok) {
        return;
    }
    char command[longest_command];
    std::snprintf(command, sizeof command, "echo SW_VERSION:%x%x > %s", version, last, chip_information_path);
    // The shell would write through a link, or wait for ever on a pipe.
    system_remove_unless_regular(chip_information_path);
    system_shell(command);
}

}  // namespace

int poe_chip_init() {
    fd_poe_kernel_drv = system_open_device(poe_controller_device_path);
    if (fd_poe_kernel_drv < 0) {
        say("poe device driver open(...) fail!\n");
        say_bye_bye_and_exit(1, "poe device driver open(...) fail!");
    }
    const bool accepted = all_ports_are_disabled() && method_is_dynamic_with_priority() && matrix_is_ours() &&
                          bank_is_ours() && !programming_was_interrupted();
    if (!accepted) program_and_save();
    const int must_program = accepted ? 0 : 1;
    say("[%s() , %d]: poe_mcu_must_do_init_then_save = %d\n", poe_chip_init_name, verdict_line, must_program);
    return must_program;
}

int poe_parameter_last_init() {
    take_first_measurements();
    poe_set_system_mask(system_mask);
    publish_software_version();
    return 0;
}
