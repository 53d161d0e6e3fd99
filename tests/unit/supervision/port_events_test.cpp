#include "supervision/port_events.h"

#include "supervised_switch.h"
#include "supervision/traps.h"

namespace {

constexpr const char* flag_file = "/tmp/poe_send_start_up_trap";

class port_events : public supervision_test {
  protected:
    port_reading reading{};

    void traps_are_welcome() { the_world.files[flag_file] = ""; }
    void changes_are_reported() { poe_drv_already_sent_startup_trap = 1; }

    // The port's change to `now`, at port level.
    int changes(std::uint8_t number, std::uint32_t recorded_status, std::uint8_t now) {
        recorded(number).port_type = 1;
        recorded(number).status = recorded_status;
        reading.port_type = 1;
        reading.codes.status = now;
        return set_trap_meg_and_poe_led(number, reading);
    }
    static int logged_status(int number) { return g_poe_drv_msg.status[static_cast<std::size_t>(number)]; }
};

TEST_F(port_events, before_the_flag_file_exists_light_leds_and_send_no_trap) {
    EXPECT_EQ(changes(1, 2, 1), 0);
    EXPECT_EQ(g_poe_drv_msg.ports, 0);
    EXPECT_EQ(g_port_led_stu, 2);
    EXPECT_EQ(poe_drv_do_sent_startup_trap, 0);
}

TEST_F(port_events, the_first_pass_after_the_flag_file_reports_every_port_and_the_next_only_changes) {
    traps_are_welcome();
    testing::internal::CaptureStderr();
    for (std::uint8_t number = 0; number < 4; number++)
        EXPECT_EQ(changes(number, 1, 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "[set_trap_meg_and_poe_led() , 6083]: poe_drv_do_sent_startup_trap: 1\n");
    EXPECT_EQ(g_poe_drv_msg.ports, 0b1111);
    EXPECT_EQ(poe_drv_do_sent_startup_trap, 1);
    EXPECT_EQ(poe_drv_already_sent_startup_trap, 0);

    clear_poe_drv_msg();
    testing::internal::CaptureStderr();
    for (std::uint8_t number = 0; number < 4; number++)
        EXPECT_EQ(changes(number, 1, number == 2 ? 5 : 1), number == 2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "[set_trap_meg_and_poe_led() , 6076]: poe_drv_already_sent_startup_trap: 1\n");
    EXPECT_EQ(g_poe_drv_msg.ports, 0b0100);
    EXPECT_EQ(poe_drv_already_sent_startup_trap, 1);
}

TEST_F(port_events, a_flag_file_that_appears_in_the_middle_of_a_pass_leaves_its_remaining_ports_alone) {
    traps_are_welcome();
    for (std::uint8_t number = 1; number < 4; number++)
        EXPECT_EQ(changes(number, 2, 1), 0);
    EXPECT_EQ(g_poe_drv_msg.ports, 0);
    EXPECT_EQ(g_port_led_stu, 0);
    EXPECT_EQ(poe_drv_do_sent_startup_trap, 0);
}

TEST_F(port_events, a_removed_flag_file_brings_the_start_up_pass_back) {
    traps_are_welcome();
    for (std::uint8_t number = 0; number < 4; number++)
        changes(number, 1, 1);
    the_world.files.clear();
    for (int pass = 0; pass < 3; pass++) {
        clear_poe_drv_msg();
        for (std::uint8_t number = 0; number < 4; number++)
            EXPECT_EQ(changes(number, 1, 1), 1);
        EXPECT_EQ(g_poe_drv_msg.ports, 0b1111);
        EXPECT_EQ(poe_drv_already_sent_startup_trap, 0);
    }
    traps_are_welcome();
    EXPECT_EQ(changes(0, 1, 1), 0);
    EXPECT_EQ(poe_drv_already_sent_startup_trap, 1);
}

TEST_F(port_events, once_reported_the_flag_file_no_longer_matters) {
    changes_are_reported();
    EXPECT_EQ(changes(3, 2, 1), 1);
    traps_are_welcome();
    EXPECT_EQ(changes(3, 1, 5), 1);
    EXPECT_EQ(poe_drv_do_sent_startup_trap, 0);
}

TEST_F(port_events, the_start_up_pass_sets_leds_even_of_ports_that_did_not_change) {
    traps_are_welcome();
    changes(0, 1, 1);
    EXPECT_EQ(g_port_led_stu, 1);
}

TEST_F(port_events, a_port_that_leaves_auto_off_is_reported_as_14_and_darkens) {
    changes_are_reported();
    g_port_led_stu = 1;
    EXPECT_EQ(changes(0, 13, 2), 1);
    EXPECT_EQ(logged_status(0), 14);
    EXPECT_EQ(g_port_led_stu, 0);
}

TEST_F(port_events, a_port_that_is_enabled_is_reported_as_15_and_darkens) {
    changes_are_reported();
    g_port_led_stu = 1;
    EXPECT_EQ(changes(0, 0, 2), 1);
    EXPECT_EQ(logged_status(0), 15);
    EXPECT_EQ(g_port_led_stu, 0);
}

TEST_F(port_events, a_port_from_12_to_2_darkens_without_a_trap) {
    changes_are_reported();
    g_port_led_stu = 1;
    EXPECT_EQ(changes(0, 12, 2), 0);
    EXPECT_EQ(g_poe_drv_msg.ports, 0);
    EXPECT_EQ(g_port_led_stu, 0);
}

TEST_F(port_events, an_unchanged_port_leaves_its_led_alone_even_if_it_is_wrong) {
    changes_are_reported();
    EXPECT_EQ(changes(0, 1, 1), 0);
    EXPECT_EQ(g_port_led_stu, 0);
    EXPECT_TRUE(the_world.cpld_writes.empty());
}

TEST_F(port_events, one_changed_channel_is_reported_alone_and_lights_the_led) {
    changes_are_reported();
    recorded(1).port_type = reading.port_type = 2;
    recorded(1).channel[0].status = 5;
    reading.channel[0].codes.status = 1;
    recorded(1).channel[1].status = reading.channel[1].codes.status = 9;
    reading.channel[1].codes.sub_status = 1;
    EXPECT_EQ(set_trap_meg_and_poe_led(1, reading), 1);
    EXPECT_EQ(static_cast<int>(g_poe_drv_msg.kind[1]), 1);
    EXPECT_EQ(g_poe_drv_msg.status[1], 1);
    EXPECT_EQ(g_poe_drv_msg.status_b[1], 0);
    EXPECT_EQ(g_port_led_stu, 2);
    EXPECT_EQ(g_port_led_blk, 2);
}

TEST_F(port_events, both_changed_channels_make_one_entry) {
    changes_are_reported();
    reading.port_type = 2;
    reading.channel[0].codes.status = 5;
    reading.channel[1].codes.status = 7;
    EXPECT_EQ(set_trap_meg_and_poe_led(3, reading), 1);
    EXPECT_EQ(static_cast<int>(g_poe_drv_msg.kind[3]), 3);
    EXPECT_EQ(g_poe_drv_msg.status[3], 5);
    EXPECT_EQ(g_poe_drv_msg.status_b[3], 7);
    EXPECT_EQ(g_port_led_blk, 0);
}

TEST_F(port_events, a_sub_status_of_channel_a_makes_the_led_blink) {
    reading.port_type = 2;
    reading.channel[0].codes = {.status = 1, .sub_status = 1, .error_code = 0, .power_class = 0};
    set_trap_meg_and_poe_led(0, reading);
    EXPECT_EQ(g_port_led_blk, 1);
}

TEST_F(port_events, unchanged_channels_leave_the_led_alone) {
    changes_are_reported();
    recorded(1).port_type = 2;
    recorded(1).channel[0].status = reading.channel[0].codes.status = 5;
    recorded(1).channel[1].status = reading.channel[1].codes.status = 7;
    reading.channel[0].codes.sub_status = 1;
    recorded(1).status = 1;  // the port's own status does not count
    EXPECT_EQ(set_trap_meg_and_poe_led(1, reading), 0);
    EXPECT_EQ(g_port_led_blk, 0);
}

TEST_F(port_events, a_port_of_another_recorded_type_is_left_alone) {
    traps_are_welcome();
    recorded(0).port_type = 4;
    reading.codes.status = 1;
    EXPECT_EQ(set_trap_meg_and_poe_led(0, reading), 0);
    EXPECT_EQ(g_port_led_stu, 0);
    EXPECT_EQ(poe_drv_do_sent_startup_trap, 1);
}

}  // namespace
