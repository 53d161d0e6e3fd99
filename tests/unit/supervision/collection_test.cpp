#include "supervision/collection.h"

#include <bit>
#include <cerrno>
#include <cstring>

#include <pthread.h>

#include "supervised_switch.h"
#include "supervision/traps.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* flag_file = "/tmp/poe_send_start_up_trap";

class collection : public supervision_test {
  protected:
    collection() { g_sys_pwr_stu.total_mw = 300000; }

    static void collect_at(std::uint32_t tick) {
        g_poe_thread_tick_cnt.set(tick);
        EXPECT_EQ(port_read_info_to_global_stu(), 0);
    }
    // Both pair sets deliver; together they draw `milliwatts`.
    static void draws(std::size_t number, std::uint32_t milliwatts) {
        llp_new[number].codes.status = 2;
        for (channel_reading& channel : llp_new[number].channel) {
            channel.codes.status = 2;
            channel.voltage = 10;  // 1000 in the record: a count of current is a milliwatt
        }
        llp_new[number].channel[0].current = static_cast<std::uint16_t>(milliwatts / 2);
        llp_new[number].channel[1].current = static_cast<std::uint16_t>(milliwatts - milliwatts / 2);
    }
};

// --- into the records ---

TEST_F(collection, copies_a_delivering_port_field_by_field) {
    port_reading& reading = llp_new[1];
    reading = {.voltage = 500,
               .current = 600,
               .power = 9,
               .temperature = 250,
               .codes = {.status = 2, .sub_status = 3, .error_code = 255, .power_class = 4},
               .port_type = 1,
               .event_counter = {},
               .channel = {},
               .status_is_old = false,
               .counters_are_old = false};
    reading.channel[0] = {
        .voltage = 501, .current = 301, .codes = {.status = 2, .sub_status = 5, .error_code = 6, .power_class = 7}};
    reading.channel[1] = {
        .voltage = 502, .current = 302, .codes = {.status = 2, .sub_status = 8, .error_code = 9, .power_class = 10}};
    collect_at(77);

    const auto four = [](std::array<std::uint8_t, 4> bytes) { return std::bit_cast<std::uint32_t>(bytes); };
    const std::array<std::uint32_t, 25> expected{
        four({1, 4, 3, 255}), 77, 1, 50000, 600, 30000, 25000, 1,  // port number, class, sub-status, error
        four({7, 6, 5, 0}),   77, 1, 50100, 301, 15080,            // class, error, sub-status
        four({10, 9, 8, 0}),  77, 1, 50200, 302, 15160, 0,     0, 0, 0, 0};
    std::array<std::uint32_t, 25> words;
    std::memcpy(words.data(), &recorded(1), sizeof words);
    EXPECT_EQ(words, expected);
}

TEST_F(collection, power_is_a_wrapping_32_bit_product_divided) {
    llp_new[0].codes.status = llp_new[0].channel[0].codes.status = 2;
    llp_new[0].voltage = llp_new[0].channel[0].voltage = 65535;
    llp_new[0].current = llp_new[0].channel[0].current = 65535;
    collect_at(1);
    const auto expected = static_cast<std::uint32_t>(65535ULL * 6553500ULL % 0x100000000ULL / 1000);
    EXPECT_EQ(recorded(0).power_mw, expected);
    EXPECT_EQ(recorded(0).channel[0].power_mw, expected);
}

TEST_F(collection, keeps_the_recorded_port_type_when_none_is_reported) {
    llp_new[0].codes.status = 2;
    llp_new[0].port_type = 254;
    collect_at(1);
    EXPECT_EQ(recorded(0).port_type, 254U);
    llp_new[0].port_type = 255;
    collect_at(2);
    EXPECT_EQ(recorded(0).port_type, 254U);
}

TEST_F(collection, a_disabled_port_has_type_3_and_no_measurements) {
    llp_new[0] = {};
    llp_new[0].voltage = llp_new[0].current = llp_new[0].channel[0].voltage = 500;
    llp_new[0].temperature = 250;
    collect_at(1);
    EXPECT_EQ(recorded(0).status, 0U);
    EXPECT_EQ(recorded(0).port_type, 3U);
    EXPECT_EQ(recorded(0).voltage, 0U);
    EXPECT_EQ(recorded(0).current, 0U);
    EXPECT_EQ(recorded(0).power_mw, 0U);
    EXPECT_EQ(recorded(0).temperature, 25000U);
    EXPECT_EQ(recorded(0).channel[0].voltage, 0U);
}

