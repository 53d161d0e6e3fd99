#include "poectl/verbs/top_screen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plain_lines.h"

namespace {

using namespace poectl;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

top_picture busy_switch() {
    top_picture seen{.known = true, .time = "10:15:02"};
    auto& system = seen.all.system;
    system.status = {.total_mw = 300000,
                     .consumed_mw = 45000,
                     .remaining_mw = 255000,
                     .temperature_mc = 37500,
                     .alarm_raised = false};
    system.settings.enable = 1;
    system.settings.threshold_percent = 80;
    for (std::uint8_t port = 0; port < poe_client::port_count; port++) {
        auto& one = seen.all.ports[port];
        one.status.port = port;
        one.settings.port = port;
        one.settings.power_limit_dw = 300;
    }
    seen.all.ports[1].status.status = 1;
    seen.all.ports[1].status.power_mw = 15000;
    seen.all.ports[2].status.status = 3;
    return seen;
}

std::string text_of(const std::vector<screen_line>& lines) {
    std::string text;
    for (const auto& line : plain(lines))
        text += line + "\n";
    return text;
}

TEST(a_power_bar, fills_with_the_share_and_marks_where_something_is_reached) {
    EXPECT_EQ(power_bar(0, 100, 12), "[..........]");
    EXPECT_EQ(power_bar(50, 100, 12), "[#####.....]");
    EXPECT_EQ(power_bar(100, 100, 12), "[##########]");
    EXPECT_EQ(power_bar(200, 100, 12), "[##########]");
    EXPECT_EQ(power_bar(1, 100, 12), "[#.........]") << "what is not nothing is seen";
    EXPECT_EQ(power_bar(50, 100, 12, 80), "[#####...|.]");
    EXPECT_EQ(power_bar(50, 100, 12, 100), "[#####....|]");
    EXPECT_EQ(power_bar(5, 0, 12), "[..........]");
    EXPECT_EQ(power_bar(5, 10, 2), "..");
}

TEST(a_power_bar, never_leaves_its_width) {
    for (std::size_t width = 0; width < 20; width++) {
        for (std::uint64_t value = 0; value < 50; value += 7) {
            for (std::uint64_t whole = 0; whole < 50; whole += 7)
                EXPECT_EQ(power_bar(value, whole, width, value).size(), width);
        }
    }
}

TEST(an_led, follows_the_status_as_the_panel_does) {
    for (std::uint32_t status = 0; status < 16; status++) {
        poe_client::port_status port{};
        port.status = status;
        const bool dark = status == 0 || status == 2 || status == 11 || status == 12 || status == 13;
        EXPECT_EQ(led_of(port), dark ? led_state::dark : led_state::lit) << status;
        port.port_type = 2;
        EXPECT_EQ(led_of(port), led_state::lit) << status;
        port.pair_set[1].sub_status = 1;
        EXPECT_EQ(led_of(port), led_state::blinking) << status;
    }
}

TEST(the_screen, of_24_lines_and_80_columns_has_everything) {
    const auto lines = plain(top_screen(busy_switch(), {.selected = 1}, {.lines = 24, .columns = 80}));
    ASSERT_EQ(lines.size(), 23U);
    EXPECT_THAT(lines[0], StartsWith("poectl top  10:15:02  PoE enabled  controller 37.5 C"));
    EXPECT_THAT(lines[0], testing::EndsWith("q quit  ? help"));
    EXPECT_EQ(lines[2].substr(0, 8), "Budget [");
    EXPECT_THAT(lines[2], HasSubstr("] 45.0 of 300.0 W, alarm at 80 %"));
    EXPECT_EQ(lines[3], "  PORT INTERFACE LED    STATUS              POWER/LIMIT W");
    EXPECT_THAT(lines[5], StartsWith("> 2    lan2      lit    delivering (1)"));
    EXPECT_THAT(lines[5], testing::EndsWith("15.0/30.0 [##########..........]"));
    EXPECT_EQ(lines[5].size(), 80U);
    EXPECT_THAT(lines[6], StartsWith("  3    lan3      lit    overload (3)"));
    EXPECT_THAT(lines[9], StartsWith("Port 2 (lan2): class 0, 0.0 V"));
    EXPECT_THAT(lines[11], HasSubstr("gets its power"));
    EXPECT_THAT(lines[14], StartsWith("Power of the last hour"));
}

TEST(the_screen, never_leaves_its_size_and_leaves_out_the_plot_first) {
    for (std::size_t rows = 0; rows < 30; rows++) {
        for (std::size_t columns = 0; columns < 140; columns += 7) {
            for (const bool help : {false, true}) {
                const auto lines = plain(top_screen(busy_switch(), {.selected = 3, .help = help}, {rows, columns}));
                ASSERT_LE(lines.size(), rows);
                for (const auto& line : lines)
                    ASSERT_LE(line.size(), columns);
            }
        }
    }
    const auto with_details = text_of(top_screen(busy_switch(), {}, {.lines = 16, .columns = 80}));
    EXPECT_THAT(with_details, HasSubstr("Port 1 (lan1)"));
    EXPECT_THAT(with_details, Not(HasSubstr("last hour")));
}

TEST(the_screen, leaves_out_an_empty_line_before_a_port_and_tells_what_does_not_fit) {
    const auto all_ports = plain(top_screen(busy_switch(), {}, {.lines = 7, .columns = 80}));
    ASSERT_EQ(all_ports.size(), 7U);
    EXPECT_THAT(all_ports[6], StartsWith("  4    lan4"));

    const auto wrapped_budget = plain(top_screen(busy_switch(), {}, {.lines = 7, .columns = 30}));
    ASSERT_EQ(wrapped_budget.size(), 7U);
    EXPECT_EQ(wrapped_budget[6], "and more, on a higher terminal");
    const auto help = plain(top_screen(busy_switch(), {.help = true}, {.lines = 7, .columns = 60}));
    EXPECT_EQ(help.back(), "and more, on a higher terminal");
}

TEST(the_screen, says_what_keeps_it_from_being_new) {
    auto seen = busy_switch();
    seen.trouble = {.exit_status = 4, .what = "no answer", .why = "none within 1000 ms", .advice = ""};
    EXPECT_EQ(plain(top_screen(seen, {}, {24, 80}))[1], "no answer: none within 1000 ms; what follows is old");
    seen.known = false;
    const auto lines = plain(top_screen(seen, {}, {24, 80}));
    EXPECT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1], "no answer: none within 1000 ms");
    seen = busy_switch();
    EXPECT_EQ(plain(top_screen(seen, {}, {24, 80}))[1], "");
    seen.controller_answers = false;
    EXPECT_EQ(plain(top_screen(seen, {}, {24, 80}))[1], "the controller does not answer poe_drv; what follows is old");
}

