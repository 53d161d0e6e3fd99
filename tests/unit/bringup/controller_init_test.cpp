#include "bringup/controller_init.h"

#include "core/status_file.h"
#include "fake_controller.h"
#include "world/records.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::vector<std::string> reading_the_stored_configuration{
    "open /dev/poe_kernel_drv",
    "frame 48 00 00 ff ff ff ff ff ff ff ff 40",  // enable state of each port
    "frame 48 00 01 ff ff ff ff ff ff ff ff 41",
    "frame 48 00 02 ff ff ff ff ff ff ff ff 42",
    "frame 48 00 03 ff ff ff ff ff ff ff ff 43",
    "frame 4b 00 ff ff ff ff ff ff ff ff ff 42",  // power management method
    "frame 49 00 00 ff ff ff ff ff ff ff ff 41",  // active matrix of each port
    "frame 49 00 01 ff ff ff ff ff ff ff ff 42",
    "frame 49 00 02 ff ff ff ff ff ff ff ff 43",
    "frame 49 00 03 ff ff ff ff ff ff ff ff 44",
    "frame 4b 00 ff ff ff ff ff ff ff ff ff 42",  // bank 0
    "frame 4a 00 ff ff ff ff ff ff ff ff ff 41",  // thresholds
};

class controller_init : public records_test {
  protected:
    fake_controller controller;

    controller_init() {
        the_world.controller = [this](std::uint32_t wait, frame_bytes& frame) {
            return controller.answer(wait, frame);
        };
    }

    // What poe_chip_init says, after it has run.
    std::string run(int expected_result) {
        testing::internal::CaptureStderr();
        i_am_the(controller_user);
        const int result = poe_chip_init();
        EXPECT_EQ(result, expected_result);
        return testing::internal::GetCapturedStderr();
    }
    void run_last_init() {
        i_am_the(controller_user);
        fd_poe_kernel_drv = system_open_device("/dev/poe_kernel_drv");
        the_world.frames.clear();
        the_world.story.clear();
        EXPECT_EQ(poe_parameter_last_init(), 0);
    }
    sys_pwr_stu system_status() {
        nobody_else_is_running();
        return g_sys_pwr_stu;
    }
    static std::string said(int line, const std::string& text) {
        return "[poe_chip_init() , " + std::to_string(line) + "]: " + text + "\n";
    }
};

const std::string check_ports = "[poe_chip_init() , 958]: Check whether the all port power is disabled.\n";
const std::string check_method =
    "[poe_chip_init() , 976]: Check whether the power management mode is dynamic mode with priority.\n";
const std::string check_matrix = "[poe_chip_init() , 988]: Check whether the port mapping configuration is correct.\n";
const std::string check_bank = "[poe_chip_init() , 1008]: Check whether the total budget configuration is correct.\n";
const std::string steps =
    "[poe_chip_init() , 1025]: Set the default configuration of ORV to MCU and save it.\n"
    "[poe_chip_init() , 1031]: do poe_set_pm_method\n"
    "[poe_chip_init() , 1039]: do poe_program_global_matrix\n"
    "[poe_chip_init() , 1044]: do poe_set_temporary_matrix\n"
    "[poe_chip_init() , 1050]: do poe_program_global_matrix\n"
    "[poe_chip_init() , 1055]: do _rtl_global_set(do global reset)\n"
    "[poe_chip_init() , 1061]: do poe_set_power_banks(g_poe_power_budget = 300)\n"
    "[poe_chip_init() , 1067]: do poe_set_enable_disable_channels\n"
    "[poe_chip_init() , 1069]: do poe_set_port_parameters\n"
    "[poe_chip_init() , 1075]: eventCode : 6\n"
    "[poe_chip_init() , 1078]: do poe_save_system_settings\n"
    "[poe_chip_init() , 1082]: poe_mcu_must_do_init_then_save = 1\n";

TEST_F(controller_init, a_controller_that_stores_our_configuration_is_only_read) {
    const std::string lines = run(0);
    EXPECT_EQ(the_world.story, reading_the_stored_configuration);
    EXPECT_EQ(lines, check_ports + check_method + check_matrix + check_bank +
                         said(1082, "poe_mcu_must_do_init_then_save = 0"));
    EXPECT_THAT(the_world.shell_commands, IsEmpty());
}

