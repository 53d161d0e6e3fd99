#include "poectl/verbs/effect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace poectl;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint8_t second_port = 1;

change_records healthy_records() {
    change_records records;
    records.all.system.settings = {
        .enable = 1, .parameter_1 = 0, .parameter_2 = 0, .threshold_percent = 95, .parameter_4 = 0, .parameter_5 = 0};
    for (std::uint8_t port = 0; port < poe_client::port_count; port++) {
        auto& one = records.all.ports[port];
        one.status.port = port;
        one.status.schedule_on = 1;
        one.settings = {.port = port,
                        .enable = 0,
                        .priority = 3,
                        .schedule_enable = 0,
                        .mode = 2,
                        .re_enable_s = 10,
                        .power_limit_dw = 900};
    }
    return records;
}

std::vector<std::string> settings_of(const sight& seen) {
    std::vector<std::string> list;
    for (const auto& one : seen.aims)
        list.emplace_back(one.setting);
    return list;
}

TEST(may_have_power, is_the_daemons_rule_over_its_whole_domain) {
    for (unsigned bits = 0; bits < 16; bits++) {
        const bool system = bits & 1U, port = bits & 2U, obeys = bits & 4U, period = bits & 8U;
        const bool table[16] = {false, false, false, true, false, false, false, false,
                                false, false, false, true, false, false, false, true};
        poe_client::system_settings of_system{};
        poe_client::port_settings of_port{};
        of_system.enable = static_cast<std::int8_t>(system);
        of_port.enable = static_cast<std::int8_t>(port);
        of_port.schedule_enable = static_cast<std::int8_t>(obeys);
        EXPECT_EQ(should_deliver(of_system, of_port, period), table[bits]) << bits;
    }
}

TEST(a_status, shows_that_a_port_is_off_or_on_or_neither) {
    for (std::uint32_t status = 0; status < 20; status++) {
        EXPECT_EQ(shows_off(status), status == 0 || status == 13) << status;
        EXPECT_EQ(shows_on(status), status != 0 && status != 11) << status;
    }
}

TEST(enabling_a_port, is_seen_when_its_record_and_its_status_show_it) {
    const auto before = healthy_records();
    auto now = before;
    poe_client::port_settings_change change;
    change.enable = 1;
    EXPECT_FALSE(all_seen(sight_of_port_change(second_port, change, before, now).aims));
    now.all.ports[second_port].settings.enable = 1;
    auto seen = sight_of_port_change(second_port, change, before, now);
    EXPECT_FALSE(all_seen(seen.aims));
    EXPECT_EQ(unseen_words(seen.aims), "port 2 (lan2): status is disabled (0), wanted: searching or delivering");
    now.all.ports[second_port].status.status = 2;
    seen = sight_of_port_change(second_port, change, before, now);
    EXPECT_TRUE(all_seen(seen.aims));
    EXPECT_THAT(settings_of(seen), ElementsAre("enabled", "status"));
    EXPECT_EQ(seen.aims[1].was.words, "disabled (0)");
    EXPECT_EQ(seen.aims[1].is.words, "searching (2)");
    EXPECT_TRUE(seen.aims[1].wanted.value.is_null());
}

TEST(enabling_a_port, says_while_it_is_on_and_delivers_nothing) {
    auto before = healthy_records();
    poe_client::port_settings_change change;
    change.enable = 1;
    auto now = before;
    now.all.ports[second_port].settings.enable = 1;
    const auto notes = [&](std::uint32_t status) {
        now.all.ports[second_port].status.status = status;
        return sight_of_port_change(second_port, change, before, now).notes;
    };
    EXPECT_THAT(notes(0), IsEmpty()) << "it is not on yet";
    EXPECT_THAT(notes(1), IsEmpty());
    for (const std::uint32_t waiting : {2U, 9U})
        EXPECT_THAT(notes(waiting), ElementsAre("port 2 (lan2) is on; no device has taken power yet."));
    for (const std::uint32_t fault : {3U, 4U, 5U, 8U, 12U, 13U})
        EXPECT_THAT(notes(fault),
                    ElementsAre("port 2 (lan2) is on and does not deliver: 'poectl port 2 --why' says why."));
}

TEST(disabling_a_port, that_is_being_power_cycled_says_that_it_will_be_on_again) {
    auto before = healthy_records();
    poe_client::port_settings_change change;
    change.enable = 0;
    EXPECT_THAT(sight_of_port_change(second_port, change, before, before).notes, IsEmpty());
    before.all.ports[second_port].cycle_pending = true;
    before.all.ports[second_port].on_again_s = 7;
    EXPECT_THAT(sight_of_port_change(second_port, change, before, before).notes,
                ElementsAre("port 2 (lan2) is being power-cycled, which enables it in 7 s, whatever is set before."));
}

