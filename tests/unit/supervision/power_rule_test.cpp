#include "supervision/power_rule.h"

#include "supervision/port_power.h"
#include "world/records.h"

namespace {

struct rule_row {
    bool system, port, obeys_schedule, inside_period;
    int powered;
};
constexpr rule_row whole_rule[]{
    {false, false, false, false, 0}, {false, false, false, true, 0}, {false, false, true, false, 0},
    {false, false, true, true, 0},   {false, true, false, false, 0}, {false, true, false, true, 0},
    {false, true, true, false, 0},   {false, true, true, true, 0},   {true, false, false, false, 0},
    {true, false, false, true, 0},   {true, false, true, false, 0},  {true, false, true, true, 0},
    {true, true, false, false, 1},   {true, true, false, true, 1},   {true, true, true, false, 0},
    {true, true, true, true, 1},
};

using power_rule = records_test;

TEST_F(power_rule, holds_for_every_combination_and_every_non_zero_byte) {
    for (const rule_row& row : whole_rule) {
        for (int set = 1; set < 256; set++) {
            const auto value = [set](bool is_set) { return is_set ? set : 0; };
            ASSERT_EQ(port_need_read_info_2(value(row.system), value(row.port), value(row.obeys_schedule),
                                            value(row.inside_period)),
                      row.powered)
                << set;
        }
    }
}

TEST_F(power_rule, looks_at_the_low_byte_of_each_value_only) {
    EXPECT_EQ(port_need_read_info_2(256, 1, 0, 0), 0);
    EXPECT_EQ(port_need_read_info_2(1, 256, 0, 0), 0);
    EXPECT_EQ(port_need_read_info_2(1, 1, 256, 0), 1);
    EXPECT_EQ(port_need_read_info_2(1, 1, 1, 256), 0);
    EXPECT_EQ(port_need_read_info_2(257, -1, -1, 257), 1);
}

TEST_F(power_rule, reads_the_stored_parameters_of_the_port) {
    for (const rule_row& row : whole_rule) {
        g_sys_pwr_pmt.enable.set(row.system);
        for (std::size_t port = 0; port < 4; port++) {
            for (port_pmt& other : g_port_pmt)
                other.Port_Enable.set(!row.port);
            g_port_pmt[port].Port_Enable.set(row.port);
            g_port_pmt[port].Schedule_Enable.set(row.obeys_schedule);
            g_port_pmt[port].Sch_On_Off.set(row.inside_period);
            EXPECT_EQ(port_need_read_info(static_cast<std::uint8_t>(port)), row.powered);
        }
    }
}

TEST_F(power_rule, a_port_that_does_not_exist_needs_no_power) {
    for (port_pmt& port : g_port_pmt)
        port.Port_Enable.set(1);
    for (int port = 4; port < 256; port++)
        EXPECT_EQ(port_need_read_info(static_cast<std::uint8_t>(port)), 0);
}

TEST_F(power_rule, takes_the_port_number_modulo_256) {
    g_port_pmt[1].Port_Enable.set(1);
    EXPECT_EQ(port_need_read_info(static_cast<std::uint8_t>(257)), 1);
}

}  // namespace
