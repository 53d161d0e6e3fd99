#include "poectl/verbs/energy_page.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "poe_client/codec.h"
#include "shown.h"
#include "vectors/vectors.h"

namespace {

using namespace poectl;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string shown(std::vector<block> blocks, bool terminal = false) {
    picture seen;
    seen.page = std::move(blocks);
    return page(seen, {.terminal = terminal});
}

std::string port_energy_columns(const poe_client::port_energy& port) {
    return shown(port_energy_page(port));
}

std::string port_energy_plots(const poe_client::port_energy& port) {
    return shown(port_energy_page(port), true);
}

class energy : public testing::Test {
  protected:
    void SetUp() override { zone("UTC0"); }
    void TearDown() override {
        unsetenv("TZ");
        tzset();
    }
    static void zone(const char* name) {
        setenv("TZ", name, 1);
        tzset();
    }
    poe_client::port_energy port = poe_client::decode_port_energy(message_bytes("port_1_energy"), 1).value;
};

TEST_F(energy, of_all_ports_has_totals_and_three_averages_each) {
    EXPECT_EQ(shown(energy_page(true, poe_client::decode_energy_summary(message_bytes("energy_summary")).value)),
              "Energy totals are kept in flash.\n"
              "\n"
              "PORT  INTERFACE  POWERED h:m:s  ENERGY Wh  HOUR AVG W  DAY AVG W  WEEK AVG W\n"
              "   1  lan1             0:00:04        2.0         1.5    unknown     unknown\n"
              "   2  lan2             0:00:06        1.0     unknown    unknown         3.5\n"
              "   3  lan3             0:00:00        0.0     unknown    unknown     unknown\n"
              "   4  lan4             0:00:00        0.0     unknown    unknown     unknown\n"
              " all                   0:00:10        3.0         1.5    unknown         3.5\n");
}

TEST_F(energy, that_is_lost_at_a_restart_is_said_to_be_and_so_is_an_empty_record) {
    const auto text = shown(energy_page(false, {}));
    EXPECT_THAT(text, StartsWith("Energy totals are not kept in flash.\n"));
    EXPECT_THAT(text, EndsWith("\n\nNo average is known: nothing is recorded, or too little.\n"
                               "'poectl energy PORT' shows what there is.\n"
                               "poe_drv does not record what ports draw: it tells what was restored or made up.\n"));
}

TEST_F(energy, of_a_port_that_was_powered_is_not_said_to_be_nothing) {
    poe_client::energy_summary seen{};
    seen.totals.powered_s = seen.port[2].powered_s = 5;
    EXPECT_THAT(shown(energy_page(false, seen)), Not(HasSubstr("nothing is recorded")));
}

TEST_F(energy, of_long_service_is_in_hours) {
    poe_client::energy_summary seen{};
    seen.port[0].powered_s = 93784;
    seen.port[1].powered_s = std::numeric_limits<std::uint32_t>::max();
    EXPECT_THAT(shown(energy_page(false, seen)), HasSubstr("\n   1  lan1            26:03:04  "));
    EXPECT_THAT(shown(energy_page(false, seen)), HasSubstr("\n   2  lan2       1193046:28:15  "));
}

TEST_F(energy, that_is_no_number_is_unknown) {
    poe_client::energy_summary seen{};
    seen.port[0].energy_wh = std::numeric_limits<float>::quiet_NaN();
    EXPECT_THAT(shown(energy_page(false, seen)), HasSubstr("  0:00:00    unknown     unknown "));
}

TEST_F(energy, of_a_port_in_columns_has_every_slot_that_was_written_with_its_time) {
    const auto text = port_energy_columns(port);
    EXPECT_THAT(text, StartsWith("Port 2 (lan2): powered for 1:00:00, 12.5 Wh\n"
                                 "\n"
                                 "Last hour, each minute:\n"
                                 "ENDED             AVERAGE W\n"
                                 "2023-11-14 22:13        1.5\n"
                                 "\n"));
    EXPECT_THAT(text, HasSubstr("\nLast day, each half hour:\n"
                                "ENDED             AVERAGE W\n"
                                "2023-11-14 22:13        2.5\n"
                                "\n"));
    EXPECT_THAT(text, HasSubstr("\nLast week, each two hours:\n"));
    EXPECT_THAT(text, EndsWith("  3.5\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 3 * 3 + 3);
    EXPECT_THAT(text, Not(HasSubstr("0.0\n"))) << "what is unknown is not 0 W";
    EXPECT_THAT(text, Not(HasSubstr("unknown")));
}

TEST_F(energy, of_a_port_has_local_times) {
    zone("XYZ-2");
    EXPECT_THAT(port_energy_columns(port), HasSubstr("\n2023-11-15 00:13        1.5\n"));
}

TEST_F(energy, with_a_time_beyond_all_years_is_of_unknown_time) {
    port.minutes_start_s = 0x7FFFFFFFFFFFFFFF;
    EXPECT_THAT(port_energy_columns(port), HasSubstr("ENDED    AVERAGE W\nunknown        1.5\n"));
}

TEST_F(energy, of_a_port_as_plots_says_what_a_bar_is_and_how_far_it_goes) {
    for (std::size_t i = 0; i < 30; i++)
        port.minutes[i] = {true, 0, static_cast<float>(i % 2)};
    const auto text = port_energy_plots(port);
    EXPECT_THAT(text, StartsWith("Port 2 (lan2): powered for 1:00:00, 12.5 Wh\n"
                                 "\n"
                                 "Last hour in W, one bar per minute, 2023-11-14 22:13 to 2023-11-14 22:42:\n"
                                 "1.0 | # # # # # # # # # # # # # # #\n"));
    EXPECT_THAT(text, HasSubstr("\n0.0 |_#_#_#_#_#_#_#_#_#_#_#_#_#_#_#??????????????????????????????\n"));
    EXPECT_THAT(text,
                HasSubstr("\nLast day in W, one bar per half hour, 2023-11-14 22:13 to 2023-11-14 22:13:\n2.5 |#\n"));
}

TEST_F(energy, of_a_week_has_two_slots_a_bar_and_a_bar_is_the_mean_of_the_known_ones) {
    port.two_hours = {};
    port.two_hours_start_s = 1700000000;
    port.two_hours[0] = {true, 0, 8.0F};
    port.two_hours[2] = {true, 0, 6.0F};
    port.two_hours[3] = {true, 0, 2.0F};
    const auto text = port_energy_plots(port);
    EXPECT_THAT(text, HasSubstr("\nLast week in W, one bar per 2 x two hours, 2023-11-14 22:13 to 2023-11-15 04:13:\n"
                                "8.0 |#\n    |#\n    |#\n    |#\n    |##\n    |##\n    |##\n"
                                "0.0 |##" +
                                std::string(40, '?') + "\n"));
}

TEST_F(energy, plots_fit_into_80_columns) {
    for (auto* ring : {&port.minutes[0], &port.half_hours[0], &port.two_hours[0]})
        ring->average_w = 99.9F;
    for (auto& slot : port.two_hours)
        slot = {true, 0, 99.9F};
    const auto text = port_energy_plots(port);
    for (std::size_t begin = 0, end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
        EXPECT_LE(end - begin, 80U) << text.substr(begin, end - begin);
}

TEST_F(energy, of_a_port_without_any_record_says_so_and_that_it_stays_so) {
    for (const bool terminal : {false, true}) {
        EXPECT_EQ(shown(port_energy_page({}), terminal),
                  "Port 1 (lan1): powered for 0:00:00, 0.0 Wh\n\nNothing is recorded.\n"
                  "poe_drv does not record what ports draw: it tells what was restored or made up.\n");
    }
}

TEST_F(energy, of_an_empty_ring_is_neither_a_plot_nor_columns) {
    port.half_hours = {};
    EXPECT_THAT(port_energy_plots(port), HasSubstr("\n\nLast day: nothing is recorded.\n\nLast week in W, "));
    EXPECT_THAT(port_energy_columns(port), HasSubstr("\n\nLast day: nothing is recorded.\n\nLast week, each "));
}

TEST_F(energy, that_is_a_number_at_no_time_or_no_number_at_a_time_has_its_line) {
    port.minutes[1] = {true, 0, std::numeric_limits<float>::infinity()};
    EXPECT_THAT(port_energy_columns(port), HasSubstr("\n2023-11-14 22:14    unknown\n"));
}

}  // namespace