TEST(enabling_a_port, that_may_not_have_power_is_seen_while_it_is_off_and_says_why) {
    auto before = healthy_records();
    poe_client::port_settings_change change;
    change.enable = 1;
    auto now = before;
    now.all.ports[second_port].settings.enable = 1;
    now.all.system.settings.enable = 0;
    auto seen = sight_of_port_change(second_port, change, before, now);
    EXPECT_TRUE(all_seen(seen.aims));
    EXPECT_THAT(seen.notes, ElementsAre("port 2 (lan2) stays off: PoE as a whole is disabled."));
    now.all.system.settings.enable = 1;
    now.all.ports[second_port].settings.schedule_enable = 1;
    now.all.ports[second_port].status.schedule_on = 0;
    seen = sight_of_port_change(second_port, change, before, now);
    EXPECT_TRUE(all_seen(seen.aims));
    EXPECT_THAT(seen.notes, ElementsAre("port 2 (lan2) stays off: its schedule is in an off period."));
}

TEST(every_setting_of_a_port, is_an_aim_of_its_own) {
    const auto before = healthy_records();
    const poe_client::port_settings_change change{
        .enable = 0, .priority = 1, .schedule_enable = 0, .mode = 3, .re_enable_s = 20, .power_limit_dw = 300};
    const auto seen = sight_of_port_change(second_port, change, before, before);
    ASSERT_THAT(settings_of(seen),
                ElementsAre("enabled", "limit_mw", "priority", "mode", "schedule_enabled", "re_enable_s", "status"));
    EXPECT_EQ(seen.aims[1].was.value, 90000);
    EXPECT_EQ(seen.aims[1].wanted.value, 30000);
    EXPECT_EQ(seen.aims[1].wanted.words, "30.0 W");
    EXPECT_EQ(seen.aims[2].wanted.value, "critical");
    std::vector<bool> all;
    for (const auto& one : seen.aims)
        all.push_back(one.seen);
    EXPECT_THAT(all, ElementsAre(true, false, false, false, true, false, true));
}

TEST(a_failed_transaction, makes_doubtful_only_what_the_controller_had_to_get) {
    const auto before = healthy_records();
    auto now = before;
    now.counters.rx_timeout = 2;
    now.counters.rx_chksum_error = 1;
    poe_client::port_settings_change change;
    change.power_limit_dw = 300;
    EXPECT_EQ(doubtful_transactions(sight_of_port_change(second_port, change, before, now).aims, before, now), 3U);
    EXPECT_EQ(doubtful_transactions(sight_of_port_change(second_port, change, before, now).aims, before, before), 0U);
    change = {};
    change.power_limit_dw = 900;  // as it was: nothing goes to the controller
    EXPECT_EQ(doubtful_transactions(sight_of_port_change(second_port, change, before, now).aims, before, now), 0U);
    change = {};
    change.re_enable_s = 20;
    EXPECT_EQ(doubtful_transactions(sight_of_port_change(second_port, change, before, now).aims, before, now), 0U);
    change = {};
    change.enable = 1;  // the status is read back
    EXPECT_EQ(doubtful_transactions(sight_of_port_change(second_port, change, before, now).aims, before, now), 0U);
    EXPECT_EQ(doubtful_transactions(sight_of_bank_change(200, before, now).aims, before, now), 3U);
}

TEST(a_system_change, follows_every_port_when_it_switches_all) {
    auto before = healthy_records();
    before.all.ports[0].settings.enable = 1;
    before.all.ports[0].status.status = 1;
    auto now = before;
    poe_client::system_settings_change change;
    change.enable = 0;
    now.all.system.settings.enable = 0;
    auto seen = sight_of_system_change(change, before, now);
    EXPECT_THAT(settings_of(seen), ElementsAre("enabled", "status", "status", "status", "status"));
    EXPECT_EQ(unseen_words(seen.aims), "port 1 (lan1): status is delivering (1), wanted: disabled");
    now.all.ports[0].status.status = 13;
    EXPECT_TRUE(all_seen(sight_of_system_change(change, before, now).aims));
}

TEST(a_system_change, of_parameter_1_never_shows) {
    const auto before = healthy_records();
    poe_client::system_settings_change change;
    change.parameter_1 = 1;
    change.threshold_percent = 80;
    auto now = before;
    EXPECT_TRUE(more_can_come(sight_of_system_change(change, before, now).aims));
    now.all.system.settings.threshold_percent = 80;
    const auto seen = sight_of_system_change(change, before, now);
    EXPECT_FALSE(all_seen(seen.aims));
    EXPECT_FALSE(more_can_come(seen.aims));
}

