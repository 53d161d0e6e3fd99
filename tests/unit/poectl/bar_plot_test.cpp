#include "poectl/verbs/bar_plot.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

using poectl::bar_plot;
using poectl::condensed;
using poectl::width_of_plot;
using bars = std::vector<std::optional<std::int64_t>>;

TEST(bar_plot, has_eight_lines_from_zero_to_the_greatest_value) {
    EXPECT_EQ(bar_plot(bars{1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000}),
              "8.0 |       #\n"
              "    |      ##\n"
              "    |     ###\n"
              "    |    ####\n"
              "    |   #####\n"
              "    |  ######\n"
              "    | #######\n"
              "0.0 |########\n");
}

TEST(bar_plot, tells_nothing_known_from_next_to_nothing) {
    EXPECT_EQ(bar_plot(bars{std::nullopt, 0, 1, 16000, -5, std::nullopt}),
              "16.0 |   #\n"
              "     |   #\n"
              "     |   #\n"
              "     |   #\n"
              "     |   #\n"
              "     |   #\n"
              "     |   #\n"
              " 0.0 |?__#_?\n");
}

TEST(fewer_bars, are_the_means_of_the_known_values) {
    const bars values{1000, 3000, std::nullopt, 8000, std::nullopt, std::nullopt, 5};
    EXPECT_EQ(condensed(values, 1), values);
    EXPECT_EQ(condensed(values, 2), (bars{2000, 8000, std::nullopt, 5}));
    EXPECT_EQ(condensed(values, 4), (bars{4000, 5}));
    EXPECT_EQ(condensed(values, 60), (bars{3001}));
}

TEST(a_plot, is_as_wide_as_its_longest_line) {
    EXPECT_EQ(width_of_plot(""), 0U);
    EXPECT_EQ(width_of_plot("ab\nabcd\nabc"), 4U);
    EXPECT_EQ(width_of_plot(bar_plot(bars{1000, 2000})), 7U);
}

TEST(bar_plot, rounds_to_the_nearest_line) {
    const auto lines = [](std::int64_t value) {
        const auto text = bar_plot(bars{value, 16000});
        std::int64_t count = 0;
        for (std::size_t at = text.find('|'); at != std::string::npos; at = text.find('|', at + 1))
            count += text[at + 1] == '#' ? 1 : 0;
        return count;
    };
    EXPECT_EQ(lines(999), 0);
    EXPECT_EQ(lines(1000), 1);
    EXPECT_EQ(lines(2999), 1);
    EXPECT_EQ(lines(3000), 2);
    EXPECT_EQ(lines(15000), 8);
}

TEST(bar_plot, of_zeros_and_of_greatest_figures_is_still_a_plot) {
    const std::string empty = "    |\n    |\n    |\n    |\n    |\n    |\n";
    EXPECT_EQ(bar_plot(bars{0, 0, std::nullopt}), "0.0 |\n" + empty + "0.0 |__?\n");
    EXPECT_EQ(bar_plot(bars{}), "0.0 |\n" + empty + "0.0 |\n");
    EXPECT_TRUE(bar_plot(bars{1'000'000'000'000'000}).starts_with("1000000000000.0 |#\n"));
}

}  // namespace
