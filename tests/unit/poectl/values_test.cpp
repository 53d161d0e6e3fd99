#include "poectl/values.h"

#include <cstdio>

#include <gtest/gtest.h>

#include "poectl/words.h"

namespace {

using namespace poectl;

TEST(limit, is_every_tenth_of_a_watt_from_1_to_90_and_nothing_else) {
    for (unsigned tenth = 0; tenth <= 2000; tenth++) {
        char text[16];
        std::snprintf(text, sizeof text, "%u.%u", tenth / 10, tenth % 10);
        const auto limit = parse_limit_dw(text);
        EXPECT_EQ(limit.good(), tenth >= 10 && tenth <= 900) << text;
        if (limit.good()) {
            EXPECT_EQ(limit.value, tenth) << text;
        }
    }
}

TEST(limit, may_be_whole_watts_or_end_in_zeros) {
    EXPECT_EQ(parse_limit_dw("15").value, 150U);
    EXPECT_EQ(parse_limit_dw("12.30").value, 123U);
    EXPECT_EQ(parse_limit_dw("90.000").value, 900U);
}

TEST(limit, between_two_tenths_is_bad_usage) {
    EXPECT_EQ(parse_limit_dw("12.34").problem, "'12.34' is not a whole number of tenths of a watt");
    EXPECT_FALSE(parse_limit_dw("12.301").good());
}

TEST(limit, out_of_range_names_the_range) {
    EXPECT_EQ(parse_limit_dw("0.9").problem, "'0.9' is not a limit from 1.0 to 90.0 watts");
    EXPECT_EQ(parse_limit_dw("90.1").problem, "'90.1' is not a limit from 1.0 to 90.0 watts");
    EXPECT_FALSE(parse_limit_dw("4294967295").good());
    EXPECT_FALSE(parse_limit_dw("429496730.6").good()) << "one more than 32 bits of tenths";
}

TEST(limit, that_is_no_number_is_bad_usage) {
    for (const char* text : {"", ".", "1.", ".5", "-5", "+5", "5W", " 5", "5 ", "1e1", "0x10", "1,5", "1.5.5", "1.-5",
                             "99999999999999999999", "inf", "nan"}) {
        EXPECT_FALSE(parse_limit_dw(text).good()) << text;
    }
}

TEST(port, is_1_to_4_on_the_panel_and_0_to_3_inside) {
    for (int port = -1; port <= 300; port++) {
        const auto parsed = parse_port(std::to_string(port));
        EXPECT_EQ(parsed.good(), port >= 1 && port <= 4) << port;
        if (parsed.good()) {
            EXPECT_EQ(parsed.value, port - 1);
        }
    }
    for (const char* text : {"", "a", "1a", " 1", "+1", "4294967297"})
        EXPECT_FALSE(parse_port(text).good()) << text;
}

TEST(ports, are_a_list_in_any_order) {
    EXPECT_EQ(parse_ports("1").value, 0b0001);
    EXPECT_EQ(parse_ports("1,3").value, 0b0101);
    EXPECT_EQ(parse_ports("4,2,1,3").value, 0b1111);
    EXPECT_EQ(parse_ports("2,2").value, 0b0010);
}

TEST(ports, may_be_named_by_interface_as_a_range_or_all_together) {
    EXPECT_EQ(parse_port("lan3").value, 2);
    EXPECT_FALSE(parse_port("lan").good() || parse_port("lan33").good() || parse_port("LAN3").good());
    EXPECT_EQ(parse_ports("lan4,1").value, 0b1001);
    EXPECT_EQ(parse_ports("2-4").value, 0b1110);
    EXPECT_EQ(parse_ports("lan1-lan2,4").value, 0b1011);
    EXPECT_EQ(parse_ports("3-3").value, 0b0100);
    EXPECT_EQ(parse_ports("all").value, 0b1111);
}

TEST(ports, of_a_broken_list_are_bad_usage) {
    for (const char* text : {"", ",", "1,", ",1", "1,,2", "0", "5", "1,5", "3-1", "1-", "-3", "1-5", "1-2-3", "1 3",
                             "ALL", "all,1", "lan5"}) {
        EXPECT_FALSE(parse_ports(text).good()) << text;
    }
}

TEST(on_off, takes_these_two_words) {
    EXPECT_EQ(parse_on_off("on").value, 1);
    EXPECT_EQ(parse_on_off("off").value, 0);
    for (const char* text : {"", "ON", "1", "0", "yes", "onn"})
        EXPECT_FALSE(parse_on_off(text).good()) << text;
}

TEST(priority, is_a_word_or_its_number) {
    EXPECT_EQ(parse_priority("critical").value, 1);
    EXPECT_EQ(parse_priority("high").value, 2);
    EXPECT_EQ(parse_priority("low").value, 3);
    EXPECT_EQ(parse_priority("1").value, 1);
    EXPECT_EQ(parse_priority("2").value, 2);
    EXPECT_EQ(parse_priority("3").value, 3);
    for (const char* text : {"", "0", "4", "-1", "High", "unknown"})
        EXPECT_FALSE(parse_priority(text).good()) << text;
}

TEST(mode, is_a_word_or_its_number) {
    const char* names[]{"15w", "30w", "90w", "90w-no-class", "90w-no-detection"};
    for (std::int8_t mode = 0; mode < 5; mode++) {
        EXPECT_EQ(parse_mode(names[mode]).value, mode);
        EXPECT_TRUE(parse_mode(names[mode]).good());
        EXPECT_EQ(mode_words(mode), std::string(names[mode]) + " (" + std::to_string(mode) + ")");
    }
    for (const char* text : {"", "90W", "90", "60w", "90w-no", "90w ", "5", "-1", "02"})
        EXPECT_FALSE(parse_mode(text).good()) << text;
    EXPECT_EQ(parse_mode("5").problem, "'5' is not one of 15w, 30w, 90w, 90w-no-class, 90w-no-detection (or 0 to 4)");
}

TEST(mode, that_is_none_is_its_number) {
    EXPECT_EQ(mode_words(5), "5");
    EXPECT_EQ(mode_words(-1), "-1");
}

struct range_row {
    bool (*good)(const std::string& text, int& value);
    int lowest, highest;
};

TEST(numbers, are_taken_within_their_range_only) {
    const range_row rows[]{
        {[](const std::string& t, int& v) {
             const auto p = parse_mode(t);
             v = p.value;
             return p.good();
         },
         0, 4},
        {[](const std::string& t, int& v) {
             const auto p = parse_re_enable_s(t);
             v = p.value;
             return p.good();
         },
         5, 60},
        {[](const std::string& t, int& v) {
             const auto p = parse_threshold_percent(t);
             v = p.value;
             return p.good();
         },
         1, 99},
        {[](const std::string& t, int& v) {
             const auto p = parse_zero_or_one(t);
             v = p.value;
             return p.good();
         },
         0, 1},
        {[](const std::string& t, int& v) {
             const auto p = parse_bank_w(t);
             v = p.value;
             return p.good();
         },
         0, 65535},
        {[](const std::string& t, int& v) {
             const auto p = parse_timeout_ms(t);
             v = static_cast<int>(p.value);
             return p.good();
         },
         1, 600000},
    };
    for (const auto& row : rows) {
        for (const int number :
             {-1, 0, 1, 2, 4, 5, 6, 59, 60, 61, 98, 99, 100, 127, 128, 255, 256, 65535, 65536, 600000, 600001}) {
            int value = 0;
            const bool good = row.good(std::to_string(number), value);
            EXPECT_EQ(good, number >= row.lowest && number <= row.highest) << number << " of " << row.highest;
            if (good) {
                EXPECT_EQ(value, number);
            }
        }
        int unused = 0;
        for (const char* text : {"", "x", "1x", "1.0", " 1"})
            EXPECT_FALSE(row.good(text, unused)) << text;
    }
}

TEST(minutes, reach_back_a_week_at_most) {
    EXPECT_EQ(parse_minutes("0").value, 0U);
    EXPECT_EQ(parse_minutes("90").value, 90U);
    EXPECT_EQ(parse_minutes("10080").value, 10080U);
    for (const char* text : {"", "x", "-1", "+1", "1.5", " 1", "90m", "10081", "4294967296"})
        EXPECT_FALSE(parse_minutes(text).good()) << text;
}

TEST(power_threshold, is_watts_or_a_share_of_the_budget_with_at_most_one_decimal) {
    EXPECT_EQ(parse_power_threshold("240").value, (power_threshold{240000, false}));
    EXPECT_EQ(parse_power_threshold("240.5").value, (power_threshold{240500, false}));
    EXPECT_EQ(parse_power_threshold("80%").value, (power_threshold{80000, true}));
    EXPECT_EQ(parse_power_threshold("99.9%").value, (power_threshold{99900, true}));
    EXPECT_EQ(parse_power_threshold("0").value, (power_threshold{0, false}));
    for (const char* text : {"", "%", "x", "-1", "1.", ".5", "1.55", "1.5.5", "101%", "80 %", "100001", "80%%", "1:2"})
        EXPECT_FALSE(parse_power_threshold(text).good()) << text;
}

TEST(choices, are_told_when_the_word_is_none_of_them) {
    EXPECT_EQ(parse_format("csv").value, output_format::csv);
    EXPECT_EQ(parse_format("xml").problem, "'xml' is not one of table, json, jsonl, csv, kv");
    EXPECT_EQ(parse_colour("never").value, colour_choice::never);
    EXPECT_EQ(parse_colour("on").problem, "'on' is not one of auto, always, never");
    EXPECT_EQ(parse_shell("fish").value, shell::fish);
    EXPECT_EQ(parse_shell("csh").problem, "'csh' is not one of bash, zsh, fish");
    EXPECT_EQ(parse_count("4294967295").value, 4294967295U);
    EXPECT_FALSE(parse_count("-1").good());
}

TEST(words, of_ports_have_their_interfaces_beside_them) {
    EXPECT_EQ(port_words(1), "port 2 (lan2)");
    EXPECT_EQ(ports_words(0b0001), "port 1 (lan1)");
    EXPECT_EQ(ports_words(0b1010), "ports 2 (lan2), 4 (lan4)");
}

TEST(words, thousandths_become_tenths_rounded_half_away_from_zero) {
    EXPECT_EQ(thousandths_as_tenths(12345), "12.3");
    EXPECT_EQ(thousandths_as_tenths(12350), "12.4");
    EXPECT_EQ(thousandths_as_tenths(0), "0.0");
    EXPECT_EQ(thousandths_as_tenths(-49), "0.0");
    EXPECT_EQ(thousandths_as_tenths(-50), "-0.1");
    EXPECT_EQ(thousandths_as_tenths(-1000), "-1.0");
    EXPECT_EQ(thousandths_as_tenths(4294967295), "4294967.3");
}

}  // namespace