TEST_F(controller_init, the_device_stays_open) {
    run(0);
    EXPECT_EQ(the_world.open_descriptors, 1);
}

TEST_F(controller_init, a_foreign_controller_is_programmed_step_by_step_and_told_to_save) {
    controller.port_enabled[0] = 1;
    const std::string lines = run(1);
    EXPECT_EQ(lines, check_ports + said(966, "Port 0 is not disabled (1)") + steps);
    EXPECT_THAT(std::vector<std::string>(the_world.story.begin() + 5, the_world.story.end()),
                ElementsAre("append /flash/poe_controller_programming ",
                            R"(shell echo "[poe_dev] reset chipset configuration..." >/dev/kmsg)",
                            "frame c0 02 ff ff ff ff ff ff ff ff ff b9",  // clear
                            "frame 10 00 02 ff ff ff ff ff ff ff ff 0a",  // method
                            "frame 05 00 00 04 ff ff ff ff ff ff ff 02",  // begin the matrix
                            "sleep 2000000", "frame 06 00 00 01 00 00 01 ff ff ff ff 04",
                            "frame 06 00 01 01 00 02 03 ff ff ff ff 09", "frame 06 00 02 01 00 04 05 ff ff ff ff 0e",
                            "frame 06 00 03 01 00 06 07 ff ff ff ff 13",
                            "frame 05 00 01 04 ff ff ff ff ff ff ff 03",  // activate it
                            "sleep 1000000",
                            "frame 02 00 01 ff ff ff ff ff ff ff ff fb",  // reset
                            "sleep 2000000",
                            "frame 04 00 00 0b b8 00 00 ff ff ff ff c3",  // banks 0 to 7: 300 W
                            "frame 04 00 01 0b b8 00 00 ff ff ff ff c4", "frame 04 00 02 0b b8 00 00 ff ff ff ff c5",
                            "frame 04 00 03 0b b8 00 00 ff ff ff ff c6", "frame 04 00 04 0b b8 00 00 ff ff ff ff c7",
                            "frame 04 00 05 0b b8 00 00 ff ff ff ff c8", "frame 04 00 06 0b b8 00 00 ff ff ff ff c9",
                            "frame 04 00 07 0b b8 00 00 ff ff ff ff ca",
                            "frame 0e 00 b3 ff 09 ff ff ff ff ff ff c3",  // thresholds 446 and 576
                            "frame 01 00 00 00 01 00 02 00 03 00 ff 06",  // every port off
                            "frame 08 00 00 00 01 00 02 00 03 00 ff 0d",  // inline mode 2
                            "frame 0f 00 00 02 01 02 02 02 03 02 ff 1c", "frame 0c 00 00 06 01 06 02 06 03 06 ff 29",
                            "frame 12 00 00 01 01 01 02 01 03 01 ff 1b", "open /dev/cpld_rtl819x", "cpld 9 15 15",
                            "frame 01 00 00 00 01 00 02 00 03 00 ff 06",  // off, 90 W, lowest priority
                            "frame 14 00 00 e1 01 e1 02 e1 03 e1 ff 9d", "frame 15 00 00 00 01 00 02 00 03 00 ff 1a",
                            "frame 16 00 06 ff ff ff ff ff ff ff ff 14",  // event code
                            "frame c0 01 ff ff ff ff ff ff ff ff ff b8",  // save
                            "remove /flash/poe_controller_programming"));
    EXPECT_THAT(the_world.files, IsEmpty());
}

TEST_F(controller_init, a_programming_that_was_interrupted_is_done_again_although_every_check_passes) {
    the_world.files["/flash/poe_controller_programming"] = "";
    const std::string lines = run(1);
    EXPECT_THAT(lines, StartsWith(check_ports + check_method + check_matrix + check_bank + "[poe_chip_init() , "));
    EXPECT_THAT(lines, EndsWith("]: The last programming was interrupted.\n" + steps));
    EXPECT_THAT(the_world.files, IsEmpty());
    run(0);
}