TEST_F(collection, what_does_not_deliver_loses_measurements_and_class_part_by_part) {
    for (int delivering = 0; delivering < 8; delivering++) {
        const auto status = [&](int part) { return static_cast<std::uint8_t>((delivering >> part & 1) != 0 ? 2 : 3); };
        port_reading& reading = llp_new[2];
        reading.voltage = 11;
        reading.current = 12;
        reading.codes = {.status = status(0), .sub_status = 1, .error_code = 2, .power_class = 13};
        for (int i = 0; i < 2; i++) {
            reading.channel[static_cast<std::size_t>(i)] = {
                .voltage = 14,
                .current = 15,
                .codes = {.status = status(i + 1), .sub_status = 3, .error_code = 4, .power_class = 16}};
        }
        collect_at(1);
        const bool port_delivers = (delivering & 1) != 0;
        EXPECT_EQ(recorded(2).voltage, port_delivers ? 1100U : 0U);
        EXPECT_EQ(recorded(2).current, port_delivers ? 12U : 0U);
        EXPECT_EQ(recorded(2).port_class, port_delivers ? 13 : 0);
        EXPECT_EQ(recorded(2).sub_status, 1);
        EXPECT_EQ(recorded(2).error_code, 2);
        for (std::size_t i = 0; i < 2; i++) {
            const bool channel_delivers = (delivering >> (i + 1) & 1) != 0;
            EXPECT_EQ(recorded(2).channel[i].voltage, channel_delivers ? 1400U : 0U);
            EXPECT_EQ(recorded(2).channel[i].current, channel_delivers ? 15U : 0U);
            EXPECT_EQ(recorded(2).channel[i].channel_class, channel_delivers ? 16 : 0);
            EXPECT_EQ(recorded(2).channel[i].sub_status, 3);
            EXPECT_EQ(recorded(2).channel[i].error_code, 4);
        }
    }
}

TEST_F(collection, cleaning_takes_voltage_current_third_measurement_and_class) {
    port_reading reading{.voltage = 1,
                         .current = 2,
                         .power = 3,
                         .temperature = 4,
                         .codes = {.status = 5, .sub_status = 6, .error_code = 7, .power_class = 8},
                         .port_type = 9,
                         .event_counter = {1, 2, 3, 4, 5},
                         .channel = {},
                         .status_is_old = false,
                         .counters_are_old = false};
    reading.channel[1] = {
        .voltage = 1, .current = 2, .codes = {.status = 3, .sub_status = 4, .error_code = 5, .power_class = 6}};
    __clean_energy_and_class(reading);
    EXPECT_EQ(reading.voltage + reading.current + reading.power + reading.codes.power_class, 0);
    EXPECT_EQ(reading.temperature, 4);
    EXPECT_EQ(reading.codes.status, 5);
    EXPECT_EQ(reading.channel[1].voltage, 1);
    __clean_energy_and_class_by_channel(reading.channel[1]);
    EXPECT_EQ(reading.channel[1].voltage + reading.channel[1].current + reading.channel[1].codes.power_class, 0);
    EXPECT_EQ(reading.channel[1].codes.status, 3);
    EXPECT_EQ(reading.channel[1].codes.error_code, 5);
}

TEST_F(collection, event_totals_grow_by_the_counters_in_their_own_order) {
    llp_new[3].codes.status = 2;
    llp_new[3].event_counter = {1, 2, 4, 8, 16};
    collect_at(1);
    EXPECT_THAT(recorded(3).event_totals, ElementsAre(2, 4, 16, 1, 8));
    collect_at(2);
    EXPECT_THAT(recorded(3).event_totals, ElementsAre(4, 8, 32, 2, 16));
}

TEST_F(collection, event_counters_that_a_poll_could_not_read_are_not_counted_again) {
    enable_all_ports();
    ports[3].delivers();
    ports[3].counters = {0, 0, 0, 0, 7};
    sweep();
    EXPECT_THAT(recorded(3).event_totals, ElementsAre(0, 0, 0, 0, 7));
    broken = {{counters_key, 3}};
    testing::internal::CaptureStderr();
    sweep();
    testing::internal::GetCapturedStderr();
    EXPECT_THAT(recorded(3).event_totals, ElementsAre(0, 0, 0, 0, 7));
    broken = {};
    ports[3].counters = {0, 0, 0, 0, 2};
    sweep();
    EXPECT_THAT(recorded(3).event_totals, ElementsAre(0, 0, 0, 0, 9));
}

