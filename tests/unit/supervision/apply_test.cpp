#include "supervision/apply.h"

#include "supervised_switch.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t keep = 0xFF;

// A block as clients send it: enable, priority, schedule, mode, re-enable, limit.
struct block_values {
    std::uint8_t enable = keep, priority = keep, schedule = keep, mode = keep, re_enable = keep;
    std::uint32_t limit = 0xFFFFFFFF;
};

bytes block_bytes(std::uint8_t port, block_values v) {
    bytes block{port, v.enable, v.priority, v.schedule, v.mode, v.re_enable, 0, 0};
    for (int shift = 0; shift < 32; shift += 8)
        block.push_back(static_cast<std::uint8_t>(v.limit >> shift));
    return block;
}

bytes message(std::uint8_t type, const std::vector<bytes>& parts) {
    bytes request{type, 0, 0, 0, 0, 0, 0, 0};
    for (const bytes& part : parts)
        request.insert(request.end(), part.begin(), part.end());
    return request;
}

class applying : public supervision_test {
  protected:
    static int apply(const bytes& request) {
        return poe_talk_with_kernel_ipc_proccess(request.data(), static_cast<int>(request.size()));
    }
    static int apply_block(std::uint8_t port, block_values values) {
        return apply(message(129, {block_bytes(port, values)}));
    }
    static std::vector<int> stored(std::size_t port) {
        const port_pmt& p = g_port_pmt[port];
        return {p.Port_Enable.get(), p.Power_Priority.get(), p.Schedule_Enable.get(),
                p.PoE_Mode.get(),    p.Re_Enable_Val.get(),  static_cast<int>(p.Power_Limit_Val.get()),
                p.Sch_On_Off.get(),  p.Port_Number.get()};
    }
    static std::vector<int> system_bytes() {
        return {g_sys_pwr_pmt.enable.get(),          g_sys_pwr_pmt.parameter_1.get(), g_sys_pwr_pmt.parameter_2.get(),
                g_sys_pwr_pmt.usage_threshold.get(), g_sys_pwr_pmt.parameter_4.get(), g_sys_pwr_pmt.parameter_5.get()};
    }
};

frames switch_frames(std::uint8_t port, std::uint8_t on) {
    return frames{one_port_frame(0x01, port, on)} + inline_mode_2_frames(port);
}

frames parameter_frames(std::uint8_t port, std::uint8_t on, std::uint8_t limit_code, std::uint8_t priority_code) {
    return {one_port_frame(0x01, port, on), one_port_frame(0x14, port, limit_code),
            one_port_frame(0x15, port, priority_code)};
}

// --- dispatch ---

TEST_F(applying, a_record_of_a_wrong_length_is_ignored) {
    struct row {
        std::uint8_t type;
        int length;
    };
    constexpr row lengths[]{{128, 16}, {129, 20}, {130, 56}, {132, 20}, {137, 12}, {138, 24}, {142, 12}, {143, 9}};
    for (const row& r : lengths) {
        bytes record(80, 0);
        record[0] = r.type;
        record[8] = 0b0001;
        record[9] = 0;
        for (int length = -1; length <= 60; length++) {
            if (length == r.length) continue;
            const auto parameters = stored(0);
            EXPECT_EQ(poe_talk_with_kernel_ipc_proccess(record.data(), length), 0);
            EXPECT_EQ(stored(0), parameters);
            EXPECT_EQ(g_port_pwr_re_en[0].pending, 0U);
        }
    }
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_THAT(system_bytes(), ElementsAre(1, 0, 0, 95, 0, 0));
    EXPECT_EQ(g_pwr_bnk_pmt.get().limit_w, 300);
}

TEST_F(applying, a_record_of_any_other_type_is_ignored) {
    enable_all_ports();
    for (int type = 0; type < 256; type++) {
        if ((type >= 128 && type <= 130) || type == 132 || type == 137 || type == 138 || type == 142 || type == 143)
            continue;
        for (const std::size_t length : {8U, 9U, 12U, 16U, 20U, 24U, 56U}) {
            bytes record(length, 0);
            record[0] = static_cast<std::uint8_t>(type);
            EXPECT_EQ(apply(record), 0);
        }
    }
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(g_port_pmt[0].Port_Enable.get(), 1);
}

