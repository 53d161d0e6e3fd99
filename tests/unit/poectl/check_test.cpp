#include "poectl/verbs/check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "poectl/render.h"
#include "shown.h"

namespace {

using namespace poectl;
using testing::HasSubstr;
using testing::StartsWith;

checked_switch well() {
    checked_switch seen{};
    seen.all.system.status = {.total_mw = 300000,
                              .consumed_mw = 120000,
                              .remaining_mw = 180000,
                              .temperature_mc = 37500,
                              .alarm_raised = false};
    seen.all.system.settings.threshold_percent = 95;
    for (std::uint8_t port = 0; port < 4; port++) {
        seen.all.ports[port].status.port = port;
        seen.all.ports[port].settings.power_limit_dw = 300;
    }
    seen.all.ports[1].status.status = 1;
    seen.all.ports[1].status.power_mw = 12481;
    return seen;
}

plugin_state state_of(const checked_switch& seen, const check_thresholds& thresholds = {}) {
    return worst_of(findings_of(seen, thresholds));
}

picture shown(const checked_switch& seen, const check_thresholds& thresholds = {}) {
    picture into = empty_picture(entry_of(verb::check).shape);
    depict_check(seen, thresholds, into);
    return into;
}

TEST(check, of_a_switch_that_is_well_is_ok) {
    const auto seen = shown(well());
    EXPECT_EQ(seen.exit_status, 0);
    EXPECT_EQ(
        page(seen),
        "POE OK - 120.0 W of 300.0 W used, port 2 (lan2) delivering | consumed_w=120.0;;;0;300.0 temperature_c=37.5 "
        "port1_w=0.0;;;0;30.0 port2_w=12.481;;;0;30.0 port3_w=0.0;;;0;30.0 port4_w=0.0;;;0;30.0 "
        "failed_transactions=0c;;;0\n"
        "port 1 (lan1): disabled (0)\n"
        "port 2 (lan2): delivering (1)\n"
        "port 3 (lan3): disabled (0)\n"
        "port 4 (lan4): disabled (0)\n");
}

TEST(check, of_a_controller_that_does_not_answer_is_critical_whatever_is_told_besides) {
    auto old = well();
    old.controller.answers = false;
    const auto seen = shown(old, {.power_warning = power_threshold{1000, false}});
    EXPECT_EQ(seen.exit_status, 2);
    EXPECT_THAT(page(seen),
                StartsWith("POE CRITICAL - the controller does not answer poe_drv; all that is told is old; "
                           "120.0 W of 300.0 W used, threshold 1.0 W | consumed_w=120.0;1.0;"));
}

TEST(check, of_a_switch_without_a_budget_is_critical) {
    auto unprogrammed = well();
    unprogrammed.all.system.status.consumed_mw = 0;
    unprogrammed.all.system.status.total_mw = 0;
    EXPECT_EQ(state_of(unprogrammed, {}), plugin_state::critical);
    EXPECT_THAT(page(shown(unprogrammed, {.power_critical = power_threshold{1000, false}})),
                StartsWith("POE CRITICAL - the power budget is 0.0 W: no port gets power; restart poe_drv if nobody "
                           "set it | "));
}

TEST(check, of_power_begins_at_the_threshold) {
    const power_threshold below{120001, false}, at{120000, false}, at_percent{40000, true}, below_percent{40001, true};
    EXPECT_EQ(state_of(well(), {.power_warning = at}), plugin_state::warning);
    EXPECT_EQ(state_of(well(), {.power_warning = below}), plugin_state::ok);
    EXPECT_EQ(state_of(well(), {.power_warning = at_percent}), plugin_state::warning);
    EXPECT_EQ(state_of(well(), {.power_warning = below_percent}), plugin_state::ok);
    EXPECT_EQ(state_of(well(), {.power_critical = at}), plugin_state::critical);
    EXPECT_EQ(state_of(well(), {.power_warning = at, .power_critical = below}), plugin_state::warning);
    EXPECT_EQ(findings_of(well(), {.power_warning = at, .power_critical = at}).size(), 1U) << "said once";
    EXPECT_THAT(page(shown(well(), {.power_warning = at_percent, .power_critical = below})),
                StartsWith("POE WARNING - 120.0 W of 300.0 W used, threshold 120.0 W |"));
    EXPECT_THAT(page(shown(well(), {.power_warning = power_threshold{5000, false}, .power_critical = at})),
                StartsWith("POE CRITICAL - 120.0 W of 300.0 W used, threshold 120.0 W |"));
}

TEST(check, has_headings_as_csv_whether_it_finds_something_or_not) {
    const auto csv_of = [](const picture& seen) { return as_csv({.command = "check", .seen = seen, .error = {}}); };
    EXPECT_EQ(csv_of(shown(well())), "code,name,text\n");
    EXPECT_THAT(csv_of(shown(well(), {.power_warning = power_threshold{1000, false}})),
                StartsWith("code,name,text\n1,"));
}

TEST(check, tells_thresholds_in_the_performance_data) {
    const auto text = page(shown(well(), {.power_warning = power_threshold{80000, true},
                                          .power_critical = power_threshold{270500, false},
                                          .errors_warning = 5,
                                          .errors_critical = 9}));
    EXPECT_THAT(text, HasSubstr("consumed_w=120.0;240.0;270.5;0;300.0 "));
    EXPECT_THAT(text, HasSubstr("failed_transactions=0c;5;9;0\n"));
}

TEST(check, warns_of_a_raised_alarm) {
    auto seen = well();
    seen.all.system.status.alarm_raised = true;
    EXPECT_EQ(state_of(seen), plugin_state::warning);
    EXPECT_THAT(page(shown(seen)), StartsWith("POE WARNING - the usage alarm at 95 % of the budget is raised |"));
}

TEST(check, warns_of_every_port_at_fault_and_of_no_other) {
    for (std::uint32_t status = 0; status < 20; status++) {
        auto seen = well();
        seen.all.ports[2].status.status = status;
        const bool fault = (status >= 3 && status <= 8) || status == 10 || status > 15;
        EXPECT_EQ(state_of(seen), fault ? plugin_state::warning : plugin_state::ok) << status;
    }
}

TEST(check, is_critical_when_a_port_that_must_deliver_does_not) {
    for (std::uint32_t status = 0; status < 20; status++) {
        auto seen = well();
        seen.all.ports[2].status.status = status;
        EXPECT_EQ(state_of(seen, {.must_deliver = 0b0100}), status == 1 ? plugin_state::ok : plugin_state::critical)
            << status;
    }
    auto seen = well();
    seen.all.ports[0].status.status = 5;
    seen.all.ports[2].status.status = 3;
    const auto text = page(shown(seen, {.must_deliver = 0b0100}));
    EXPECT_THAT(text, StartsWith("POE CRITICAL - port 3 (lan3) does not deliver: overload (3); "
                                 "port 1 (lan1): short-circuit (5) |"));
}

TEST(check, counts_transactions_that_came_to_nothing) {
    auto seen = well();
    seen.controller.counters = {.total = 100,
                                .rx_retry = 50,
                                .rx_timeout = 1,
                                .rx_chksum_error = 2,
                                .tx_correctly_executed = 90,
                                .tx_chksum_error = 3,
                                .tx_subject_byte_conflict = 0,
                                .tx_wrong_data_byte_value = 0,
                                .undefined_key_value = 4};
    EXPECT_EQ(failed_transactions(seen.controller.counters), 10U);
    EXPECT_EQ(state_of(seen), plugin_state::ok);
    EXPECT_EQ(state_of(seen, {.errors_warning = 10}), plugin_state::warning);
    EXPECT_EQ(state_of(seen, {.errors_warning = 11}), plugin_state::ok);
    EXPECT_EQ(state_of(seen, {.errors_warning = 1, .errors_critical = 10}), plugin_state::critical);
    EXPECT_THAT(page(shown(seen)), HasSubstr("failed_transactions=10c;"));
}

TEST(check, tells_values_that_are_not_known_as_such) {
    auto seen = well();
    seen.all.system.status.temperature_mc = 0;
    seen.all.ports[3].status.status = 11;
    EXPECT_THAT(page(shown(seen)), HasSubstr(" temperature_c=U port1_w=0.0;;;0;30.0 "));
    EXPECT_THAT(page(shown(seen)), HasSubstr(" port4_w=U;;;0;30.0 "));
    const auto performance = document(verb::check, shown(seen))["performance"];
    EXPECT_TRUE(performance[1]["value"].is_null());
}

TEST(check, ends_with_the_state) {
    auto seen = well();
    EXPECT_EQ(shown(seen, {.must_deliver = 1}).exit_status, 2);
    seen.all.system.status.alarm_raised = true;
    EXPECT_EQ(shown(seen).exit_status, 1);
}

TEST(check, that_cannot_look_is_unknown_and_keeps_to_one_line) {
    picture into = empty_picture(entry_of(verb::check).shape);
    depict_unknown({.exit_status = 3, .what = "cannot reach", .why = "no | such\nthing", .advice = "start it"}, into);
    EXPECT_EQ(into.exit_status, 3);
    EXPECT_EQ(page(into), "POE UNKNOWN - cannot reach: no / such thing. Try: start it\n");
    ASSERT_TRUE(into.error.has_value());
    EXPECT_EQ(into.error->exit_status, 3);
    EXPECT_EQ(document(verb::check, into)["state"]["name"], "unknown");
}

}  // namespace