TEST_F(collection, a_port_shows_the_events_of_its_last_good_poll_until_the_next_one) {
    enable_all_ports();
    ports[3].delivers();
    ports[3].counters = {0, 1, 0, 0, 0};
    sweep();
    EXPECT_EQ(recorded(3).status, 3U);
    broken = {{counters_key, 3}};
    testing::internal::CaptureStderr();
    sweep();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(recorded(3).status, 3U);
}

TEST_F(collection, never_touches_what_the_polls_read) {
    for (std::size_t number = 0; number < 4; number++) {
        llp_new[number].voltage = 500;
        llp_new[number].codes = {
            .status = static_cast<std::uint8_t>(number), .sub_status = 1, .error_code = 2, .power_class = 3};
        llp_new[number].event_counter = {0, 0, 0, 0, 9};
    }
    const auto before = llp_new;
    collect_at(1);
    EXPECT_TRUE(llp_new == before);
}

TEST_F(collection, the_same_codes_translate_alike_sweep_after_sweep) {
    // Status 1 becomes 12, and 12 would stay 12; a translation of its own output would show with 2 (1) and 6 (9).
    llp_new[0].codes.status = 2;
    llp_new[1].codes.status = 6;
    for (int sweep_number = 0; sweep_number < 3; sweep_number++) {
        collect_at(1);
        EXPECT_EQ(recorded(0).status, 1U);
        EXPECT_EQ(recorded(1).status, 9U);
    }
}

// --- ticks and unknown faults ---

TEST_F(collection, an_unknown_fault_keeps_the_status_and_the_tick_and_copies_nothing) {
    llp_new[0].codes.status = 2;
    llp_new[0].channel[0].codes.status = llp_new[0].channel[1].codes.status = 2;
    llp_new[0].voltage = 500;
    collect_at(5);
    for (reported_codes* codes : {&llp_new[0].codes, &llp_new[0].channel[0].codes, &llp_new[0].channel[1].codes}) {
        codes->status = 4;
        codes->error_code = 1;
    }
    llp_new[0].event_counter[3] = 7;
    collect_at(6);
    EXPECT_EQ(recorded(0).status, 1U);
    EXPECT_EQ(recorded(0).update_tick, 5U);
    EXPECT_EQ(recorded(0).voltage, 50000U);
    EXPECT_EQ(recorded(0).error_code, 0);
    EXPECT_EQ(recorded(0).channel[0].update_tick, 5U);
    EXPECT_EQ(recorded(0).channel[1].update_tick, 5U);
    EXPECT_EQ(recorded(0).event_totals[4], 0U);
}

TEST_F(collection, an_unknown_fault_of_one_part_keeps_that_part_s_status_and_tick_and_copies_the_rest) {
    for (int faulty = 0; faulty < 3; faulty++) {
        std::array<reported_codes*, 3> parts{&llp_new[0].codes, &llp_new[0].channel[0].codes,
                                             &llp_new[0].channel[1].codes};
        for (reported_codes* part : parts)
            part->status = 2;
        llp_new[0].temperature = 250;
        collect_at(5);
        parts[static_cast<std::size_t>(faulty)]->status = 4;
        parts[static_cast<std::size_t>(faulty)]->error_code = 9;
        llp_new[0].temperature = 260;
        collect_at(6);
        EXPECT_EQ(recorded(0).status, 1U);
        EXPECT_EQ(recorded(0).channel[0].status, 1U);
        EXPECT_EQ(recorded(0).channel[1].status, 1U);
        EXPECT_EQ(recorded(0).update_tick, faulty == 0 ? 5U : 6U);
        EXPECT_EQ(recorded(0).channel[0].update_tick, faulty == 1 ? 5U : 6U);
        EXPECT_EQ(recorded(0).channel[1].update_tick, faulty == 2 ? 5U : 6U);
        EXPECT_EQ(recorded(0).temperature, 26000U);
        EXPECT_EQ((faulty == 0   ? recorded(0).error_code
                   : faulty == 1 ? recorded(0).channel[0].error_code
                                 : recorded(0).channel[1].error_code),
                  9);
    }
}