TEST_F(applying, a_port_that_does_not_exist_is_ignored) {
    for (const std::uint8_t port : std::initializer_list<std::uint8_t>{4, 128, 255}) {
        EXPECT_EQ(apply_block(port, {.enable = 1}), 0);
        EXPECT_EQ(apply(message(137, {{port, 0, 0, 0}})), 0);
    }
    EXPECT_THAT(sent(), IsEmpty());
}

// --- one port's parameters ---

TEST_F(applying, switching_a_port_on_programs_everything) {
    EXPECT_EQ(apply_block(2, {.enable = 1, .priority = 1, .limit = 300}), 1);
    EXPECT_EQ(sent(), parameter_frames(2, 1, 75, 3) + inline_mode_2_frames(2));
    EXPECT_EQ(the_world.cpld_writes, (std::vector<cpld_write>{{9, 4, 4}}));
    EXPECT_THAT(stored(2), ElementsAre(1, 1, 0, 2, 10, 300, 1, 2));
}

TEST_F(applying, switching_a_port_off_programs_everything) {
    enable(1);
    EXPECT_EQ(apply_block(1, {.enable = 0}), 1);
    EXPECT_EQ(sent(), parameter_frames(1, 0, 225, 0) + inline_mode_2_frames(1));
    EXPECT_THAT(stored(1), ElementsAre(0, 3, 0, 2, 10, 900, 1, 1));
}

TEST_F(applying, a_change_of_a_port_that_stays_off_programs_everything_and_switches_nothing) {
    EXPECT_EQ(apply_block(0, {.priority = 2}), 0);
    EXPECT_EQ(sent(), parameter_frames(0, 0, 225, 2) + inline_mode_2_frames(0));
}

TEST_F(applying, a_block_that_repeats_the_stored_values_programs_nothing) {
    enable(3);
    EXPECT_EQ(apply_block(3, {.enable = 1, .priority = 3, .schedule = 0, .mode = 2, .re_enable = 10, .limit = 900}), 0);
    EXPECT_EQ(apply_block(3, {}), 0);
    EXPECT_EQ(apply_block(3, {.limit = 0xFFFFFFFE}), 0);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_THAT(the_world.cpld_writes, IsEmpty());
    EXPECT_THAT(stored(3), ElementsAre(1, 3, 0, 2, 10, 900, 1, 3));
}

TEST_F(applying, a_powered_port_s_new_limit_sends_the_limit_alone) {
    enable(3);
    EXPECT_EQ(apply_block(3, {.limit = 154}), 0);
    EXPECT_EQ(sent(), (frames{one_port_frame(0x14, 3, 38)}));
    EXPECT_THAT(stored(3), ElementsAre(1, 3, 0, 2, 10, 154, 1, 3));
}

TEST_F(applying, a_powered_port_s_new_priority_sends_the_priority_alone) {
    enable(3);
    EXPECT_EQ(apply_block(3, {.priority = 2}), 0);
    EXPECT_EQ(sent(), (frames{one_port_frame(0x15, 3, 2)}));
}

TEST_F(applying, a_powered_port_s_new_mode_sends_the_inline_mode_alone) {
    enable(3);
    EXPECT_EQ(apply_block(3, {.mode = 4}), 0);
    EXPECT_EQ(sent(), (frames{one_port_frame(0x08, 3, 2), one_port_frame(0x0F, 3, 0), one_port_frame(0x0C, 3, 6),
                              one_port_frame(0x12, 3, 2), one_port_frame(0x18, 3, 3)}));
}

TEST_F(applying, a_powered_port_s_changes_are_sent_in_the_order_limit_priority_mode) {
    enable(3);
    EXPECT_EQ(apply_block(3, {.priority = 1, .mode = 0, .limit = 40}), 0);
    EXPECT_EQ(sent(), (frames{one_port_frame(0x14, 3, 10), one_port_frame(0x15, 3, 3), one_port_frame(0x08, 3, 0),
                              one_port_frame(0x0F, 3, 2), one_port_frame(0x0C, 3, 0), one_port_frame(0x12, 3, 1)}));
}

TEST_F(applying, a_powered_port_s_new_delay_or_schedule_flag_is_stored_without_a_frame) {
    enable(3);
    EXPECT_EQ(apply_block(3, {.schedule = 1, .re_enable = 60}), 0);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_THAT(stored(3), ElementsAre(1, 3, 1, 2, 60, 900, 1, 3));
}

