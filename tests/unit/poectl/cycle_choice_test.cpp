#include "poectl/verbs/cycle_choice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "poectl/exit_status.h"

namespace {

using namespace poectl;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr poe_client::port_bitmap port_1 = 0b0001, port_2 = 0b0010, port_4 = 0b1000, all_ports = 0b1111;

// Port 2 delivers, port 4 is disabled, the others are on without a device.
change_records some_records() {
    change_records records;
    for (auto& port : records.all.ports) {
        port.settings.enable = 1;
        port.status.status = 2;
    }
    records.all.ports[1].status.status = 1;
    records.all.ports[3].settings.enable = 0;
    records.all.ports[3].status.status = 0;
    return records;
}

command asking_for(poe_client::port_bitmap ports, poe_client::port_bitmap named, bool only_powered = false) {
    command asked;
    asked.ports = ports;
    asked.named_ports = named;
    asked.only_powered = only_powered;
    return asked;
}

TEST(a_disabled_port, is_left_out_when_all_are_asked_for) {
    const auto choice = choose_ports(asking_for(all_ports, 0), some_records());
    EXPECT_EQ(choice.ports, 0b0111);
    EXPECT_EQ(choice.disabled, port_4);
    EXPECT_EQ(choice.refused, 0);
    EXPECT_THAT(notes_of(choice), ElementsAre("Left out, because disabled: port 4 (lan4). 'poectl port 4 set --enable "
                                              "on' switches it on."));
    const auto list = left_out_of(choice);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].port, 3);
    EXPECT_EQ(list[0].reason, "disabled");
}

TEST(a_disabled_port, that_is_named_is_refused) {
    const auto choice = choose_ports(asking_for(all_ports, port_2 | port_4), some_records());
    EXPECT_EQ(choice.refused, port_4);
    const auto told = refusal_of_disabled(port_1 | port_4);
    EXPECT_EQ(told.exit_status, exit_refused);
    EXPECT_EQ(told.why,
              "ports 1 (lan1), 4 (lan4) are disabled, and a power-cycle ends with them switched on; nothing "
              "was changed");
    EXPECT_EQ(told.advice,
              "'poectl port N set --enable on', or leave them out, as 'poectl cycle all' and "
              "--only-powered do");
}

TEST(a_disabled_port, that_is_named_is_left_out_when_only_powered_ones_are_asked_for) {
    auto records = some_records();
    auto choice = choose_ports(asking_for(all_ports, all_ports, true), records);
    EXPECT_EQ(choice.ports, port_2);
    EXPECT_EQ(choice.refused, 0);
    EXPECT_THAT(notes_of(choice),
                ElementsAre("Left out, because no power is delivered: ports 1 (lan1), 3 (lan3), 4 (lan4)."));
    records.all.ports[3].status.status = 1;  // disabled a moment ago
    choice = choose_ports(asking_for(all_ports, all_ports, true), records);
    EXPECT_EQ(choice.ports, port_2);
    EXPECT_EQ(choice.disabled, port_4);
}

TEST(a_disabled_port, that_is_being_power_cycled_is_going_to_be_on_again_and_may_be_cycled) {
    auto records = some_records();
    records.all.ports[3].cycle_pending = true;
    const auto choice = choose_ports(asking_for(port_4, port_4), records);
    EXPECT_EQ(choice.ports, port_4);
    EXPECT_EQ(choice.refused, 0);
    EXPECT_THAT(left_out_of(choice), IsEmpty());
}

TEST(where_no_port_is_left, the_reasons_are_told_and_how_to_switch_one_on) {
    auto records = some_records();
    records.all.ports[1].settings.enable = 0;
    auto choice = choose_ports(asking_for(all_ports, 0, true), records);
    EXPECT_EQ(choice.ports, 0);
    EXPECT_EQ(why_none_is_left(choice),
              "ports 1 (lan1), 3 (lan3), 4 (lan4) deliver no power; port 2 (lan2) is disabled");
    EXPECT_THAT(notes_of(choice), ElementsAre("'poectl port 2 set --enable on' switches it on."));
    for (auto& port : records.all.ports)
        port.settings.enable = 0;
    choice = choose_ports(asking_for(all_ports, 0), records);
    EXPECT_EQ(why_none_is_left(choice), "ports 1 (lan1), 2 (lan2), 3 (lan3), 4 (lan4) are disabled");
    EXPECT_THAT(notes_of(choice), ElementsAre("'poectl port N set --enable on' switches one on."));
    choice = choose_ports(asking_for(port_1, port_1, true), records);
    EXPECT_EQ(why_none_is_left(choice), "port 1 (lan1) delivers no power");
    EXPECT_THAT(notes_of(choice), IsEmpty());
}

}  // namespace
