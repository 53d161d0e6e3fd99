#include <array>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shown.h"

namespace {

using namespace poectl;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

block numbers(std::uint8_t leaves = 0) {
    block table =
        table_of({{.heading = "NAME"}, {.heading = "N", .to_the_right = true, .leaves = leaves}, {.heading = "WORD"}});
    table.rows = {{"a", "100", "x"}, {"longer", cell("7.5", tone::bad), ""}};
    return table;
}

std::string table_text(const block& one, const look& how = {}) {
    picture seen;
    seen.page = {one};
    return as_table(seen, how);
}

TEST(a_table, has_columns_as_wide_as_their_widest_cell) {
    EXPECT_EQ(table_text(numbers()),
              "NAME      N  WORD\n"
              "a       100  x\n"
              "longer  7.5\n");
}

TEST(a_table, counts_letters_and_not_bytes) {
    block table = table_of({{.heading = "N"}, {.heading = "M"}});
    table.rows = {{"ü", "1"}, {"ab", "2"}};
    EXPECT_EQ(table_text(table), "N   M\nü   1\nab  2\n");
}

TEST(a_table, without_headings_is_a_list) {
    EXPECT_EQ(table_text(labels({{"a", "1"}, {"bcd", "2"}})), "a    1\nbcd  2\n");
}

TEST(a_table, that_is_too_wide_leaves_out_what_may_go_and_says_so) {
    const look narrow{.width = 16};
    EXPECT_EQ(table_text(numbers(1), narrow),
              "NAME    WORD\n"
              "a       x\n"
              "longer\n"
              "(no room for N\n"
              "in 16 columns)\n");
    EXPECT_EQ(table_text(numbers(1), {.width = 17}), table_text(numbers()));
}

TEST(a_table, leaves_columns_out_in_their_order_and_no_more_than_it_must) {
    block table = table_of({{.heading = "AA", .leaves = 2}, {.heading = "BB"}, {.heading = "CC", .leaves = 1}});
    table.rows = {{"1", "2", "3"}};
    EXPECT_THAT(table_text(table, {.width = 10}), testing::StartsWith("AA  BB  CC\n"));
    EXPECT_THAT(table_text(table, {.width = 9}), testing::StartsWith("AA  BB\n1   2\n(no room\nfor CC in"));
    EXPECT_THAT(table_text(table, {.width = 5}), testing::StartsWith("BB\n2\n"));
}

TEST(a_table, for_which_there_is_no_room_at_all_is_a_list) {
    EXPECT_EQ(table_text(numbers(), {.width = 10}),
              "NAME: a\nN: 100\nWORD: x\n"
              "\n"
              "NAME:\nlonger\nN: 7.5\n");
    EXPECT_EQ(table_text(labels({{"a name that is long", "1"}}), {.width = 20}), "a name that is long\n1\n");
}

TEST(a_table, whose_last_column_wraps_goes_on_below_it) {
    block table = table_of({{.heading = "A"}, {.heading = "WHAT", .wraps = true}});
    table.rows = {{cell("ok", tone::good), "all is as well as it can be"}, {"", "  mend: nothing that can be mended"}};
    EXPECT_EQ(table_text(table, {.width = 20}),
              "A   WHAT\n"
              "ok  all is as well\n"
              "    as it can be\n"
              "      mend: nothing\n"
              "      that can be\n"
              "      mended\n");
    EXPECT_EQ(table_text(table, {}), table_text(table, {.width = 38}));
}

TEST(a_block, with_narrower_ones_is_the_first_that_has_room) {
    const auto of_width = [](std::size_t width) {
        block one = paragraph(std::string(width, '#'));
        one.least_width = width;
        return one;
    };
    block widest = of_width(12);
    widest.narrower = {of_width(8), of_width(4)};
    EXPECT_EQ(table_text(widest), std::string(12, '#') + "\n");
    EXPECT_EQ(table_text(widest, {.width = 12}), std::string(12, '#') + "\n");
    EXPECT_EQ(table_text(widest, {.width = 11}), std::string(8, '#') + "\n");
    EXPECT_EQ(table_text(widest, {.width = 4}), std::string(4, '#') + "\n");
}

TEST(a_block, of_whole_lines_is_never_broken) {
    block one = paragraph("a line for a program");
    EXPECT_EQ(table_text(one, {.width = 10}), "a line for\na program\n");
    one.is_whole = true;
    EXPECT_EQ(table_text(one, {.width = 10}), "a line for a program\n");
}

TEST(colour, is_around_words_only_when_it_is_wanted) {
    EXPECT_EQ(table_text(numbers(), {.colour = true}),
              "\033[1mNAME\033[0m      \033[1mN\033[0m  \033[1mWORD\033[0m\n"
              "a       100  x\n"
              "longer  \033[1;31m7.5\033[0m\n");
    EXPECT_THAT(table_text(numbers()), Not(HasSubstr("\033")));
}

TEST(colour, says_nothing_that_the_words_do_not_say) {
    const auto shown = table_text(numbers(), {.colour = true});
    std::string words;
    for (std::size_t i = 0; i < shown.size(); i++) {
        if (shown[i] == '\033') i = shown.find('m', i) + 1;
        if (i < shown.size() && shown[i] != '\033')
            words += shown[i];
        else
            i--;
    }
    EXPECT_EQ(words, table_text(numbers()));
}

TEST(a_page, shows_some_parts_on_terminals_or_elsewhere_only) {
    picture seen;
    seen.page = {paragraph("all"), paragraph("plot", shown_on::terminals), paragraph("column", shown_on::files), {}};
    EXPECT_EQ(as_table(seen, {.terminal = true}), "all\n\nplot\n");
    EXPECT_EQ(as_table(seen, {.terminal = false}), "all\n\ncolumn\n");
}

constexpr std::array shape{section_shape{"whole", "whole", false}, section_shape{"ports", "port", true}};

picture some_facts() {
    picture seen = empty_picture(shape);
    seen.add("whole", {{"watts", 5}, {"text", "a,\"b\"\nc\\"}, {"gone", nullptr}});
    seen.add("ports", {{"port", 1}, {"on", true}, {"sets", facts::array({{{"pair_set", "A"}, {"v", 1}}, 7})}});
    seen.add("ports", {{"port", 2}, {"on", false}, {"sets", facts::array({{{"pair_set", "A"}, {"v", 2}}, 8})}});
    return seen;
}

const problem trouble{.exit_status = 4, .what = "no answer", .why = "late", .advice = "wait"};

TEST(json, has_the_envelope_and_the_sections_in_their_order) {
    const picture seen = empty_picture(shape);
    EXPECT_EQ(as_json({.command = "x y", .seen = seen, .error = {}}),
              "{\n  \"schema_version\": 1,\n  \"command\": \"x y\",\n  \"error\": null,\n  \"whole\": null,\n"
              "  \"ports\": []\n}\n");
}

TEST(json, has_all_keys_when_something_went_wrong) {
    const picture seen = empty_picture(shape);
    const auto whole = facts::parse(as_json({.command = "x", .seen = seen, .error = trouble}));
    EXPECT_EQ(whole["error"], facts::parse(R"({"name": "no_answer", "exit_status": 4, "message": "no answer",
        "reason": "late", "advice": "wait"})"));
    EXPECT_TRUE(whole["whole"].is_null());
    EXPECT_EQ(whole["ports"], facts::array());
}

TEST(json, replaces_bytes_that_are_no_utf_8) {
    picture seen = empty_picture(shape);
    seen.add("whole", {{"text", "\xFF"}});
    EXPECT_THAT(as_json({.command = "x", .seen = seen, .error = {}}), HasSubstr("\"\xEF\xBF\xBD\""));
    EXPECT_THAT(as_json_lines({.command = "x", .seen = seen, .error = {}}), HasSubstr("\"\xEF\xBF\xBD\""));
}

TEST(json_lines, are_one_object_an_item_with_the_name_of_its_kind) {
    const auto seen = some_facts();
    const auto text = as_json_lines({.command = "x", .seen = seen, .error = {}});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
    EXPECT_THAT(text,
                HasSubstr("{\"schema_version\":1,\"command\":\"x\",\"record\":\"port\",\"port\":2,\"on\":false,"));
}

TEST(json_lines, tell_of_what_went_wrong) {
    const picture seen = empty_picture(shape);
    EXPECT_EQ(as_json_lines({.command = "x", .seen = seen, .error = trouble}),
              "{\"schema_version\":1,\"command\":\"x\",\"record\":\"error\",\"name\":\"no_answer\",\"exit_status\":4,"
              "\"message\":\"no answer\",\"reason\":\"late\",\"advice\":\"wait\"}\n");
}

TEST(csv, has_a_row_an_item_of_the_list) {
    const auto seen = some_facts();
    EXPECT_EQ(as_csv({.command = "x", .seen = seen, .error = {}}),
              "port,on,sets.A.pair_set,sets.A.v,sets.2\n1,true,A,1,7\n2,false,A,2,8\n");
}

TEST(csv, of_a_command_without_a_list_is_one_row_with_what_needs_it_in_quotes) {
    picture seen = empty_picture(std::span(shape).first(1));
    seen.add("whole", {{"watts", 5}, {"text", "a,\"b\"\nc"}, {"gone", nullptr}});
    EXPECT_EQ(as_csv({.command = "x", .seen = seen, .error = {}}),
              "whole.watts,whole.text,whole.gone\n5,\"a,\"\"b\"\"\nc\",\n");
}

TEST(csv, is_empty_when_something_went_wrong) {
    EXPECT_THAT(as_csv({.command = "x", .seen = some_facts(), .error = trouble}), IsEmpty());
}

TEST(key_values, are_one_a_line_whatever_they_hold) {
    const auto seen = some_facts();
    EXPECT_EQ(as_key_values({.command = "x", .seen = seen, .error = {}}),
              "schema_version=1\ncommand=x\nerror=\nwhole.watts=5\nwhole.text=a,\"b\"\\nc\\\\\nwhole.gone=\n"
              "ports.1.port=1\nports.1.on=true\nports.1.sets.A.pair_set=A\nports.1.sets.A.v=1\nports.1.sets.2=7\n"
              "ports.2.port=2\nports.2.on=false\nports.2.sets.A.pair_set=A\nports.2.sets.A.v=2\nports.2.sets.2=8\n");
}

TEST(every_format, shows_verbatim_text_as_it_is) {
    picture seen = some_facts();
    seen.verbatim = "complete -c poectl\n";
    for (const auto format :
         {output_format::table, output_format::json, output_format::jsonl, output_format::csv, output_format::kv})
        EXPECT_EQ(rendered({.command = "x", .seen = seen, .error = {}}, {.format = format}), seen.verbatim);
}

TEST(every_format, has_its_renderer) {
    const auto seen = some_facts();
    const report what{.command = "x", .seen = seen, .error = {}};
    EXPECT_EQ(rendered(what, {.format = output_format::table}), as_table(seen, {}));
    EXPECT_EQ(rendered(what, {.format = output_format::json}), as_json(what));
    EXPECT_EQ(rendered(what, {.format = output_format::jsonl}), as_json_lines(what));
    EXPECT_EQ(rendered(what, {.format = output_format::csv}), as_csv(what));
    EXPECT_EQ(rendered(what, {.format = output_format::kv}), as_key_values(what));
}

}  // namespace