TEST(a_schedule_period, is_followed_by_the_status_of_a_port_that_obeys) {
    auto before = healthy_records();
    before.all.ports[second_port].settings.enable = 1;
    before.all.ports[second_port].settings.schedule_enable = 1;
    before.all.ports[second_port].status.status = 1;
    auto now = before;
    for (auto& port : now.all.ports)
        port.status.schedule_on = 0;
    auto seen = sight_of_schedule_change(0b0011, false, before, now);
    EXPECT_THAT(settings_of(seen), ElementsAre("schedule_on", "schedule_on", "status"));
    EXPECT_THAT(seen.notes, ElementsAre(HasSubstr("port 1 (lan1) does not obey its schedule")));
    EXPECT_FALSE(all_seen(seen.aims));
    now.all.ports[second_port].status.status = 0;
    EXPECT_TRUE(all_seen(sight_of_schedule_change(0b0011, false, before, now).aims));
}

TEST(a_power_cycle, is_seen_once_it_has_begun_and_ended_and_the_port_is_on_again) {
    auto before = healthy_records();
    before.all.cycles.port[second_port] = {.pending = false, .tick = 7};
    before.all.ports[second_port].settings.enable = 1;
    before.all.ports[second_port].status.status = 2;
    auto now = before;
    const auto words = [&] { return sight_of_cycle(0b0010, before, now).aims.front().is.words; };
    const auto is_seen = [&] { return all_seen(sight_of_cycle(0b0010, before, now).aims); };
    EXPECT_EQ(words(), "not begun");
    EXPECT_FALSE(is_seen()) << "a port that is on has not been cycled yet";
    now.all.cycles.port[second_port] = {.pending = true, .tick = 50};
    now.all.ports[second_port].settings.enable = 0;
    now.all.ports[second_port].status.status = 0;
    now.all.ports[second_port].on_again_s = 9;
    EXPECT_EQ(words(), "off, on again in 9 s");
    EXPECT_FALSE(is_seen());
    now.all.cycles.port[second_port].pending = false;
    now.all.ports[second_port].settings.enable = 1;
    EXPECT_EQ(words(), "on again");
    EXPECT_FALSE(is_seen()) << "its status does not show it yet";
    EXPECT_THAT(sight_of_cycle(0b0010, before, now).notes, IsEmpty());
    now.all.ports[second_port].status.status = 2;
    EXPECT_TRUE(is_seen());
    EXPECT_THAT(sight_of_cycle(0b0010, before, now).notes,
                ElementsAre("port 2 (lan2) is on; no device has taken power yet."));
}

TEST(a_power_cycle, of_a_port_that_delivered_is_seen_when_it_delivers_again) {
    auto before = healthy_records();
    before.all.ports[second_port].settings.enable = 1;
    before.all.ports[second_port].status.pair_set[1].status = 1;
    before.all.ports[second_port].status.status = 1;
    auto now = before;
    now.all.cycles.port[second_port] = {.pending = false, .tick = 50};
    const auto sight_with = [&](std::uint32_t status) {
        now.all.ports[second_port].status.status = status;
        now.all.ports[second_port].status.pair_set[1].status = status;
        return sight_of_cycle(0b0010, before, now);
    };
    for (const std::uint32_t status : {0U, 2U, 3U, 4U, 9U, 11U, 12U}) {
        EXPECT_FALSE(all_seen(sight_with(status).aims)) << status;
        EXPECT_THAT(sight_with(status).notes, IsEmpty()) << status;
    }
    EXPECT_EQ(unseen_words(sight_with(2).aims), "port 2 (lan2): status is searching (2), wanted: delivering (1)");
    EXPECT_EQ(sight_with(2).aims.back().wanted.value, "delivering");
    EXPECT_TRUE(all_seen(sight_with(1).aims));
}

TEST(a_limit, below_what_a_port_drew_is_told_what_may_happen) {
    auto before = healthy_records();
    before.all.ports[second_port].status.power_mw = 12'500;
    poe_client::port_settings_change change;
    const auto notes_at = [&](std::uint32_t limit_dw) {
        change.power_limit_dw = limit_dw;
        return sight_of_port_change(second_port, change, before, before).notes;
    };
    EXPECT_THAT(notes_at(125), IsEmpty());
    EXPECT_THAT(notes_at(124), ElementsAre("port 2 (lan2) drew 12.5 W, more than this limit: the controller may switch "
                                           "it off, which 'poectl port 2 --why' would show."));
    change.enable = 0;
    EXPECT_THAT(notes_at(124), IsEmpty()) << "it is switched off in any case";
}

TEST(a_limit, of_the_bank_below_what_all_ports_drew_is_told_what_may_happen) {
    auto before = healthy_records();
    before.all.system.status.consumed_mw = 18'500;
    EXPECT_THAT(sight_of_bank_change(19, before, before).notes, IsEmpty());
    before.all.system.status.consumed_mw = 19'001;
    EXPECT_THAT(
        sight_of_bank_change(19, before, before).notes,
        ElementsAre("All ports together drew 19.0 W, more than this limit: the controller may switch ports off, "
                    "which 'poectl status' would show."));
}

