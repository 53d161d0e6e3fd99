#include "poe_client/status_codes.h"

#include <set>

#include <gtest/gtest.h>

namespace {

using namespace poe_client;

TEST(status_codes, stand_under_their_numbers) {
    for (std::uint32_t number = 0; number < status_codes.size(); number++)
        EXPECT_EQ(status_codes[number].number, number);
}

TEST(status_codes, have_different_names_without_spaces_a_meaning_a_cause_and_a_remedy) {
    std::set<std::string_view> names;
    for (const auto& code : status_codes) {
        EXPECT_TRUE(names.insert(code.name).second) << code.name;
        EXPECT_EQ(code.name.find(' '), std::string_view::npos) << code.name;
        EXPECT_GT(code.meaning.size(), 20U) << code.name;
        for (const auto text : {code.meaning, code.cause, code.remedy}) {
            EXPECT_TRUE(text.ends_with('.')) << code.name;
            EXPECT_GT(text.size(), 7U) << code.name;
        }
    }
}

TEST(status_codes, names_that_scripts_look_for) {
    EXPECT_EQ(status_name(0), "disabled");
    EXPECT_EQ(status_name(1), "delivering");
    EXPECT_EQ(status_name(2), "searching");
    EXPECT_EQ(status_name(3), "overload");
    EXPECT_EQ(status_name(4), "power-denied");
    EXPECT_EQ(status_name(5), "short-circuit");
    EXPECT_EQ(status_name(11), "not-read-yet");
    EXPECT_EQ(status_name(12), "on-hold");
    EXPECT_EQ(status_name(13), "auto-off");
}

TEST(status_codes, a_number_above_15_is_unknown) {
    EXPECT_EQ(status_name(16), "unknown");
    EXPECT_EQ(status_name(0xFFFFFFFF), "unknown");
    EXPECT_EQ(status_code_of(16).name, "unknown");
    for (const auto text : {status_code_of(16).meaning, status_code_of(99).cause, status_code_of(0xFFFFFFFF).remedy})
        EXPECT_TRUE(text.ends_with('.'));
    EXPECT_EQ(status_code_of(15).number, 15U);
}

}  // namespace