TEST_F(controller_init, without_a_flash_the_controller_is_programmed_all_the_same) {
    the_world.files_cannot_be_written = true;
    controller.port_enabled[0] = 1;
    EXPECT_THAT(run(1), EndsWith(steps));
}

TEST_F(controller_init, the_slow_commands_get_the_long_wait) {
    controller.port_enabled[0] = 1;
    run(1);
    for (const auto& frame : the_world.frames) {
        const bool slow = frame.bytes[0] == 0x02 || frame.bytes[0] == 0x05;
        EXPECT_EQ(frame.wait, slow ? 204u : 9u) << "key " << int{frame.bytes[0]};
    }
}

TEST_F(controller_init, the_first_enabled_port_is_named_and_the_other_checks_are_skipped) {
    controller.port_enabled = {0, 0, 1, 1};
    controller.method = 7;
    const std::string lines = run(1);
    EXPECT_EQ(lines, check_ports + said(966, "Port 2 is not disabled (1)") + steps);
    EXPECT_EQ(the_world.frames[4].bytes[0], 0xC0);  // four port reads, then programming
}

TEST_F(controller_init, an_enable_byte_other_than_0_and_1_leaves_the_port_disabled) {
    controller.port_enabled = {2, 0xFF, 0, 0};
    run(0);
}

TEST_F(controller_init, another_method_is_printed_and_leads_to_programming) {
    controller.method = 1;
    controller.pair_a[0] = 9;
    EXPECT_EQ(run(1),
              check_ports + check_method + said(980, "Power management is not dynamic mode with priority (1)") + steps);
}

TEST_F(controller_init, an_unread_method_counts_as_255) {
    controller.deaf_keys = {0x4B};
    EXPECT_THAT(run(1), HasSubstr("Power management is not dynamic mode with priority (255)\n"));
}

TEST_F(controller_init, the_first_wrong_mapping_is_printed_and_the_rest_are_not_read) {
    controller.pair_b = {1, 4, 9, 9};
    EXPECT_EQ(run(1), check_ports + check_method + check_matrix + said(995, "Port 1's mapping configuration error!!") +
                          said(996, "POE_SW2PAIR : pair-a(2), pair-b(3)") +
                          said(997, "Device Cfg  : pair-a(2), pair-b(4)") + steps);
    EXPECT_EQ(the_world.frames[6].bytes[2], 1);  // port 1 was the last one asked
    EXPECT_EQ(the_world.frames[7].bytes[0], 0xC0);
}

TEST_F(controller_init, a_wrong_pair_a_alone_is_a_mismatch) {
    controller.pair_a[3] = 5;
    EXPECT_THAT(run(1), HasSubstr("Device Cfg  : pair-a(5), pair-b(7)\n"));
}

TEST_F(controller_init, an_unread_mapping_counts_as_0_and_0) {
    controller.deaf_keys = {0x49};
    EXPECT_THAT(run(1), HasSubstr("Device Cfg  : pair-a(0), pair-b(0)\n"));
}

TEST_F(controller_init, another_bank_limit_prints_limit_upper_and_lower) {
    controller.bank_limit = 2400;
    EXPECT_EQ(run(1), check_ports + check_method + check_matrix + check_bank +
                          said(1015, "power bank error (240, 575, 444)") + steps);
}

TEST_F(controller_init, a_changed_budget_forces_programming) {
    g_poe_power_budget = 240;
    EXPECT_THAT(run(1), HasSubstr("power bank error (300, 575, 444)\n"));
}

TEST_F(controller_init, thresholds_that_read_back_as_they_were_programmed_are_refused) {
    controller.lower_count = 180;  // 446
    EXPECT_THAT(run(1), HasSubstr("power bank error (300, 575, 446)\n"));
    controller.lower_count = 177;
    controller.upper_count = 10;  // 576
    EXPECT_THAT(run(1), HasSubstr("power bank error (300, 576, 444)\n"));
}

TEST_F(controller_init, an_unread_bank_counts_as_zeros) {
    controller.deaf_keys = {0x4A};
    EXPECT_THAT(run(1), HasSubstr("power bank error (300, 0, 0)\n"));
}

