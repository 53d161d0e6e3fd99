#include "supervision/traps.h"

#include <cstring>

#include "supervised_switch.h"

namespace {

using trap_message_test = supervision_test;

std::array<std::uint8_t, 16> body() {
    std::array<std::uint8_t, 16> bytes;
    std::memcpy(bytes.data(), &g_poe_drv_msg, sizeof bytes);
    return bytes;
}

TEST_F(trap_message_test, a_port_event_sets_its_bit_its_kind_and_its_status) {
    poe_drv_msg_log_port_status(2, trap_kind::port, 14);
    EXPECT_EQ(body(), (std::array<std::uint8_t, 16>{4, 0, 0, 0, 0, 0, 0, 14}));
}

TEST_F(trap_message_test, a_channel_a_event_uses_the_first_status_and_a_channel_b_event_the_second) {
    poe_drv_msg_log_port_status(0, trap_kind::channel_a, 5);
    poe_drv_msg_log_port_status(3, trap_kind::channel_b, 7);
    EXPECT_EQ(body(), (std::array<std::uint8_t, 16>{9, 1, 0, 0, 2, 5, 0, 0, 0, 0, 0, 0, 7}));
}

TEST_F(trap_message_test, both_channels_of_a_port_make_kind_3_in_either_order) {
    poe_drv_msg_log_port_status(1, trap_kind::channel_a, 5);
    poe_drv_msg_log_port_status(1, trap_kind::channel_b, 1);
    poe_drv_msg_log_port_status(2, trap_kind::channel_b, 9);
    poe_drv_msg_log_port_status(2, trap_kind::channel_a, 8);
    EXPECT_EQ(body(), (std::array<std::uint8_t, 16>{6, 0, 3, 3, 0, 0, 5, 8, 0, 0, 1, 9}));
}

TEST_F(trap_message_test, a_kind_after_any_other_pair_replaces_it) {
    for (const int first : {0, 1, 2, 3}) {
        for (const int second : {0, 1, 2}) {
            const bool joins = (first == 1 && second == 2) || (first == 2 && second == 1);
            g_poe_drv_msg = {};
            g_poe_drv_msg.kind[1] = static_cast<trap_kind>(first);
            poe_drv_msg_log_port_status(1, static_cast<trap_kind>(second), 0);
            EXPECT_EQ(body()[2], joins ? 3 : second) << first;
        }
    }
}

TEST_F(trap_message_test, an_event_of_a_port_that_does_not_exist_is_dropped) {
    poe_drv_msg_log_port_status(4, trap_kind::port, 14);
    poe_drv_msg_log_port_status(255, trap_kind::channel_b, 14);
    EXPECT_EQ(body(), (std::array<std::uint8_t, 16>{}));
}

TEST_F(trap_message_test, the_usage_alarm_carries_whole_watts_little_endian) {
    poe_drv_msg_log_system_status(299999);
    EXPECT_EQ(body(), (std::array<std::uint8_t, 16>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 299 & 0xFF, 299 >> 8}));
}

TEST_F(trap_message_test, the_alarm_s_watts_are_cut_to_16_bits) {
    poe_drv_msg_log_system_status(0xFFFFFFFF);  // 4294967 W
    EXPECT_EQ(body()[14], 4294967 & 0xFF);
    EXPECT_EQ(body()[15], 4294967 >> 8 & 0xFF);
}

TEST_F(trap_message_test, clearing_zeroes_all_16_bytes) {
    std::memset(&g_poe_drv_msg, 0xA5, sizeof g_poe_drv_msg);
    clear_poe_drv_msg();
    EXPECT_EQ(body(), (std::array<std::uint8_t, 16>{}));
}

TEST_F(trap_message_test, is_sent_behind_its_five_byte_header_in_one_write_and_the_pipe_closed) {
    for (std::uint8_t i = 0; i < 16; i++)
        reinterpret_cast<std::uint8_t*>(&g_poe_drv_msg)[i] = static_cast<std::uint8_t>(i + 1);
    const int open_before = the_world.open_descriptors;
    poe_drv_trap_send();
    ASSERT_EQ(the_world.pipe_writes.size(), 1U);
    EXPECT_EQ(the_world.pipe_writes[0].path, "/tmp/snmp_proc_pipe");
    EXPECT_EQ(the_world.pipe_writes[0].bytes,
              (std::vector<std::uint8_t>{0xAB, 0x31, 0x12, 0x83, 0x07, 1,  2,  3,  4,  5, 6,
                                         7,    8,    9,    10,   11,   12, 13, 14, 15, 16}));
    EXPECT_EQ(the_world.open_descriptors, open_before);
}

TEST_F(trap_message_test, is_lost_silently_without_a_pipe) {
    the_world.pipe_missing = true;
    const int open_before = the_world.open_descriptors;
    testing::internal::CaptureStderr();
    poe_drv_trap_send();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(the_world.pipe_writes.empty());
    EXPECT_EQ(the_world.open_descriptors, open_before);
}

TEST_F(trap_message_test, pipe_send_without_a_buffer_does_not_open_the_pipe) {
    pipe_send("/tmp/snmp_proc_pipe", nullptr, 21);
    EXPECT_TRUE(the_world.story.empty());
}

}  // namespace
