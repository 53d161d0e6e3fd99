#include "supervision/readings.h"

#include "supervised_switch.h"

namespace {

using testing::ElementsAre;

class port_readings : public supervision_test {
  protected:
    port_readings() {
        answering_port& p = ports[2];
        p.voltage_count = 0x0300;  // 494 tenths of a volt
        p.current = 611;
        p.temperature_count = 200;  // 25.0 degrees
        p.power = 3021;
        p.state = 2;
        p.detail = 0x31;
        p.port_type = 1;
        p.counters = {11, 12, 13, 14, 15};                                   // answer bytes 3 to 7
        p.channel_codes = {0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA};  // answer bytes 3 to 10
        p.channel_measures = {0x0300, 601, 0x0200, 602};
    }
    static const port_reading& reading() { return llp_new[2]; }
};

std::vector<int> listed(const reported_codes& codes) {
    return {codes.status, codes.error_code, codes.sub_status, codes.power_class};
}

TEST_F(port_readings, a_full_poll_asks_five_questions_with_the_port_number) {
    EXPECT_EQ(port_read_info(2), 0);
    EXPECT_EQ(sent(), (frames{request_frame({0x44, 0, 2}), request_frame({0x42, 0, 2}), request_frame({0x45, 0, 2, 1}),
                              request_frame({0x4F, 0, 2}), request_frame({0x4E, 0, 2})}));
}

TEST_F(port_readings, a_full_poll_keeps_the_controller_s_own_codes) {
    port_read_info(2);
    EXPECT_EQ(reading().voltage, 494);
    EXPECT_EQ(reading().current, 611);
    EXPECT_EQ(reading().power, 3021);
    EXPECT_EQ(reading().temperature, 250);
    EXPECT_EQ(reading().codes.status, 2);
    EXPECT_EQ(reading().codes.sub_status, 1);
    EXPECT_EQ(reading().codes.error_code, 255);
    EXPECT_EQ(reading().codes.power_class, 3);
    EXPECT_EQ(reading().port_type, 1);
    EXPECT_FALSE(reading().status_is_old);
}

TEST_F(port_readings, a_fault_s_detail_byte_is_its_error_code) {
    ports[2].state = 4;
    port_read_info(2);
    EXPECT_EQ(reading().codes.error_code, 0x31);
    EXPECT_EQ(reading().codes.sub_status, 255);
    EXPECT_EQ(reading().codes.power_class, 255);
}

TEST_F(port_readings, the_fourth_event_counter_is_answer_byte_7_and_the_fifth_byte_6) {
    port_read_info(2);
    EXPECT_THAT(reading().event_counter, ElementsAre(11, 12, 13, 15, 14));
}

TEST_F(port_readings, one_answer_carries_both_pair_sets) {
    port_read_info(2);
    EXPECT_EQ(reading().channel[0].voltage, 494);
    EXPECT_EQ(reading().channel[0].current, 601);
    EXPECT_EQ(reading().channel[1].voltage, 329);  // 512 x 0.6445
    EXPECT_EQ(reading().channel[1].current, 602);
    // Answer bytes 6, 5, 3, 4 and 10, 9, 7, 8.
    EXPECT_THAT(listed(reading().channel[0].codes), ElementsAre(0x66, 0x55, 0x33, 0x44));
    EXPECT_THAT(listed(reading().channel[1].codes), ElementsAre(0xAA, 0x99, 0x77, 0x88));
}

TEST_F(port_readings, what_cannot_be_read_stays_as_it_was) {
    port_read_info(2);
    const port_reading before = reading();
    ports[2] = {};
    deaf = {{0x44, 2}, {0x42, 2}, {0x45, 2}, {0x4F, 2}, {0x4E, 2}};
    EXPECT_EQ(port_read_info(2), 0);
    EXPECT_EQ(reading().voltage, before.voltage);
    EXPECT_EQ(reading().temperature, before.temperature);
    EXPECT_EQ(listed(reading().codes), listed(before.codes));
    EXPECT_EQ(reading().port_type, before.port_type);
    EXPECT_EQ(reading().event_counter, before.event_counter);
    EXPECT_EQ(reading().channel[1].voltage, before.channel[1].voltage);
    EXPECT_EQ(listed(reading().channel[0].codes), listed(before.channel[0].codes));
}

TEST_F(port_readings, a_failed_question_does_not_keep_the_others_from_being_asked) {
    broken = {{0x44, 2}, {0x42, 2}};
    port_read_info(2);
    EXPECT_THAT(sent_keys(), ElementsAre("44 2", "42 2", "45 2", "4f 2", "4e 2"));
    EXPECT_EQ(reading().voltage, 0);
    EXPECT_EQ(reading().event_counter[0], 11);
    EXPECT_EQ(reading().channel[0].voltage, 494);
}

TEST_F(port_readings, a_status_is_old_when_either_half_of_its_read_fails_and_new_again_after_the_next) {
    for (const int key : {0x42, 0x45}) {
        broken = {{key, 2}};
        port_read_info(2);
        EXPECT_TRUE(reading().status_is_old) << key;
        broken = {};
        port_read_info(2);
        EXPECT_FALSE(reading().status_is_old);
    }
    broken = {{0x44, 2}, {0x4F, 2}, {0x4E, 2}};
    port_read_info(2);
    EXPECT_FALSE(reading().status_is_old);
}

TEST_F(port_readings, event_counters_are_old_when_they_could_not_be_read) {
    for (const int key : {0x44, 0x42, 0x4F, 0x4E}) {
        broken = {{key, 2}};
        port_read_info(2);
        EXPECT_FALSE(reading().counters_are_old) << key;
    }
    broken = {{0x45, 2}};
    port_read_info(2);
    EXPECT_TRUE(reading().counters_are_old);
    broken = {};
    port_read_info(2);
    EXPECT_FALSE(reading().counters_are_old);
}

TEST_F(port_readings, an_unpowered_port_is_zeros_but_for_its_temperature) {
    broken = {{0x42, 2}};
    port_read_info(2);
    sent();
    read_temperature_only(2);
    EXPECT_EQ(sent(), (frames{request_frame({0x44, 0, 2})}));
    port_reading expected{};
    expected.temperature = 250;
    EXPECT_EQ(reading().temperature, 250);
    EXPECT_TRUE(reading() == expected);
}

TEST_F(port_readings, an_unpowered_port_whose_temperature_cannot_be_read_is_all_zeros) {
    port_read_info(2);
    broken = {{0x44, 2}};
    read_temperature_only(2);
    EXPECT_EQ(reading().temperature, 0);
    EXPECT_EQ(reading().voltage, 0);
}

TEST_F(port_readings, of_a_port_that_does_not_exist_ask_nothing) {
    EXPECT_EQ(port_read_info(4), 0);
    read_temperature_only(255);
    EXPECT_TRUE(sent().empty());
}

}  // namespace
