#include "core/port_parameters.h"

#include <array>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

#include "captured_lines.h"
#include "world/records.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using block_bytes = std::array<std::uint8_t, 12>;

// Where each field lies in a client's block, said here once more.
enum field_offset : std::size_t { port_number, port_enable, power_priority, schedule_enable, poe_mode, re_enable };
constexpr std::size_t power_limit = 8;

void put_limit(block_bytes& bytes, std::uint32_t limit) {
    for (std::size_t i = 0; i < 4; i++)
        bytes[power_limit + i] = static_cast<std::uint8_t>((limit >> (8 * i)) % 256);
}

class port_parameters : public records_test {
  protected:
    captured_lines errors{STDERR_FILENO};
    block_bytes good = [] {
        block_bytes bytes{2, 1, 2, 0, 3, 10, 0, 0, 0, 0, 0, 0};
        put_limit(bytes, 300);
        return bytes;
    }();

    // What the check says about the bytes: "accepted", or the line of its refusal.
    std::string verdict_on(const block_bytes& bytes) {
        const auto block = record_from<port_parameter_block>(bytes.data());
        const int result = check_one_port_pmt_value(&block);
        const std::vector<std::string> lines = errors.take();
        if (result == 0 && lines.empty()) return "accepted";
        if (result == -1 && lines.size() == 1) return lines[0];
        return "result " + std::to_string(result) + " with " + std::to_string(lines.size()) + " lines";
    }
    std::string verdict_with(std::size_t field, int value) {
        block_bytes bytes = good;
        bytes[field] = static_cast<std::uint8_t>(value & 0xFF);
        return verdict_on(bytes);
    }
    std::string verdict_with_limit(std::uint32_t limit) {
        block_bytes bytes = good;
        put_limit(bytes, limit);
        return verdict_on(bytes);
    }
    // Every value of a signed field: the accepted ones, and for all others the line with the value.
    void expect_accepted(std::size_t field, const std::set<int>& accepted, const std::string& name, int line) {
        for (int value = -128; value <= 127; value++) {
            const std::string refusal = "[check_one_port_pmt_value , " + std::to_string(line) + "]:" + name + "=(" +
                                        std::to_string(value) + ")\n";
            ASSERT_EQ(verdict_with(field, value), accepted.contains(value) ? "accepted" : refusal);
        }
    }
};

TEST_F(port_parameters, a_complete_block_is_accepted) {
    EXPECT_EQ(verdict_on(good), "accepted");
}

TEST_F(port_parameters, ports_0_to_3_are_accepted_and_any_other_is_refused_with_its_signed_value) {
    for (int port = 0; port < 256; port++) {
        const int shown = port < 128 ? port : port - 256;
        const std::string refusal = "[check_one_port_pmt_value , 3477]:Port_Number=(" + std::to_string(shown) + ")\n";
        ASSERT_EQ(verdict_with(port_number, port), port <= 3 ? "accepted" : refusal);
    }
}

TEST_F(port_parameters, the_enable_is_keep_off_or_on) {
    expect_accepted(port_enable, {-1, 0, 1}, "Port_Enable", 3492);
}

TEST_F(port_parameters, the_priority_is_keep_or_1_to_3_and_0_is_none) {
    expect_accepted(power_priority, {-1, 1, 2, 3}, "Power_Priority", 3499);
}

TEST_F(port_parameters, the_schedule_is_keep_off_or_on) {
    expect_accepted(schedule_enable, {-1, 0, 1}, "Schedule_Enable", 3506);
}

TEST_F(port_parameters, the_mode_is_keep_or_0_to_4) {
    expect_accepted(poe_mode, {-1, 0, 1, 2, 3, 4}, "PoE_Mode", 3522);
}

TEST_F(port_parameters, the_re_enable_delay_is_keep_or_5_to_60_seconds) {
    std::set<int> accepted{-1};
    for (int seconds = 5; seconds <= 60; seconds++)
        accepted.insert(seconds);
    expect_accepted(re_enable, accepted, "Re_Enable_Val", 3529);
}

