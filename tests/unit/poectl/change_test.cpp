// How a change is carried out: against a daemon whose records change as a test tells.
#include "poectl/verbs/change.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "poectl/render.h"
#include "poectl/run.h"
#include "poectl/verbs/verbs.h"

namespace {

using namespace poectl;
using poe_client::connection;
using poe_client::failure;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class a_change : public testing::Test {
  protected:
    connection daemon{"/nowhere"};
    command asked;
    int sent = 0, looks = 0;
    int effect_at = 3;  // the look that sees it; the first one is before the change
    failure at_sending, at_looking;
    std::uint64_t failed_meanwhile = 0;
    std::uint64_t transactions_a_look = 0;
    int other_until = 0;  // looks that show what an earlier change makes of it, from the third one on
    bool is_queued = true, replaces = false;
    picture seen = empty_picture(entry_of(verb::bank_set).shape);

    failure carry_out() {
        asked.effect_timeout = asked.effect_timeout.value_or(std::chrono::seconds(20));
        return poectl::carry_out(
            asked, daemon,
            {.words = "bank limit 240 W",
             .ports = 0,
             .request = {142, 0, 0, 0, 0, 0, 0, 0, 240, 0, 0, 0},
             .send =
                 [this](connection&) {
                     sent++;
                     return at_sending;
                 },
             .look =
                 [this](connection&, change_records& into) {
                     looks++;
                     const bool other = looks > 2 && looks <= other_until;
                     into.bank.limit_w = looks >= effect_at && !other ? 240 : 300;
                     into.counters.total = 1000 + transactions_a_look * static_cast<std::uint64_t>(looks);
                     if (looks > 1) into.counters.rx_timeout = failed_meanwhile;
                     return looks > 1 ? at_looking : failure{};
                 },
             .judge = [](const auto& was, const auto& is) { return sight_of_bank_change(240, was, is); },
             .is_queued = is_queued,
             .replaces = replaces,
             .look_with = "poectl bank"},
            seen);
    }
    facts change() { return seen.sections.front().items.front(); }
    facts setting() { return seen.sections[1].items.front(); }
};

TEST_F(a_change, is_sent_once_and_awaited) {
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(sent, 1);
    EXPECT_EQ(looks, 3);
    EXPECT_EQ(seen.exit_status, exit_done);
    EXPECT_EQ(change()["message"], "done: bank limit 240 W");
    EXPECT_EQ(change()["effect_seen"], true);
    EXPECT_EQ(setting(), facts::parse(R"({"port": null, "interface": null, "setting": "limit_w", "was": 300,
        "wanted": 240, "is": 240, "seen": true})"));
}

TEST_F(a_change, has_the_same_headings_as_csv_with_and_without_settings) {
    const std::string empty = as_csv({.command = "bank set", .seen = seen, .error = {}});
    EXPECT_EQ(empty, "port,interface,setting,was,wanted,is,seen\n");
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(as_csv({.command = "bank set", .seen = seen, .error = {}}), empty + ",,limit_w,300,240,240,true\n");
}

TEST_F(a_change, that_shows_no_effect_in_time_is_7) {
    effect_at = 1000000;
    asked.effect_timeout = std::chrono::milliseconds(1);
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(sent, 1);
    EXPECT_EQ(seen.exit_status, exit_no_effect);
    EXPECT_EQ(seen.error->exit_status, exit_no_effect);
    EXPECT_THAT(seen.complaint, StartsWith("accepted, but no effect seen in "));
    EXPECT_THAT(seen.complaint, HasSubstr("bank limit is 300 W, wanted: 240 W.\nTry: a longer --timeout"));
    EXPECT_EQ(setting()["is"], 300);
    EXPECT_EQ(setting()["seen"], false);
}

TEST_F(a_change, that_the_controller_may_not_have_got_is_7_and_says_how_to_send_it_again) {
    failed_meanwhile = 2;
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(seen.exit_status, exit_no_effect);
    EXPECT_THAT(seen.complaint, HasSubstr("2 transactions with the controller failed meanwhile"));
    EXPECT_THAT(seen.complaint, HasSubstr("set another value and then this one again"));
}

TEST_F(a_change, after_which_the_daemon_does_not_answer_is_7) {
    at_looking = {poe_client::failure_kind::timeout, 0};
    asked.effect_timeout = std::chrono::milliseconds(1);
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(seen.exit_status, exit_no_effect);
    EXPECT_THAT(seen.complaint, HasSubstr("then poe_drv could not be asked any more: no answer"));
    EXPECT_TRUE(setting()["is"].is_null());
}

TEST_F(a_change, that_is_refused_is_not_awaited) {
    at_sending = {poe_client::failure_kind::refused, 0};
    EXPECT_EQ(carry_out().kind, poe_client::failure_kind::refused);
    EXPECT_EQ(looks, 1);
}

TEST_F(a_change, whose_answer_does_not_come_may_have_been_taken_and_is_looked_at_before_it_is_repeated) {
    for (const auto kind : {poe_client::failure_kind::timeout, poe_client::failure_kind::malformed}) {
        at_sending = {kind, 0};
        seen.error.reset();
        EXPECT_EQ(carry_out().kind, kind);
        ASSERT_TRUE(seen.error);
        EXPECT_EQ(seen.error->exit_status, exit_no_answer);
        EXPECT_THAT(seen.error->why, HasSubstr("; the change may have been taken all the same"));
        EXPECT_THAT(seen.error->advice, StartsWith("look with 'poectl bank' before you repeat it; "));
    }
    EXPECT_EQ(sent, 2);
}

TEST_F(a_change, that_was_never_taken_does_not_say_that_it_may_have_been) {
    for (const auto kind : {poe_client::failure_kind::refused, poe_client::failure_kind::no_daemon,
                            poe_client::failure_kind::not_permitted, poe_client::failure_kind::own_socket}) {
        at_sending = {kind, 0};
        EXPECT_EQ(carry_out().kind, kind);
        EXPECT_FALSE(seen.error);
    }
}

TEST_F(a_change, without_waiting_is_done_when_it_is_accepted) {
    asked.wait_for_effect = false;
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(looks, 1);
    EXPECT_EQ(change()["message"], "accepted: bank limit 240 W");
    EXPECT_TRUE(change()["effect_seen"].is_null());
    EXPECT_TRUE(setting()["is"].is_null());
}

TEST_F(a_change, in_a_dry_run_is_not_sent) {
    asked.dry_run = true;
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(sent, 0);
    EXPECT_EQ(change()["accepted"], false);
    EXPECT_EQ(change()["request"], facts::parse(R"({"type": 142, "bytes": "8e 00 00 00 00 00 00 00 f0 00 00 00"})"));
    EXPECT_THAT(seen.page.back().rows.front().front().text, StartsWith("Nothing was sent."));
}

// What is queued before it may still change what is so; the daemon's talk with the controller tells when it has come
// by.
class a_change_to_what_is_so : public a_change {
  protected:
    a_change_to_what_is_so() {
        effect_at = 0;
        transactions_a_look = transactions_until_applied / 2;
    }
    std::string last_line() { return seen.page.back().rows.front().front().text; }
};

TEST_F(a_change_to_what_is_so, is_done_once_the_daemon_has_come_to_it) {
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(sent, 1) << "another one may have been on its way";
    EXPECT_EQ(looks, 4) << "one before, one to begin with, two with half of the transactions each";
    EXPECT_EQ(last_line(), "It was so already.");
    EXPECT_EQ(seen.exit_status, exit_done);
}

TEST_F(a_change_to_what_is_so, is_7_when_the_daemon_does_not_come_to_it) {
    transactions_a_look = 0;
    asked.effect_timeout = std::chrono::milliseconds(1);
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(seen.exit_status, exit_no_effect);
    EXPECT_THAT(seen.complaint, HasSubstr("it was so before, but poe_drv has not come to it yet"));
    EXPECT_EQ(change()["effect_seen"], false);
}

TEST_F(a_change_to_what_is_so, was_not_so_when_an_earlier_change_shows_meanwhile) {
    other_until = 4;
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(looks, 5);
    EXPECT_EQ(change()["message"], "done: bank limit 240 W");
    EXPECT_EQ(seen.page.size(), 2U) << "no note that it was so already";
}

TEST_F(a_change_to_what_is_so, counts_anew_with_a_daemon_that_counts_anew) {
    transactions_a_look = static_cast<std::uint64_t>(-1);
    asked.effect_timeout = std::chrono::milliseconds(1);
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(seen.exit_status, exit_no_effect);
}

TEST_F(a_change_to_what_is_so, is_done_at_once_when_the_daemon_does_not_queue_it) {
    is_queued = false;
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(looks, 2);
    EXPECT_EQ(last_line(), "It was so already.");
}

TEST_F(a_change_to_what_is_so, and_replaces_it_says_nothing_of_before) {
    is_queued = false;
    replaces = true;
    EXPECT_TRUE(succeeded(carry_out()));
    EXPECT_EQ(seen.page.size(), 2U);
}

}  // namespace