TEST_F(applying, a_port_put_under_a_schedule_that_is_off_is_switched_off) {
    enable(3);
    g_port_pmt[3].Sch_On_Off.set(0);
    EXPECT_EQ(apply_block(3, {.schedule = 1}), 1);
    EXPECT_EQ(sent().at(0), one_port_frame(0x01, 3, 0));
    EXPECT_EQ(g_port_pmt[3].Sch_On_Off.get(), 0);
}

TEST_F(applying, a_port_enabled_in_a_disabled_system_stays_off) {
    g_sys_pwr_pmt.enable.set(0);
    EXPECT_EQ(apply_block(0, {.enable = 1}), 0);
    EXPECT_EQ(sent().at(0), one_port_frame(0x01, 0, 0));
    EXPECT_EQ(g_port_pmt[0].Port_Enable.get(), 1);
}

TEST_F(applying, settings_are_stored_even_when_the_controller_is_silent) {
    the_world.controller = [](std::uint32_t, frame_bytes&) { return -1; };
    testing::internal::CaptureStderr();
    EXPECT_EQ(apply_block(2, {.enable = 1, .limit = 300}), 1);
    testing::internal::GetCapturedStderr();
    EXPECT_THAT(stored(2), ElementsAre(1, 3, 0, 2, 10, 300, 1, 2));
}

TEST_F(applying, a_block_s_keep_values_become_the_stored_ones) {
    port_parameter_block block = record_from<port_parameter_block>(block_bytes(1, {.enable = 1}).data());
    poe_talk_with_kernel_ipc_proccess_change_one_port_pmt(block);
    EXPECT_EQ(block.Power_Priority, 3);
    EXPECT_EQ(block.Schedule_Enable, 0);
    EXPECT_EQ(block.PoE_Mode, 2);
    EXPECT_EQ(block.Re_Enable_Val, 10);
    EXPECT_EQ(block.Power_Limit_Val, 900U);
}

// --- several ports' parameters ---

TEST_F(applying, the_same_parameters_go_to_all_ports_in_order_whatever_the_port_byte_holds) {
    EXPECT_EQ(apply(message(132, {block_bytes(200, {.enable = 1, .limit = 100})})), 1);
    frames expected;
    for (std::uint8_t port = 0; port < 4; port++) {
        expected = expected + parameter_frames(port, 1, 25, 0) + inline_mode_2_frames(port);
    }
    EXPECT_EQ(sent(), expected);
    for (std::size_t port = 0; port < 4; port++) {
        EXPECT_THAT(stored(port), ElementsAre(1, 3, 0, 2, 10, 100, 1, static_cast<int>(port)));
    }
}

TEST_F(applying, what_the_same_parameters_keep_of_the_first_port_goes_to_the_others) {
    g_port_pmt[0].Power_Priority.set(1);
    g_port_pmt[2].Power_Priority.set(2);
    EXPECT_EQ(apply(message(132, {block_bytes(0, {.limit = 100})})), 0);
    for (std::size_t port = 0; port < 4; port++)
        EXPECT_EQ(g_port_pmt[port].Power_Priority.get(), 1);
}

TEST_F(applying, the_same_parameters_report_a_switch_of_any_port) {
    for (const std::uint8_t off_port : std::initializer_list<std::uint8_t>{0, 1, 2, 3}) {
        enable_all_ports();
        g_port_pmt[off_port].Port_Enable.set(0);
        EXPECT_EQ(apply(message(132, {block_bytes(0, {.enable = 1})})), 1);
        EXPECT_EQ(apply(message(132, {block_bytes(0, {.enable = 1})})), 0);
    }
}

TEST_F(applying, each_port_gets_the_block_at_its_place_whatever_its_port_byte_holds) {
    EXPECT_EQ(apply(message(130, {block_bytes(9, {.limit = 100}), block_bytes(0, {.enable = 1}), block_bytes(0, {}),
                                  block_bytes(255, {.priority = 1})})),
              1);
    EXPECT_EQ(sent(), parameter_frames(0, 0, 25, 0) + inline_mode_2_frames(0) + parameter_frames(1, 1, 225, 0) +
                          inline_mode_2_frames(1) + parameter_frames(3, 0, 225, 3) + inline_mode_2_frames(3));
    EXPECT_THAT(stored(0), ElementsAre(0, 3, 0, 2, 10, 100, 1, 0));
    EXPECT_THAT(stored(1), ElementsAre(1, 3, 0, 2, 10, 900, 1, 1));
    EXPECT_THAT(stored(2), ElementsAre(0, 3, 0, 2, 10, 900, 1, 2));
    EXPECT_THAT(stored(3), ElementsAre(0, 1, 0, 2, 10, 900, 1, 3));
}