TEST_F(port_parameters, the_limit_is_keep_or_10_to_900_tenths_of_a_watt) {
    const auto refusal = [](const std::string& shown) {
        return "[check_one_port_pmt_value , 3514]:Power_Limit_Val=(" + shown + ")\n";
    };
    for (std::uint32_t limit = 0; limit <= 2000; limit++) {
        const bool accepted = limit > 9 && limit < 901;
        ASSERT_EQ(verdict_with_limit(limit), accepted ? "accepted" : refusal(std::to_string(limit)));
    }
    EXPECT_EQ(verdict_with_limit(0xFFFFFFFF), "accepted");
    EXPECT_EQ(verdict_with_limit(0xFFFFFFFE), refusal("-2"));
    EXPECT_EQ(verdict_with_limit(0x80000000), refusal("-2147483648"));
    EXPECT_EQ(verdict_with_limit(0x7FFFFFFF), refusal("2147483647"));
    EXPECT_EQ(verdict_with_limit(0x2C010000), refusal("738263040"));  // 300 in the wrong byte order
    for (int bit = 10; bit < 32; bit++) {
        ASSERT_NE(verdict_with_limit(300 | std::uint32_t{1} << bit), "accepted") << "bit " << bit;
    }
}

TEST_F(port_parameters, a_block_that_keeps_enable_priority_schedule_and_limit_sets_nothing) {
    block_bytes nothing = good;
    nothing[port_enable] = nothing[power_priority] = nothing[schedule_enable] = 0xFF;
    put_limit(nothing, 0xFFFFFFFF);
    const std::string refusal = "[check_one_port_pmt_value , 3485]:\n";
    EXPECT_EQ(verdict_on(nothing), refusal);
    for (int value = 0; value < 256; value++) {  // the mode and the delay make no difference, good or bad
        nothing[poe_mode] = static_cast<std::uint8_t>(value);
        ASSERT_EQ(verdict_on(nothing), refusal);
        nothing[re_enable] = static_cast<std::uint8_t>(value);
        ASSERT_EQ(verdict_on(nothing), refusal);
    }
}

TEST_F(port_parameters, any_one_of_enable_priority_schedule_and_limit_is_something_to_set) {
    block_bytes nothing{0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    for (const std::size_t field : {port_enable, power_priority, schedule_enable}) {
        block_bytes one = nothing;
        one[field] = 1;
        EXPECT_EQ(verdict_on(one), "accepted") << "field at " << field;
    }
    put_limit(nothing, 10);
    EXPECT_EQ(verdict_on(nothing), "accepted");
}

TEST_F(port_parameters, the_reserved_bytes_are_not_looked_at) {
    for (int value = 0; value < 256; value++) {
        ASSERT_EQ(verdict_with(6, value), "accepted");
        ASSERT_EQ(verdict_with(7, value), "accepted");
    }
}

TEST_F(port_parameters, of_several_faults_the_first_in_order_is_reported_alone) {
    struct fault {
        std::string line;
        std::function<void(block_bytes&)> make;
    };
    const std::vector<fault> in_order{
        {"[check_one_port_pmt_value , 3477]:Port_Number=(4)\n", [](block_bytes& b) { b[port_number] = 4; }},
        {"[check_one_port_pmt_value , 3492]:Port_Enable=(2)\n", [](block_bytes& b) { b[port_enable] = 2; }},
        {"[check_one_port_pmt_value , 3499]:Power_Priority=(0)\n", [](block_bytes& b) { b[power_priority] = 0; }},
        {"[check_one_port_pmt_value , 3506]:Schedule_Enable=(2)\n", [](block_bytes& b) { b[schedule_enable] = 2; }},
        {"[check_one_port_pmt_value , 3514]:Power_Limit_Val=(9)\n", [](block_bytes& b) { put_limit(b, 9); }},
        {"[check_one_port_pmt_value , 3522]:PoE_Mode=(5)\n", [](block_bytes& b) { b[poe_mode] = 5; }},
        {"[check_one_port_pmt_value , 3529]:Re_Enable_Val=(4)\n", [](block_bytes& b) { b[re_enable] = 4; }},
    };
    for (unsigned faults = 1; faults < 1u << in_order.size(); faults++) {
        block_bytes bytes = good;
        std::string first;
        for (std::size_t i = 0; i < in_order.size(); i++) {
            if ((faults >> i) % 2 == 0) continue;
            in_order[i].make(bytes);
            if (first.empty()) first = in_order[i].line;
        }
        ASSERT_EQ(verdict_on(bytes), first);
    }
}

TEST_F(port_parameters, a_block_that_sets_nothing_is_reported_after_its_port_and_before_anything_else) {
    block_bytes nothing{4, 0xFF, 0xFF, 0xFF, 99, 99, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(verdict_on(nothing), "[check_one_port_pmt_value , 3477]:Port_Number=(4)\n");
    nothing[port_number] = 3;
    EXPECT_EQ(verdict_on(nothing), "[check_one_port_pmt_value , 3485]:\n");
}

}  // namespace
