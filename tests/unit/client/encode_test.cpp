#include "poe_client/codec.h"

#include "client/fake_daemon.h"

namespace {

using namespace poe_client;

TEST(encode, requests_without_a_payload_are_an_envelope_of_their_type) {
    EXPECT_TRUE(same_bytes(encode_get_system_settings(), message_bytes("get_system_settings")));
    EXPECT_TRUE(same_bytes(encode_get_all_port_settings(), message_bytes("get_all_port_settings")));
    EXPECT_TRUE(same_bytes(encode_get_system_status(), message_bytes("get_system_status")));
    EXPECT_TRUE(same_bytes(encode_get_all_port_status(), message_bytes("get_all_port_status")));
    EXPECT_TRUE(same_bytes(encode_get_whole_status(), message_bytes("get_whole_status")));
    EXPECT_TRUE(same_bytes(encode_get_communication_counters(), message_bytes("get_communication_counters")));
    EXPECT_TRUE(same_bytes(encode_get_deepest_queue(), message_bytes("get_deepest_queue")));
    EXPECT_TRUE(same_bytes(encode_get_power_bank(), message_bytes("get_power_bank")));
    EXPECT_TRUE(same_bytes(encode_get_power_cycles(), message_bytes("get_power_cycles")));
    EXPECT_TRUE(same_bytes(encode_get_energy_recording(), message_bytes("get_energy_recording")));
    EXPECT_TRUE(same_bytes(encode_get_energy_summary(), message_bytes("get_energy_summary")));
}

TEST(encode, requests_for_one_port_have_the_size_of_their_reply_and_the_port_in_the_first_payload_byte) {
    EXPECT_TRUE(same_bytes(encode_get_port_settings(3), message_bytes("get_port_3_settings")));
    EXPECT_TRUE(same_bytes(encode_get_port_settings(4), message_bytes("get_port_4_settings")));
    EXPECT_TRUE(same_bytes(encode_get_port_status(2), message_bytes("get_port_2_status")));
    EXPECT_TRUE(same_bytes(encode_get_port_energy(1), message_bytes("get_port_1_energy")));
}

TEST(encode, a_system_change_keeps_what_it_does_not_name) {
    EXPECT_TRUE(same_bytes(encode_set_system({.enable = 0,
                                              .parameter_1 = {},
                                              .parameter_2 = 1,
                                              .threshold_percent = 80,
                                              .parameter_4 = {},
                                              .parameter_5 = 0}),
                           message_bytes("set_system")));
    EXPECT_TRUE(same_bytes(encode_set_system({}), message_bytes("set_system_keeping_all")));
}

TEST(encode, a_port_change_of_everything_names_everything) {
    EXPECT_TRUE(same_bytes(encode_set_port(1, {.enable = 1,
                                               .priority = priority_critical,
                                               .schedule_enable = 0,
                                               .mode = 3,
                                               .re_enable_s = 5,
                                               .power_limit_dw = 123}),
                           message_bytes("set_port_1")));
}

TEST(encode, a_port_change_keeps_what_it_does_not_name) {
    port_settings_change limit;
    limit.power_limit_dw = 900;
    EXPECT_TRUE(same_bytes(encode_set_port(2, limit), message_bytes("set_port_2_limit")));
    port_settings_change off;
    off.enable = 0;
    EXPECT_TRUE(same_bytes(encode_set_port(0, off), message_bytes("set_port_0_keeping_the_limit")));
}

TEST(encode, changes_of_all_ports_stand_in_port_order_under_their_numbers) {
    std::array<port_settings_change, port_count> changes;
    changes[0].enable = 1;
    changes[1].priority = priority_low;
    changes[2].schedule_enable = 1;
    changes[3].power_limit_dw = 10;
    EXPECT_TRUE(same_bytes(encode_set_all_ports(changes), message_bytes("set_all_ports")));
}

TEST(encode, the_same_change_of_all_ports_is_one_block_under_port_0) {
    EXPECT_TRUE(same_bytes(encode_set_all_ports_same({.enable = 1,
                                                      .priority = priority_high,
                                                      .schedule_enable = 0,
                                                      .mode = 2,
                                                      .re_enable_s = 10,
                                                      .power_limit_dw = 300}),
                           message_bytes("set_all_ports_same")));
}

TEST(encode, schedule_states_carry_port_and_state) {
    EXPECT_TRUE(same_bytes(encode_set_schedule(2, 0), message_bytes("set_schedule_2_off")));
    EXPECT_TRUE(same_bytes(encode_set_schedule(3, 1), message_bytes("set_schedule_3_on")));
    EXPECT_TRUE(same_bytes(encode_set_all_schedules({1, 0, std::nullopt, 1}), message_bytes("set_all_schedules")));
}

TEST(encode, the_power_bank_carries_both_values) {
    EXPECT_TRUE(same_bytes(encode_set_power_bank({.limit_w = 240, .second = 7}), message_bytes("set_power_bank")));
}

TEST(encode, port_lists_are_bitmaps) {
    const auto ports_0_and_2 = static_cast<port_bitmap>(bit_of_port(0) | bit_of_port(2));
    const auto ports_1_and_3 = static_cast<port_bitmap>(bit_of_port(1) | bit_of_port(3));
    EXPECT_TRUE(same_bytes(encode_power_cycle(ports_0_and_2), message_bytes("power_cycle_ports_0_and_2")));
    EXPECT_TRUE(same_bytes(encode_clear_energy(ports_1_and_3), message_bytes("clear_energy_of_ports_1_and_3")));
}

TEST(encode, energy_settings_carry_their_one_value) {
    EXPECT_TRUE(same_bytes(encode_set_energy_recording(true), message_bytes("set_energy_recording_on")));
    EXPECT_EQ(encode_set_energy_recording(false).back(), 0);
    EXPECT_TRUE(same_bytes(encode_inject_energy_history(1440), message_bytes("inject_a_day_of_history")));
}

// The size that the daemon asks for, by type; 0 = any.
TEST(encode, every_known_request_has_the_size_that_the_daemon_asks_for) {
    const std::map<int, std::size_t> sizes{{1, 20},   {6, 100},  {17, 2352}, {83, 9},   {128, 16},
                                           {129, 20}, {130, 56}, {132, 20},  {137, 12}, {138, 24},
                                           {142, 12}, {143, 9},  {144, 9},   {148, 12}};
    for (const auto& known : message_vectors()) {
        if (known.direction != message_direction::request) continue;
        EXPECT_EQ(known.bytes.front(), known.type) << known.name;
        const auto row = sizes.find(known.type);
        if (row != sizes.end()) {
            EXPECT_EQ(known.bytes.size(), row->second) << known.name;
        }
    }
}

TEST(encode, every_message_type_of_the_wire_has_a_known_request_and_a_known_reply) {
    for (const int type :
         {0, 1, 2, 5, 6, 7, 11, 12, 13, 14, 15, 16, 17, 18, 83, 128, 129, 130, 132, 137, 138, 142, 143, 144, 148}) {
        for (const auto direction : {message_direction::request, message_direction::reply}) {
            EXPECT_TRUE(std::any_of(message_vectors().begin(), message_vectors().end(), [&](const auto& known) {
                return known.type == type && known.direction == direction;
            })) << type;
        }
    }
}

}  // namespace
