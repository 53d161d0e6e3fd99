#include "poectl/wrap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plain_lines.h"

namespace {

using namespace poectl;
using testing::ElementsAre;

TEST(a_line, is_broken_between_words) {
    EXPECT_THAT(plain(wrapped({"one two three"}, 13)), ElementsAre("one two three"));
    EXPECT_THAT(plain(wrapped({"one two three"}, 12)), ElementsAre("one two", "three"));
    EXPECT_THAT(plain(wrapped({"one two three"}, 7)), ElementsAre("one two", "three"));
    EXPECT_THAT(plain(wrapped({"one two three"}, 6)), ElementsAre("one", "two", "three"));
    EXPECT_THAT(plain(wrapped({"one  two"}, 6)), ElementsAre("one", "two"));
    EXPECT_THAT(plain(wrapped({""}, 6)), ElementsAre(""));
}

TEST(a_line, is_broken_nowhere_when_nobody_knows_how_wide_it_may_be) {
    EXPECT_THAT(plain(wrapped({"one two three"}, 0)), ElementsAre("one two three"));
}

TEST(a_line, goes_on_below_its_first_word_or_further_in) {
    EXPECT_THAT(plain(wrapped({"  one two three"}, 10)), ElementsAre("  one two", "  three"));
    EXPECT_THAT(plain(wrapped({"  one two three"}, 11, 2)), ElementsAre("  one two", "    three"));
    EXPECT_THAT(plain(wrapped({"         one two three"}, 12)),
                ElementsAre("         one", "      two", "      three"));
}

TEST(a_word, that_is_longer_than_a_line_is_broken_at_its_end) {
    EXPECT_THAT(plain(wrapped({"a /very/long/path"}, 8)), ElementsAre("a", "/very/lo", "ng/path"));
}

TEST(letters, count_and_not_bytes) {
    EXPECT_EQ(width_of("ü1"), 2U);
    EXPECT_EQ(width_of(std::vector<cell>{"ü", "bc"}), 3U);
    EXPECT_THAT(plain(wrapped({"üü üü"}, 4)), ElementsAre("üü", "üü"));
}

TEST(shades, stay_with_their_words) {
    const auto lines = wrapped({cell("good", tone::good), " and ", cell("bad bad", tone::bad)}, 12);
    ASSERT_EQ(lines.size(), 2U);
    ASSERT_EQ(lines[0].size(), 3U);
    EXPECT_EQ(lines[0][2].text, "bad");
    EXPECT_EQ(lines[0][2].shade, tone::bad);
    ASSERT_EQ(lines[1].size(), 1U);
    EXPECT_EQ(lines[1][0].shade, tone::bad);
}

TEST(no_line, is_longer_than_it_may_be_and_no_letter_is_lost) {
    const std::string text = "  a text with words and a/very/long/path/that/has/no/end   and blanks ";
    std::string letters = text;
    std::erase(letters, ' ');
    for (std::size_t width = 1; width < 80; width++) {
        for (std::size_t hang = 0; hang < 5; hang++) {
            std::string seen;
            for (auto line : plain(wrapped({text}, width, hang))) {
                EXPECT_LE(line.size(), width);
                std::erase(line, ' ');
                seen += line;
            }
            EXPECT_EQ(seen, letters) << width;
        }
    }
}

}  // namespace
