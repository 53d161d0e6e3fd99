#include "supervision/cycle.h"

#include <cstring>

#include "ipc/set_queue.h"
#include "supervised_switch.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Type 129: Port_Enable of one port; everything else kept.
std::vector<std::uint8_t> enable_request(std::uint8_t port, std::uint8_t enable) {
    return {129, 0, 0, 0, 0, 0, 0, 0, port, enable, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
}

// Type 142: changes no port's power.
const std::vector<std::uint8_t> bank_request{142, 0, 0, 0, 0, 0, 0, 0, 240, 0, 0, 0};

using supervision_cycle = supervision_test;

TEST_F(supervision_cycle, polls_one_port_a_pass_and_ends_the_sweep_with_the_fourth) {
    enable_all_ports();
    for (int number = 0; number < 3; number++) {
        passes(1);
        const std::string n = " " + std::to_string(number);
        EXPECT_THAT(sent_keys(), ElementsAre("44" + n, "42" + n, "45" + n, "4f" + n, "4e" + n));
    }
    passes(1);
    EXPECT_THAT(sent_keys(), ElementsAre("44 3", "42 3", "45 3", "4f 3", "4e 3", "41", "4b", "44 0"));
    EXPECT_EQ(state.port, 0);
}

TEST_F(supervision_cycle, a_sweep_over_four_powered_ports_costs_23_transactions) {
    enable_all_ports();
    sweep();
    EXPECT_EQ(sent().size(), 23U);
    EXPECT_THAT(the_world.sleeps_us, IsEmpty());
}

TEST_F(supervision_cycle, an_unpowered_port_costs_one_question_and_reads_zeros_but_for_its_temperature) {
    ports[1].voltage_count = 0x300;
    ports[1].delivers();
    enable(1);
    sweep();
    EXPECT_EQ(recorded(1).status, 1U);
    g_port_pmt[1].Schedule_Enable.set(1);
    g_port_pmt[1].Sch_On_Off.set(0);
    sent();
    sweep();
    EXPECT_THAT(sent_keys(), ElementsAre("44 0", "44 1", "44 2", "44 3", "41", "4b", "44 0"));
    EXPECT_EQ(recorded(1).status, 0U);
    EXPECT_EQ(recorded(1).voltage, 0U);
    EXPECT_EQ(recorded(1).temperature, 25000U);
}

TEST_F(supervision_cycle, a_sweep_reaches_the_records_with_its_fourth_port_only) {
    enable(0);
    ports[0].delivers();
    passes(3);
    EXPECT_EQ(recorded(0).status, 11U);
    passes(1);
    EXPECT_EQ(recorded(0).status, 1U);
}

// --- queued changes ---

TEST_F(supervision_cycle, a_pass_that_applies_a_change_polls_nothing) {
    queue(bank_request);
    queue(bank_request);
    passes(2);
    EXPECT_EQ(sent().size(), 2U * 9U);  // eight banks and the thresholds, twice
    passes(1);
    EXPECT_THAT(sent_keys(), ElementsAre("44 0"));
}

TEST_F(supervision_cycle, a_queue_that_never_empties_keeps_every_port_from_being_polled) {
    for (int i = 0; i < 20; i++) {
        queue(bank_request);
        passes(1);
    }
    EXPECT_EQ(state.port, 0);
    for (const std::string& key : sent_keys())
        EXPECT_NE(key.substr(0, 2), "44");
}

TEST_F(supervision_cycle, a_change_of_power_begins_the_sweep_again) {
    passes(2);
    queue(enable_request(3, 1));
    passes(1);
    EXPECT_EQ(state.port, 0);
}

TEST_F(supervision_cycle, a_change_without_effect_on_power_lets_the_sweep_go_on) {
    passes(2);
    queue(bank_request);
    passes(1);
    EXPECT_EQ(state.port, 2);
    sent();
    passes(1);
    EXPECT_THAT(sent_keys(), ElementsAre("44 2"));
}

TEST_F(supervision_cycle, a_queued_change_goes_before_a_due_re_enable) {
    g_port_pwr_re_en[0] = {.pending = 1, .tick = 0};
    ticks_pass(50);
    queue(bank_request);
    passes(1);
    EXPECT_EQ(g_port_pwr_re_en[0].pending, 1U);
    passes(1);
    EXPECT_EQ(g_port_pwr_re_en[0].pending, 0U);
}

// --- re-enable ---

TEST_F(supervision_cycle, a_due_re_enable_ends_the_pass_and_begins_the_sweep_again) {
    passes(2);
    g_port_pwr_re_en[3] = {.pending = 1, .tick = 0};
    ticks_pass(50);
    sent();
    passes(1);
    EXPECT_EQ(state.port, 0);
    EXPECT_THAT(sent_keys(), ElementsAre("01 3", "14 3", "15 3", "08 3", "0f 3", "0c 3", "12 3"));
}

TEST_F(supervision_cycle, a_re_enable_that_switches_nothing_lets_the_pass_go_on) {
    passes(1);
    enable(3);
    g_port_pwr_re_en[3] = {.pending = 1, .tick = 0};
    ticks_pass(50);
    sent();
    passes(1);
    EXPECT_THAT(sent_keys(), ElementsAre("44 1"));
    EXPECT_EQ(g_port_pwr_re_en[3].pending, 0U);
}

// --- system disabled ---

TEST_F(supervision_cycle, a_disabled_system_sweeps_in_one_pass_with_temperatures_only) {
    enable_all_ports();
    for (answering_port& p : ports) {
        p.delivers();
        p.voltage_count = 0x300;
    }
    sweep();
    passes(2);
    sent();
    g_sys_pwr_pmt.enable.set(0);
    for (std::uint16_t number = 0; number < 4; number++) {
        ports[number].temperature_count = static_cast<std::uint16_t>(120 + 8 * number);
    }
    passes(1);
    EXPECT_THAT(sent_keys(), ElementsAre("44 0", "44 1", "44 2", "44 3", "41", "4b", "44 0"));
    for (std::size_t number = 0; number < 4; number++) {
        EXPECT_EQ(recorded(number).status, 0U);
        EXPECT_EQ(recorded(number).voltage, 0U);
        EXPECT_EQ(recorded(number).temperature, 125000U - 10000U * number);
    }
    EXPECT_EQ(state.port, 0);
}

TEST_F(supervision_cycle, a_disabled_system_s_unread_temperature_is_0) {
    g_sys_pwr_pmt.enable.set(0);
    passes(1);
    EXPECT_EQ(recorded(2).temperature, 25000U);
    broken = {{0x44, 2}};
    passes(1);
    EXPECT_EQ(recorded(2).temperature, 0U);
    EXPECT_EQ(recorded(3).temperature, 25000U);
}

TEST_F(supervision_cycle, a_disabled_system_leaves_auto_off_marks_alone) {
    g_sys_pwr_pmt.enable.set(0);
    g_port_pwr_auto_off = 0b0110;
    passes(2);
    EXPECT_EQ(g_port_pwr_auto_off, 0b0110);
    EXPECT_EQ(the_world.link_queries, 0);
    EXPECT_EQ(recorded(1).status, 13U);
}

// --- auto-off ---

TEST_F(supervision_cycle, a_port_switched_off_automatically_comes_back_when_its_link_goes_down) {
    enable_all_ports();
    ports[2].state = 1;
    the_world.link_up[2] = true;
    sweep();
    EXPECT_TRUE(is_auto_off(2));
    ports[2].state = 0;
    sent();
    sweep();
    EXPECT_TRUE(is_auto_off(2));
    EXPECT_EQ(recorded(2).status, 13U);
    for (const std::string& key : sent_keys())
        EXPECT_NE(key, "01 2");

    the_world.link_up[2] = false;
    passes(2);
    sent();
    passes(1);
    EXPECT_EQ(sent().at(0), one_port_frame(0x01, 2, 1));
    EXPECT_FALSE(is_auto_off(2));
}

TEST_F(supervision_cycle, a_port_that_is_no_longer_to_be_powered_is_switched_off_when_its_mark_goes) {
    g_port_pwr_auto_off = 0b0001;
    passes(1);
    EXPECT_EQ(sent().at(0), one_port_frame(0x01, 0, 0));
    EXPECT_EQ(g_port_pwr_auto_off, 0);
}

TEST_F(supervision_cycle, only_a_marked_port_s_link_is_asked) {
    enable_all_ports();
    g_port_pwr_auto_off = 0b0010;
    the_world.link_up[1] = true;
    passes(3);
    EXPECT_EQ(the_world.link_queries, 1);
}

TEST_F(supervision_cycle, before_any_link_query_was_answered_a_failed_one_means_link_down) {
    enable_all_ports();
    g_port_pwr_auto_off = 0b0001;
    the_world.link_monitor_fails = true;
    testing::internal::CaptureStdout();
    passes(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "link_mon_intf_param_get fail\n");
    EXPECT_EQ(sent().at(0), one_port_frame(0x01, 0, 1));
    EXPECT_FALSE(is_auto_off(0));
}

TEST_F(supervision_cycle, a_failed_link_query_leaves_the_last_answer_in_force_whichever_port_it_was_for) {
    enable_all_ports();
    g_port_pwr_auto_off = 0b0011;
    the_world.link_up[0] = true;
    passes(1);
    the_world.link_monitor_fails = true;
    testing::internal::CaptureStdout();
    passes(1);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(is_auto_off(1));
}

TEST_F(supervision_cycle, the_mark_goes_even_when_the_power_command_fails) {
    enable_all_ports();
    g_port_pwr_auto_off = 0b0001;
    deaf = {{0x01, -1}};
    testing::internal::CaptureStderr();
    passes(1);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(g_port_pwr_auto_off, 0);
}

// --- bad transfers ---

TEST_F(supervision_cycle, one_bad_transfer_never_changes_a_port_s_status) {
    enable_all_ports();
    for (const int state_before : {0, 1, 2, 3, 4, 5, 6, 7}) {
        for (const int key : {0x42, 0x45, 0x4E}) {
            ports[1] = {};
            ports[1].state = ports[1].channel_codes[3] = ports[1].channel_codes[7] =
                static_cast<std::uint8_t>(state_before);
            sweep();
            const port_stu before = recorded(1);
            broken = {{key, 1}};
            ports[1].state = 9;
            ports[1].channel_status(0, 9);
            if (key != 0x42) ports[1].state = static_cast<std::uint8_t>(state_before);
            if (key != 0x4E) ports[1].channel_status(0, static_cast<std::uint8_t>(state_before));
            testing::internal::CaptureStderr();
            for (int i = 0; i < 3; i++)
                sweep();
            testing::internal::GetCapturedStderr();
            EXPECT_EQ(recorded(1).status, before.status) << state_before << " " << key;
            EXPECT_EQ(recorded(1).channel[0].status, before.channel[0].status) << state_before << " " << key;
            broken = {};
        }
    }
}

TEST_F(supervision_cycle, a_bad_transfer_never_switches_a_port_off) {
    enable_all_ports();
    ports[1].state = 1;
    sweep();
    EXPECT_FALSE(is_auto_off(1));
    the_world.link_up[1] = true;
    for (const int key : {0x42, 0x45}) {
        broken = {{key, 1}};
        sent();
        testing::internal::CaptureStderr();
        sweep();
        testing::internal::GetCapturedStderr();
        EXPECT_FALSE(is_auto_off(1));
        EXPECT_EQ(recorded(1).status, 12U);
        for (const frame_bytes& frame : sent())
            EXPECT_NE(frame[0], 0x01);
    }
    broken = {};
    sweep();
    EXPECT_TRUE(is_auto_off(1));
}

TEST_F(supervision_cycle, a_silent_controller_changes_no_status) {
    enable_all_ports();
    ports[0].delivers();
    ports[0].voltage_count = 0x300;
    sweep();
    const port_stu before = recorded(0);
    the_world.controller = [](std::uint32_t, frame_bytes&) { return -1; };
    testing::internal::CaptureStderr();
    sweep();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::memcmp(&before, &recorded(0), sizeof before), 0);
}