TEST_F(applying, all_ports_parameters_without_a_switch_give_0) {
    EXPECT_EQ(apply(message(
                  130, {block_bytes(0, {.limit = 100}), block_bytes(1, {}), block_bytes(2, {}), block_bytes(3, {})})),
              0);
}

// --- system parameters ---

TEST_F(applying, a_disabled_system_switches_every_port_off_one_by_one) {
    enable(1);
    EXPECT_EQ(apply(message(128, {{0, keep, keep, keep, keep, keep, 0, 0}})), 1);
    EXPECT_EQ(sent(), switch_frames(0, 0) + switch_frames(1, 0) + switch_frames(2, 0) + switch_frames(3, 0));
    EXPECT_THAT(system_bytes(), ElementsAre(0, 0, 0, 95, 0, 0));
    EXPECT_EQ(g_port_pmt[1].Port_Enable.get(), 1);
}

TEST_F(applying, an_enabled_system_switches_on_exactly_the_ports_that_ask_for_power) {
    g_sys_pwr_pmt.enable.set(0);
    enable(1);
    enable(2);
    enable(3);
    g_port_pmt[2].Schedule_Enable.set(1);
    g_port_pmt[2].Sch_On_Off.set(0);
    EXPECT_EQ(apply(message(128, {{1, keep, keep, keep, keep, keep, 0, 0}})), 1);
    EXPECT_EQ(sent(), switch_frames(1, 1) + switch_frames(3, 1));
    EXPECT_EQ(g_sys_pwr_pmt.enable.get(), 1);
}

TEST_F(applying, a_negative_system_enable_switches_the_asking_ports_off) {
    enable(2);
    EXPECT_EQ(apply(message(128, {{0x80, keep, keep, keep, keep, keep, 0, 0}})), 1);
    EXPECT_EQ(sent(), switch_frames(2, 0));
    EXPECT_EQ(g_sys_pwr_pmt.enable.get(), -128);
}