TEST(a_power_cycle, of_a_port_that_may_have_no_power_does_not_wait_for_any) {
    auto before = healthy_records();
    before.all.ports[second_port].settings.enable = 1;
    before.all.ports[second_port].status.status = 1;  // not read anew yet
    before.all.system.settings.enable = 0;
    auto now = before;
    now.all.cycles.port[second_port] = {.pending = false, .tick = 50};
    now.all.ports[second_port].status.status = 0;
    const auto seen = sight_of_cycle(0b0010, before, now);
    EXPECT_TRUE(all_seen(seen.aims));
    EXPECT_EQ(seen.aims.front().is.words, "over") << "it is not on again";
    EXPECT_EQ(seen.aims.front().wanted.words, "over");
    EXPECT_EQ(seen.aims.front().is.value, "done");
    EXPECT_THAT(seen.notes, ElementsAre("port 2 (lan2) stays off: PoE as a whole is disabled."));
}

TEST(an_energy_reset, is_seen_when_the_record_is_empty_or_began_anew) {
    auto before = healthy_records();
    before.energy[2].powered_s = 500;
    before.energy[2].minutes[3].valid = true;
    auto now = before;
    EXPECT_FALSE(all_seen(sight_of_energy_reset(0b0100, before, now).aims));
    now.energy[2].powered_s = 0;
    now.energy[2].minutes[3].valid = false;
    EXPECT_TRUE(all_seen(sight_of_energy_reset(0b0100, before, now).aims));
    now.energy[2].powered_s = 2;
    EXPECT_TRUE(all_seen(sight_of_energy_reset(0b0100, before, now).aims)) << "the port delivers on";
    EXPECT_EQ(sight_of_energy_reset(0b0100, before, now).aims.front().was.value, "filled");
}

TEST(a_made_up_history, is_seen_when_every_ring_of_every_port_is_filled_as_far_as_it_reaches) {
    struct row {
        std::uint32_t minutes;
        std::size_t of_minutes, of_half_hours, of_two_hours;
        int recorded;
    };
    for (const row& one :
         {row{0, 0, 0, 0, 0}, row{29, 29, 0, 0, 29}, row{59, 59, 1, 0, 59}, row{60, 60, 2, 0, 60},
          row{90, 60, 3, 0, 90}, row{100, 60, 3, 0, 90}, row{1439, 60, 47, 11, 1410}, row{1440, 60, 48, 12, 1440},
          row{10080, 60, 48, 84, 10080}, row{4294967295U, 60, 48, 84, 10080}}) {
        const auto before = healthy_records();
        auto now = before;
        for (auto& port : now.energy) {
            for (std::size_t i = 0; i < one.of_minutes; i++)
                port.minutes[i].valid = true;
            for (std::size_t i = 0; i < one.of_half_hours; i++)
                port.half_hours[i].valid = true;
            for (std::size_t i = 0; i < one.of_two_hours; i++)
                port.two_hours[i].valid = true;
        }
        const auto seen = sight_of_made_up_history(one.minutes, before, now);
        ASSERT_EQ(seen.aims.size(), 4U);
        EXPECT_TRUE(all_seen(seen.aims)) << one.minutes;
        EXPECT_EQ(seen.aims[3].wanted.value, one.minutes);
        EXPECT_EQ(seen.aims[3].was.words, "0 min");
        EXPECT_EQ(seen.aims[3].is.value, one.recorded);
        EXPECT_EQ(all_seen(sight_of_made_up_history(one.minutes, before, before).aims), one.minutes == 0);
        if (one.of_two_hours == 0) continue;
        now.energy[3].two_hours[one.of_two_hours - 1].valid = false;
        EXPECT_FALSE(all_seen(sight_of_made_up_history(one.minutes, before, now).aims)) << one.minutes;
    }
}

TEST(keeping_energy, and_the_bank_are_seen_in_their_records) {
    const auto before = healthy_records();
    auto now = before;
    EXPECT_FALSE(all_seen(sight_of_energy_kept(true, before, now).aims));
    now.energy_kept = true;
    EXPECT_TRUE(all_seen(sight_of_energy_kept(true, before, now).aims));
    EXPECT_FALSE(all_seen(sight_of_bank_change(240, before, now).aims));
    now.bank.limit_w = 240;
    EXPECT_TRUE(all_seen(sight_of_bank_change(240, before, now).aims));
}

TEST(a_port, delivers_also_over_one_pair_set_alone) {
    poe_client::port_status port{};
    EXPECT_FALSE(delivers(port));
    port.pair_set[1].status = 1;
    EXPECT_TRUE(delivers(port));
    port.pair_set[1].status = 2;
    port.status = 1;
    EXPECT_TRUE(delivers(port));
}

}  // namespace
