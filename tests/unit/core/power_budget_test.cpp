#include "core/power_budget.h"

#include <cctype>
#include <optional>
#include <string>

#include "world/records.h"

namespace {

constexpr const char* budget_file = "/tmp/poe_external_set_power_budget.txt";

// The same rule by other means: skip what the C library calls white space, cut out the digits, convert them at length.
std::optional<std::uint16_t> budget_by_library(const std::string& text) {
    const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string::npos) return std::nullopt;
    const std::string digits = text.substr(start, text.find_first_not_of("0123456789", start) - start);
    if (digits.empty()) return std::nullopt;
    const std::string significant = digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
    if (significant.size() > 5) return std::nullopt;
    const unsigned long watts = std::stoul("0" + significant);
    if (watts > 65535) return std::nullopt;
    return static_cast<std::uint16_t>(watts);
}

TEST(power_budget, every_number_from_0_to_65535_is_a_budget) {
    for (std::uint32_t watts = 0; watts <= 65535; watts++)
        ASSERT_EQ(parse_power_budget(std::to_string(watts)), watts);
}

TEST(power_budget, a_larger_number_is_none) {
    for (std::uint32_t watts = 65536; watts <= 200000; watts++)
        ASSERT_EQ(parse_power_budget(std::to_string(watts)), std::nullopt);
    for (const char* text : {"655350", "655351", "4294967296", "4294967536", "18446744073709551856",
                             "99999999999999999999999999999999999999"})
        EXPECT_EQ(parse_power_budget(text), std::nullopt) << text;
}

TEST(power_budget, digits_are_read_after_white_space_and_up_to_other_text) {
    for (const char* text : {"240", "240\n", " 240", "\t\n\v\f\r 240", "240 watts", "240.9", "240W", "240-", "240,5",
                             "0240", "000000000000000000240", "240 999999"})
        EXPECT_EQ(parse_power_budget(text), 240) << text;
    EXPECT_EQ(parse_power_budget("0x10"), 0);
    EXPECT_EQ(parse_power_budget(std::string(3000, '0') + "7"), 7);
}

TEST(power_budget, a_sign_no_digits_or_no_text_are_none) {
    for (const char* text : {"", " ", "\n", "-1", "+240", "- 240", "watts", "W240", ".5", "\xB2\x34\x30"})
        EXPECT_EQ(parse_power_budget(text), std::nullopt) << text;
    EXPECT_EQ(parse_power_budget(std::string_view("\0240", 4)), std::nullopt);
}

TEST(power_budget, every_text_of_up_to_two_bytes_before_and_after_digits_reads_by_the_same_rule) {
    for (int first = 0; first < 256; first++) {
        for (int second = 0; second < 256; second++) {
            const std::string two{static_cast<char>(first), static_cast<char>(second)};
            for (const std::string& text : {two, two + "24", "3" + two})
                ASSERT_EQ(parse_power_budget(text), budget_by_library(text)) << "bytes " << first << " " << second;
        }
    }
}

class power_budget_file : public records_test {};

TEST_F(power_budget_file, its_budget_replaces_the_default_and_the_defaults_derive_from_it) {
    the_world.files[budget_file] = "240\n";
    read_power_budget_file();
    EXPECT_EQ(g_poe_power_budget, 240);
    poe_parameter_init();
    nobody_else_is_running();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 240000u);
    EXPECT_EQ(g_sys_pwr_stu.remaining_mw, 240000u);
    EXPECT_EQ(g_pwr_bnk_pmt.get().limit_w, 240);
}

TEST_F(power_budget_file, a_missing_file_leaves_the_default) {
    read_power_budget_file();
    EXPECT_EQ(g_poe_power_budget, 300);
}

TEST_F(power_budget_file, a_file_without_a_budget_leaves_the_default) {
    for (const char* text : {"", "-5", "70000", "much"}) {
        the_world.files[budget_file] = text;
        read_power_budget_file();
        EXPECT_EQ(g_poe_power_budget, 300) << text;
    }
}

TEST_F(power_budget_file, a_huge_file_is_read_no_further_than_needed) {
    the_world.files[budget_file] = "120 " + std::string(100000, 'x');
    read_power_budget_file();
    EXPECT_EQ(g_poe_power_budget, 120);
    the_world.files[budget_file] = std::string(100000, ' ') + "150";
    read_power_budget_file();
    EXPECT_EQ(g_poe_power_budget, 120);
}

TEST_F(power_budget_file, a_number_that_the_end_of_the_read_cuts_in_two_is_no_budget) {
    for (const std::string& text : {std::string(4095, ' ') + "123", std::string(4094, ' ') + "123",
                                    std::string(4096, '0') + "7", std::string(4096, '1')}) {
        the_world.files[budget_file] = text;
        read_power_budget_file();
        EXPECT_EQ(g_poe_power_budget, 300) << text.size();
    }
    for (const std::string& text : {std::string(4092, ' ') + "123", std::string(4092, ' ') + "123 5"}) {
        the_world.files[budget_file] = text;
        read_power_budget_file();
        EXPECT_EQ(g_poe_power_budget, 123) << text.size();
    }
}

TEST_F(power_budget_file, the_largest_budget_is_counted_in_milliwatts_without_loss) {
    the_world.files[budget_file] = "65535";
    read_power_budget_file();
    poe_parameter_init();
    nobody_else_is_running();
    EXPECT_EQ(g_sys_pwr_stu.total_mw, 65535000u);
}

}  // namespace
