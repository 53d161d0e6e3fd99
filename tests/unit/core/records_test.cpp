#include <array>
#include <cstring>
#include <type_traits>

#include "core/paths.h"
#include "world/records.h"

namespace {

using testing::Each;

// Every record of the daemon full of nonsense before the defaults are set, as after a long run.
class defaults : public records_test {
  protected:
    defaults() {
        nobody_else_is_running();
        for (port_pmt& port : g_port_pmt) {
            port.Port_Number.set(99);
            port.PoE_Mode.set(99);
            port.Port_Enable.set(99);
            port.Power_Priority.set(99);
            port.Schedule_Enable.set(99);
            port.Sch_On_Off.set(99);
            port.Re_Enable_Val.set(99);
            port.Power_Limit_Val.set(99);
        }
        for (auto* byte : {&g_sys_pwr_pmt.enable, &g_sys_pwr_pmt.parameter_1, &g_sys_pwr_pmt.parameter_2,
                           &g_sys_pwr_pmt.usage_threshold, &g_sys_pwr_pmt.parameter_4, &g_sys_pwr_pmt.parameter_5})
            byte->set(99);
        std::memset(g_port_stu.data(), 0x63, sizeof g_port_stu);
        std::memset(g_port_pwr_re_en.data(), 0x63, sizeof g_port_pwr_re_en);
        g_sys_pwr_stu = {.total_mw = 99, .consumed_mw = 99, .remaining_mw = 99, .supply = 99, .alarm_raised = 99};
        g_pwr_bnk_pmt.set({.limit_w = 99, .second = 99});
        result = poe_parameter_init();
    }
    int result;
};

TEST_F(defaults, setting_them_gives_0) {
    EXPECT_EQ(result, 0);
}

TEST_F(defaults, the_system_is_enabled_with_an_alarm_at_95_percent) {
    EXPECT_EQ(g_sys_pwr_pmt.enable.get(), 1);
    EXPECT_EQ(g_sys_pwr_pmt.parameter_1.get(), 0);
    EXPECT_EQ(g_sys_pwr_pmt.parameter_2.get(), 0);
    EXPECT_EQ(g_sys_pwr_pmt.usage_threshold.get(), 95);
    EXPECT_EQ(g_sys_pwr_pmt.parameter_4.get(), 0);
    EXPECT_EQ(g_sys_pwr_pmt.parameter_5.get(), 0);
}

TEST_F(defaults, the_whole_budget_of_300_watts_remains) {
    nobody_else_is_running();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 300000u);
    EXPECT_EQ(g_sys_pwr_stu.remaining_mw, 300000u);
    EXPECT_EQ(g_sys_pwr_stu.consumed_mw, 0u);
    EXPECT_EQ(g_sys_pwr_stu.alarm_raised, 0);
}

TEST_F(defaults, the_supply_figure_is_not_touched) {
    nobody_else_is_running();
    EXPECT_EQ(g_sys_pwr_stu.supply, 99u);
}

TEST_F(defaults, every_port_is_off_with_low_priority_and_90_watts) {
    for (std::size_t port = 0; port < 4; port++) {
        const port_pmt& parameters = g_port_pmt[port];
        EXPECT_EQ(parameters.Port_Number.get(), port);
        EXPECT_EQ(parameters.PoE_Mode.get(), 2);
        EXPECT_EQ(parameters.Port_Enable.get(), 0);
        EXPECT_EQ(parameters.Power_Priority.get(), 3);
        EXPECT_EQ(parameters.Schedule_Enable.get(), 0);
        EXPECT_EQ(parameters.Sch_On_Off.get(), 1);
        EXPECT_EQ(parameters.Re_Enable_Val.get(), 10);
        EXPECT_EQ(parameters.Power_Limit_Val.get(), 900u);
    }
}

TEST_F(defaults, every_port_status_is_zero_but_for_its_number_and_status_11) {
    nobody_else_is_running();
    for (std::size_t port = 0; port < 4; port++) {
        std::array<std::uint32_t, 25> expected{};
        const auto number = static_cast<std::uint8_t>(port);
        std::memcpy(expected.data(), &number, 1);
        expected[2] = 11;
        std::array<std::uint32_t, 25> words;
        static_assert(sizeof words == sizeof g_port_stu[0]);
        std::memcpy(words.data(), &g_port_stu[port], sizeof words);
        EXPECT_EQ(words, expected) << "port " << port;
    }
}

TEST_F(defaults, the_power_bank_has_the_budget_and_nothing_else) {
    EXPECT_EQ(g_pwr_bnk_pmt.get().limit_w, 300);
    EXPECT_EQ(g_pwr_bnk_pmt.get().second, 0);
}

TEST_F(defaults, no_port_is_waiting_to_be_re_enabled) {
    nobody_else_is_running();
    for (const port_pwr_re_en& entry : g_port_pwr_re_en) {
        EXPECT_EQ(entry.pending, 0u);
        EXPECT_EQ(entry.tick, 0u);
    }
}

TEST_F(defaults, another_budget_changes_the_system_power_and_the_bank_only) {
    g_poe_power_budget = 65535;
    poe_parameter_init();
    nobody_else_is_running();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 65535000u);
    EXPECT_EQ(g_sys_pwr_stu.remaining_mw, 65535000u);
    EXPECT_EQ(g_pwr_bnk_pmt.get().limit_w, 65535);
    EXPECT_EQ(g_pwr_bnk_pmt.get().second, 0);
    EXPECT_EQ(g_port_pmt[0].Power_Limit_Val.get(), 900u);
}

