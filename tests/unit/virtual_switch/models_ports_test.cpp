// Each kind of device on its road to its end state, and what the daemon sees on the way.
#include "switch_bench.h"

namespace vswitch {
namespace {

using testing::ElementsAre;

TEST_F(programmed_switch, an_empty_port_searches) {
    after_ms(5000);
    EXPECT_EQ(port(0).status, 2U);
    EXPECT_EQ(port(0).type, 3U);
    EXPECT_EQ(channel(0, 0).status, 2U);
    EXPECT_EQ(channel(0, 1).status, 2U);
    EXPECT_EQ(consumed_mw(0), 0U);
}

TEST_F(programmed_switch, a_port_that_is_off_shows_off_whatever_is_plugged_in) {
    ask(0x01, {1, 0});
    say("plug 2 --class 4 --load 12.5");
    after_ms(2000);
    EXPECT_EQ(port(1).status, 0U);
    EXPECT_EQ(channel(1, 0).status, 0U);
    EXPECT_EQ(consumed_mw(1), 0U);
}

TEST_F(programmed_switch, a_device_is_detected_then_classified_then_powered) {
    model.set_latency_us(0);
    say("plug 2 --class 4 --load 12.5");
    after_ms(349);
    EXPECT_EQ(port(1).status, 2U);
    after_ms(1);
    EXPECT_EQ(port(1).status, 9U);
    after_ms(149);
    EXPECT_EQ(port(1).status, 9U);
    after_ms(1);
    EXPECT_EQ(port(1).status, 1U);
}

TEST_F(programmed_switch, every_class_delivers_with_its_class_type_and_load) {
    for (unsigned power_class = 0; power_class <= 8; power_class++) {
        say("plug 1 --class " + std::to_string(power_class) + " --load 3.75");
        after_ms(1000);
        EXPECT_EQ(port(0).status, 1U) << power_class;
        EXPECT_EQ(port(0).power_class, power_class);
        EXPECT_EQ(port(0).type, power_class > 4 ? 1U : 0U) << power_class;
        EXPECT_EQ(channel(0, 0).power_class, power_class);
        EXPECT_NEAR(consumed_mw(0), 3750, 55) << power_class;
    }
}

TEST_F(programmed_switch, every_class_bears_its_power_and_not_more) {
    const unsigned most_w[] = {15, 4, 7, 15, 30, 45, 60, 75, 90};
    for (unsigned power_class = 0; power_class <= 8; power_class++) {
        const std::string class_word = std::to_string(power_class);
        say("plug 1 --class " + class_word + " --load " + std::to_string(most_w[power_class]));
        after_ms(1000);
        EXPECT_EQ(port(0).status, 1U) << power_class;
        say("plug 1 --class " + class_word + " --load " + std::to_string(most_w[power_class] + 1));
        after_ms(1000);
        EXPECT_EQ(port(0).status, 3U) << power_class;
    }
}

TEST_F(programmed_switch, a_legacy_device_delivers_as_class_0_on_two_pairs) {
    say("plug 3 --legacy --load 6");
    after_ms(1000);
    EXPECT_EQ(port(2).status, 1U);
    EXPECT_EQ(port(2).power_class, 0U);
    EXPECT_EQ(port(2).type, 0U);
    EXPECT_NEAR(consumed_mw(2), 6000, 55);
}

TEST_F(programmed_switch, two_pairs_carry_everything_on_pair_set_a) {
    say("plug 1 --class 4 --load 25");
    after_ms(1000);
    EXPECT_EQ(channel(0, 0).status, 1U);
    EXPECT_EQ(channel(0, 1).status, 2U);
    EXPECT_NEAR(channel(0, 0).milliwatts(), 25000, 55);
    EXPECT_EQ(channel(0, 1).milliwatts(), 0U);
}

TEST_F(programmed_switch, four_pairs_share_the_load) {
    say("plug 1 --class 4 --pairs 4 --load 25");
    after_ms(1000);
    EXPECT_EQ(port(0).type, 1U);
    EXPECT_EQ(channel(0, 0).status, 1U);
    EXPECT_EQ(channel(0, 1).status, 1U);
    EXPECT_NEAR(channel(0, 0).milliwatts(), 12500, 60);
    EXPECT_NEAR(channel(0, 1).milliwatts(), 12500, 60);
    EXPECT_NEAR(consumed_mw(0), 25000, 55);
}

TEST_F(programmed_switch, the_sum_over_the_pair_sets_is_the_load_for_every_load) {
    say("plug 1 --class 8 --load 0");
    after_ms(1000);
    for (unsigned watts = 0; watts <= 90; watts++) {
        say("load 1 " + std::to_string(watts) + ".3");
        if (watts == 90) break;
        EXPECT_NEAR(consumed_mw(0), watts * 1000 + 300, 55) << watts;
    }
}

TEST_F(programmed_switch, a_dual_signature_device_has_two_loads_and_two_states) {
    say("plug 4 --dual --class 4 --load 20,10");
    after_ms(1000);
    EXPECT_EQ(port(3).type, 2U);
    EXPECT_EQ(port(3).status, 1U);
    EXPECT_EQ(channel(3, 0).status, 1U);
    EXPECT_EQ(channel(3, 1).status, 1U);
    EXPECT_EQ(channel(3, 0).power_class, 4U);
    EXPECT_NEAR(channel(3, 0).milliwatts(), 20000, 55);
    EXPECT_NEAR(channel(3, 1).milliwatts(), 10000, 55);
    say("load 4 20,31");
    after_ms(200);
    EXPECT_EQ(port(3).status, 1U);
    EXPECT_EQ(channel(3, 0).status, 1U);
    EXPECT_EQ(channel(3, 1).status, 3U);
    say("load 4 31,31");
    after_ms(200);
    EXPECT_EQ(port(3).status, 3U);
    say("load 4 20,10");
    after_ms(3000);
    EXPECT_EQ(channel(3, 0).status, 1U);
    EXPECT_EQ(channel(3, 1).status, 1U);
}

TEST_F(programmed_switch, a_denied_pair_set_leaves_the_other_alone) {
    program(45);
    all_on();
    say("plug 4 --dual --class 4 --load 30,30");
    after_ms(1000);
    EXPECT_EQ(channel(3, 0).status, 1U);
    EXPECT_EQ(channel(3, 1).status, 4U);
}

TEST_F(programmed_switch, a_dual_load_given_as_one_is_split) {
    say("plug 4 --dual --class 4 --load 31");
    after_ms(1000);
    EXPECT_NEAR(channel(3, 0).milliwatts(), 15500, 55);
    EXPECT_NEAR(channel(3, 1).milliwatts(), 15500, 55);
}

TEST_F(programmed_switch, a_broken_wire_is_never_found) {
    say("plug 1 --class 4 --broken open");
    after_ms(5000);
    EXPECT_EQ(port(0).status, 2U);
    EXPECT_THAT(take_events(0), ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(programmed_switch, a_bad_signature_is_no_powered_device) {
    say("plug 1 --class 4 --broken bad-signature");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 12U);
    EXPECT_EQ(port(0).type, 3U);
    EXPECT_THAT(take_events(0), ElementsAre(0, 0, 0, 1, 0));
}

TEST_F(programmed_switch, a_bad_signature_gets_power_when_detection_is_off) {
    ask(0x0F, {0, 0});
    say("plug 1 --class 4 --load 5 --broken bad-signature");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 1U);
}

TEST_F(programmed_switch, a_short_ends_the_power_up_and_stays) {
    say("plug 1 --class 4 --broken short");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 5U);
    EXPECT_EQ(channel(0, 0).status, 5U);
    after_ms(10000);
    EXPECT_EQ(port(0).status, 5U);
    EXPECT_THAT(take_events(0), ElementsAre(0, 0, 1, 0, 0));
}

TEST_F(programmed_switch, an_overload_ends_delivery_and_is_retried_when_it_has_passed) {
    say("plug 2 --class 4 --load 12.5");
    after_ms(1000);
    say("load 2 31");
    after_ms(50);
    EXPECT_EQ(port(1).status, 1U);
    after_ms(20);
    EXPECT_EQ(port(1).status, 3U);
    EXPECT_EQ(consumed_mw(1), 0U);
    EXPECT_THAT(take_events(1), ElementsAre(0, 1, 0, 0, 0));
    say("load 2 12.5");
    after_ms(2000);
    EXPECT_EQ(port(1).status, 1U);
}

TEST_F(programmed_switch, an_overload_that_passes_in_time_is_borne) {
    say("plug 2 --class 4 --load 12.5");
    after_ms(1000);
    say("load 2 31");
    after_ms(40);
    say("load 2 12.5");
    after_ms(1000);
    EXPECT_EQ(port(1).status, 1U);
    EXPECT_THAT(take_events(1), ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(programmed_switch, a_device_broken_by_overload_never_keeps_its_power) {
    say("plug 2 --class 8 --broken overload");
    after_ms(10000);
    EXPECT_EQ(port(1).status, 3U);
}

TEST_F(programmed_switch, a_device_that_breaks_while_it_is_powered_fails_and_returns_when_mended) {
    say("plug 2 --class 4 --load 12.5");
    after_ms(1000);
    say("break 2 short");
    after_ms(100);
    EXPECT_EQ(port(1).status, 5U);
    say("mend 2");
    after_ms(2000);
    EXPECT_EQ(port(1).status, 1U);
    say("break 2 open");
    after_ms(1000);
    EXPECT_EQ(port(1).status, 2U);
    say("mend 2");
    after_ms(1000);
    EXPECT_EQ(port(1).status, 1U);
}

TEST_F(programmed_switch, an_unplugged_device_is_missed_after_a_while_and_counted_once) {
    say("plug 2 --class 4 --load 12.5");
    after_ms(1000);
    say("unplug 2");
    after_ms(300);
    EXPECT_EQ(port(1).status, 1U);
    EXPECT_EQ(consumed_mw(1), 0U);
    after_ms(100);
    EXPECT_EQ(port(1).status, 2U);
    EXPECT_THAT(take_events(1), ElementsAre(1, 0, 0, 0, 0));
}

TEST_F(programmed_switch, an_unplugged_dual_signature_device_shows_no_type_before_it_is_missed) {
    say("plug 2 --dual --class 4 --load 12.5");
    after_ms(1000);
    say("unplug 2");
    EXPECT_EQ(port(1).type, 3U);
    EXPECT_EQ(port(1).status, 1U);
    after_ms(400);
    EXPECT_EQ(port(1).status, 2U);
    EXPECT_THAT(take_events(1), ElementsAre(1, 0, 0, 0, 0));
}

TEST_F(programmed_switch, a_faulty_device_that_is_unplugged_leaves_a_searching_port) {
    say("plug 2 --class 4 --broken short");
    after_ms(1000);
    say("unplug 2");
    EXPECT_EQ(port(1).status, 2U);
    EXPECT_THAT(take_events(1), ElementsAre(0, 0, 1, 0, 0));
}

TEST_F(programmed_switch, another_device_on_a_powered_port_is_detected_anew) {
    say("plug 2 --class 4 --load 12.5");
    after_ms(1000);
    say("plug 2 --class 1 --load 2");
    EXPECT_EQ(port(1).status, 2U);
    after_ms(1000);
    EXPECT_EQ(port(1).status, 1U);
    EXPECT_EQ(port(1).power_class, 1U);
    EXPECT_THAT(take_events(1), ElementsAre(1, 0, 0, 0, 0));
}

TEST_F(programmed_switch, a_port_limit_is_an_overload_limit) {
    ask(0x14, {0, 25});  // 10 W
    say("plug 1 --class 4 --load 10");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 1U);
    ask(0x14, {0, 24});
    after_ms(100);
    EXPECT_EQ(port(0).status, 3U);
}

TEST_F(programmed_switch, the_limit_alone_counts_when_it_is_set_by_hand) {
    ask(0x12, {0, 2});
    say("plug 1 --class 1 --load 20");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 1U);
}

TEST_F(programmed_switch, the_power_up_mode_bounds_what_a_port_gives) {
    ask(0x0C, {0, 0, 1, 3});
    say("plug 1 --class 8 --load 16");
    say("plug 2 --class 8 --load 29");
    say("plug 3 --class 8 --load 80");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 3U);
    EXPECT_EQ(port(1).status, 1U);
    EXPECT_EQ(port(2).status, 1U);
}