// --- end of a sweep ---

TEST_F(supervision_cycle, stores_limit_and_temperature_times_100) {
    bank_power = 2400;
    ports[0].temperature_count = 120;  // 125.0 degrees
    sweep();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 240000U);
    EXPECT_EQ(g_sys_pwr_stu.supply, 125000U);
    EXPECT_EQ(g_sys_pwr_stu.remaining_mw, 240000U);
}

TEST_F(supervision_cycle, the_largest_limit_does_not_wrap) {
    bank_power = 65535;
    sweep();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 6553500U);
}

TEST_F(supervision_cycle, asks_the_bank_that_is_active) {
    active_bank = 5;
    sweep();
    EXPECT_THAT(sent(), testing::Contains(request_frame({0x4B, 5})));
}

TEST_F(supervision_cycle, a_failed_limit_query_keeps_the_limit_of_the_sweep_before) {
    bank_power = 2400;
    sweep();
    bank_power = 1000;
    testing::internal::CaptureStderr();
    broken = {{0x4B, 255}};
    sweep();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 240000U);
    the_world.controller = [](std::uint32_t, frame_bytes&) { return -1; };
    sweep();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 240000U);
    testing::internal::GetCapturedStderr();
}

TEST_F(supervision_cycle, before_the_first_answer_the_limit_is_what_start_up_left) {
    g_sys_pwr_stu.total_mw = 370000;
    state = begin_supervision();
    deaf = {{0x4B, -1}};
    testing::internal::CaptureStderr();
    sweep();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 370000U);
    deaf = {};
    sweep();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 300000U);
}