TEST_F(collection, the_hold_counter_is_whole_again_for_every_part) {
    llp_new[0].event_counter[4] = 1;
    for (reported_codes* codes : {&llp_new[0].codes, &llp_new[0].channel[0].codes, &llp_new[0].channel[1].codes}) {
        *codes = {.status = 4, .sub_status = 255, .error_code = 2, .power_class = 255};
    }
    collect_at(1);
    EXPECT_EQ(recorded(0).status, 4U);
    EXPECT_EQ(recorded(0).channel[0].status, 4U);
    EXPECT_EQ(recorded(0).channel[1].status, 4U);
}

TEST_F(collection, a_port_event_counter_moves_the_port_but_not_a_channel_in_status_3) {
    llp_new[0].codes.status = 3;
    llp_new[0].channel[0].codes.status = 3;
    llp_new[0].channel[1].codes.status = 6;
    llp_new[0].event_counter[0] = 1;
    collect_at(1);
    EXPECT_EQ(recorded(0).status, 2U);
    EXPECT_EQ(recorded(0).channel[0].status, 3U);
    EXPECT_EQ(recorded(0).channel[1].status, 2U);
}

TEST_F(collection, each_event_counter_gives_its_status) {
    const std::array<std::uint32_t, 5> statuses{2, 3, 5, 9, 9};
    for (std::size_t counter = 0; counter < 5; counter++) {
        llp_new[0] = {};
        llp_new[0].codes.status = 6;
        llp_new[0].event_counter[counter] = 1;
        collect_at(1);
        EXPECT_EQ(recorded(0).status, statuses[counter]) << counter;
    }
}

TEST_F(collection, a_disabled_port_s_pair_sets_are_no_longer_watched_apart) {
    llp_new[0].port_type = 2;
    llp_new[0].channel[0].codes.status = 1;
    collect_at(1);
    EXPECT_EQ(recorded(0).channel[0].status, 2U);  // type 3 by then; a type 2 would give 12
    llp_new[0].codes.status = 2;
    collect_at(2);
    EXPECT_EQ(recorded(0).channel[0].status, 12U);
}

// --- auto-off ---

TEST_F(collection, a_linked_port_that_searches_in_vain_is_switched_off_and_marked) {
    llp_new[2].codes.status = 1;
    the_world.link_up[2] = true;
    collect_at(1);
    EXPECT_EQ(sent(), (frames{one_port_frame(0x01, 2, 0)}));
    EXPECT_EQ(g_port_pwr_auto_off, 0b0100);
    EXPECT_EQ(recorded(2).status, 12U);
}

TEST_F(collection, the_link_is_asked_once_and_only_for_a_port_that_searches_in_vain) {
    llp_new[0].codes = {.status = 1, .sub_status = 4, .error_code = 255, .power_class = 0};
    llp_new[1].codes = {.status = 1, .sub_status = 6, .error_code = 255, .power_class = 0};
    llp_new[2].codes.status = 1;
    llp_new[2].port_type = 2;
    llp_new[3].codes.status = 2;
    for (port_reading& reading : llp_new)
        reading.channel[0].codes.status = reading.channel[1].codes.status = 1;
    the_world.link_up = {true, true, true, true};
    collect_at(1);
    EXPECT_EQ(the_world.link_queries, 0);
    EXPECT_EQ(g_port_pwr_auto_off, 0);
    llp_new[3].codes.status = 1;
    collect_at(2);
    EXPECT_EQ(the_world.link_queries, 1);
    EXPECT_EQ(g_port_pwr_auto_off, 0b1000);
}

TEST_F(collection, an_unlinked_port_that_searches_is_left_on) {
    llp_new[2].codes.status = 1;
    collect_at(1);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(g_port_pwr_auto_off, 0);
    EXPECT_EQ(recorded(2).status, 12U);
}

TEST_F(collection, a_failed_link_query_counts_as_link_down) {
    llp_new[2].codes.status = 1;
    the_world.link_up[2] = true;
    the_world.link_monitor_fails = true;
    testing::internal::CaptureStdout();
    collect_at(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "link_mon_intf_param_get fail\n");
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(g_port_pwr_auto_off, 0);
}

