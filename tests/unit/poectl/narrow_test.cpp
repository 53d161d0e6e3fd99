// Every page on terminals of many widths: no line is longer than the terminal, however long what it shows.
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "poe_client/codec.h"
#include "poectl/verbs/change_page.h"
#include "poectl/verbs/check.h"
#include "poectl/verbs/doctor.h"
#include "poectl/verbs/top_screen.h"
#include "poectl/wrap.h"
#include "shown.h"

namespace {

using namespace poectl;
using testing::HasSubstr;

constexpr std::array<std::size_t, 5> widths{40, 60, 80, 120, 200};
constexpr std::uint32_t most = 4'294'967'295;

// A switch whose figures are as long as they get, with the longest of everything that it says in words.
whole_reading long_winded(std::uint32_t status) {
    whole_reading all{};
    all.system.status = {.total_mw = 999'900,
                         .consumed_mw = 999'900,
                         .remaining_mw = -999'900,
                         .temperature_mc = 125'000,
                         .alarm_raised = true};
    all.system.settings = {.enable = 0,
                           .parameter_1 = -1,
                           .parameter_2 = -1,
                           .threshold_percent = 99,
                           .parameter_4 = -1,
                           .parameter_5 = -1};
    for (std::uint8_t port = 0; port < poe_client::port_count; port++) {
        auto& one = all.ports[port];
        one.status.port = one.settings.port = port;
        one.status.status = status;
        one.status.schedule_enable = 1;
        one.status.power_mw = 90'000;
        one.status.voltage_mv = 57'000;
        one.status.current_ma = 1'700;
        one.status.temperature_mc = 125'000;
        one.status.auto_off = true;
        one.status.event_totals.fill(most);
        for (auto& pair_set : one.status.pair_set)
            pair_set = {.detected_class = 8,
                        .error_code = 254,
                        .sub_status = 254,
                        .status = status,
                        .voltage_mv = 57'000,
                        .current_ma = 1'700,
                        .power_mw = 90'000};
        one.settings.power_limit_dw = 900;
        one.settings.priority = 1;
        one.settings.schedule_enable = 1;
        one.settings.re_enable_s = 60;
        one.cycle_pending = true;
        one.on_again_s = 60;
    }
    return all;
}

poe_client::energy_summary much_energy() {
    poe_client::energy_summary summary{};
    summary.totals = {.powered_s = most,
                      .energy_wh = 1e6F,
                      .minutes = {true, 999.9F},
                      .half_hours = {true, 999.9F},
                      .two_hours = {true, 999.9F}};
    summary.port.fill(summary.totals);
    return summary;
}

poe_client::port_energy long_history() {
    poe_client::port_energy port{};
    port.minutes_start_s = port.half_hours_start_s = port.two_hours_start_s = 1'700'000'000;
    port.powered_s = most;
    for (auto& slot : port.minutes)
        slot = {true, 0, 999.9F};
    for (auto& slot : port.half_hours)
        slot = {true, 0, 999.9F};
    for (auto& slot : port.two_hours)
        slot = {true, 0, 999.9F};
    return port;
}

picture a_change() {
    const auto aim_of = [](std::uint8_t port, const char* setting, const char* was, const char* is) {
        return aim{
            .port = port, .setting = setting, .label = setting, .was = {was, was}, .wanted = {is, is}, .is = {is, is}};
    };
    const auto request = poe_client::encode_power_cycle(15);
    const sight seen{.aims = {aim_of(0, "power-cycle", "none", "on again"),
                              aim_of(3, "status", "not-read-yet (11)", "power-denied (4)")},
                     .notes = {"port 4 (lan4) stays off: PoE as a whole is disabled."}};
    picture shown = empty_picture(entry_of(verb::cycle).shape);
    depict_change({.ended = outcome::would_be_sent,
                   .words = "power-cycle of ports 1 (lan1), 2 (lan2), 3 (lan3), 4 (lan4)",
                   .ports = 15,
                   .request = request,
                   .seen = seen},
                  shown);
    return shown;
}

// By name, in the order of the help.
std::vector<std::pair<std::string, picture>> every_page() {
    std::vector<std::pair<std::string, picture>> pages;
    const auto add = [&pages](const std::string& name, auto depict) {
        picture seen;
        depict(seen);
        pages.emplace_back(name, std::move(seen));
    };
    for (const std::uint32_t status : {0U, 1U, 4U, 5U, 7U, 8U, 11U, 12U, 13U, most}) {
        const auto all = long_winded(status);
        add("status", [&](picture& seen) { depict_status(all, true, seen); });
        add("port", [&](picture& seen) { depict_port(all.ports[3], true, seen); });
        add("system", [&](picture& seen) { depict_system(all.system, seen); });
        poe_client::whole_status whole{};
        for (std::size_t port = 0; port < poe_client::port_count; port++)
            whole.port[port] = all.ports[port].status;
        add("schedule", [&](picture& seen) { depict_schedule(whole.port, seen); });
    }
    add("bank", [](picture& seen) { depict_bank({65535, 65535}, seen); });
    constexpr std::uint64_t greatest = 18'446'744'073'709'551'615U;
    for (const std::uint64_t count : {std::uint64_t{most}, greatest}) {
        poe_client::communication_counters counters{};
        counters.total = counters.undefined_key_value = count;
        add("counters", [&](picture& seen) { depict_counters(counters, most, seen); });
    }
    add("energy", [](picture& seen) { depict_energy(true, much_energy(), seen); });
    add("energy without a record", [](picture& seen) { depict_energy(true, {}, seen); });
    add("energy of a port", [](picture& seen) { depict_port_energy(long_history(), seen); });
    add("energy of a port without a record", [](picture& seen) { depict_port_energy({}, seen); });
    add("doctor", [](picture& seen) {
        depict_findings({{"platform_library", verdict::warning,
                          "/opt/a/folder/whose/name/is/longer/than/a/narrow/terminal/lib/libpoe_ipc.so",
                          "does not know __poe_drv_ipc_socket_and_bind_init", "install a copy that exports it"}},
                        seen);
    });
    pages.emplace_back("a change", a_change());
    return pages;
}

std::size_t longest_line(const std::string& text) {
    std::size_t longest = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        longest = std::max(longest, width_of(line));
    return longest;
}

TEST(a_terminal, of_any_width_has_room_for_every_line_of_every_page) {
    for (const auto& [name, seen] : every_page()) {
        for (const std::size_t width : widths) {
            const std::string text = page(seen, {.terminal = true, .width = width});
            EXPECT_LE(longest_line(text), width) << name << " in " << width << " columns:\n" << text;
            EXPECT_FALSE(text.empty()) << name;
        }
    }
}

TEST(a_pipe, gets_every_page_whole) {
    for (const auto& [name, seen] : every_page())
        EXPECT_EQ(page(seen), page(seen, {.width = 100'000})) << name;
}

TEST(a_narrow_terminal, shows_of_the_status_what_matters_most) {
    picture seen;
    depict_status(long_winded(4), false, seen);
    for (const auto& [width, headings] : std::vector<std::pair<std::size_t, std::string>>{
             {40, "PORT  ENABLED  STATUS            POWER W\n"},
             {60, "PORT  INTERFACE  ENABLED  STATUS            CLASS  POWER W\n"},
             {80,
              "PORT  INTERFACE  ENABLED  STATUS            CLASS  POWER W  "
              "LIMIT W  PRIORITY\n"}}) {
        const std::string text = page(seen, {.terminal = true, .width = width});
        EXPECT_THAT(text, HasSubstr("\n" + headings)) << width;
        EXPECT_THAT(text, HasSubstr("(no room for ")) << width;
    }
}

TEST(a_narrow_terminal, shows_a_change_as_a_list) {
    EXPECT_THAT(
        page(a_change(), {.terminal = true, .width = 40}),
        HasSubstr(
            "\n\nPORT: 4\nINTERFACE: lan4\nSETTING: status\nIS: not-read-yet (11)\nWOULD BE: power-denied (4)\n"));
}

TEST(a_narrow_terminal, has_plots_of_fewer_bars) {
    picture seen;
    depict_port_energy(long_history(), seen);
    EXPECT_THAT(page(seen, {.terminal = true, .width = 80}), HasSubstr("one bar per minute, "));
    const std::string narrow = page(seen, {.terminal = true, .width = 40});
    EXPECT_THAT(narrow, HasSubstr("Last hour in W, one bar per 2 x minute,\n"));
    EXPECT_THAT(narrow, HasSubstr("\n  0.0 |" + std::string(30, '#') + "\n"));
}

TEST(a_line_of_a_monitoring_plugin, is_whole_on_any_terminal) {
    picture seen = empty_picture(entry_of(verb::check).shape);
    depict_check({.all = long_winded(1)}, {}, seen);
    EXPECT_EQ(page(seen, {.terminal = true, .width = 40}), page(seen));
}

std::string screen_text(const top_picture& seen, bool help, std::size_t columns) {
    std::string text;
    for (const auto& line : top_screen(seen, {.selected = 1, .help = help}, {.lines = 60, .columns = columns})) {
        for (const auto& one : line)
            text += one.text;
        text += '\n';
    }
    return text;
}

// All words of a text, whatever the lines are.
std::string words_of(const std::string& text) {
    std::istringstream words(text);
    std::string all;
    for (std::string word; words >> word;)
        all += word + " ";
    return all;
}

TEST(the_full_screen, of_any_width_breaks_what_it_says_and_cuts_nothing_off) {
    top_picture seen{.known = true, .all = long_winded(8), .time = "10:15:02"};
    seen.trouble = {
        .exit_status = 4, .what = "no answer", .why = "poe_drv did not answer within 1000 ms", .advice = ""};
    seen.hour.fill(999'900);
    for (const std::size_t columns : widths) {
        const std::string text = screen_text(seen, false, columns), help = screen_text(seen, true, columns);
        EXPECT_LE(longest_line(text), columns) << text;
        EXPECT_LE(longest_line(help), columns) << help;
        const std::string words = words_of(text);
        for (const char* said : {"what follows is old", "999.9 of 999.9 W, alarm at 99 %: RAISED",
                                 "or a state that is passed on as it is.", "off 60 s in a power-cycle",
                                 "bad signatures 4294967295", "90.0/90.0", "on again in 60 s"})
            EXPECT_THAT(words, HasSubstr(said)) << columns;
        EXPECT_THAT(words_of(help), HasSubstr("where | marks the usage alarm. LEDs are told from")) << columns;
    }
    EXPECT_THAT(screen_text(seen, false, 40), HasSubstr("W in 2 minutes"));
    EXPECT_THAT(screen_text(seen, false, 40), HasSubstr("\n> 2    on again in 60 s        90.0/90.0\n"));
    seen.all.ports[1].cycle_pending = false;
    EXPECT_THAT(screen_text(seen, false, 40), HasSubstr("\n> 2    fault-8 (8)             90.0/90.0\n"));
}

}  // namespace
