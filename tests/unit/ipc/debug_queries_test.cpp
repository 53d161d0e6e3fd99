#include <regex>

#include "controller/counters.h"
#include "ipc_test.h"
#include "lock_count.h"

namespace {

class debug_queries : public ipc_test {
  protected:
    debug_queries() { clear_communication_counters(); }
};

void set_counter(counter64& counter, std::uint32_t high, std::uint32_t low) {
    counter.high.set(high);
    counter.low.set(low);
}

TEST_F(debug_queries, right_after_start_up_everything_is_zero) {
    EXPECT_EQ(request(poe_drv_ipc_reply_get_dbg_communication_info, {12}), 0);
    EXPECT_EQ(the_reply(), padded({12}, 80));

    EXPECT_EQ(request(poe_drv_ipc_reply_get_dbg_read_mixed_info, {13}), 0);
    EXPECT_EQ(the_reply(), padded({13}, 12));
}

TEST_F(debug_queries, the_nine_counters_come_in_their_stored_order_low_half_first) {
    auto& info = g_dbg_communication_info;
    set_counter(info.total, 0x01020304, 0x05060708);
    set_counter(info.rx_retry, 0x11121314, 0x15161718);
    set_counter(info.rx_timeout, 0x21222324, 0x25262728);
    set_counter(info.rx_chksum_error, 0x31323334, 0x35363738);
    set_counter(info.tx_correctly_executed, 0x41424344, 0x45464748);
    set_counter(info.tx_chksum_error, 0x51525354, 0x55565758);
    set_counter(info.tx_subject_byte_conflict, 0x61626364, 0x65666768);
    set_counter(info.tx_wrong_data_byte_value, 0x71727374, 0x75767778);
    set_counter(info.undefined_key_value, 0x81828384, 0x85868788);

    request(poe_drv_ipc_reply_get_dbg_communication_info, {12});

    bytes expected = padded({12}, 80);
    for (std::uint8_t counter = 0; counter < 9; counter++) {
        for (std::uint8_t i = 0; i < 8; i++) {
            expected[8U + 8U * counter + i] = static_cast<std::uint8_t>(16 * counter + 8 - i);
        }
    }
    EXPECT_EQ(the_reply(), expected);
    clear_communication_counters();
}

TEST_F(debug_queries, a_counter_carries_into_its_high_half) {
    set_counter(g_dbg_communication_info.rx_retry, 0, 0xFFFFFFFF);
    g_dbg_communication_info.rx_retry.increment();

    request(poe_drv_ipc_reply_get_dbg_communication_info, {12});

    bytes expected = padded({12}, 80);
    expected[16 + 4] = 1;
    EXPECT_EQ(the_reply(), expected);
    clear_communication_counters();
}

TEST_F(debug_queries, the_queues_high_water_mark_stays_after_the_queue_has_drained) {
    request(poe_drv_ipc_request_set_pwr_bnk_pmt, padded({142}, 12));
    the_reply();
    request(poe_drv_ipc_reply_get_dbg_read_mixed_info, {13});
    EXPECT_EQ(the_reply(), padded({13, 0, 0, 0, 0, 0, 0, 0, 1}, 12));

    request(poe_drv_ipc_request_set_pwr_bnk_pmt, padded({142}, 12));
    the_reply();
    pop();
    pop();
    request(poe_drv_ipc_reply_get_dbg_read_mixed_info, {13});
    EXPECT_EQ(the_reply(), padded({13, 0, 0, 0, 0, 0, 0, 0, 2}, 12));
}

TEST_F(debug_queries, the_high_water_mark_is_a_little_endian_word) {
    g_dbg_read_mixed_info.set(0xA1B2C3D4);

    request(poe_drv_ipc_reply_get_dbg_read_mixed_info, {13});

    EXPECT_EQ(the_reply(), (bytes{13, 0, 0, 0, 0, 0, 0, 0, 0xD4, 0xC3, 0xB2, 0xA1}));
}

TEST_F(debug_queries, a_reply_that_is_lost_is_said_and_served_all_the_same) {
    the_world.send_result = -1;
    for (const auto& [handler, name] :
         {std::pair<ipc_handler, const char*>{poe_drv_ipc_reply_get_dbg_communication_info,
                                              "poe_drv_ipc_reply_get_dbg_communication_info"},
          std::pair<ipc_handler, const char*>{poe_drv_ipc_reply_get_dbg_read_mixed_info,
                                              "poe_drv_ipc_reply_get_dbg_read_mixed_info"}}) {
        const std::string said = stderr_of([&, h = handler] { EXPECT_EQ(request(h, {0}), 0); });

        const std::string line =
            std::string(R"(\[poe_drv\.c , )") + name + R"(\(\) , [1-9][0-9]*\]: result_send=\(-1\)\n)";
        EXPECT_TRUE(std::regex_match(said, std::regex(line))) << said;
    }
}

TEST_F(debug_queries, each_copies_in_one_hold_of_the_tick_lock_and_takes_no_other) {
    for (const ipc_handler handler :
         {poe_drv_ipc_reply_get_dbg_communication_info, poe_drv_ipc_reply_get_dbg_read_mixed_info}) {
        for (const auto& [mutex, times] :
             {std::pair{&g_mutex_poe_tick_thread, 1}, std::pair{&g_mutex_poe_share_data_thread, 0}}) {
            const lock_count locks(*mutex);
            request(handler, {0});
            EXPECT_EQ(locks.taken(), times);
        }
    }
}

TEST_F(debug_queries, success_says_nothing_and_holds_no_lock_while_sending) {
    expect_no_lock_while_sending();

    const std::string said = stderr_of([&] {
        request(poe_drv_ipc_reply_get_dbg_communication_info, {12});
        request(poe_drv_ipc_reply_get_dbg_read_mixed_info, {13});
    });

    EXPECT_EQ(said, "");
    EXPECT_EQ(the_world.replies.size(), 2U);
    EXPECT_EQ(the_world.replies[0].timeout_us, 1000);
}

}  // namespace