TEST_F(collection, a_failed_link_query_counts_as_link_down_whatever_an_earlier_one_said) {
    llp_new[2].codes.status = 1;
    the_world.link_up[2] = true;
    collect_at(1);
    llp_new[2].codes.status = 0;
    llp_new[3].codes.status = 1;
    the_world.link_monitor_fails = true;
    testing::internal::CaptureStdout();
    collect_at(2);
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(is_auto_off(3));
}

TEST_F(collection, a_marked_port_that_the_controller_reports_disabled_shows_13_in_every_part) {
    g_port_pwr_auto_off = 0b0010;
    collect_at(1);
    EXPECT_EQ(recorded(0).status, 0U);
    EXPECT_EQ(recorded(1).status, 13U);
    EXPECT_EQ(recorded(1).channel[0].status, 13U);
    EXPECT_EQ(recorded(1).channel[1].status, 13U);
}

TEST_F(collection, a_refused_power_command_marks_the_port_all_the_same) {
    deaf = {{0x01, -1}};
    llp_new[2].codes.status = 1;
    the_world.link_up[2] = true;
    testing::internal::CaptureStderr();
    collect_at(1);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(g_port_pwr_auto_off, 0b0100);
}

TEST_F(collection, an_old_status_is_translated_but_never_acted_on) {
    llp_new[2].codes.status = 1;
    llp_new[2].status_is_old = true;
    the_world.link_up[2] = true;
    collect_at(9);
    EXPECT_EQ(recorded(2).status, 12U);
    EXPECT_EQ(recorded(2).update_tick, 9U);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(g_port_pwr_auto_off, 0);
}

// --- the system ---

TEST_F(collection, consumed_power_is_the_sum_of_the_pair_sets_and_not_of_the_ports) {
    for (std::size_t number = 0; number < 4; number++) {
        draws(number, 10000 * (static_cast<std::uint32_t>(number) + 1));
        llp_new[number].voltage = 500;
        llp_new[number].current = 999;
    }
    g_sys_pwr_stu.consumed_mw = 12345;
    collect_at(1);
    EXPECT_EQ(g_sys_pwr_stu.consumed_mw, 100000U);
    EXPECT_EQ(g_sys_pwr_stu.remaining_mw, 200000U);
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 300000U);
}

TEST_F(collection, a_port_whose_copy_was_skipped_still_counts_as_recorded) {
    draws(0, 40000);
    collect_at(1);
    for (reported_codes* codes : {&llp_new[0].codes, &llp_new[0].channel[0].codes, &llp_new[0].channel[1].codes}) {
        *codes = {.status = 4, .sub_status = 255, .error_code = 1, .power_class = 255};
    }
    collect_at(2);
    EXPECT_EQ(g_sys_pwr_stu.consumed_mw, 40000U);
}

TEST_F(collection, remaining_power_wraps_below_zero) {
    g_sys_pwr_stu.total_mw = 10000;
    draws(0, 10001);
    collect_at(1);
    EXPECT_EQ(g_sys_pwr_stu.remaining_mw, 0xFFFFFFFF);
}

// --- traps ---

TEST_F(collection, the_usage_alarm_fires_once_at_the_threshold_and_again_after_a_fall) {
    g_sys_pwr_stu.total_mw = 100000;
    const auto collected = [](std::uint32_t first, std::uint32_t second) {
        draws(0, first);
        draws(1, second);
        collect_at(1);
        return traps();
    };
    std::array<std::uint8_t, 16> alarm{};
    alarm[13] = 1;
    alarm[14] = 95;
    EXPECT_THAT(collected(47000, 47999), IsEmpty());
    EXPECT_EQ(g_sys_pwr_stu.alarm_raised, 0);
    EXPECT_THAT(collected(47000, 48000), ElementsAre(trap_of(alarm)));
    EXPECT_EQ(g_sys_pwr_stu.alarm_raised, 1);
    EXPECT_THAT(collected(50000, 50000), IsEmpty());
    EXPECT_EQ(g_sys_pwr_stu.alarm_raised, 1);
    EXPECT_THAT(collected(40000, 40000), IsEmpty());
    EXPECT_EQ(g_sys_pwr_stu.alarm_raised, 0);
    EXPECT_THAT(collected(47000, 48000), ElementsAre(trap_of(alarm)));
}