TEST_F(applying, system_parameters_are_stored_but_for_byte_1) {
    EXPECT_EQ(apply(message(128, {{1, 7, 8, 80, 9, 10, 0, 0}})), 0);
    EXPECT_THAT(system_bytes(), ElementsAre(1, 0, 8, 80, 9, 10));
    EXPECT_EQ(apply(message(128, {{keep, 7, keep, keep, keep, keep, 0, 0}})), 0);
    EXPECT_THAT(system_bytes(), ElementsAre(1, 0, 8, 80, 9, 10));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(applying, each_kept_system_byte_stays) {
    apply(message(128, {{1, 0, 2, 50, 4, 5, 0, 0}}));
    EXPECT_EQ(apply(message(128, {{keep, keep, 3, keep, keep, keep, 0, 0}})), 0);
    EXPECT_EQ(apply(message(128, {{keep, keep, keep, 60, keep, keep, 0, 0}})), 0);
    EXPECT_EQ(apply(message(128, {{keep, keep, keep, keep, 6, keep, 0, 0}})), 0);
    EXPECT_EQ(apply(message(128, {{keep, keep, keep, keep, keep, 7, 0, 0}})), 0);
    EXPECT_THAT(system_bytes(), ElementsAre(1, 0, 3, 60, 6, 7));
}

TEST_F(applying, system_parameters_are_stored_beside_a_changed_enable_too) {
    EXPECT_EQ(apply(message(128, {{0, 7, 8, 80, 9, 10, 0, 0}})), 1);
    EXPECT_THAT(system_bytes(), ElementsAre(0, 0, 8, 80, 9, 10));
}

// --- schedule states ---

TEST_F(applying, a_schedule_state_switches_a_port_that_obeys_it) {
    enable(2);
    g_port_pmt[2].Schedule_Enable.set(1);
    EXPECT_EQ(apply(message(137, {{2, 0, 0, 0}})), 1);
    EXPECT_EQ(sent(), switch_frames(2, 0));
    EXPECT_EQ(g_port_pmt[2].Sch_On_Off.get(), 0);
    EXPECT_EQ(apply(message(137, {{2, 1, 0, 0}})), 1);
    EXPECT_EQ(sent(), switch_frames(2, 1));
    EXPECT_EQ(g_port_pmt[2].Sch_On_Off.get(), 1);
}

TEST_F(applying, a_schedule_state_of_a_port_that_does_not_obey_it_is_only_stored) {
    enable(2);
    EXPECT_EQ(apply(message(137, {{2, 0, 0, 0}})), 0);
    EXPECT_EQ(g_port_pmt[2].Sch_On_Off.get(), 0);
    g_port_pmt[1].Schedule_Enable.set(1);
    EXPECT_EQ(apply(message(137, {{1, 0, 0, 0}})), 0);  // disabled all the same
    EXPECT_EQ(g_port_pmt[1].Sch_On_Off.get(), 0);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(applying, a_schedule_state_that_is_kept_or_repeated_does_nothing) {
    enable(2);
    g_port_pmt[2].Schedule_Enable.set(1);
    EXPECT_EQ(apply(message(137, {{2, keep, 0, 0}})), 0);
    EXPECT_EQ(apply(message(137, {{2, 1, 0, 0}})), 0);
    EXPECT_EQ(g_port_pmt[2].Sch_On_Off.get(), 1);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(applying, schedule_states_of_all_ports_go_by_place_and_keep_where_kept) {
    enable_all_ports();
    for (port_pmt& p : g_port_pmt)
        p.Schedule_Enable.set(1);
    g_port_pmt[1].Schedule_Enable.set(0);
    EXPECT_EQ(apply(message(138, {{3, 0, 0, 0}, {3, 0, 0, 0}, {200, keep, 0, 0}, {0, 0, 0, 0}})), 1);
    EXPECT_EQ(sent(), switch_frames(0, 0) + switch_frames(3, 0));
    EXPECT_EQ(g_port_pmt[0].Sch_On_Off.get(), 0);
    EXPECT_EQ(g_port_pmt[1].Sch_On_Off.get(), 0);
    EXPECT_EQ(g_port_pmt[2].Sch_On_Off.get(), 1);
    EXPECT_EQ(g_port_pmt[3].Sch_On_Off.get(), 0);
}

TEST_F(applying, schedule_states_that_switch_nothing_give_0) {
    EXPECT_EQ(apply(message(138, {{0, 0, 0, 0}, {1, 0, 0, 0}, {2, 0, 0, 0}, {3, 0, 0, 0}})), 0);
    EXPECT_EQ(g_port_pmt[3].Sch_On_Off.get(), 0);
    EXPECT_THAT(sent(), IsEmpty());
}

// --- power bank ---

TEST_F(applying, a_power_bank_is_programmed_into_all_eight_banks_and_stored_whole) {
    EXPECT_EQ(apply(message(142, {{240, 0, 0x34, 0x12}})), 0);
    frames expected;
    for (std::uint8_t bank = 0; bank < 8; bank++)
        expected.push_back(request_frame({0x04, 0, bank, 0x09, 0x60, 0, 0}));
    expected.push_back(request_frame({0x0E, 0, 179, 0xFF, 9}));
    EXPECT_EQ(sent(), expected);
    EXPECT_EQ(g_pwr_bnk_pmt.get().limit_w, 240);
    EXPECT_EQ(g_pwr_bnk_pmt.get().second, 0x1234);
}

TEST_F(applying, a_power_bank_is_stored_even_when_the_controller_is_silent) {
    the_world.controller = [](std::uint32_t, frame_bytes&) { return -1; };
    testing::internal::CaptureStderr();
    EXPECT_EQ(apply(message(142, {{0x2C, 0x01, 0, 0}})), 0);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(g_pwr_bnk_pmt.get().limit_w, 300);
}

// --- power-cycle ---

TEST_F(applying, a_power_cycle_switches_its_ports_off_and_arms_them) {
    enable_all_ports();
    ticks_pass(1000);
    EXPECT_EQ(apply(message(143, {{0b0101}})), 1);
    EXPECT_EQ(sent(), parameter_frames(0, 0, 225, 0) + inline_mode_2_frames(0) + parameter_frames(2, 0, 225, 0) +
                          inline_mode_2_frames(2));
    for (std::size_t number = 0; number < 4; number++) {
        const bool cycled = number == 0 || number == 2;
        EXPECT_EQ(g_port_pmt[number].Port_Enable.get(), cycled ? 0 : 1);
        EXPECT_EQ(g_port_pwr_re_en[number].pending, cycled ? 1U : 0U);
        EXPECT_EQ(g_port_pwr_re_en[number].tick, cycled ? 1000U : 0U);
    }
}

TEST_F(applying, a_power_cycle_of_a_disabled_port_arms_it_all_the_same) {
    EXPECT_EQ(apply(message(143, {{0b1000}})), 0);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(g_port_pwr_re_en[3].pending, 1U);
    ticks_pass(50);
    EXPECT_EQ(poe_do_reenable_port_power(), 1);
    EXPECT_EQ(g_port_pmt[3].Port_Enable.get(), 1);
}

TEST_F(applying, bits_beyond_the_fourth_port_mean_nothing) {
    enable_all_ports();
    EXPECT_EQ(apply(message(143, {{0b11110000}})), 0);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(applying, a_second_power_cycle_restarts_the_delay) {
    enable(1);
    apply(message(143, {{0b0010}}));
    ticks_pass(30);
    EXPECT_EQ(apply(message(143, {{0b0010}})), 0);
    ticks_pass(49);
    EXPECT_EQ(poe_do_reenable_port_power(), 0);
    EXPECT_EQ(g_port_pwr_re_en[1].pending, 1U);
    ticks_pass(1);
    EXPECT_EQ(poe_do_reenable_port_power(), 1);
    EXPECT_EQ(g_port_pwr_re_en[1].pending, 0U);
}

TEST_F(applying, ports_come_back_in_order_each_after_its_own_delay) {
    enable_all_ports();
    g_port_pmt[2].Re_Enable_Val.set(5);
    apply(message(143, {{0b0111}}));
    sent();
    ticks_pass(24);
    EXPECT_EQ(poe_do_reenable_port_power(), 0);
    ticks_pass(1);
    EXPECT_EQ(poe_do_reenable_port_power(), 1);
    EXPECT_EQ(sent(), parameter_frames(2, 1, 225, 0) + inline_mode_2_frames(2));
    ticks_pass(25);
    EXPECT_EQ(poe_do_reenable_port_power(), 1);
    EXPECT_EQ(sent(), parameter_frames(0, 1, 225, 0) + inline_mode_2_frames(0) + parameter_frames(1, 1, 225, 0) +
                          inline_mode_2_frames(1));
    EXPECT_EQ(poe_do_reenable_port_power(), 0);
}

TEST_F(applying, the_longest_delay_is_300_ticks) {
    enable(0);
    g_port_pmt[0].Re_Enable_Val.set(60);
    apply(message(143, {{1}}));
    ticks_pass(299);
    EXPECT_EQ(poe_do_reenable_port_power(), 0);
    ticks_pass(1);
    EXPECT_EQ(poe_do_reenable_port_power(), 1);
}

TEST_F(applying, the_delay_counts_across_the_wrap_of_the_tick_counter) {
    enable(0);
    g_poe_thread_tick_cnt.set(0xFFFFFFF0);
    apply(message(143, {{1}}));
    ticks_pass(1);
    EXPECT_EQ(poe_do_reenable_port_power(), 0) << "the counter has not wrapped yet";
    ticks_pass(48);
    EXPECT_EQ(poe_do_reenable_port_power(), 0);
    ticks_pass(1);
    EXPECT_EQ(poe_do_reenable_port_power(), 1);
}

TEST_F(applying, the_delay_counts_across_the_sign_bit_of_the_tick_counter) {
    enable(0);
    g_poe_thread_tick_cnt.set(0x7FFFFFF0);
    apply(message(143, {{1}}));
    ticks_pass(1);
    EXPECT_EQ(poe_do_reenable_port_power(), 0);
    ticks_pass(48);
    EXPECT_EQ(poe_do_reenable_port_power(), 0);
    ticks_pass(1);
    EXPECT_EQ(poe_do_reenable_port_power(), 1);
}

TEST_F(applying, a_port_outside_its_schedule_is_re_enabled_without_power) {
    enable(0);
    g_port_pmt[0].Schedule_Enable.set(1);
    apply(message(143, {{1}}));
    g_port_pmt[0].Sch_On_Off.set(0);
    ticks_pass(50);
    EXPECT_EQ(poe_do_reenable_port_power(), 0);
    EXPECT_EQ(g_port_pmt[0].Port_Enable.get(), 1);
    EXPECT_EQ(g_port_pwr_re_en[0].pending, 0U);
}

}  // namespace
