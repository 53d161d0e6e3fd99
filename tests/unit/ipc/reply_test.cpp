#include "ipc/reply.h"

#include <sys/time.h>

#include "ipc/peer.h"
#include "ipc/send_to_path.h"
#include "ipc_test.h"

namespace {

class reply : public ipc_test {
  protected:
    const bytes content{1, 2, 3};

    int send_to(const std::array<std::uint8_t, 110>& address) {
        return send_reply_bytes(client_socket, address.data(), content.data(), 3);
    }
};

TEST_F(reply, goes_to_the_senders_address_as_it_was_received_and_waits_one_millisecond) {
    EXPECT_EQ(send_to(peer), 3);

    ASSERT_EQ(the_world.replies.size(), 1U);
    EXPECT_EQ(the_world.replies[0].socket, client_socket);
    EXPECT_EQ(the_world.replies[0].peer, peer);
    EXPECT_EQ(the_world.replies[0].bytes, content);
    EXPECT_EQ(the_world.replies[0].timeout_us, 1000);
}

TEST_F(reply, a_failed_send_is_reported_and_not_tried_again) {
    the_world.send_result = -1;

    EXPECT_EQ(send_to(peer), -1);

    EXPECT_EQ(the_world.replies.size(), 1U);
}

TEST_F(reply, a_name_that_fills_the_address_is_answered) {
    const auto long_name = peer_named(std::string(108, 'n'));

    EXPECT_EQ(send_to(long_name), 3);

    ASSERT_EQ(the_world.replies.size(), 1U);
    EXPECT_EQ(the_world.replies[0].peer, long_name);
}

TEST_F(reply, nothing_is_sent_to_a_sender_without_a_name) {
    EXPECT_EQ(send_to(std::array<std::uint8_t, 110>{}), -1);
    EXPECT_EQ(send_to(peer_named("")), -1);
    EXPECT_EQ(send_reply_bytes(client_socket, nullptr, content.data(), 3), -1);

    EXPECT_TRUE(the_world.replies.empty());
}

TEST_F(reply, nothing_is_sent_to_an_abstract_name) {
    EXPECT_EQ(send_to(peer_named(std::string("\0hidden", 7))), -1);

    EXPECT_TRUE(the_world.replies.empty());
}

TEST_F(reply, nothing_is_sent_to_the_daemons_own_name) {
    const std::string own = "/tmp/poe_driver_ipc_socket_server.txt";
    EXPECT_EQ(send_to(peer_named(own)), -1);
    EXPECT_TRUE(the_world.replies.empty());

    EXPECT_EQ(send_to(peer_named(own + "2")), 3);
    EXPECT_EQ(send_to(peer_named(own.substr(0, own.size() - 1))), 3);
    EXPECT_EQ(the_world.replies.size(), 2U);
}

TEST_F(reply, nothing_is_sent_to_another_address_family) {
    for (int family = 0; family <= UINT16_MAX; family++) {
        if (family == 1) continue;
        const auto number = static_cast<std::uint16_t>(family);
        std::memcpy(peer.data(), &number, sizeof number);

        ASSERT_EQ(send_to(peer), -1) << family;
    }

    EXPECT_TRUE(the_world.replies.empty());
}

TEST_F(reply, a_blank_reply_is_all_zeros_but_for_its_type) {
    const auto blank = blank_reply<combined_status_message>(ipc_type::get_combine_sys_port_stu);

    bytes content_of(sizeof blank);
    std::memcpy(content_of.data(), &blank, sizeof blank);
    EXPECT_EQ(content_of, padded({11}, 396));
}

TEST_F(reply, an_acknowledgement_is_the_envelope_with_the_result) {
    EXPECT_EQ(send_acknowledgement(client_socket, peer.data(), ipc_type::set_pwr_bnk_pmt, 1), 8);

    EXPECT_EQ(the_reply(), (bytes{142, 0, 0, 0, 0, 0, 0, 1}));
}

TEST_F(reply, a_datagram_to_a_path_carries_the_callers_bytes_and_timeout) {
    timeval timeout{.tv_sec = 2, .tv_usec = 5};

    EXPECT_EQ(poe_drv_ipc_send_to_path(9, "/tmp/somebody", content.data(), 3, &timeout), 3);

    ASSERT_EQ(the_world.replies.size(), 1U);
    EXPECT_EQ(the_world.replies[0].socket, 9);
    EXPECT_EQ(the_world.replies[0].peer, peer_named("/tmp/somebody"));
    EXPECT_EQ(the_world.replies[0].bytes, content);
    EXPECT_EQ(the_world.replies[0].timeout_us, 2000005);
}

TEST_F(reply, a_datagram_to_a_path_may_go_without_a_timeout_and_tell_of_its_failure) {
    the_world.send_result = -1;

    EXPECT_EQ(poe_drv_ipc_send_to_path(9, "/tmp/somebody", content.data(), 3, nullptr), -1);

    ASSERT_EQ(the_world.replies.size(), 1U);
    EXPECT_EQ(the_world.replies[0].timeout_us, -1);
}

TEST_F(reply, a_path_of_108_bytes_fits_an_address_and_a_longer_or_empty_one_does_not) {
    EXPECT_EQ(poe_drv_ipc_send_to_path(9, std::string(108, 'p').c_str(), content.data(), 3, nullptr), 3);
    ASSERT_EQ(the_world.replies.size(), 1U);
    EXPECT_EQ(the_world.replies[0].peer, peer_named(std::string(108, 'p')));

    EXPECT_EQ(poe_drv_ipc_send_to_path(9, std::string(109, 'p').c_str(), content.data(), 3, nullptr), -1);
    EXPECT_EQ(poe_drv_ipc_send_to_path(9, "", content.data(), 3, nullptr), -1);
    EXPECT_EQ(the_world.replies.size(), 1U);
}

}  // namespace
