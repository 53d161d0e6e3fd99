// Running and stored configuration: save, clear, reset, the matrix, and what the bring-up finds at the next start.
#include "switch_bench.h"

namespace vswitch {
namespace {

using testing::ElementsAre;

struct stored_switch : switch_bench {
    // The four checks that the daemon makes before it leaves a controller alone.
    bool passes_bring_up(unsigned budget_w) {
        for (unsigned number = 0; number < 4; number++) {
            if (ask(0x48, {number})[3] != 0) return false;
        }
        if (ask(0x4B)[2] != 2) return false;
        for (unsigned number = 0; number < 4; number++) {
            const frame answer = ask(0x49, {number});
            if (answer[8] != 2 * number || answer[9] != 2 * number + 1) return false;
        }
        const frame bank = ask(0x4B);
        const frame thresholds = ask(0x4A);
        return (bank[3] * 256U + bank[4]) / 10 == budget_w &&
               static_cast<unsigned>((thresholds[7] * 0.06445 + 57.0) * 10.0) == 575 &&
               static_cast<unsigned>((thresholds[2] * 0.06445 + 33.0) * 10.0) == 444;
    }
};

TEST_F(stored_switch, a_factory_fresh_controller_fails_the_bring_up_checks) {
    EXPECT_FALSE(passes_bring_up(300));
}

TEST_F(stored_switch, a_programmed_controller_passes_with_its_budget_and_no_other) {
    program(240);
    EXPECT_TRUE(passes_bring_up(240));
    EXPECT_FALSE(passes_bring_up(300));
}

TEST_F(stored_switch, a_programmed_controller_passes_after_a_restart) {
    program();
    say("controller restart");
    EXPECT_TRUE(passes_bring_up(300));
}

TEST_F(stored_switch, a_controller_that_delivers_still_passes_and_goes_on_delivering) {
    program();
    all_on();
    say("plug 1 --class 4 --load 20");
    after_ms(1000);
    EXPECT_TRUE(passes_bring_up(300));
    EXPECT_EQ(port(0).status, 1U);
}

TEST_F(stored_switch, a_port_saved_as_on_shows_as_enabled) {
    program();
    switch_on(2);
    EXPECT_EQ(ask(0x48, {2})[3], 0);
    ask(0xC0, {}, 1);
    EXPECT_EQ(ask(0x48, {2})[3], 1);
    EXPECT_FALSE(passes_bring_up(300));
}

TEST_F(stored_switch, every_programming_command_is_accepted) {
    program();
    const std::string settings = say("frames --all --settings", true);
    EXPECT_EQ(settings.find("\"result\":\"1\""), std::string::npos) << settings;
    EXPECT_EQ(settings.find("_result\":\"1\""), std::string::npos) << settings;
}

TEST_F(stored_switch, what_is_not_saved_is_gone_after_a_restart) {
    program();
    ask(0x14, {1, 75});
    say("controller restart");
    EXPECT_EQ(ask(0x49, {1})[5], 225);
}

TEST_F(stored_switch, a_reset_restores_the_stored_configuration) {
    program();
    ask(0x14, {1, 75});
    ask(0x10, {1});
    EXPECT_EQ(ask(0x02, {1})[2], 0);
    EXPECT_EQ(ask(0x49, {1})[5], 225);
    EXPECT_EQ(ask(0x4B)[2], 2);
}

TEST_F(stored_switch, a_reset_without_a_store_keeps_what_was_programmed) {
    ask(0xC0, {}, 2);
    ask(0x10, {2});
    ask(0x02, {1});
    EXPECT_EQ(ask(0x4B)[2], 2);
}

TEST_F(stored_switch, a_reset_switches_ports_off_that_are_stored_as_off) {
    program();
    all_on();
    say("plug 1 --class 4 --load 20");
    after_ms(1000);
    ask(0x02, {1});
    EXPECT_EQ(port(0).status, 0U);
}

TEST_F(stored_switch, a_reset_detects_again_where_ports_are_stored_as_on) {
    program();
    all_on();
    ask(0xC0, {}, 1);
    say("plug 1 --class 4 --load 20");
    after_ms(1000);
    ask(0x02, {1});
    EXPECT_EQ(port(0).status, 2U);
    after_ms(1000);
    EXPECT_EQ(port(0).status, 1U);
}

TEST_F(stored_switch, clearing_makes_the_configuration_the_factorys_and_switches_ports_off) {
    program();
    all_on();
    say("plug 1 --class 4 --load 20");
    after_ms(1000);
    EXPECT_EQ(ask(0xC0, {}, 2)[2], 0);
    EXPECT_EQ(port(0).status, 0U);
    EXPECT_EQ(ask(0x4B)[2], 0);
    say("controller restart");
    EXPECT_FALSE(passes_bring_up(300));
}

TEST_F(stored_switch, the_temporary_matrix_is_not_active_before_it_is_enabled) {
    program();
    ask(0x05, {0, 4});
    for (unsigned number = 0; number < 4; number++)
        ask(0x06, {number, 1, 0, 2 * number + 1, 2 * number});
    EXPECT_EQ(ask(0x49, {3})[8], 6);
    EXPECT_EQ(ask(0x05, {1, 4})[2], 0);
    EXPECT_EQ(ask(0x49, {3})[8], 7);
    EXPECT_EQ(ask(0x49, {3})[9], 6);
}

TEST_F(stored_switch, an_incomplete_matrix_cannot_be_enabled) {
    program();
    ask(0x05, {0, 4});
    ask(0x06, {0, 1, 0, 2, 3});
    EXPECT_EQ(ask(0x05, {1, 4})[2], 1);
    EXPECT_EQ(ask(0x49, {0})[8], 0);
}

TEST_F(stored_switch, a_matrix_that_gives_a_channel_twice_cannot_be_enabled) {
    ask(0x05, {0, 4});
    for (unsigned number = 0; number < 4; number++)
        ask(0x06, {number, 1, 0, 0, 1});
    EXPECT_EQ(ask(0x05, {1, 4})[2], 1);
}

TEST_F(stored_switch, mapping_is_enabled_for_one_to_four_ports_with_a_flag) {
    EXPECT_EQ(ask(0x05, {0, 0})[3], 1);
    EXPECT_EQ(ask(0x05, {0, 5})[3], 1);
    EXPECT_EQ(ask(0x05, {2, 4})[2], 1);
    const frame good = ask(0x05, {0, 4});
    EXPECT_THAT((std::vector<unsigned>{good[2], good[3]}), ElementsAre(0, 0));
}

TEST_F(stored_switch, each_wrong_mapping_argument_is_refused_in_its_own_byte) {
    const auto results = [&](std::initializer_list<unsigned> data) {
        const frame answer = ask(0x06, data);
        return std::vector<unsigned>{answer[2], answer[3], answer[4], answer[5], answer[6], answer[10]};
    };
    EXPECT_THAT(results({3, 1, 0, 6, 7}), ElementsAre(3, 0, 0, 0, 0, 0));
    EXPECT_THAT(results({4, 1, 0, 6, 7}), ElementsAre(4, 1, 0, 0, 0, 0));
    EXPECT_THAT(results({3, 2, 0, 6, 7}), ElementsAre(3, 1, 0, 0, 0, 0));
    EXPECT_THAT(results({3, 1, 1, 6, 7}), ElementsAre(3, 0, 1, 0, 0, 0));
    EXPECT_THAT(results({3, 1, 0, 8, 7}), ElementsAre(3, 0, 0, 1, 0, 0));
    EXPECT_THAT(results({3, 1, 0, 6, 8}), ElementsAre(3, 0, 0, 0, 1, 0));
    EXPECT_THAT(results({3, 1, 0, 6, 6}), ElementsAre(3, 0, 0, 0, 1, 0));
}

TEST_F(stored_switch, a_port_whose_channels_lead_elsewhere_finds_nothing) {
    program();
    ask(0x05, {0, 4});
    for (unsigned number = 0; number < 4; number++)
        ask(0x06, {number, 1, 0, 6 - 2 * number, 7 - 2 * number});
    ask(0x05, {1, 4});
    all_on();
    say("plug 1 --class 4 --load 20");
    after_ms(2000);
    EXPECT_EQ(port(0).status, 2U);
}

TEST_F(stored_switch, the_controller_becomes_factory_fresh_on_request) {
    program();
    say("controller factory");
    EXPECT_FALSE(passes_bring_up(300));
}

}  // namespace
}  // namespace vswitch
