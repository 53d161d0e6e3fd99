#include "poe_client/requests.h"

#include "client/fake_daemon.h"

namespace {

using namespace poe_client;

class requests : public testing::Test {
  protected:
    fake_daemon daemon{healthy()};
    connection to_it{daemon.socket_path(), std::chrono::seconds(20)};

    testing::AssertionResult sent(const char* known) {
        return same_bytes(daemon.requests().back().bytes, message_bytes(known));
    }
};

// The request that goes out and the answer that comes back, for every message of the wire.

TEST_F(requests, for_settings_are_sent_and_answered) {
    EXPECT_EQ(get_system_settings(to_it).value.threshold_percent, 95);
    EXPECT_TRUE(sent("get_system_settings"));
    EXPECT_EQ(get_port_settings(to_it, 3).value.power_limit_dw, 154U);
    EXPECT_TRUE(sent("get_port_3_settings"));
    EXPECT_EQ(get_all_port_settings(to_it).value[2].re_enable_s, 60);
    EXPECT_TRUE(sent("get_all_port_settings"));
    EXPECT_EQ(get_power_bank(to_it).value.limit_w, 300);
    EXPECT_TRUE(sent("get_power_bank"));
}

TEST_F(requests, for_status_are_sent_and_answered) {
    EXPECT_EQ(get_system_status(to_it).value.consumed_mw, 35000U);
    EXPECT_TRUE(sent("get_system_status"));
    EXPECT_EQ(get_port_status(to_it, 2).value.power_mw, 12500U);
    EXPECT_TRUE(sent("get_port_2_status"));
    EXPECT_EQ(get_all_port_status(to_it).value[1].power_mw, 5320U);
    EXPECT_TRUE(sent("get_all_port_status"));
    EXPECT_EQ(get_whole_status(to_it).value.system.remaining_mw, 294680);
    EXPECT_TRUE(sent("get_whole_status"));
    EXPECT_EQ(get_power_cycles(to_it).value.now_tick, 1000U);
    EXPECT_TRUE(sent("get_power_cycles"));
}

TEST_F(requests, for_diagnostics_and_energy_are_sent_and_answered) {
    EXPECT_EQ(get_communication_counters(to_it).value.rx_retry, 2U);
    EXPECT_TRUE(sent("get_communication_counters"));
    EXPECT_EQ(get_deepest_queue(to_it).value, 3U);
    EXPECT_TRUE(sent("get_deepest_queue"));
    EXPECT_TRUE(get_energy_recording(to_it).value);
    EXPECT_TRUE(sent("get_energy_recording"));
    EXPECT_EQ(get_port_energy(to_it, 1).value.powered_s, 3600U);
    EXPECT_TRUE(sent("get_port_1_energy"));
    EXPECT_EQ(get_energy_summary(to_it).value.totals.powered_s, 10U);
    EXPECT_TRUE(sent("get_energy_summary"));
}

TEST_F(requests, for_changes_are_sent_and_acknowledged) {
    const failure none;
    EXPECT_EQ(set_system(to_it, {.enable = 0,
                                 .parameter_1 = {},
                                 .parameter_2 = 1,
                                 .threshold_percent = 80,
                                 .parameter_4 = {},
                                 .parameter_5 = 0}),
              none);
    EXPECT_TRUE(sent("set_system"));
    port_settings_change limit;
    limit.power_limit_dw = 900;
    EXPECT_EQ(set_port(to_it, 2, limit), none);
    EXPECT_TRUE(sent("set_port_2_limit"));
    std::array<port_settings_change, port_count> changes;
    changes[0].enable = 1;
    changes[1].priority = priority_low;
    changes[2].schedule_enable = 1;
    changes[3].power_limit_dw = 10;
    EXPECT_EQ(set_all_ports(to_it, changes), none);
    EXPECT_TRUE(sent("set_all_ports"));
    EXPECT_EQ(
        set_all_ports_same(
            to_it,
            {.enable = 1, .priority = 2, .schedule_enable = 0, .mode = 2, .re_enable_s = 10, .power_limit_dw = 300}),
        none);
    EXPECT_TRUE(sent("set_all_ports_same"));
    EXPECT_EQ(set_schedule(to_it, 2, 0), none);
    EXPECT_TRUE(sent("set_schedule_2_off"));
    EXPECT_EQ(set_all_schedules(to_it, {1, 0, std::nullopt, 1}), none);
    EXPECT_TRUE(sent("set_all_schedules"));
    EXPECT_EQ(set_power_bank(to_it, {240, 7}), none);
    EXPECT_TRUE(sent("set_power_bank"));
    EXPECT_EQ(power_cycle(to_it, 5), none);
    EXPECT_TRUE(sent("power_cycle_ports_0_and_2"));
    EXPECT_EQ(clear_energy(to_it, 10), none);
    EXPECT_TRUE(sent("clear_energy_of_ports_1_and_3"));
    EXPECT_EQ(set_energy_recording(to_it, true), none);
    EXPECT_TRUE(sent("set_energy_recording_on"));
    EXPECT_EQ(inject_energy_history(to_it, 1440), none);
    EXPECT_TRUE(sent("inject_a_day_of_history"));
}

TEST(refused_request, is_a_failure_of_its_own_kind) {
    fake_daemon daemon(healthy(1));
    connection to_it(daemon.socket_path(), std::chrono::seconds(20));
    EXPECT_EQ(set_port(to_it, 4, {}).kind, failure_kind::refused);
}

}  // namespace
