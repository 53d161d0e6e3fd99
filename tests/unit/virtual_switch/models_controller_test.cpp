#include "models/controller.h"

#include "models/readings.h"
#include "switch_bench.h"

namespace vswitch {
namespace {

using testing::Each;
using testing::ElementsAre;

static_assert(checksum_of(frame{0xFF, 0xFF, 0x01}) == 0xFF);
static_assert(checksum_of(frame{0x80, 0x80}) == 0x00);
static_assert(tenth_volts(0x0300) == 494);
static_assert(milliamperes(12500, 834) == 233);  // 12.5 W at 53.7 V
static_assert(milliamperes(12500, 0) == 0);
static_assert(nibbles(4, 6) == 0x46);

bool sealed(const frame& bytes) {
    unsigned sum = 0;
    for (std::size_t at = 0; at < 11; at++)
        sum += bytes[at];
    return bytes[11] == (sum & 0xFF);
}

using fresh_controller = switch_bench;

TEST_F(fresh_controller, tells_the_firmware_of_the_fitted_controller) {
    EXPECT_THAT(ask(0x40), ElementsAre(0x40, 0, 0, 4, 1, 0, 57, 0x10, 1, 0x05, 0x1A, 0xAE));
}

TEST_F(fresh_controller, seals_every_answer_and_echoes_its_key) {
    for (unsigned key = 0; key < 256; key++) {
        const frame answer = ask(static_cast<std::uint8_t>(key), {0, 0});
        EXPECT_TRUE(sealed(answer)) << key;
        EXPECT_EQ(answer[0], key);
    }
}

TEST_F(fresh_controller, reports_a_wrong_checksum_and_does_nothing) {
    frame request = request_of(0x10, {2});
    request[11]++;
    const frame answer = model.transact(9, request, 0).bytes;
    EXPECT_THAT(answer, ElementsAre(0x10, 'b', 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x69));
    EXPECT_EQ(ask(0x4B)[2], 0);
}

TEST_F(fresh_controller, reports_keys_that_it_does_not_know) {
    const std::vector<unsigned> known{0x00, 0x01, 0x02, 0x04, 0x05, 0x06, 0x08, 0x0C, 0x0E, 0x0F, 0x10,
                                      0x11, 0x12, 0x14, 0x15, 0x16, 0x18, 0x40, 0x41, 0x42, 0x43, 0x44,
                                      0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x4B, 0x4C, 0x4E, 0x4F};
    for (unsigned key = 0; key < 256; key++) {
        const bool expected = std::find(known.begin(), known.end(), key) != known.end();
        EXPECT_EQ(ask(static_cast<std::uint8_t>(key), {0, 0})[1] != 'a', expected) << key;
    }
}

TEST_F(fresh_controller, knows_four_selectors_of_the_configuration_store) {
    for (unsigned selector = 0; selector < 8; selector++) {
        const auto one = static_cast<std::uint8_t>(selector);
        EXPECT_EQ(ask(0xC0, {}, one)[1], selector >= 1 && selector <= 4 ? selector : unsigned{'a'}) << selector;
    }
}

TEST_F(fresh_controller, echoes_the_bank_and_has_eight_of_them) {
    ask(0x04, {7, 0x0B, 0xB8, 0x12, 0x34});
    EXPECT_THAT(ask(0x4B, {}, 7), ElementsAre(0x4B, 7, 0, 0x0B, 0xB8, 0x12, 0x34, 0, 0, 0, 0, 0x5B));
    EXPECT_EQ(ask(0x4B, {}, 8)[1], 'a');
}

TEST_F(fresh_controller, echoes_the_bank_that_is_set_and_refuses_one_too_many) {
    const frame good = ask(0x04, {1, 0, 100, 0, 0});
    EXPECT_THAT((std::vector<unsigned>{good[2], good[3]}), ElementsAre(1, 0));
    const frame bad = ask(0x04, {8, 0, 100, 0, 0});
    EXPECT_THAT((std::vector<unsigned>{bad[2], bad[3]}), ElementsAre(8, 1));
}

TEST_F(fresh_controller, reads_back_the_thresholds_as_the_bring_up_accepts_them) {
    EXPECT_EQ(ask(0x0E, {179, 0xFF, 9})[2], 0);
    const frame answer = ask(0x4A);
    EXPECT_EQ(static_cast<unsigned>((answer[2] * 0.06445 + 33.0) * 10.0), 444U);
    EXPECT_EQ(static_cast<unsigned>((answer[7] * 0.06445 + 57.0) * 10.0), 575U);
}

TEST_F(fresh_controller, keeps_a_lower_threshold_of_no_counts_at_none) {
    ask(0x0E, {0, 0xFF, 0});
    EXPECT_EQ(ask(0x4A)[2], 0);
}

TEST_F(fresh_controller, answers_each_port_pair_with_its_result_and_leaves_empty_pairs_empty) {
    EXPECT_THAT(ask(0x14, {0, 75, 0xFF, 0xFF, 4, 75, 3, 226}),
                ElementsAre(0x14, 0, 0, 0, 0xFF, 0xFF, 4, 1, 3, 1, 0xFF, 0x1A));
    EXPECT_EQ(ask(0x49, {0})[5], 75);
    EXPECT_EQ(ask(0x49, {3})[5], 225);
}

TEST_F(fresh_controller, refuses_port_values_beyond_each_setting) {
    struct row {
        std::uint8_t key;
        unsigned highest;
    };
    for (const row& one : {row{0x01, 1}, row{0x14, 225}, row{0x15, 3}, row{0x08, 7}, row{0x0F, 7}, row{0x0C, 7},
                           row{0x12, 2}, row{0x18, 7}}) {
        for (unsigned value = 0; value < 256; value++) {
            EXPECT_EQ(ask(one.key, {1, value})[3], value > one.highest ? 1 : 0) << int{one.key} << ' ' << value;
        }
    }
}

TEST_F(fresh_controller, reads_back_every_port_setting) {
    ask(0x08, {2, 2});
    ask(0x0F, {2, 3});
    ask(0x0C, {2, 4});
    ask(0x12, {2, 2});
    ask(0x18, {2, 5});
    ask(0x14, {2, 75});
    ask(0x15, {2, 3});
    const frame basic = ask(0x48, {2});
    EXPECT_THAT((std::vector<unsigned>{basic[2], basic[4], basic[5], basic[7], basic[8]}), ElementsAre(2, 2, 3, 2, 5));
    const frame extended = ask(0x49, {2});
    EXPECT_THAT((std::vector<unsigned>{extended[2], extended[3], extended[5], extended[6]}), ElementsAre(2, 4, 75, 3));
}

TEST_F(fresh_controller, refuses_global_values_that_mean_nothing) {
    EXPECT_EQ(ask(0x10, {3})[2], 0);
    EXPECT_EQ(ask(0x10, {4})[2], 1);
    EXPECT_EQ(ask(0x02, {0})[2], 1);
    EXPECT_EQ(ask(0x00, {2})[2], 1);
    EXPECT_EQ(ask(0x11, {255})[2], 0);
    EXPECT_EQ(ask(0x16, {6})[2], 0);
}

TEST_F(fresh_controller, answers_for_ports_that_it_does_not_have_with_nothing_but_the_number) {
    for (const std::uint8_t key : std::initializer_list<std::uint8_t>{0x42, 0x44, 0x45, 0x48, 0x49, 0x4E, 0x4F}) {
        const frame answer = ask(key, {4});
        EXPECT_EQ(answer[1], 0);
        EXPECT_EQ(answer[2], 4);
        EXPECT_THAT(std::vector<unsigned>(answer.begin() + 3, answer.begin() + 11), Each(255U));
    }
}

TEST_F(fresh_controller, keeps_the_configuration_version) {
    EXPECT_EQ(ask(0xC0, {1, 2, 3, 4, 5}, 3)[2], 0);
    const frame answer = ask(0xC0, {}, 4);
    EXPECT_THAT(std::vector<unsigned>(answer.begin() + 2, answer.begin() + 7), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(programmed_switch, tells_the_states_of_a_port_group_in_crossed_nibbles) {
    say("plug 2 --class 4 --load 10");
    after_ms(1000);
    const frame answer = ask(0x43, {0});
    EXPECT_EQ(answer[3], 0x11);  // port 3 and port 1
    EXPECT_EQ(answer[4], 0x21);  // port 2 and port 4
    EXPECT_EQ(answer[5], 0xFF);
    EXPECT_EQ(ask(0x43, {1})[3], 0xFF);
}

TEST_F(programmed_switch, tells_what_it_delivers_and_what_is_left_of_the_bank) {
    say("plug 2 --class 4 --load 12.5");
    after_ms(1000);
    const frame answer = ask(0x41);
    EXPECT_EQ(answer[2] * 256 + answer[3], 125);
    EXPECT_EQ(answer[4] * 256 + answer[5], 3000 - 125);
    EXPECT_EQ(answer[6], 0);
}

TEST_F(programmed_switch, names_what_last_reset_it) {
    EXPECT_EQ(ask(0x47, {0})[3], 1);
    say("controller restart");
    EXPECT_EQ(ask(0x47, {0})[3], 0);
}

TEST_F(programmed_switch, shows_pending_events_without_taking_them) {
    say("event 3 2");
    EXPECT_EQ(ask(0x46, {0})[6], 0b10);
    EXPECT_EQ(ask(0x46, {0})[6], 0b10);
    EXPECT_THAT(take_events(2), ElementsAre(0, 1, 0, 0, 0));
    EXPECT_EQ(ask(0x46, {0})[6], 0);
}

}  // namespace
}  // namespace vswitch
