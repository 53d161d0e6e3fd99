#include "poectl/run.h"

#include "client/fake_daemon.h"
#include "poe_client/requests.h"

namespace {

using namespace poectl;
using poe_client::port_settings_change;
using testing::ElementsAre;
using testing::SizeIs;

constexpr std::chrono::milliseconds long_enough{20000};

class run_command : public testing::Test {
  protected:
    fake_daemon daemon{healthy()};
    poe_client::connection to_it{daemon.socket_path(), long_enough};
    command asked;
    picture seen;

    void run(verb wanted) {
        asked.verb = wanted;
        ASSERT_EQ(poectl::run(asked, to_it, seen).kind, poe_client::failure_kind::none);
    }
    std::vector<int> types() {
        std::vector<int> list;
        for (const auto& request : daemon.requests())
            list.push_back(request.bytes.front());
        return list;
    }
};

TEST_F(run_command, status_gathers_one_moment_of_all_ports_with_their_settings_and_power_cycles) {
    run(verb::status);
    EXPECT_THAT(types(), ElementsAre(11, 2, 15, 0));
    ASSERT_THAT(seen.ports, SizeIs(4));
    EXPECT_EQ(seen.ports[1].settings.power_limit_dw, 10U);
    EXPECT_TRUE(seen.ports[1].cycle_pending);
    EXPECT_EQ(seen.ports[1].on_again_s, 0U) << "25 ticks are 5 s, and its re-enable time is 5 s";
    EXPECT_EQ(seen.ports[3].on_again_s, 30U);
    EXPECT_FALSE(seen.ports[2].cycle_pending);
    EXPECT_EQ(seen.system->settings.threshold_percent, 95);
}

TEST_F(run_command, port_show_asks_for_that_port) {
    asked.port = 2;
    run(verb::port_show);
    EXPECT_THAT(types(), ElementsAre(6, 1, 15));
    ASSERT_THAT(seen.ports, SizeIs(1));
    EXPECT_EQ(seen.ports[0].status.port, 2);
    EXPECT_EQ(seen.ports[0].settings.port, 2);
}

TEST_F(run_command, a_change_of_the_limit_is_sent_as_it_is) {
    asked.port = 2;
    asked.port_change.power_limit_dw = 900;
    run(verb::port_set);
    EXPECT_THAT(types(), ElementsAre(129));
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("set_port_2_limit")));
    EXPECT_EQ(seen.done, "accepted: port 3 limit 90.0 W");
}

TEST_F(run_command, a_change_of_the_mode_alone_takes_the_ports_own_priority_with_it) {
    asked.port = 1;
    asked.port_change.mode = 3;
    run(verb::port_set);
    EXPECT_THAT(types(), ElementsAre(1, 129));
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes,
                           {129, 0, 0, 0, 0, 0, 0, 0, 1, 255, 2, 255, 3, 255, 0, 0, 255, 255, 255, 255}));
}

TEST_F(run_command, bank_set_leaves_the_second_value_alone) {
    asked.bank_limit_w = 240;
    run(verb::bank_set);
    EXPECT_THAT(types(), ElementsAre(14, 142));
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("set_power_bank")));
}

TEST_F(run_command, cycle_schedule_and_system_set_are_sent) {
    asked.ports = 0b0101;
    run(verb::cycle);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("power_cycle_ports_0_and_2")));
    EXPECT_EQ(seen.done, "accepted: power-cycle of port 1, 3");
    asked.port = 3;
    asked.schedule_on = true;
    run(verb::schedule);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("set_schedule_3_on")));
    asked.port = 2;
    asked.schedule_on = false;
    run(verb::schedule);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("set_schedule_2_off")));
    EXPECT_EQ(seen.done, "accepted: port 3 schedule period off");
    asked.system_change = {0, {}, 1, 80, {}, 0};
    run(verb::system_set);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("set_system")));
    EXPECT_EQ(seen.done, "accepted: system enable off, threshold 80 %, parameter 2 1, parameter 5 0");
}

TEST_F(run_command, the_other_queries_ask_once) {
    run(verb::system_show);
    run(verb::bank_show);
    run(verb::counters);
    run(verb::queue);
    EXPECT_THAT(types(), ElementsAre(5, 0, 14, 12, 13));
    EXPECT_EQ(seen.system->status.consumed_mw, 35000U);
    EXPECT_EQ(seen.bank->limit_w, 300);
    EXPECT_EQ(seen.counters->rx_retry, 2U);
    EXPECT_EQ(seen.deepest_queue, 3U);
}

TEST_F(run_command, energy_asks_whether_it_is_kept_and_for_the_summary) {
    run(verb::energy_show);
    EXPECT_THAT(types(), ElementsAre(16, 18));
    EXPECT_TRUE(seen.energy->kept_in_flash);
    EXPECT_EQ(seen.energy->summary.totals.powered_s, 10U);
}

TEST_F(run_command, energy_of_a_port_asks_for_that_port) {
    asked.port = 3;
    run(verb::energy_port);
    EXPECT_THAT(types(), ElementsAre(17));
    EXPECT_EQ(seen.port_energy->port, 3U);
}

TEST_F(run_command, energy_changes_are_sent) {
    asked.ports = 0b1010;
    run(verb::energy_reset);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("clear_energy_of_ports_1_and_3")));
    EXPECT_EQ(seen.done, "accepted: energy reset of port 2, 4");
    asked.keep_in_flash = true;
    run(verb::energy_keep);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("set_energy_recording_on")));
    EXPECT_EQ(seen.done, "accepted: keeping energy in flash on");
    asked.keep_in_flash = false;
    run(verb::energy_keep);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, {144, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(seen.done, "accepted: keeping energy in flash off");
    asked.history_minutes = 0x01020304;
    run(verb::energy_inject);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, {148, 0, 0, 0, 0, 0, 0, 0, 4, 3, 2, 1}));
    EXPECT_EQ(seen.done, "accepted: made-up energy history of 16909060 min");
}

TEST(run_fails, at_the_first_failure) {
    fake_daemon daemon([](const message& request, std::size_t number) {
        return number == 0 ? healthy()(request, number) : healthy(1)({128}, number);
    });
    poe_client::connection to_it(daemon.socket_path(), std::chrono::milliseconds(2));
    command asked;
    picture seen;
    EXPECT_EQ(run(asked, to_it, seen).kind, poe_client::failure_kind::timeout);
}

TEST(company, is_needed_by_mode_and_re_enable_time_alone) {
    for (unsigned named = 1; named < 64; named++) {
        port_settings_change change;
        if (named & 1U) change.enable = 1;
        if (named & 2U) change.priority = 1;
        if (named & 4U) change.schedule_enable = 1;
        if (named & 8U) change.power_limit_dw = 100;
        if (named & 16U) change.mode = 1;
        if (named & 32U) change.re_enable_s = 10;
        const bool needed = named == 16 || named == 32 || named == 48;
        EXPECT_EQ(needs_company(change), needed) << named;
        auto with_priority = change;
        if (needed) with_priority.priority = 2;
        EXPECT_EQ(in_company(change, {.port = 0,
                                      .enable = 1,
                                      .priority = 2,
                                      .schedule_enable = 0,
                                      .mode = 2,
                                      .re_enable_s = 10,
                                      .power_limit_dw = 900}),
                  with_priority);
    }
}

}  // namespace