TEST_F(controller_init, unread_ports_pass_the_first_check) {
    controller.deaf_keys = {0x48};
    run(0);
}

TEST_F(controller_init, programming_goes_on_past_commands_that_fail) {
    controller.port_enabled[3] = 1;
    controller.deaf_keys = {0xC0, 0x05, 0x04, 0x01};
    EXPECT_THAT(run(1), HasSubstr(steps.substr(steps.rfind("[poe_chip_init() , 1082]"))));
    EXPECT_EQ(the_world.frames.back().bytes, request_frame({0xC0, 1}));
}

TEST_F(controller_init, a_device_that_cannot_be_opened_ends_the_process) {
    the_world.controller_device_missing = true;
    EXPECT_EXIT(
        {
            i_am_the(controller_user);
            poe_chip_init();
        },
        testing::ExitedWithCode(1), "^poe device driver open\\(...\\) fail!\n$");
}

TEST_F(controller_init, the_last_step_takes_limit_and_temperature_then_sets_the_mask_and_publishes_the_version) {
    controller.active_bank = 3;
    controller.bank_limit = 2950;
    run_last_init();
    EXPECT_THAT(the_world.story,
                ElementsAre("frame 41 00 ff ff ff ff ff ff ff ff ff 38", "frame 4b 03 ff ff ff ff ff ff ff ff ff 45",
                            "frame 44 00 00 ff ff ff ff ff ff ff ff 3c", "frame 11 00 01 ff ff ff ff ff ff ff ff 0a",
                            "frame 40 00 ff ff ff ff ff ff ff ff ff 37",
                            "remove unless regular /tmp/poe_driver_chip_information.txt",
                            "shell echo SW_VERSION:101a > /tmp/poe_driver_chip_information.txt"));
    EXPECT_EQ(system_status().total_mw, 295000u);
    EXPECT_EQ(system_status().supply, 25000u);
    EXPECT_EQ(system_status().remaining_mw, 300000u);
}

TEST_F(controller_init, the_version_is_two_numbers_in_hexadecimal_without_leading_zeros) {
    controller.identity = answer_frame({0x40, 0, 0, 0, 0, 0, 0, 0x05, 0, 0, 0x0B});
    run_last_init();
    EXPECT_EQ(the_world.shell_commands.back(), "echo SW_VERSION:5b > /tmp/poe_driver_chip_information.txt");
}

TEST_F(controller_init, an_unread_version_is_not_published) {
    controller.deaf_keys = {0x40};
    run_last_init();
    EXPECT_THAT(the_world.shell_commands, testing::Not(testing::Contains(HasSubstr("SW_VERSION"))));
    EXPECT_THAT(the_world.story, testing::Not(testing::Contains(HasSubstr("remove unless regular"))));
}

TEST_F(controller_init, an_unread_limit_leaves_the_budget_in_force) {
    controller.deaf_keys = {0x4B};
    run_last_init();
    EXPECT_EQ(system_status().total_mw, 300000u);
}

TEST_F(controller_init, an_unread_limit_leaves_even_a_budget_beyond_the_controllers_range) {
    g_poe_power_budget = 7000;
    poe_parameter_init();
    controller.deaf_keys = {0x4B};
    run_last_init();
    EXPECT_EQ(system_status().total_mw, 7000000u);
}

TEST_F(controller_init, a_limit_that_was_read_is_taken_even_if_it_is_what_an_unread_one_would_have_left) {
    g_poe_power_budget = 7000;
    poe_parameter_init();
    controller.bank_limit = 4464;  // 70000 tenths of a watt in 16 bits
    run_last_init();
    EXPECT_EQ(system_status().total_mw, 446400u);
}

TEST_F(controller_init, an_unread_active_bank_still_takes_the_limit_of_bank_0) {
    controller.deaf_keys = {0x41};
    controller.bank_limit = 1234;
    run_last_init();
    EXPECT_EQ(system_status().total_mw, 123400u);
}

TEST_F(controller_init, an_unread_temperature_is_0) {
    controller.deaf_keys = {0x44};
    run_last_init();
    EXPECT_EQ(system_status().supply, 0u);
    EXPECT_EQ(system_status().total_mw, 300000u);
}

}  // namespace
