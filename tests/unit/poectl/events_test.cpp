#include "poectl/verbs/events.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "poectl/verbs/event_lines.h"
#include "poectl/verbs/observe.h"

namespace {

using namespace poectl;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::uint32_t step_mw = 1000;
const problem gone{.exit_status = exit_no_daemon, .what = "cannot reach the daemon", .why = "no socket", .advice = "x"};
const problem hung{.exit_status = exit_no_answer, .what = "no answer", .why = "none within 1 s", .advice = "x"};

observation switch_at(std::uint32_t tick) {
    observation seen;
    seen.all.cycles.now_tick = tick;
    seen.all.system.status.total_mw = 300000;
    seen.all.system.settings.enable = 1;
    seen.all.system.settings.threshold_percent = 95;
    for (std::uint8_t port = 0; port < poe_client::port_count; port++) {
        seen.all.ports[port].status.port = port;
        seen.all.ports[port].settings.port = port;
    }
    return seen;
}

told_state told(const observation& seen) {
    return news_of({}, seen, step_mw).told;
}

std::vector<std::string> kinds(const news& all) {
    std::vector<std::string> list;
    for (const auto& one : all.events)
        list.emplace_back(name_of(one.kind));
    return list;
}

std::string words_of(const event& one) {
    std::string text;
    for (const auto& part : one.words)
        text += part.text;
    return text;
}

TEST(the_first_event, is_the_whole_state) {
    auto seen = switch_at(1);
    seen.all.ports[1].status.status = 1;
    seen.all.ports[1].status.power_mw = 12500;
    seen.all.system.status.consumed_mw = 12500;
    const auto all = news_of({}, seen, step_mw);
    ASSERT_THAT(kinds(all), ElementsAre("state"));
    EXPECT_EQ(all.events[0].details["ports"].size(), 4U);
    EXPECT_EQ(all.events[0].details["daemon"]["reachable"], true);
    EXPECT_EQ(all.events[0].details["system"]["consumed_mw"], 12500);
    EXPECT_EQ(words_of(all.events[0]),
              "PoE enabled, 12.5 W of 300.0 W used, usage alarm not raised; port 1 (lan1) disabled (0); port 2 (lan2) "
              "delivering (1) 12.5 W; port 3 (lan3) disabled (0); port 4 (lan4) disabled (0)");
}

TEST(the_first_event, is_the_whole_state_also_when_there_is_none) {
    const auto all = news_of({}, {.trouble = gone}, step_mw);
    ASSERT_THAT(kinds(all), ElementsAre("state"));
    EXPECT_EQ(all.events[0].details["daemon"]["reason"], "daemon_not_reachable");
    EXPECT_TRUE(all.events[0].details["system"].is_null());
    EXPECT_EQ(all.events[0].details["ports"], facts::array());
    EXPECT_EQ(words_of(all.events[0]), "cannot reach the daemon: no socket");
}

TEST(nothing, is_told_of_a_switch_that_stays_as_it_is) {
    const auto seen = switch_at(1);
    EXPECT_THAT(news_of(told(seen), switch_at(2), step_mw).events, IsEmpty());
}

TEST(every_change_of_a_status, is_one_event) {
    for (std::uint32_t was = 0; was < 17; was++) {
        for (std::uint32_t is = 0; is < 17; is++) {
            auto before = switch_at(1), now = switch_at(2);
            before.all.ports[2].status.status = was;
            now.all.ports[2].status.status = is;
            const auto all = news_of(told(before), now, step_mw);
            ASSERT_EQ(all.events.size(), was == is ? 0U : 1U) << was << " " << is;
            if (was == is) continue;
            EXPECT_EQ(all.events[0].details["port"], 3);
            EXPECT_EQ(all.events[0].details["was"]["code"], was);
            EXPECT_EQ(all.events[0].details["is"]["code"], is);
            EXPECT_TRUE(all.events[0].details["pair_set"].is_null());
        }
    }
}

TEST(the_pair_sets, of_a_dual_signature_device_have_events_of_their_own) {
    auto before = switch_at(1), now = switch_at(2);
    now.all.ports[0].status.pair_set[1].status = 3;
    EXPECT_THAT(news_of(told(before), now, step_mw).events, IsEmpty()) << "of a single one they say nothing new";
    now.all.ports[0].status.port_type = 2;
    const auto all = news_of(told(before), now, step_mw);
    ASSERT_THAT(kinds(all), ElementsAre("status"));
    EXPECT_EQ(all.events[0].details["pair_set"], "B");
    EXPECT_EQ(words_of(all.events[0]), "port 1 (lan1) pair set B status: disabled (0) -> overload (3)");
}

TEST(power, is_told_when_it_left_what_was_told_last_by_a_step) {
    auto seen = switch_at(1);
    seen.all.ports[1].status.power_mw = 10000;
    auto state = told(seen);
    std::vector<std::pair<std::uint32_t, std::uint32_t>> steps;
    for (const std::uint32_t mw : {10400U, 10800U, 10999U, 11000U, 11500U, 10000U, 10000U, 0U, 1U, 500U, 1001U}) {
        seen.all.ports[1].status.power_mw = mw;
        const auto all = news_of(state, seen, step_mw);
        for (const auto& one : all.events)
            steps.emplace_back(one.details["was_mw"], one.details["is_mw"]);
        state = all.told;
    }
    using pair = std::pair<std::uint32_t, std::uint32_t>;
    EXPECT_THAT(steps, ElementsAre(pair(10000, 11000), pair(11000, 10000), pair(10000, 0), pair(0, 1), pair(1, 1001)));
}

TEST(the_usage_alarm, is_told_at_its_edges) {
    auto seen = switch_at(1);
    auto state = told(seen);
    seen.all.system.status.alarm_raised = true;
    seen.all.system.status.consumed_mw = 290000;
    auto all = news_of(state, seen, step_mw);
    ASSERT_THAT(kinds(all), ElementsAre("alarm"));
    EXPECT_EQ(words_of(all.events[0]), "usage alarm RAISED: 290.0 W of 300.0 W used, alarm at 95 %");
    EXPECT_THAT(news_of(all.told, seen, step_mw).events, IsEmpty());
    seen.all.system.status.alarm_raised = false;
    EXPECT_EQ(news_of(all.told, seen, step_mw).events[0].details["raised"], false);
}

TEST(a_controller, that_falls_silent_and_answers_again_is_told_at_its_edges) {
    auto silent = switch_at(2);
    silent.controller_answers = false;
    auto all = news_of(told(switch_at(1)), silent, step_mw);
    ASSERT_THAT(kinds(all), ElementsAre("controller"));
    EXPECT_EQ(all.events[0].details, facts({{"answers", false}}));
    EXPECT_EQ(words_of(all.events[0]),
              "the controller does not answer poe_drv; status and power stay as they were read last");
    EXPECT_THAT(news_of(all.told, silent, step_mw).events, IsEmpty());
    auto back = switch_at(3);
    back.all.ports[1].status.status = 2;
    all = news_of(all.told, back, step_mw);
    ASSERT_THAT(kinds(all), ElementsAre("controller", "status"));
    EXPECT_EQ(all.events[0].details, facts({{"answers", true}}));
    EXPECT_EQ(words_of(all.events[0]), "the controller answers poe_drv again");
}

TEST(a_controller, that_is_silent_is_part_of_the_whole_state) {
    auto silent = switch_at(1);
    silent.controller_answers = false;
    const auto all = news_of({}, silent, step_mw);
    EXPECT_EQ(all.events[0].details["controller"], facts({{"answers", false}}));
    EXPECT_THAT(words_of(all.events[0]),
                StartsWith("the controller does not answer poe_drv; what follows is old: PoE enabled, "));
    EXPECT_EQ(told(switch_at(1)).controller_answers, true);
    EXPECT_EQ(news_of({}, switch_at(1), step_mw).events[0].details["controller"], facts({{"answers", true}}));
    EXPECT_TRUE(news_of({}, {.trouble = gone}, step_mw).events[0].details["controller"].is_null());
}

TEST(a_controller, is_silent_when_no_transaction_came_to_its_good_end_for_two_seconds) {
    using std::chrono::milliseconds;
    const heard_controller::time_point begin{};
    heard_controller heard;
    EXPECT_EQ(heard.answers(7, begin), std::nullopt) << "one look does not tell";
    heard.begin(7, true, begin);
    EXPECT_EQ(heard.answers(7, begin + milliseconds(1999)), true);
    EXPECT_EQ(heard.answers(7, begin + milliseconds(2000)), false);
    EXPECT_EQ(heard.answers(8, begin + milliseconds(9000)), true);
    EXPECT_EQ(heard.answers(8, begin + milliseconds(10999)), true) << "from the last one on";
    EXPECT_EQ(heard.answers(8, begin + milliseconds(11000)), false);
    EXPECT_EQ(heard.answers(0, begin + milliseconds(11001)), true) << "a daemon that was restarted counts anew";
    heard.begin(3, false, begin);
    EXPECT_EQ(heard.answers(3, begin + milliseconds(1)), false);
    EXPECT_EQ(heard.answers(4, begin + milliseconds(2)), true);
    heard.forget();
    EXPECT_EQ(heard.answers(4, begin + milliseconds(3)), std::nullopt);
}

TEST(a_daemon_that_goes_away, is_told_once_for_each_reason_and_its_return_with_the_whole_state) {
    auto all = news_of(told(switch_at(9)), {.trouble = hung}, step_mw);
    ASSERT_THAT(kinds(all), ElementsAre("daemon"));
    EXPECT_EQ(all.events[0].details["reachable"], false);
    EXPECT_EQ(all.events[0].details["reason"], "no_answer");
    EXPECT_THAT(news_of(all.told, {.trouble = hung}, step_mw).events, IsEmpty());
    all = news_of(all.told, {.trouble = gone}, step_mw);
    EXPECT_EQ(all.events[0].details["reason"], "daemon_not_reachable");
    all = news_of(all.told, switch_at(10), step_mw);
    ASSERT_THAT(kinds(all), ElementsAre("daemon", "state"));
    EXPECT_EQ(all.events[0].details["reachable"], true);
    EXPECT_EQ(all.events[0].details["restarted"], false);
}

TEST(a_daemon_whose_clock_began_anew, was_restarted) {
    const auto all = news_of(told(switch_at(500)), switch_at(3), step_mw);
    ASSERT_THAT(kinds(all), ElementsAre("daemon", "state"));
    EXPECT_EQ(all.events[0].details["restarted"], true);
    EXPECT_EQ(words_of(all.events[0]), "poe_drv was restarted");
}

TEST(an_event, has_a_line_in_every_format) {
    auto before = switch_at(1), now = switch_at(2);
    now.all.ports[1].status.status = 2;
    const auto one = news_of(told(before), now, step_mw).events.front();
    const moment when{.time_ms = 1'700'000'000'007, .zone_s = 3600};
    EXPECT_EQ(event_text(one, 5, when, {}),
              "2023-11-14 23:13:20  port 2 (lan2) status: disabled (0) -> searching (2)\n");
    const std::string line =
        R"({"schema_version":1,"command":"watch","record":"status","sequence":5,"time":"2023-11-14T22:13:20.007Z",)"
        R"("port":2,"interface":"lan2","pair_set":null,"was":{"code":0,"name":"disabled"},"is":{"code":2,"name":"searching"}})"
        "\n";
    EXPECT_EQ(event_text(one, 5, when, {.format = output_format::json}), line);
    EXPECT_EQ(event_text(one, 5, when, {.format = output_format::jsonl}), line);
    const std::string row =
        "2023-11-14T22:13:20.007Z,status,2,lan2,,disabled,searching,"
        "port 2 (lan2) status: disabled (0) -> searching (2)\n";
    EXPECT_EQ(event_text(one, 5, when, {.format = output_format::csv}), "5," + row);
    EXPECT_EQ(event_text(one, 1, when, {.format = output_format::csv}),
              "sequence,time,event,port,interface,pair_set,was,is,text\n1," + row);
    EXPECT_THAT(event_text(one, 5, when, {.format = output_format::kv}),
                StartsWith("schema_version=1\ncommand=watch\nrecord=status\nsequence=5\n"));
    EXPECT_THAT(event_text(one, 5, when, {.format = output_format::kv}), HasSubstr("\nis.name=searching\n\n"));
}

}  // namespace
