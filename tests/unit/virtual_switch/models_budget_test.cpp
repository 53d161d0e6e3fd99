#include "models/power_budget.h"
#include "switch_bench.h"

namespace vswitch {
namespace {

using testing::ElementsAre;

TEST(power_budget, grants_everyone_when_it_reaches_exactly) {
    EXPECT_THAT(grant_power({{0, 0, 0, 30000}, {0, 1, 0, 20000}}, 50000), ElementsAre(true, true));
}

TEST(power_budget, leaves_out_the_highest_port_number_among_equals) {
    EXPECT_THAT(grant_power({{0, 2, 0, 20000}, {0, 0, 0, 20000}, {0, 1, 0, 20000}}, 59999),
                ElementsAre(false, true, true));
}

TEST(power_budget, leaves_out_the_lowest_priority_first) {
    EXPECT_THAT(grant_power({{0, 0, 0, 20000}, {2, 1, 0, 20000}, {3, 2, 0, 20000}}, 40000),
                ElementsAre(false, true, true));
}

TEST(power_budget, leaves_out_pair_set_b_before_pair_set_a) {
    EXPECT_THAT(grant_power({{0, 0, 1, 20000}, {0, 0, 0, 20000}}, 30000), ElementsAre(false, true));
}

TEST(power_budget, lets_a_small_demand_pass_where_a_large_one_does_not_fit) {
    EXPECT_THAT(grant_power({{3, 0, 0, 20000}, {2, 1, 0, 40000}, {0, 2, 0, 20000}}, 50000),
                ElementsAre(true, false, true));
}

struct tight_switch : switch_bench {
    tight_switch() {
        program(50);
        all_on();
    }
};

TEST_F(tight_switch, denies_the_highest_of_three_equal_ports_and_counts_it_once) {
    for (const char* port : {"1", "2", "3"})
        say(std::string("plug ") + port + " --class 4 --load 20");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 1U);
    EXPECT_EQ(port(1).status, 1U);
    EXPECT_EQ(port(2).status, 4U);
    EXPECT_THAT(take_events(2), ElementsAre(0, 0, 0, 0, 1));
    after_ms(5000);
    EXPECT_THAT(take_events(2), ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(tight_switch, sheds_a_lower_priority_for_a_higher_one_that_comes_later) {
    ask(0x15, {0, 0, 1, 2, 2, 3});
    say("plug 1 --class 4 --load 20");
    say("plug 2 --class 4 --load 20");
    after_ms(1000);
    say("plug 3 --class 4 --load 20");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 4U);
    EXPECT_EQ(port(1).status, 1U);
    EXPECT_EQ(port(2).status, 1U);
}

TEST_F(tight_switch, powers_a_denied_port_again_when_another_one_leaves) {
    for (const char* port : {"1", "2", "3"})
        say(std::string("plug ") + port + " --class 4 --load 20");
    after_ms(1000);
    say("unplug 1");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 2U);
    EXPECT_EQ(port(2).status, 1U);
}

TEST_F(tight_switch, sheds_when_a_load_rises_and_restores_when_it_falls) {
    for (const char* port : {"1", "2"})
        say(std::string("plug ") + port + " --class 4 --load 20");
    after_ms(1000);
    say("load 1 30");
    say("load 2 20.001");
    after_ms(100);
    EXPECT_EQ(port(0).status, 1U);
    EXPECT_EQ(port(1).status, 4U);
    say("load 1 20");
    after_ms(100);
    EXPECT_EQ(port(1).status, 1U);
}

TEST_F(tight_switch, makes_room_when_the_bank_grows) {
    for (const char* port : {"1", "2", "3"})
        say(std::string("plug ") + port + " --class 4 --load 20");
    after_ms(1000);
    ask(0x04, {0, 600 / 256, 600 % 256, 0, 0});
    after_ms(100);
    EXPECT_EQ(port(2).status, 1U);
}

TEST_F(tight_switch, counts_what_a_port_may_draw_when_the_method_is_static) {
    ask(0x10, {1});
    say("plug 1 --class 4 --load 1");
    say("plug 2 --class 4 --load 1");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 1U);
    EXPECT_EQ(port(1).status, 4U);
}

TEST_F(tight_switch, keeps_no_budget_without_a_method) {
    ask(0x10, {0});
    for (const char* port : {"1", "2", "3"})
        say(std::string("plug ") + port + " --class 4 --load 25");
    after_ms(1000);
    EXPECT_EQ(port(2).status, 1U);
}

TEST_F(tight_switch, goes_by_port_number_alone_when_the_method_knows_no_priority) {
    ask(0x10, {3});
    ask(0x15, {0, 0, 1, 3});
    say("plug 1 --class 4 --load 30");
    say("plug 2 --class 4 --load 30");
    after_ms(1000);
    EXPECT_EQ(port(0).status, 1U);
    EXPECT_EQ(port(1).status, 4U);
}

TEST_F(tight_switch, never_delivers_more_than_its_budget) {
    for (const char* port : {"1", "2", "3", "4"})
        say(std::string("plug ") + port + " --class 4 --load 17");
    for (unsigned step = 0; step < 30; step++) {
        after_ms(50);
        unsigned sum = 0;
        for (unsigned number = 0; number < 4; number++)
            sum += consumed_mw(number);
        EXPECT_LE(sum, 50000U);
    }
}

}  // namespace
}  // namespace vswitch
