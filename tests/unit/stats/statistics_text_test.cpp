#include "stats/statistics_text.h"

#include <cstring>
#include <string>

#include "stats/stats_bench.h"

namespace {

std::string text_of(const port_stats_records& records) {
    const statistics_text text = compose_statistics_text(records);
    return {text.bytes.data(), text.length};
}

TEST(statistics_text, empty_records_are_four_lines_of_zeros) {
    EXPECT_EQ(text_of({}), "0, 0, 0\n1, 0, 0\n2, 0, 0\n3, 0, 0\n");
}

TEST(statistics_text, each_line_has_the_port_its_powered_seconds_and_its_energy) {
    port_stats_records records{};
    records[0].powered_s = 86400;
    records[0].energy_mws = 1296000000;
    records[2].powered_s = 7;
    records[3].energy_mws = 5000000000;
    EXPECT_EQ(text_of(records), "0, 86400, 1296000000\n1, 0, 0\n2, 7, 0\n3, 0, 5000000000\n");
}

TEST(statistics_text, the_greatest_totals_are_written_the_same_on_every_machine_and_read_back_whole) {
    port_stats_records records{};
    for (port_stats& record : records) {
        record.powered_s = 0xFFFFFFFF;
        record.energy_mws = 0x8000000000000000;
    }
    const std::string text = text_of(records);
    EXPECT_TRUE(text.starts_with("0, 4294967295, -9223372036854775808\n1, ")) << text;
    port_stats_records read_back{};
    add_statistics_text(read_back, text);
    for (const port_stats& record : read_back) {
        EXPECT_EQ(record.powered_s, 0xFFFFFFFF);
        EXPECT_EQ(record.energy_mws, 0x8000000000000000);
    }
}

struct line_case {
    const char* line;
    bool parses;
    std::uint32_t port;
    std::uint32_t powered_s;
    std::uint64_t energy_mws;
};

constexpr line_case lines[] = {
    // well formed
    {"0, 5, 6\n", true, 0, 5, 6},
    {"3, 5, 6", true, 3, 5, 6},
    {"2,5,6\n", true, 2, 5, 6},
    {"  1,\t5, \v\f\r6\n", true, 1, 5, 6},
    {"\n1,\n5,\n6", true, 1, 5, 6},
    {"+1, +5, +6\n", true, 1, 5, 6},
    {"0001, 0005, 0006\n", true, 1, 5, 6},
    {"1, 5, 6, 7, 8\n", true, 1, 5, 6},
    {"1, 5, 6xyz\n", true, 1, 5, 6},
    {"1, 5, 6.9\n", true, 1, 5, 6},
    {"7, 5, 6\n", true, 7, 5, 6},
    {"4, 5, 6\n", true, 4, 5, 6},
    // signs and widths
    {"-1, 5, 6\n", true, 0xFFFFFFFF, 5, 6},
    {"-0, 5, 6\n", true, 0, 5, 6},
    {"1, -1, -1\n", true, 1, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF},
    {"1, 4294967295, 18446744073709551615\n", true, 1, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF},
    {"1, 4294967296, 18446744073709551616\n", true, 1, 0, 0},
    {"1, 4294967301, 18446744073709551622\n", true, 1, 5, 6},
    {"1, 18446744073709551621, 36893488147419103238\n", true, 1, 5, 6},
    {"1, -18446744073709551611, 9223372036854775808\n", true, 1, 5, 0x8000000000000000},
    {"4294967297, 5, 6\n", true, 1, 5, 6},
    // not a line of ours
    {"", false, 0, 0, 0},
    {"\n", false, 0, 0, 0},
    {"1\n", false, 0, 0, 0},
    {"1, 5\n", false, 0, 0, 0},
    {"1, 5,\n", false, 0, 0, 0},
    {"1 5 6\n", false, 0, 0, 0},
    {"1 , 5, 6\n", false, 0, 0, 0},
    {"1, 5 , 6\n", false, 0, 0, 0},
    {"1; 5; 6\n", false, 0, 0, 0},
    {"port 1, 5, 6\n", false, 0, 0, 0},
    {"1, five, 6\n", false, 0, 0, 0},
    {"1, 5, six\n", false, 0, 0, 0},
    {"- 1, 5, 6\n", false, 0, 0, 0},
    {"+-1, 5, 6\n", false, 0, 0, 0},
    {"-+1, 5, 6\n", false, 0, 0, 0},
    {"--1, 5, 6\n", false, 0, 0, 0},
    {"1, -, 6\n", false, 0, 0, 0},
    {", 5, 6\n", false, 0, 0, 0},
    {"0x1, 5, 6\n", false, 0, 0, 0},
    {"1.0, 5, 6\n", false, 0, 0, 0},
    {"# 1, 5, 6\n", false, 0, 0, 0},
};

TEST(statistics_text, a_line_is_three_numbers_with_commas_behind_the_first_two) {
    for (const line_case& expected : lines) {
        const std::optional<statistics_line> line = parse_statistics_line(expected.line);
        ASSERT_EQ(line.has_value(), expected.parses) << '"' << expected.line << '"';
        if (!line) continue;
        EXPECT_EQ(line->port, expected.port) << expected.line;
        EXPECT_EQ(line->powered_s, expected.powered_s) << expected.line;
        EXPECT_EQ(line->energy_mws, expected.energy_mws) << expected.line;
    }
}

TEST(statistics_text, a_zero_byte_inside_a_line_spoils_it) {
    EXPECT_FALSE(parse_statistics_line(std::string_view("1, \0005, 6\n", 9)).has_value());
}

class statistics_read_back : public testing::Test {
  protected:
    port_stats_records records{};
    void read(const std::string& text) { add_statistics_text(records, text); }
    void expect(std::size_t port, std::uint32_t powered_s, std::uint64_t energy_mws) const {
        EXPECT_EQ(records[port].powered_s, powered_s) << "port " << port;
        EXPECT_EQ(records[port].energy_mws, energy_mws) << "port " << port;
    }
    void expect_untouched_but_for_totals() const {
        for (port_stats record : records) {
            record.powered_s = 0;
            record.energy_mws = 0;
            port_stats empty{};
            EXPECT_EQ(std::memcmp(&record, &empty, sizeof record), 0);
        }
    }
};

TEST_F(statistics_read_back, every_line_adds_to_the_totals_of_its_port) {
    records[1].powered_s = 100;
    records[1].energy_mws = 1000;
    read("0, 1, 10\n1, 2, 20\n2, 3, 30\n3, 4, 40\n");
    expect(0, 1, 10);
    expect(1, 102, 1020);
    expect(2, 3, 30);
    expect(3, 4, 40);
    expect_untouched_but_for_totals();
}

TEST_F(statistics_read_back, an_empty_text_adds_nothing) {
    read("");
    for (std::size_t port = 0; port < port_count; port++)
        expect(port, 0, 0);
}

TEST_F(statistics_read_back, fewer_lines_leave_the_other_ports_alone) {
    read("3, 4, 40\n");
    expect(0, 0, 0);
    expect(3, 4, 40);
}

TEST_F(statistics_read_back, more_lines_and_lines_in_another_order_all_count) {
    read("3, 1, 2\n1, 1, 2\n3, 10, 20\n0, 1, 2\n3, 100, 200");
    expect(3, 111, 222);
    expect(1, 1, 2);
    expect(0, 1, 2);
    expect(2, 0, 0);
}

TEST_F(statistics_read_back, a_line_that_does_not_parse_adds_nothing_and_reading_goes_on) {
    read("0, 1, 10\ngarbage\n1, 2\n\n2, 3, 30\n");
    expect(0, 1, 10);
    expect(1, 0, 0);
    expect(2, 3, 30);
}

TEST_F(statistics_read_back, a_line_that_names_port_7_is_read_and_its_values_go_nowhere) {
    read("7, 5, 6\n4, 5, 6\n-1, 5, 6\n2147483647, 5, 6\n-2147483648, 5, 6\n2, 3, 30\n");
    expect(0, 0, 0);
    expect(1, 0, 0);
    expect(2, 3, 30);
    expect(3, 0, 0);
    expect_untouched_but_for_totals();
}

TEST_F(statistics_read_back, totals_that_overflow_wrap) {
    records[0].powered_s = 0xFFFFFFFF;
    records[0].energy_mws = 0xFFFFFFFFFFFFFFFF;
    read("0, 3, 3\n1, 4294967295, 18446744073709551615\n1, 2, 2\n");
    expect(0, 2, 2);
    expect(1, 1, 1);
}

TEST_F(statistics_read_back, energy_carries_into_its_high_half) {
    records[0].energy_mws = 0xFFFFFFFF;
    read("0, 0, 1\n");
    expect(0, 0, 0x100000000);
}

TEST_F(statistics_read_back, a_line_of_64_bytes_is_read_whole) {
    std::string line = "0, 5, " + std::string(57, '0') + "\n";
    line[62] = '6';
    ASSERT_EQ(line.size(), 64U);
    read(line + "1, 7, 8\n");
    expect(0, 5, 6);
    expect(1, 7, 8);
}

TEST_F(statistics_read_back, a_64_byte_piece_needs_no_line_end) {
    std::string line = "0, 5, " + std::string(58, '0');
    line[63] = '6';
    read(line + "\n1, 7, 8\n");
    expect(0, 5, 6);
    expect(1, 7, 8);
}

TEST_F(statistics_read_back, what_stands_behind_the_64th_byte_of_a_line_is_a_line_of_its_own) {
    const std::string first_piece = "0, 5, 6" + std::string(57, ' ');
    ASSERT_EQ(first_piece.size(), 64U);
    read(first_piece + "1, 7, 8\n");
    expect(0, 5, 6);
    expect(1, 7, 8);
}

TEST_F(statistics_read_back, a_number_cut_at_the_64th_byte_counts_as_far_as_it_goes) {
    read("0, 5, " + std::string(57, '0') + "12\n2, 7, 8\n");
    expect(0, 5, 1);
    expect(2, 7, 8);
}

TEST_F(statistics_read_back, a_long_line_of_anything_adds_nothing) {
    read(std::string(5000, 'x') + "\n3, 7, 8\n");
    for (std::size_t port = 0; port < 3; port++)
        expect(port, 0, 0);
    expect(3, 7, 8);
}

TEST_F(statistics_read_back, any_bytes_at_all_are_harmless) {
    unsigned state = 1;
    for (int i = 0; i < 2000; i++) {
        std::string text;
        for (int n = 0; n < 200; n++) {
            state = state * 1103515245 + 12345;
            constexpr std::string_view likely =
                "0123456789,, \n-+\0\xFFx"
                "999999999999";
            text += likely[(state >> 16) % likely.size()];
        }
        read(text);
    }
    expect_untouched_but_for_totals();
}

}  // namespace
