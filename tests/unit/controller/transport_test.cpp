#include "controller/transport.h"

#include "controller_bench.h"

namespace {

const frame_bytes wanted_answer = answer_frame({0x42, 0, 2, 4, 0x21, 0, 0, 1, 9, 8, 7});

// What the driver leaves behind in the ways an attempt can fail.
const scripted silence{request_frame({0x42, 0, 2}), -1};
const scripted says_a{answer_frame({0x42, 'a'}), 0};
const scripted says_b{answer_frame({0x42, 'b'}), 0};
const scripted good{wanted_answer, 0};

class transport : public controller_bench {
  protected:
    controller_frame frame = blank_request(0x42, 0, {2});
    const frame_bytes as_built = as_bytes(frame);

    int transact(std::uint32_t wait = driver_wait) { return poe_kernel_drv_send_recv(wait, frame); }
};

struct counts {
    std::uint64_t total = 0, rx_retry = 0, rx_timeout = 0, rx_chksum_error = 0, tx_correctly_executed = 0,
                  tx_chksum_error = 0, tx_subject_byte_conflict = 0, tx_wrong_data_byte_value = 0,
                  undefined_key_value = 0;
    bool operator==(const counts&) const = default;
    friend void PrintTo(const counts& c, std::ostream* out) {
        *out << c.total << " " << c.rx_retry << " " << c.rx_timeout << " " << c.rx_chksum_error << " "
             << c.tx_correctly_executed << " " << c.tx_chksum_error << " " << c.tx_subject_byte_conflict << " "
             << c.tx_wrong_data_byte_value << " " << c.undefined_key_value;
    }
};

counts counted() {
    const auto& now = g_dbg_communication_info;
    return {now.total.get(),
            now.rx_retry.get(),
            now.rx_timeout.get(),
            now.rx_chksum_error.get(),
            now.tx_correctly_executed.get(),
            now.tx_chksum_error.get(),
            now.tx_subject_byte_conflict.get(),
            now.tx_wrong_data_byte_value.get(),
            now.undefined_key_value.get()};
}

TEST_F(transport, a_first_answer_is_taken_at_once) {
    follows({good});

    EXPECT_EQ(transact(), 0);

    EXPECT_EQ(as_bytes(frame), wanted_answer);
    EXPECT_THAT(conversation(), ElementsAre("9: 42 00 02 ff ff ff ff ff ff ff ff 3c"));
    EXPECT_THAT(the_world.sleeps_us, IsEmpty());
    EXPECT_EQ(counted(), (counts{.total = 1, .tx_correctly_executed = 1}));
}

TEST_F(transport, the_wait_value_goes_to_the_driver_as_it_is) {
    follows({good, good, good});
    transact(9);
    frame = blank_request(0x42, 0, {2});
    transact(204);
    frame = blank_request(0x42, 0, {2});
    transact(0xFFFFFFFE);
    EXPECT_THAT(conversation(),
                ElementsAre(asked({0x42, 0, 2}, 9), asked({0x42, 0, 2}, 204), asked({0x42, 0, 2}, 0xFFFFFFFE)));
}

TEST_F(transport, the_wait_values_are_9_and_204) {
    EXPECT_EQ(driver_wait, 9U);
    EXPECT_EQ(driver_wait_slow, 204U);
}

TEST_F(transport, the_checksum_is_computed_for_every_attempt_from_the_callers_request) {
    frame.checksum = 0x55;
    follows({says_a, silence, good});

    EXPECT_EQ(transact(), 0);

    EXPECT_THAT(conversation(), ElementsAre(asked({0x42, 0, 2}), asked({0x42, 0, 2}), asked({0x42, 0, 2})));
}

TEST_F(transport, an_attempt_is_judged_by_the_ioctl_and_by_byte_1) {
    for (const int result : {-1, 0, 1}) {
        for (unsigned byte = 0; byte <= 0xFF; byte++) {
            clear_communication_counters();
            the_world.frames.clear();
            the_world.sleeps_us.clear();
            frame = blank_request(0x42, 0, {2});
            const auto b1 = static_cast<std::uint8_t>(byte);
            follows({{answer_frame({0x42, b1, 1}), result}, {wanted_answer, 0}});

            ASSERT_EQ(transact(), 0);

            const bool reported = byte == 0x61 || byte == 0x62;
            const bool answered = result >= 0 && !reported;
            ASSERT_EQ(the_world.frames.size(), answered ? 1U : 2U) << "result " << result << ", byte 1 " << byte;
            ASSERT_EQ(the_world.sleeps_us.size(), answered ? 0U : 1U);
            ASSERT_EQ(counted().rx_retry, !answered && !reported ? 1U : 0U);
            ASSERT_EQ(frame.selector, answered ? b1 : 0);
        }
    }
}

TEST_F(transport, a_failed_attempt_costs_550_ms) {
    follows({silence, says_a, says_b, good});

    transact();

    EXPECT_THAT(the_world.sleeps_us, ElementsAre(550000, 550000, 550000));
}

// u silences and r refusals in any order, then an answer.
TEST_F(transport, up_to_nine_silences_and_nine_refusals_are_asked_through) {
    for (std::size_t u = 0; u <= 9; u++) {
        for (std::size_t r = 0; r <= 9; r++) {
            for (const bool refusals_first : {false, true}) {
                clear_communication_counters();
                the_world.frames.clear();
                the_world.sleeps_us.clear();
                frame = blank_request(0x42, 0, {2});
                std::vector<scripted> script(refusals_first ? r : u, refusals_first ? says_b : silence);
                script.insert(script.end(), refusals_first ? u : r, refusals_first ? silence : says_b);
                script.push_back(good);
                follows(script);

                ASSERT_EQ(transact(), 0) << u << " silences, " << r << " refusals";
                ASSERT_EQ(as_bytes(frame), wanted_answer);
                ASSERT_EQ(the_world.frames.size(), u + r + 1);
                ASSERT_EQ(the_world.sleeps_us.size(), u + r);
                ASSERT_EQ(counted(), (counts{.total = 1, .rx_retry = u, .tx_correctly_executed = 1}));
            }
        }
    }
}

TEST_F(transport, the_tenth_silence_gives_up_whatever_was_refused_before) {
    for (std::size_t r = 0; r <= 9; r++) {
        clear_communication_counters();
        clear_error_write_to_flash_flags();
        the_world.frames.clear();
        the_world.sleeps_us.clear();
        frame = blank_request(0x42, 0, {2});
        std::vector<scripted> script(9, silence);
        script.insert(script.end(), r, says_b);
        script.push_back(silence);
        follows(script);

        int status = 0;
        const std::string said = said_during([&] { status = transact(); });

        ASSERT_EQ(status, -1);
        ASSERT_EQ(said, "[poe_kernel_drv_send_recv() , 1370]: ERROR!! ERROR!! ERROR!!!\n");
        ASSERT_EQ(as_bytes(frame), as_built);
        ASSERT_EQ(the_world.frames.size(), 10 + r);
        ASSERT_EQ(the_world.sleeps_us.size(), 10 + r);
        ASSERT_EQ(the_world.story.back(), "sleep 550000");
        ASSERT_EQ(counted(), (counts{.total = 1, .rx_retry = 10, .rx_timeout = 1}));
    }
}

TEST_F(transport, the_tenth_refusal_is_the_answer_whatever_went_unheard_before) {
    for (std::size_t u = 0; u <= 9; u++) {
        for (const scripted& refusal : {says_a, says_b}) {
            clear_communication_counters();
            the_world.frames.clear();
            the_world.sleeps_us.clear();
            frame = blank_request(0x42, 0, {2});
            std::vector<scripted> script(9, refusal);
            script.insert(script.end(), u, silence);
            script.push_back(refusal);
            follows(script);

            int status = 0;
            const std::string said = said_during([&] { status = transact(); });

            const bool wrong_checksum = refusal.frame[1] == 'b';
            ASSERT_EQ(status, wrong_checksum ? -10 : -13);
            ASSERT_EQ(said, "");
            ASSERT_EQ(as_bytes(frame), as_built);
            ASSERT_EQ(the_world.frames.size(), 10 + u);
            ASSERT_EQ(the_world.sleeps_us.size(), 10 + u);
            ASSERT_EQ(counted(), (counts{.total = 1,
                                         .rx_retry = u,
                                         .tx_chksum_error = wrong_checksum ? 1U : 0U,
                                         .undefined_key_value = wrong_checksum ? 0U : 1U}));
        }
    }
}

TEST_F(transport, the_last_refusal_says_which_report_it_was) {
    std::vector<scripted> script(9, says_b);
    script.push_back(says_a);
    follows(script);

    EXPECT_EQ(transact(), -13);

    EXPECT_EQ(counted(), (counts{.total = 1, .undefined_key_value = 1}));
}

TEST_F(transport, nineteen_attempts_are_the_most) {
    std::vector<scripted> script(9, silence);
    script.insert(script.end(), 9, says_a);
    std::vector<scripted> silent_end = script;
    silent_end.push_back(silence);
    follows(silent_end);
    int status = 0;
    said_during([&] { status = transact(); });
    EXPECT_EQ(status, -1);
    EXPECT_EQ(the_world.frames.size(), 19U);

    script.push_back(says_a);
    follows(script);
    EXPECT_EQ(transact(), -13);
    EXPECT_EQ(the_world.frames.size(), 38U);
}

TEST_F(transport, an_answer_with_a_wrong_checksum_is_not_asked_for_again) {
    frame_bytes damaged = wanted_answer;
    damaged[11] ^= 0x10;
    follows({{damaged, 0}});

    EXPECT_EQ(transact(), -2);

    EXPECT_EQ(as_bytes(frame), as_built);
    EXPECT_EQ(the_world.frames.size(), 1U);
    EXPECT_THAT(the_world.sleeps_us, IsEmpty());
    EXPECT_EQ(counted(), (counts{.total = 1, .rx_chksum_error = 1}));
}

TEST_F(transport, a_damaged_last_refusal_is_a_damaged_answer) {
    std::vector<scripted> script(10, says_b);
    script.back().frame[11]++;
    follows(script);

    EXPECT_EQ(transact(), -2);

    EXPECT_EQ(as_bytes(frame), as_built);
    EXPECT_EQ(counted(), (counts{.total = 1, .rx_chksum_error = 1}));
}

TEST_F(transport, a_damaged_refusal_before_the_last_is_asked_again) {
    std::vector<scripted> script(1, says_a);
    script.back().frame[11]++;
    script.push_back(good);
    follows(script);

    EXPECT_EQ(transact(), 0);

    EXPECT_EQ(counted(), (counts{.total = 1, .tx_correctly_executed = 1}));
}

TEST_F(transport, a_failed_ioctl_whose_record_still_holds_a_request_with_a_or_b_counts_as_refused) {
    for (const std::uint8_t byte : {std::uint8_t{0x61}, std::uint8_t{0x62}}) {
        clear_communication_counters();
        the_world.frames.clear();
        frame = blank_request(0x4B, byte);
        is_dead();

        EXPECT_EQ(transact(), byte == 0x61 ? -13 : -10);

        EXPECT_EQ(the_world.frames.size(), 10U);
        EXPECT_EQ(counted().rx_retry, 0U);
        EXPECT_EQ(counted().rx_timeout, 0U);
    }
}

TEST_F(transport, without_a_device_every_attempt_is_unheard) {
    fd_poe_kernel_drv = -1;

    int status = 0;
    said_during([&] { status = transact(); });

    EXPECT_EQ(status, -1);
    EXPECT_THAT(conversation(), IsEmpty());
    EXPECT_EQ(the_world.sleeps_us.size(), 10U);
}

TEST_F(transport, total_counts_transactions_and_not_attempts) {
    follows({silence, silence, good, good});
    transact();
    transact();
    EXPECT_EQ(counted().total, 2U);
}

TEST_F(transport, a_count_carries_into_its_high_half) {
    g_dbg_communication_info.total.low.set(0xFFFFFFFF);
    follows({good});

    transact();

    EXPECT_EQ(g_dbg_communication_info.total.low.get(), 0U);
    EXPECT_EQ(g_dbg_communication_info.total.high.get(), 1U);
    EXPECT_EQ(counted().total, 0x100000000U);
}

TEST_F(transport, the_counters_lie_in_the_order_that_clients_know) {
    auto* counter = &g_dbg_communication_info.total;
    std::uint32_t number = 0;
    for (counter64* each :
         {&g_dbg_communication_info.total, &g_dbg_communication_info.rx_retry, &g_dbg_communication_info.rx_timeout,
          &g_dbg_communication_info.rx_chksum_error, &g_dbg_communication_info.tx_correctly_executed,
          &g_dbg_communication_info.tx_chksum_error, &g_dbg_communication_info.tx_subject_byte_conflict,
          &g_dbg_communication_info.tx_wrong_data_byte_value, &g_dbg_communication_info.undefined_key_value}) {
        EXPECT_EQ(each, counter + number);
        number++;
    }
    EXPECT_EQ(sizeof g_dbg_communication_info, number * sizeof(counter64));
}

TEST_F(transport, clearing_the_counters_zeroes_all_nine) {
    for (counter64* each = &g_dbg_communication_info.total; each <= &g_dbg_communication_info.undefined_key_value;
         each++) {
        each->low.set(5);
        each->high.set(6);
    }

    clear_communication_counters();

    EXPECT_EQ(counted(), counts{});
}

TEST_F(transport, nothing_is_traced) {
    follows({says_a, good});
    EXPECT_EQ(said_during([&] { transact(); }), "");
}

}  // namespace