TEST_F(collection, without_a_limit_the_alarm_stays_off) {
    g_sys_pwr_stu.total_mw = 0;
    g_sys_pwr_stu.alarm_raised = 1;
    draws(0, 60000);
    collect_at(1);
    EXPECT_THAT(traps(), IsEmpty());
    EXPECT_EQ(g_sys_pwr_stu.alarm_raised, 0);
}

TEST_F(collection, the_threshold_is_a_signed_byte) {
    g_sys_pwr_pmt.usage_threshold.set(-1);
    collect_at(1);
    std::array<std::uint8_t, 16> alarm{};
    alarm[13] = 1;
    EXPECT_THAT(traps(), ElementsAre(trap_of(alarm)));
}

TEST_F(collection, one_trap_carries_all_four_ports_at_start_up) {
    the_world.files[flag_file] = "";
    llp_new[0].codes.status = 2;
    llp_new[1].codes.status = 6;
    llp_new[2].port_type = 2;
    llp_new[2].codes.status = 2;
    llp_new[2].channel[0].codes.status = 2;
    llp_new[2].channel[1].codes.status = 5;
    testing::internal::CaptureStderr();
    collect_at(1);
    testing::internal::GetCapturedStderr();
    EXPECT_THAT(traps(), ElementsAre(trap_of({0b1111, 0, 0, 3, 0, 1, 9, 1, 0, 0, 0, 5, 0})));
}

TEST_F(collection, a_change_is_reported_once_and_an_unchanged_sweep_sends_nothing) {
    poe_drv_already_sent_startup_trap = 1;
    collect_at(1);  // from "not read yet" to disabled
    EXPECT_THAT(traps(), ElementsAre(trap_of({0b1111})));
    collect_at(2);
    EXPECT_THAT(traps(), IsEmpty());
    llp_new[3].codes.status = 2;
    collect_at(3);
    EXPECT_THAT(traps(), ElementsAre(trap_of({0b1000, 0, 0, 0, 0, 0, 0, 0, 1})));
}

TEST_F(collection, a_port_event_and_the_alarm_share_one_trap) {
    poe_drv_already_sent_startup_trap = 1;
    collect_at(1);
    traps();
    g_sys_pwr_stu.total_mw = 50000;
    draws(0, 50000);
    collect_at(2);
    EXPECT_THAT(traps(), ElementsAre(trap_of({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 50, 0})));
}

TEST_F(collection, a_port_event_while_the_alarm_stands_is_sent_by_itself) {
    poe_drv_already_sent_startup_trap = 1;
    g_sys_pwr_stu.total_mw = 50000;
    draws(0, 50000);
    collect_at(1);
    traps();
    llp_new[1].codes.status = 5;
    collect_at(2);
    EXPECT_THAT(traps(), ElementsAre(trap_of({2, 0, 0, 0, 0, 0, 5})));
}

TEST_F(collection, the_alarm_is_sent_before_anybody_asked_for_port_events) {
    g_sys_pwr_stu.total_mw = 50000;
    draws(0, 50000);
    collect_at(1);
    EXPECT_THAT(traps(), ElementsAre(trap_of({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 50, 0})));
}

TEST_F(collection, the_change_is_judged_against_the_record_of_the_sweep_before) {
    poe_drv_already_sent_startup_trap = 1;
    recorded(0).status = 13;
    recorded(0).port_type = 1;
    llp_new[0].codes = {.status = 1, .sub_status = 6, .error_code = 255, .power_class = 0};
    llp_new[0].port_type = 1;
    collect_at(1);
    EXPECT_EQ(traps().at(0).at(5 + 5), 14);
    EXPECT_EQ(recorded(0).status, 2U);
}

TEST_F(collection, holds_the_tick_lock_over_power_commands_and_gives_it_back) {
    llp_new[2].codes.status = 1;
    the_world.link_up[2] = true;
    int lock_result = 0;
    the_world.controller = [&lock_result](std::uint32_t, frame_bytes& frame) {
        lock_result = pthread_mutex_trylock(&g_mutex_poe_tick_thread.native);
        frame = answer_frame({frame[0], 0});
        return 0;
    };
    collect_at(1);
    EXPECT_EQ(lock_result, EBUSY);
    EXPECT_EQ(pthread_mutex_trylock(&g_mutex_poe_tick_thread.native), 0);
    pthread_mutex_unlock(&g_mutex_poe_tick_thread.native);
}

}  // namespace