TEST_F(programmed_switch, switching_off_ends_delivery_at_once_and_on_begins_anew) {
    say("plug 1 --class 4 --load 10");
    after_ms(1000);
    ask(0x01, {0, 0});
    EXPECT_EQ(port(0).status, 0U);
    EXPECT_EQ(consumed_mw(0), 0U);
    switch_on(0);
    EXPECT_EQ(port(0).status, 2U);
    after_ms(1000);
    EXPECT_EQ(port(0).status, 1U);
    EXPECT_THAT(take_events(0), ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(programmed_switch, switching_on_again_does_not_disturb_a_powered_port) {
    say("plug 1 --class 4 --load 10");
    after_ms(1000);
    switch_on(0);
    EXPECT_EQ(port(0).status, 1U);
}

TEST_F(programmed_switch, all_ports_are_switched_by_one_command) {
    say("plug 1 --class 4 --load 10");
    after_ms(1000);
    ask(0x00, {0});
    for (unsigned number = 0; number < 4; number++)
        EXPECT_EQ(port(number).status, 0U);
    ask(0x00, {1});
    after_ms(1000);
    EXPECT_EQ(port(0).status, 1U);
}

TEST_F(programmed_switch, the_measurement_follows_the_load) {
    say("plug 1 --class 8 --load 80");
    after_ms(1000);
    const frame loaded = ask(0x44, {0});
    const frame idle = ask(0x44, {1});
    const double volts = (loaded[3] * 256 + loaded[4]) * 0.06445;
    const unsigned milliampere = loaded[5] * 256U + loaded[6];
    EXPECT_GT(volts, 53.0);
    EXPECT_LT(volts, 54.0);
    EXPECT_NEAR(milliampere * volts, 80000, 200);
    EXPECT_EQ(loaded[9] * 256 + loaded[10], 800);
    const auto celsius = [](const frame& answer) { return (answer[7] * 256 + answer[8] - 120) * -1.25 + 125.0; };
    EXPECT_GT(celsius(loaded), celsius(idle) + 10);
    EXPECT_GT(celsius(idle), 30.0);
    EXPECT_LT(celsius(loaded), 70.0);
    EXPECT_THAT(std::vector<unsigned>(idle.begin() + 3, idle.begin() + 7), ElementsAre(0, 0, 0, 0));
}

TEST_F(programmed_switch, the_port_current_is_that_of_both_pair_sets) {
    say("plug 1 --class 8 --load 61.7");
    after_ms(1000);
    const frame measured = ask(0x44, {0});
    EXPECT_EQ(measured[5] * 256U + measured[6], channel(0, 0).current + channel(0, 1).current);
}

TEST_F(programmed_switch, event_counters_are_cleared_by_reading_and_stop_at_255) {
    say("event 2 1 200");
    say("event 2 1 200");
    say("event 2 5");
    EXPECT_THAT(take_events(1), ElementsAre(255, 0, 0, 0, 1));
    EXPECT_THAT(take_events(1), ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(programmed_switch, each_event_counter_has_its_byte) {
    for (unsigned counter = 1; counter <= 5; counter++) {
        say("event 1 " + std::to_string(counter) + " " + std::to_string(counter));
    }
    const frame answer = ask(0x45, {0, 1});
    EXPECT_THAT(std::vector<unsigned>(answer.begin() + 2, answer.begin() + 8), ElementsAre(0, 1, 2, 3, 5, 4));
}

}  // namespace
}  // namespace vswitch
