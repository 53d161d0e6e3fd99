#include "poectl/run.h"

#include <nlohmann/json.hpp>

#include "client/fake_daemon.h"
#include "poectl/verbs/port_change.h"

namespace {

using namespace poectl;
using nlohmann::json;
using poe_client::port_settings_change;
using testing::ElementsAre;
using testing::SizeIs;

constexpr std::chrono::milliseconds long_enough{20000};

class run_command : public testing::Test {
  protected:
    fake_daemon daemon{with_controller()};
    command asked;
    json seen;

    void run(verb wanted) {
        asked.verb = wanted;
        asked.socket_path = daemon.socket_path();
        asked.timeout = long_enough;
        asked.wait_for_effect = false;
        const auto ended = poectl::run(asked, {.format = output_format::json});
        ASSERT_EQ(ended.status, 0) << ended.err;
        EXPECT_EQ(ended.err, "");
        seen = json::parse(ended.out);
    }
    std::string message() { return seen["change"]["message"]; }
    std::vector<int> types() {
        std::vector<int> list;
        for (const auto& request : daemon.requests())
            list.push_back(request.bytes.front());
        return list;
    }
    std::vector<std::uint8_t> last() { return daemon.requests().back().bytes; }
};

TEST_F(run_command, status_gathers_one_moment_of_all_ports_with_their_settings_and_power_cycles) {
    run(verb::status);
    EXPECT_THAT(types(), ElementsAre(12, 11, 2, 15, 0, 12));
    ASSERT_THAT(seen["ports"], SizeIs(4));
    EXPECT_EQ(seen["ports"][1]["settings"]["limit_mw"], 1000);
    EXPECT_EQ(seen["ports"][1]["power_cycle"]["on_again_s"], 0) << "25 ticks are 5 s, and its re-enable time is 5 s";
    EXPECT_EQ(seen["ports"][3]["power_cycle"]["on_again_s"], 30);
    EXPECT_EQ(seen["ports"][2]["power_cycle"]["pending"], false);
    EXPECT_EQ(seen["system"]["settings"]["threshold_percent"], 95);
    EXPECT_EQ(seen["controller"], json::parse(R"({"answers": true})"));
}

TEST_F(run_command, port_show_asks_for_that_port) {
    asked.port = 2;
    run(verb::port_show);
    EXPECT_THAT(types(), ElementsAre(12, 6, 1, 15, 12));
    ASSERT_THAT(seen["ports"], SizeIs(1));
    EXPECT_EQ(seen["ports"][0]["port"], 3);
    EXPECT_EQ(seen["ports"][0]["settings"]["limit_mw"], 15400);
}

TEST_F(run_command, a_change_of_the_limit_is_sent_as_it_is) {
    asked.port = 2;
    asked.port_change.power_limit_dw = 900;
    run(verb::port_set);
    EXPECT_THAT(types(), ElementsAre(11, 2, 15, 0, 12, 129));
    EXPECT_TRUE(same_bytes(last(), message_bytes("set_port_2_limit")));
    EXPECT_EQ(message(), "accepted: port 3 (lan3) limit 90.0 W");
    EXPECT_EQ(seen["change"]["ports"], json::array({3}));
}

TEST_F(run_command, a_change_of_the_mode_alone_takes_the_ports_own_priority_with_it) {
    asked.port = 1;
    asked.port_change.mode = 3;
    run(verb::port_set);
    EXPECT_EQ(types().back(), 129);
    EXPECT_TRUE(same_bytes(last(), {129, 0, 0, 0, 0, 0, 0, 0, 1, 255, 1, 255, 3, 255, 0, 0, 255, 255, 255, 255}));
}

TEST_F(run_command, bank_set_leaves_the_second_value_alone) {
    asked.bank_limit_w = 240;
    run(verb::bank_set);
    EXPECT_THAT(types(), ElementsAre(14, 5, 12, 142));
    EXPECT_TRUE(same_bytes(last(), message_bytes("set_power_bank")));
}

TEST_F(run_command, cycle_leaves_a_disabled_port_out_and_system_set_is_sent) {
    asked.ports = 0b0111;
    run(verb::cycle);
    EXPECT_TRUE(same_bytes(last(), {143, 0, 0, 0, 0, 0, 0, 0, 0b0110}));
    EXPECT_EQ(message(), "accepted: power-cycle of ports 2 (lan2), 3 (lan3)");
    EXPECT_EQ(seen["change"]["ports"], json::array({2, 3}));
    EXPECT_EQ(seen["change"]["left_out"], json::parse(R"([{"port": 1, "interface": "lan1", "reason": "disabled"}])"));
    asked.system_change = {0, {}, 1, 80, {}, 0};
    run(verb::system_set);
    EXPECT_TRUE(same_bytes(last(), message_bytes("set_system")));
    EXPECT_EQ(message(), "accepted: system enable off, threshold 80 %, parameter 2 1, parameter 5 0");
    EXPECT_EQ(seen["change"]["ports"], json::array());
}

TEST_F(run_command, a_schedule_of_one_port_is_one_message_and_so_is_one_of_several) {
    asked.ports = 0b1000;
    asked.schedule_on = true;
    run(verb::schedule_set);
    EXPECT_TRUE(same_bytes(last(), message_bytes("set_schedule_3_on")));
    EXPECT_EQ(message(), "accepted: port 4 (lan4) schedule period on");
    asked.ports = 0b0100;
    asked.schedule_on = false;
    run(verb::schedule_set);
    EXPECT_TRUE(same_bytes(last(), message_bytes("set_schedule_2_off")));
    asked.ports = 0b1001;
    run(verb::schedule_set);
    EXPECT_TRUE(same_bytes(last(), {138, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 255, 0, 0, 2, 255, 0, 0, 3, 0, 0, 0}));
    std::vector<int> settings;
    std::ranges::copy_if(types(), std::back_inserter(settings), [](int type) { return type > 127; });
    EXPECT_THAT(settings, ElementsAre(137, 137, 138));
}

TEST_F(run_command, the_other_queries_ask_once) {
    run(verb::system_show);
    EXPECT_EQ(seen["system"]["consumed_mw"], 35000);
    run(verb::bank_show);
    EXPECT_EQ(seen["bank"]["limit_w"], 300);
    run(verb::counters);
    EXPECT_EQ(seen["counters"]["rx_retry"], 2);
    EXPECT_EQ(seen["queue"]["deepest"], 3);
    run(verb::schedule_show);
    EXPECT_THAT(seen["ports"], SizeIs(4));
    EXPECT_THAT(types(), ElementsAre(12, 5, 0, 12, 14, 12, 13, 7));
}

TEST_F(run_command, energy_asks_whether_it_is_kept_and_for_the_summary) {
    run(verb::energy_show);
    EXPECT_THAT(types(), ElementsAre(16, 18));
    EXPECT_EQ(seen["energy"]["kept_in_flash"], true);
    EXPECT_EQ(seen["energy"]["powered_s"], 10);
}

TEST_F(run_command, energy_of_a_port_asks_for_that_port) {
    asked.port = 3;
    run(verb::energy_port);
    EXPECT_THAT(types(), ElementsAre(17));
    EXPECT_EQ(seen["port"]["port"], 4);
}

TEST_F(run_command, energy_changes_are_sent) {
    asked.ports = 0b1010;
    run(verb::energy_reset);
    EXPECT_TRUE(same_bytes(last(), message_bytes("clear_energy_of_ports_1_and_3")));
    EXPECT_EQ(message(), "accepted: energy reset of ports 2 (lan2), 4 (lan4)");
    asked.keep_in_flash = true;
    run(verb::energy_keep);
    EXPECT_TRUE(same_bytes(last(), message_bytes("set_energy_recording_on")));
    EXPECT_EQ(message(), "accepted: keeping energy in flash on");
    asked.keep_in_flash = false;
    run(verb::energy_keep);
    EXPECT_TRUE(same_bytes(last(), {144, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(message(), "accepted: keeping energy in flash off");
    asked.history_minutes = 0x01020304;
    run(verb::energy_inject);
    EXPECT_THAT(types(), testing::Contains(17).Times(2 + 4)) << "the record of every port is looked at before";
    EXPECT_TRUE(same_bytes(last(), {148, 0, 0, 0, 0, 0, 0, 0, 4, 3, 2, 1}));
    EXPECT_EQ(message(), "accepted: made-up energy history of 16909060 min");
}

TEST(run_fails, at_the_first_failure_with_empty_sections) {
    fake_daemon daemon([](const message& request, std::size_t number) {
        return number == 0 ? healthy()(request, number) : healthy(1)({128}, number);
    });
    command asked;
    asked.socket_path = daemon.socket_path();
    asked.timeout = std::chrono::milliseconds(2);
    const auto ended = run(asked, {.format = output_format::json});
    EXPECT_EQ(ended.status, 4);
    EXPECT_THAT(ended.err, testing::StartsWith("no answer: "));
    const auto seen = json::parse(ended.out);
    EXPECT_EQ(seen["error"]["exit_status"], 4);
    EXPECT_TRUE(seen["system"].is_null());
    EXPECT_EQ(seen["ports"], json::array());
    EXPECT_EQ(run(asked, {}).out, "");
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
