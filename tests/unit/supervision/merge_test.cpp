#include "supervision/merge.h"

#include <gtest/gtest.h>

namespace {

constexpr port_settings stored{.Port_Enable = 1,
                               .Power_Priority = 2,
                               .Schedule_Enable = 0,
                               .PoE_Mode = 3,
                               .Re_Enable_Val = 20,
                               .Power_Limit_Val = 300};

port_parameter_block keeping_block() {
    port_parameter_block block{.Port_Number = 2,
                               .Port_Enable = -1,
                               .Power_Priority = -1,
                               .Schedule_Enable = -1,
                               .PoE_Mode = -1,
                               .Re_Enable_Val = -1,
                               .reserved = {},
                               .Power_Limit_Val = {}};
    block.Power_Limit_Val = 0xFFFFFFFF;
    return block;
}

port_settings merged_with(port_parameter_block block) {
    fill_keep_values(block, stored);
    return settings_in(block);
}

TEST(merge, of_keep_values_gives_the_stored_settings) {
    EXPECT_EQ(merged_with(keeping_block()), stored);
}

TEST(merge, takes_every_given_byte_and_keeps_the_others) {
    struct field {
        std::int8_t port_parameter_block::*given;
        std::int8_t port_settings::*merged;
    };
    constexpr field fields[]{{&port_parameter_block::Port_Enable, &port_settings::Port_Enable},
                             {&port_parameter_block::Power_Priority, &port_settings::Power_Priority},
                             {&port_parameter_block::Schedule_Enable, &port_settings::Schedule_Enable},
                             {&port_parameter_block::PoE_Mode, &port_settings::PoE_Mode},
                             {&port_parameter_block::Re_Enable_Val, &port_settings::Re_Enable_Val}};
    for (const field& f : fields) {
        for (int value = -128; value < 128; value++) {
            port_parameter_block block = keeping_block();
            block.*f.given = static_cast<std::int8_t>(value);
            port_settings expected = stored;
            if (value != -1) expected.*f.merged = static_cast<std::int8_t>(value);
            ASSERT_EQ(merged_with(block), expected) << value;
        }
    }
}

TEST(merge, keeps_the_power_limit_for_the_two_highest_values_only) {
    const auto limit_after = [](std::uint32_t given) {
        port_parameter_block block = keeping_block();
        block.Power_Limit_Val = given;
        return merged_with(block).Power_Limit_Val;
    };
    EXPECT_EQ(limit_after(0xFFFFFFFF), 300U);
    EXPECT_EQ(limit_after(0xFFFFFFFE), 300U);
    EXPECT_EQ(limit_after(0xFFFFFFFD), 0xFFFFFFFD);
    EXPECT_EQ(limit_after(0), 0U);
    EXPECT_EQ(limit_after(900), 900U);
}

TEST(merge, of_system_bytes_keeps_the_stored_one_for_minus_1_only) {
    for (int value = -128; value < 128; value++) {
        EXPECT_EQ(merged(static_cast<std::int8_t>(value), 77), value == -1 ? 77 : value);
    }
}

TEST(merge, an_enable_block_changes_the_enable_and_nothing_else) {
    for (const std::int8_t enable : std::initializer_list<std::int8_t>{0, 1}) {
        const port_parameter_block block = enable_block(3, enable);
        port_settings expected = stored;
        expected.Port_Enable = enable;
        EXPECT_EQ(block.Port_Number, 3);
        EXPECT_EQ(merged_with(block), expected);
    }
}

// --- what a change asks of the controller ---

struct plan_row {  // by what the port was, is to be, and whether anything differs
    bool differs, before, after;
    bool program_all, program_differences, power_changes;
};
constexpr plan_row plan_rows[]{
    {false, false, false, false, false, false}, {false, true, true, false, false, false},
    {true, false, false, true, false, false},   {true, false, true, true, false, true},
    {true, true, false, true, false, true},     {true, true, true, false, true, false},
};

bool powered(std::int8_t system, const port_settings& s, std::int8_t schedule_state) {
    return system != 0 && s.Port_Enable != 0 && (s.Schedule_Enable == 0 || schedule_state != 0);
}

void expect_planned(const port_settings& from, const port_settings& to, std::int8_t system, std::int8_t state) {
    const bool before = powered(system, from, state);
    const bool after = powered(system, to, state);
    const port_change change = plan_port_change(from, to, system, state);
    for (const plan_row& row : plan_rows) {
        if (row.differs != !(from == to) || row.before != before || row.after != after) continue;
        ASSERT_EQ(change.differs, row.differs);
        ASSERT_EQ(change.power_changes, row.power_changes);
        ASSERT_EQ(change.program_all, row.program_all);
        ASSERT_EQ(change.program_limit, row.program_differences && from.Power_Limit_Val != to.Power_Limit_Val);
        ASSERT_EQ(change.program_priority, row.program_differences && from.Power_Priority != to.Power_Priority);
        ASSERT_EQ(change.program_mode, row.program_differences && from.PoE_Mode != to.PoE_Mode);
        ASSERT_EQ(change.power, row.differs && after ? 1 : 0);
        return;
    }
    FAIL() << "no row for this change";
}

port_settings settings_by(int bits) {
    const auto bit = [bits](int n) { return (bits >> n & 1) != 0; };
    return {.Port_Enable = bit(0),
            .Power_Priority = static_cast<std::int8_t>(bit(1) ? 1 : 3),
            .Schedule_Enable = bit(2),
            .PoE_Mode = static_cast<std::int8_t>(bit(3) ? 4 : 2),
            .Re_Enable_Val = static_cast<std::int8_t>(bit(4) ? 60 : 5),
            .Power_Limit_Val = bit(5) ? 900U : 10U};
}

TEST(port_change_plan, follows_the_rule_for_every_change_in_every_circumstance) {
    for (int from = 0; from < 64; from++) {
        for (int to = 0; to < 64; to++) {
            for (const std::int8_t system : std::initializer_list<std::int8_t>{0, 1}) {
                for (const std::int8_t state : std::initializer_list<std::int8_t>{0, 1}) {
                    expect_planned(settings_by(from), settings_by(to), system, state);
                    if (HasFatalFailure()) FAIL() << from << " to " << to;
                }
            }
        }
    }
}

}  // namespace