TEST(records, port_n_has_channels_2n_and_2n_plus_1) {
    EXPECT_EQ(POE_SW2PAIR_A, (std::array<std::uint8_t, 4>{0, 2, 4, 6}));
    EXPECT_EQ(POE_SW2PAIR_B, (std::array<std::uint8_t, 4>{1, 3, 5, 7}));
}

TEST(records, all_ports_are_called_128) {
    EXPECT_EQ(all_ports, 128);
    EXPECT_EQ(port_count, 4u);
}

// The words of a port's status, each found where clients find it.
TEST(records, every_field_of_a_ports_status_has_its_word) {
    const auto channel = [](std::uint8_t from) {
        return channel_stu{.channel_class = from,
                           .error_code = static_cast<std::uint8_t>(from + 1),
                           .sub_status = static_cast<std::uint8_t>(from + 2),
                           .unused = 0,
                           .update_tick = from + 10u,
                           .status = from + 20u,
                           .voltage = from + 30u,
                           .current = from + 40u,
                           .power_mw = from + 50u};
    };
    const port_stu status{.port_number = 1,
                          .port_class = 2,
                          .sub_status = 3,
                          .error_code = 4,
                          .update_tick = 1001,
                          .status = 1002,
                          .voltage = 1003,
                          .current = 1004,
                          .power_mw = 1005,
                          .temperature = 1006,
                          .port_type = 1007,
                          .channel = {channel(100), channel(200)},
                          .event_totals = {1020, 1021, 1022, 1023, 1024}};
    std::array<std::uint32_t, 25> words;
    std::memcpy(words.data(), &status, sizeof words);
    const auto bytes_of_word = [&words](std::size_t word) {
        std::array<std::uint8_t, 4> bytes;
        std::memcpy(bytes.data(), &words[word], sizeof bytes);
        return bytes;
    };
    EXPECT_EQ(bytes_of_word(0), (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
    for (std::size_t word = 1; word <= 7; word++)
        EXPECT_EQ(words[word], 1000 + word);
    EXPECT_EQ(bytes_of_word(8), (std::array<std::uint8_t, 4>{100, 101, 102, 0}));
    EXPECT_EQ(bytes_of_word(14), (std::array<std::uint8_t, 4>{200, 201, 202, 0}));
    for (std::size_t i = 0; i < 5; i++) {
        EXPECT_EQ(words[9 + i], 110 + 10 * i);
        EXPECT_EQ(words[15 + i], 210 + 10 * i);
        EXPECT_EQ(words[20 + i], 1020 + i);
    }
}

// A thread that still runs while the process exits finds every record as it was.
TEST(records, nothing_of_them_is_destroyed_at_exit) {
    EXPECT_TRUE(std::is_trivially_destructible_v<decltype(g_port_pmt)>);
    EXPECT_TRUE(std::is_trivially_destructible_v<decltype(g_port_stu)>);
    EXPECT_TRUE(std::is_trivially_destructible_v<decltype(g_sys_pwr_pmt)>);
    EXPECT_TRUE(std::is_trivially_destructible_v<decltype(g_sys_pwr_stu)>);
    EXPECT_TRUE(std::is_trivially_destructible_v<decltype(g_pwr_bnk_pmt)>);
    EXPECT_TRUE(std::is_trivially_destructible_v<decltype(g_port_pwr_re_en)>);
    EXPECT_TRUE(std::is_trivially_destructible_v<decltype(g_dbg_read_mixed_info)>);
    EXPECT_TRUE(std::is_trivially_destructible_v<decltype(g_poe_thread_tick_cnt)>);
    EXPECT_TRUE(std::is_trivially_destructible_v<poe_mutex>);
}

TEST(paths, every_path_is_the_one_that_the_rest_of_the_switch_knows) {
    EXPECT_STREQ(poe_controller_device_path, "/dev/poe_kernel_drv");
    EXPECT_STREQ(cpld_device_path, "/dev/cpld_rtl819x");
    EXPECT_STREQ(kernel_log_path, "/dev/kmsg");
    EXPECT_STREQ(external_socket_path, "/tmp/poe_driver_ipc_socket_server.txt");
    EXPECT_STREQ(internal_rx_socket_path, "/tmp/poe_driver_ipc_socket_internal_rx_server.txt");
    EXPECT_STREQ(internal_tx_socket_path, "/tmp/poe_driver_ipc_socket_internal_tx_server.txt");
    EXPECT_STREQ(power_budget_path, "/tmp/poe_external_set_power_budget.txt");
    EXPECT_STREQ(chip_information_path, "/tmp/poe_driver_chip_information.txt");
    EXPECT_STREQ(trap_pipe_path, "/tmp/snmp_proc_pipe");
    EXPECT_STREQ(start_up_trap_flag_path, "/tmp/poe_send_start_up_trap");
    EXPECT_STREQ(tx_checksum_marks_path, "/flash/poe_error_tx_checksum.txt");
    EXPECT_STREQ(rx_timeout_marks_path, "/flash/poe_error_rx_timeout.txt");
    EXPECT_STREQ(rx_checksum_marks_path, "/flash/poe_error_rx_checksum.txt");
    EXPECT_STREQ(statistics_file_path, "/flash/poe_statistics.txt");
    EXPECT_STREQ(stress_test_flag_path, "/flash/PoE_Stress_Test");
}

}  // namespace