TEST_F(supervision_cycle, a_limit_that_the_controller_could_not_hold_begins_as_its_largest) {
    g_sys_pwr_stu.total_mw = 65535000;
    EXPECT_EQ(begin_supervision().limit, 65535);
}

TEST_F(supervision_cycle, a_failed_temperature_query_stores_0) {
    sweep();
    EXPECT_EQ(g_sys_pwr_stu.supply, 25000U);
    broken = {{0x44, 0}};
    testing::internal::CaptureStderr();
    sweep();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(g_sys_pwr_stu.supply, 0U);
}

TEST_F(supervision_cycle, a_power_cycled_port_is_off_for_its_delay_and_back_on) {
    enable_all_ports();
    sweep();
    queue({143, 0, 0, 0, 0, 0, 0, 0, 0b0010});
    passes(1);
    EXPECT_EQ(g_port_pmt[1].Port_Enable.get(), 0);
    ticks_pass(49);
    sweep();
    EXPECT_EQ(g_port_pmt[1].Port_Enable.get(), 0);
    ticks_pass(1);
    sent();
    passes(1);
    EXPECT_EQ(sent().at(0), one_port_frame(0x01, 1, 1));
    EXPECT_EQ(g_port_pmt[1].Port_Enable.get(), 1);
}

}  // namespace