TEST(the_screen, shows_a_pending_power_cycle_and_a_raised_alarm) {
    auto seen = busy_switch();
    seen.all.ports[0].cycle_pending = true;
    seen.all.ports[0].on_again_s = 7;
    seen.all.system.status.alarm_raised = true;
    const auto text = text_of(top_screen(seen, {}, {24, 120}));
    EXPECT_THAT(text, HasSubstr("on again in 7 s"));
    EXPECT_THAT(text, HasSubstr("alarm at 80 %: RAISED"));
}

TEST(the_help, has_every_key) {
    const auto text = text_of(top_screen(busy_switch(), {.help = true}, {24, 80}));
    EXPECT_THAT(text, HasSubstr("up, down, 1 to 4"));
    EXPECT_THAT(text, HasSubstr("quit"));
    EXPECT_THAT(text, HasSubstr("| marks\nthe usage alarm. LEDs"));
    EXPECT_THAT(text, HasSubstr("In the plot ? is a time of which nothing is known, _ power too low to draw.\n"));
    EXPECT_THAT(text, Not(HasSubstr("lan1")));
}

TEST(the_recorded_hour, is_the_sum_of_the_ports_and_nothing_without_a_record) {
    std::array<poe_client::port_energy, poe_client::port_count> ports{};
    EXPECT_FALSE(recorded_hour(ports).has_value());
    ports[0].minutes[59] = {.valid = true, .uptime_s = 60, .average_w = 1.5F};
    ports[3].minutes[59] = {.valid = true, .uptime_s = 60, .average_w = 2.0F};
    const auto hour = recorded_hour(ports);
    ASSERT_TRUE(hour.has_value());
    EXPECT_EQ((*hour)[59], 3500);
    EXPECT_FALSE((*hour)[58].has_value());
}

TEST(the_seen_hour, is_the_average_of_each_minute_and_forgets_after_an_hour) {
    seen_hour hour;
    hour.add(600, 1000);
    hour.add(630, 3000);
    hour.add(661, 8000);
    auto minutes = hour.minutes();
    EXPECT_EQ(minutes[58], 2000);
    EXPECT_EQ(minutes[59], 8000);
    EXPECT_FALSE(minutes[57].has_value());
    hour.add(600 + 3600, 5000);
    minutes = hour.minutes();
    EXPECT_EQ(minutes[0], 8000) << "the minute at 600 s is over an hour old now, the next one is the oldest";
    EXPECT_EQ(minutes[59], 5000);
}

}  // namespace
