#include "poe_client/poe_client.h"

#include <poll.h>
#include <sys/resource.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "client/fake_daemon.h"
#include "poe_client/requests.h"
#include "poe_client/status_codes.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr uint32_t never_reached_ms = 20000;
constexpr uint32_t soon_ms = 2;

struct c_client {
    poe_client_connection* connection = nullptr;
    explicit c_client(const std::string& path, uint32_t timeout_ms = never_reached_ms) {
        EXPECT_EQ(poe_client_open(path.c_str(), &connection), POE_CLIENT_OK);
        EXPECT_EQ(poe_client_set_timeout_ms(connection, timeout_ms), POE_CLIENT_OK);
    }
    ~c_client() { poe_client_close(connection); }
    c_client(const c_client&) = delete;
    c_client& operator=(const c_client&) = delete;
    operator poe_client_connection*() const { return connection; }
};

int take_when_readable(poe_client_connection* client, void* answer, size_t size) {
    for (;;) {
        pollfd watched{poe_client_descriptor(client), POLLIN, 0};
        if (poll(&watched, 1, static_cast<int>(never_reached_ms)) != 1) return -100;
        const int error = poe_client_take(client, answer, size);
        if (error != POE_CLIENT_PENDING) return error;
    }
}

template <std::size_t count>
void expect_same_slots(const poe_client_energy_slot (&slots)[count],
                       const std::array<poe_client::energy_slot, count>& expected) {
    for (std::size_t i = 0; i < count; i++) {
        EXPECT_EQ(slots[i].valid, expected[i].valid ? 1 : 0) << i;
        EXPECT_EQ(slots[i].uptime_s, expected[i].uptime_s) << i;
        EXPECT_EQ(slots[i].average_w, expected[i].average_w) << i;
    }
}

void expect_same_average(const poe_client_energy_average& average, const poe_client::energy_average& expected) {
    EXPECT_EQ(average.valid, expected.valid ? 1 : 0);
    EXPECT_EQ(average.average_w, expected.average_w);
}

void expect_same_figures(const poe_client_energy_figures& figures, const poe_client::energy_figures& expected) {
    EXPECT_EQ(figures.powered_s, expected.powered_s);
    EXPECT_EQ(figures.energy_wh, expected.energy_wh);
    expect_same_average(figures.minutes, expected.minutes);
    expect_same_average(figures.half_hours, expected.half_hours);
    expect_same_average(figures.two_hours, expected.two_hours);
}

class c_api : public testing::Test {
  protected:
    fake_daemon daemon{healthy()};
    c_client client{daemon.socket_path()};
    // The C++ interface, whose decoding has tests of its own.
    poe_client::connection same_daemon{daemon.socket_path(), std::chrono::milliseconds(never_reached_ms)};

    testing::AssertionResult sent(const char* known) {
        return same_bytes(daemon.requests().back().bytes, message_bytes(known));
    }
};

// --- queries: every field, once ---

TEST_F(c_api, gives_the_systems_settings) {
    poe_client_system_settings got;
    ASSERT_EQ(poe_client_get_system_settings(client, &got), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_system_settings"));
    EXPECT_THAT((std::array{got.enable, got.parameter_1, got.parameter_2, got.threshold_percent, got.parameter_4,
                            got.parameter_5}),
                ElementsAre(1, 0, 1, 95, 0, -1));
}

TEST_F(c_api, gives_a_ports_settings_with_the_limit_in_milliwatts) {
    poe_client_port_settings got;
    ASSERT_EQ(poe_client_get_port_settings(client, 3, &got), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_port_3_settings"));
    EXPECT_THAT(
        (std::array<int, 6>{got.port, got.enable, got.priority, got.schedule_enable, got.mode, got.re_enable_s}),
        ElementsAre(3, 1, POE_CLIENT_PRIORITY_HIGH, 0, 4, 10));
    EXPECT_EQ(got.power_limit_mw, 15400U);
}

TEST_F(c_api, gives_all_ports_settings) {
    poe_client_port_settings got[POE_CLIENT_PORT_COUNT];
    ASSERT_EQ(poe_client_get_all_port_settings(client, got), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_all_port_settings"));
    EXPECT_THAT(
        (std::array{got[0].power_limit_mw, got[1].power_limit_mw, got[2].power_limit_mw, got[3].power_limit_mw}),
        ElementsAre(90000, 1000, 30000, 60100));
    EXPECT_EQ(got[2].re_enable_s, 60);
    EXPECT_EQ(got[3].port, 3);
}

TEST_F(c_api, gives_the_systems_status) {
    poe_client_system_status got;
    ASSERT_EQ(poe_client_get_system_status(client, &got), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_system_status"));
    EXPECT_EQ(got.total_mw, 300000U);
    EXPECT_EQ(got.consumed_mw, 35000U);
    EXPECT_EQ(got.remaining_mw, 265000);
    EXPECT_EQ(got.temperature_mc, 41000);
    EXPECT_EQ(got.alarm_raised, 1);
}

TEST_F(c_api, gives_a_ports_status) {
    poe_client_port_status got;
    ASSERT_EQ(poe_client_get_port_status(client, 2, &got), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_port_2_status"));
    EXPECT_THAT((std::array<int, 4>{got.port, got.enable, got.schedule_enable, got.schedule_on}),
                ElementsAre(2, 1, 1, 0));
    EXPECT_THAT((std::array<int, 5>{got.detected_class, got.error_code, got.sub_status, got.port_type, got.auto_off}),
                ElementsAre(4, POE_CLIENT_NOT_REPORTED, 1, 2, 0));
    EXPECT_THAT((std::array{got.status, got.voltage_mv, got.current_ma, got.power_mw}),
                ElementsAre(POE_CLIENT_STATUS_DELIVERING, 53200, 235, 12500));
    EXPECT_EQ(got.temperature_mc, 41000);
    const auto& a = got.pair_set[0];
    EXPECT_THAT((std::array<uint32_t, 7>{a.detected_class, a.error_code, a.sub_status, a.status, a.voltage_mv,
                                         a.current_ma, a.power_mw}),
                ElementsAre(4, POE_CLIENT_NOT_REPORTED, 1, 1, 53200, 150, 7979));
    EXPECT_EQ(got.pair_set[1].detected_class, POE_CLIENT_NOT_REPORTED);
    EXPECT_THAT((std::array{got.events.overloads, got.events.short_circuits, got.events.power_denials,
                            got.events.disconnections, got.events.bad_signatures}),
                ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(c_api, gives_all_ports_status_and_the_whole) {
    poe_client_port_status ports[POE_CLIENT_PORT_COUNT];
    ASSERT_EQ(poe_client_get_all_port_status(client, ports), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_all_port_status"));
    EXPECT_EQ(ports[1].power_mw, 5320U);
    EXPECT_EQ(ports[3].port, 3);
    poe_client_whole_status whole;
    ASSERT_EQ(poe_client_get_whole_status(client, &whole), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_whole_status"));
    EXPECT_EQ(whole.system.remaining_mw, 294680);
    EXPECT_EQ(std::memcmp(&whole.port[1], &ports[1], sizeof ports[1]), 0);
}

TEST_F(c_api, gives_counters_and_the_deepest_queue) {
    poe_client_communication_counters got;
    ASSERT_EQ(poe_client_get_communication_counters(client, &got), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_communication_counters"));
    const auto whole = get_communication_counters(same_daemon).value;
    EXPECT_THAT((std::array{got.total, got.rx_retry, got.rx_timeout, got.rx_chksum_error, got.tx_correctly_executed,
                            got.tx_chksum_error, got.tx_subject_byte_conflict, got.tx_wrong_data_byte_value,
                            got.undefined_key_value}),
                ElementsAre(whole.total, 2, whole.rx_timeout, whole.rx_chksum_error, whole.tx_correctly_executed,
                            whole.tx_chksum_error, whole.tx_subject_byte_conflict, whole.tx_wrong_data_byte_value,
                            9223372036854775817U));
    uint32_t requests = 0;
    ASSERT_EQ(poe_client_get_deepest_queue(client, &requests), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_deepest_queue"));
    EXPECT_EQ(requests, 3U);
}

TEST_F(c_api, gives_the_power_bank_and_the_power_cycles) {
    poe_client_power_bank bank;
    ASSERT_EQ(poe_client_get_power_bank(client, &bank), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_power_bank"));
    EXPECT_EQ(bank.limit_w, 300);
    EXPECT_EQ(bank.second, get_power_bank(same_daemon).value.second);
    poe_client_power_cycles cycles;
    ASSERT_EQ(poe_client_get_power_cycles(client, &cycles), POE_CLIENT_OK);
    const auto whole = get_power_cycles(same_daemon).value;
    EXPECT_TRUE(sent("get_power_cycles"));
    EXPECT_EQ(cycles.now_tick, 1000U);
    for (std::size_t port = 0; port < POE_CLIENT_PORT_COUNT; port++) {
        EXPECT_EQ(cycles.port[port].pending, whole.port[port].pending ? 1 : 0);
        EXPECT_EQ(cycles.port[port].tick, whole.port[port].tick);
    }
}

TEST_F(c_api, gives_the_energy_record) {
    uint8_t is_recorded = 2;
    ASSERT_EQ(poe_client_get_energy_recording(client, &is_recorded), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_energy_recording"));
    EXPECT_EQ(is_recorded, 1);
    poe_client_port_energy port;
    ASSERT_EQ(poe_client_get_port_energy(client, 1, &port), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_port_1_energy"));
    const auto whole_port = get_port_energy(same_daemon, 1).value;
    EXPECT_EQ(port.port, 1U);
    EXPECT_EQ(port.powered_s, 3600U);
    EXPECT_EQ(port.energy_wh, whole_port.energy_wh);
    EXPECT_EQ(port.minutes_start_s, whole_port.minutes_start_s);
    EXPECT_EQ(port.half_hours_start_s, whole_port.half_hours_start_s);
    EXPECT_EQ(port.two_hours_start_s, whole_port.two_hours_start_s);
    expect_same_slots(port.minutes, whole_port.minutes);
    expect_same_slots(port.half_hours, whole_port.half_hours);
    expect_same_slots(port.two_hours, whole_port.two_hours);
    poe_client_energy_summary summary;
    ASSERT_EQ(poe_client_get_energy_summary(client, &summary), POE_CLIENT_OK);
    EXPECT_TRUE(sent("get_energy_summary"));
    const auto whole = get_energy_summary(same_daemon).value;
    EXPECT_EQ(summary.totals.powered_s, 10U);
    expect_same_figures(summary.totals, whole.totals);
    for (std::size_t i = 0; i < POE_CLIENT_PORT_COUNT; i++)
        expect_same_figures(summary.port[i], whole.port[i]);
}

// --- queries, begun and taken ---

template <typename structure, typename asked, typename begun>
void expect_the_same(poe_client_connection* client, const asked& ask, const begun& begin) {
    structure at_once, later;
    std::memset(&at_once, 0xAA, sizeof at_once);
    std::memset(&later, 0xBB, sizeof later);
    ASSERT_EQ(ask(&at_once), POE_CLIENT_OK);
    ASSERT_EQ(begin(), POE_CLIENT_OK);
    ASSERT_EQ(take_when_readable(client, &later, sizeof later), POE_CLIENT_OK);
    EXPECT_EQ(std::memcmp(&at_once, &later, sizeof later), 0);
    EXPECT_EQ(poe_client_take(client, &later, sizeof later), POE_CLIENT_USAGE) << "nothing is pending any more";
}

#define EXPECT_THE_SAME(name, structure)                                            \
    expect_the_same<structure>(                                                     \
        client, [&](structure* got) { return poe_client_get_##name(client, got); }, \
        [&] { return poe_client_begin_get_##name(client); })
#define EXPECT_THE_SAME_OF_PORT_3(name)                                                        \
    expect_the_same<poe_client_##name>(                                                        \
        client, [&](poe_client_##name* got) { return poe_client_get_##name(client, 3, got); }, \
        [&] { return poe_client_begin_get_##name(client, 3); })

TEST_F(c_api, gives_later_what_it_gives_at_once) {
    using all_settings = poe_client_port_settings[POE_CLIENT_PORT_COUNT];
    using all_status = poe_client_port_status[POE_CLIENT_PORT_COUNT];
    struct settings_of_all {
        all_settings port;
    };
    struct status_of_all {
        all_status port;
    };
    EXPECT_THE_SAME(system_settings, poe_client_system_settings);
    EXPECT_THE_SAME_OF_PORT_3(port_settings);
    expect_the_same<settings_of_all>(
        client, [&](settings_of_all* got) { return poe_client_get_all_port_settings(client, got->port); },
        [&] { return poe_client_begin_get_all_port_settings(client); });
    EXPECT_THE_SAME(system_status, poe_client_system_status);
    EXPECT_THE_SAME_OF_PORT_3(port_status);
    expect_the_same<status_of_all>(
        client, [&](status_of_all* got) { return poe_client_get_all_port_status(client, got->port); },
        [&] { return poe_client_begin_get_all_port_status(client); });
    EXPECT_THE_SAME(whole_status, poe_client_whole_status);
    EXPECT_THE_SAME(communication_counters, poe_client_communication_counters);
    EXPECT_THE_SAME(deepest_queue, uint32_t);
    EXPECT_THE_SAME(power_bank, poe_client_power_bank);
    EXPECT_THE_SAME(power_cycles, poe_client_power_cycles);
    EXPECT_THE_SAME(energy_recording, uint8_t);
    EXPECT_THE_SAME_OF_PORT_3(port_energy);
    EXPECT_THE_SAME(energy_summary, poe_client_energy_summary);
}

// --- settings: what goes out, at once and begun ---

// Both ways of one setting, each of which must send the known message and be acknowledged.
#define EXPECT_SENDS(known, name, ...)                                          \
    do {                                                                        \
        EXPECT_EQ(poe_client_##name(client, __VA_ARGS__), POE_CLIENT_OK);       \
        EXPECT_TRUE(sent(known));                                               \
        const auto before = daemon.requests().size();                           \
        EXPECT_EQ(poe_client_begin_##name(client, __VA_ARGS__), POE_CLIENT_OK); \
        EXPECT_EQ(take_when_readable(client, nullptr, 0), POE_CLIENT_OK);       \
        EXPECT_THAT(daemon.requests(), SizeIs(before + 1));                     \
        EXPECT_TRUE(sent(known));                                               \
    } while (false)

TEST_F(c_api, sends_every_setting) {
    poe_client_system_settings_change system{};
    system.fields = POE_CLIENT_SYSTEM_ENABLE | POE_CLIENT_SYSTEM_PARAMETER_2 | POE_CLIENT_SYSTEM_THRESHOLD |
                    POE_CLIENT_SYSTEM_PARAMETER_5;
    system.parameter_1 = 55;  // not named: not looked at
    system.parameter_2 = 1;
    system.threshold_percent = 80;
    EXPECT_SENDS("set_system", set_system, &system);

    poe_client_port_settings_change limit{};
    limit.fields = POE_CLIENT_PORT_POWER_LIMIT;
    limit.power_limit_mw = 90000;
    EXPECT_SENDS("set_port_2_limit", set_port, 2, &limit);

    poe_client_port_settings_change changes[POE_CLIENT_PORT_COUNT]{};
    changes[0].fields = POE_CLIENT_PORT_ENABLE;
    changes[0].enable = 1;
    changes[1].fields = POE_CLIENT_PORT_PRIORITY;
    changes[1].priority = POE_CLIENT_PRIORITY_LOW;
    changes[2].fields = POE_CLIENT_PORT_SCHEDULE_ENABLE;
    changes[2].schedule_enable = 1;
    changes[3].fields = POE_CLIENT_PORT_POWER_LIMIT;
    changes[3].power_limit_mw = 1000;
    EXPECT_SENDS("set_all_ports", set_all_ports, changes);

    poe_client_port_settings_change same{};
    same.fields = POE_CLIENT_PORT_ENABLE | POE_CLIENT_PORT_PRIORITY | POE_CLIENT_PORT_SCHEDULE_ENABLE |
                  POE_CLIENT_PORT_MODE | POE_CLIENT_PORT_RE_ENABLE | POE_CLIENT_PORT_POWER_LIMIT;
    same.enable = 1;
    same.priority = POE_CLIENT_PRIORITY_HIGH;
    same.mode = 2;
    same.re_enable_s = 10;
    same.power_limit_mw = 30000;
    EXPECT_SENDS("set_all_ports_same", set_all_ports_same, &same);

    EXPECT_SENDS("set_schedule_2_off", set_schedule, 2, POE_CLIENT_SCHEDULE_OFF);
    const int states[]{POE_CLIENT_SCHEDULE_ON, POE_CLIENT_SCHEDULE_OFF, POE_CLIENT_SCHEDULE_KEEP,
                       POE_CLIENT_SCHEDULE_ON};
    EXPECT_SENDS("set_all_schedules", set_all_schedules, states);
    const poe_client_power_bank bank{240, 7, {}};
    EXPECT_SENDS("set_power_bank", set_power_bank, &bank);
    EXPECT_SENDS("power_cycle_ports_0_and_2", power_cycle, POE_CLIENT_PORT_BIT(0) | POE_CLIENT_PORT_BIT(2));
    EXPECT_SENDS("clear_energy_of_ports_1_and_3", clear_energy, POE_CLIENT_PORT_BIT(1) | POE_CLIENT_PORT_BIT(3));
    EXPECT_SENDS("set_energy_recording_on", set_energy_recording, 1);
    EXPECT_SENDS("inject_a_day_of_history", inject_energy_history, 1440);
}

TEST_F(c_api, sends_every_field_of_a_change_where_it_belongs) {
    constexpr std::size_t parameters = 8;
    poe_client_system_settings_change system{};
    int8_t* const values[]{&system.enable,      &system.parameter_1, &system.parameter_2, &system.threshold_percent,
                           &system.parameter_4, &system.parameter_5};
    for (std::size_t i = 0; i < std::size(values); i++) {
        system.fields = 1U << i;
        *values[i] = static_cast<int8_t>(10 + i);
        EXPECT_EQ(poe_client_set_system(client, &system), POE_CLIENT_OK);
        message expected = message_bytes("set_system");
        std::fill_n(expected.begin() + parameters, std::size(values), 0xFF);
        expected[parameters + i] = static_cast<uint8_t>(10 + i);
        EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, expected));
    }
}

// --- usage ---

TEST_F(c_api, refuses_a_limit_that_it_would_have_to_round) {
    poe_client_port_settings_change change{};
    change.fields = POE_CLIENT_PORT_POWER_LIMIT;
    for (const uint32_t limit_mw : {15450U, 1U, 99U, 0xFFFFFFFFU}) {
        change.power_limit_mw = limit_mw;
        EXPECT_EQ(poe_client_set_port(client, 0, &change), POE_CLIENT_USAGE) << limit_mw;
    }
    EXPECT_THAT(daemon.requests(), IsEmpty());
}

TEST_F(c_api, refuses_a_named_value_that_would_mean_keep) {
    poe_client_port_settings_change port{};
    int8_t* const port_values[]{&port.enable, &port.priority, &port.schedule_enable, &port.mode, &port.re_enable_s};
    for (std::size_t i = 0; i < std::size(port_values); i++) {
        port = {};
        port.fields = 1U << i;
        *port_values[i] = -1;
        EXPECT_EQ(poe_client_set_port(client, 0, &port), POE_CLIENT_USAGE) << i;
    }
    poe_client_system_settings_change system{};
    int8_t* const system_values[]{&system.enable,      &system.parameter_1,
                                  &system.parameter_2, &system.threshold_percent,
                                  &system.parameter_4, &system.parameter_5};
    for (std::size_t i = 0; i < std::size(system_values); i++) {
        system = {};
        system.fields = 1U << i;
        *system_values[i] = -1;
        EXPECT_EQ(poe_client_set_system(client, &system), POE_CLIENT_USAGE) << i;
    }
    EXPECT_THAT(daemon.requests(), IsEmpty());
}

TEST_F(c_api, refuses_fields_states_and_reserved_bytes_that_it_does_not_know) {
    poe_client_port_settings_change port{};
    port.fields = POE_CLIENT_PORT_ENABLE | 64U;
    EXPECT_EQ(poe_client_set_port(client, 0, &port), POE_CLIENT_USAGE);
    port.fields = POE_CLIENT_PORT_ENABLE;
    port.reserved[18] = 1;
    EXPECT_EQ(poe_client_set_port(client, 0, &port), POE_CLIENT_USAGE);
    poe_client_port_settings_change ports[POE_CLIENT_PORT_COUNT]{};
    ports[3] = port;
    EXPECT_EQ(poe_client_set_all_ports(client, ports), POE_CLIENT_USAGE);
    poe_client_system_settings_change system{};
    system.fields = 64U;
    EXPECT_EQ(poe_client_set_system(client, &system), POE_CLIENT_USAGE);
    system.fields = 0;
    system.reserved[0] = 1;
    EXPECT_EQ(poe_client_set_system(client, &system), POE_CLIENT_USAGE);
    poe_client_power_bank bank{};
    bank.reserved[11] = 1;
    EXPECT_EQ(poe_client_set_power_bank(client, &bank), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_set_schedule(client, 0, 2), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_set_schedule(client, 0, 256), POE_CLIENT_USAGE);
    const int states[]{0, 0, 0, -2};
    EXPECT_EQ(poe_client_set_all_schedules(client, states), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_set_energy_recording(client, 2), POE_CLIENT_USAGE);
    EXPECT_THAT(daemon.requests(), IsEmpty());
}

TEST_F(c_api, refuses_null_everywhere) {
    poe_client_whole_status status;
    EXPECT_EQ(poe_client_open(nullptr, nullptr), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_get_whole_status(nullptr, &status), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_get_whole_status(client, nullptr), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_begin_get_whole_status(nullptr), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_set_port(client, 0, nullptr), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_set_all_ports(client, nullptr), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_set_all_schedules(client, nullptr), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_begin_set_power_bank(client, nullptr), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_power_cycle(nullptr, 1), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_take(nullptr, nullptr, 0), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_set_timeout_ms(nullptr, 1), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_timeout_ms(nullptr), 0U);
    EXPECT_STREQ(poe_client_socket_path(nullptr), "");
    EXPECT_EQ(poe_client_system_error(nullptr), 0);
    EXPECT_EQ(poe_client_descriptor(nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(poe_client_seconds_until_on(nullptr, 0, 5), 0U);
    poe_client_cancel(nullptr);
    poe_client_close(nullptr);
    EXPECT_THAT(daemon.requests(), IsEmpty());
}

TEST_F(c_api, takes_only_what_was_asked_for_and_keeps_it_until_then) {
    poe_client_port_settings settings;
    poe_client_whole_status status;
    EXPECT_EQ(poe_client_take(client, &status, sizeof status), POE_CLIENT_USAGE) << "nothing is pending";
    ASSERT_EQ(poe_client_begin_get_whole_status(client), POE_CLIENT_OK);
    EXPECT_EQ(poe_client_take(client, &settings, sizeof settings), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_take(client, nullptr, sizeof status), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_take(client, nullptr, 0), POE_CLIENT_USAGE);
    EXPECT_EQ(take_when_readable(client, &status, sizeof status), POE_CLIENT_OK);
    ASSERT_EQ(poe_client_begin_power_cycle(client, 1), POE_CLIENT_OK);
    EXPECT_EQ(poe_client_take(client, &status, sizeof status), POE_CLIENT_USAGE);
    EXPECT_EQ(take_when_readable(client, nullptr, 0), POE_CLIENT_OK);
}

TEST_F(c_api, takes_one_request_at_a_time) {
    poe_client_whole_status status;
    ASSERT_EQ(poe_client_begin_get_whole_status(client), POE_CLIENT_OK);
    EXPECT_EQ(poe_client_begin_get_whole_status(client), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_get_whole_status(client, &status), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_power_cycle(client, 1), POE_CLIENT_USAGE);
    poe_client_cancel(client);
    EXPECT_EQ(poe_client_get_whole_status(client, &status), POE_CLIENT_OK);
}

TEST_F(c_api, takes_timeouts_from_a_millisecond_to_an_hour) {
    EXPECT_EQ(poe_client_set_timeout_ms(client, 0), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_set_timeout_ms(client, POE_CLIENT_LONGEST_TIMEOUT_MS + 1), POE_CLIENT_USAGE);
    EXPECT_EQ(poe_client_timeout_ms(client), never_reached_ms) << "as it was";
    for (const uint32_t taken : {1U, uint32_t{POE_CLIENT_LONGEST_TIMEOUT_MS}}) {
        EXPECT_EQ(poe_client_set_timeout_ms(client, taken), POE_CLIENT_OK);
        EXPECT_EQ(poe_client_timeout_ms(client), taken);
    }
}

// --- errors ---

TEST(c_api_errors, are_told_apart_and_leave_the_answer_alone) {
    poe_client_port_settings untouched;
    std::memset(&untouched, 0x5A, sizeof untouched);
    poe_client_port_settings got = untouched;
    const temporary_folder folder;
    {
        const c_client client(folder.path + "/nothing");
        EXPECT_EQ(poe_client_get_port_settings(client, 0, &got), POE_CLIENT_NO_DAEMON);
        EXPECT_EQ(poe_client_system_error(client), ENOENT);
        ASSERT_EQ(poe_client_begin_get_port_settings(client, 0), POE_CLIENT_OK);
        EXPECT_EQ(take_when_readable(client, &got, sizeof got), POE_CLIENT_NO_DAEMON);
        EXPECT_EQ(poe_client_system_error(client), ENOENT);
        EXPECT_EQ(poe_client_set_schedule(client, 0, 9), POE_CLIENT_USAGE);
    }
    {
        fake_daemon daemon(healthy(1));
        const c_client client(daemon.socket_path());
        EXPECT_EQ(poe_client_set_schedule(client, 9, 0), POE_CLIENT_REFUSED);
        EXPECT_EQ(poe_client_system_error(client), 0);
        ASSERT_EQ(poe_client_begin_set_schedule(client, 9, 0), POE_CLIENT_OK);
        EXPECT_EQ(take_when_readable(client, nullptr, 0), POE_CLIENT_REFUSED);
    }
    {
        fake_daemon daemon([](const message&, std::size_t) {
            return std::vector<message>{message_bytes("all_port_settings_out_of_order")};
        });
        const c_client client(daemon.socket_path());
        poe_client_port_settings all[POE_CLIENT_PORT_COUNT];
        EXPECT_EQ(poe_client_get_all_port_settings(client, all), POE_CLIENT_MALFORMED);
    }
    {
        fake_daemon daemon([](const message&, std::size_t) { return std::vector<message>{}; });
        const c_client client(daemon.socket_path(), soon_ms);
        EXPECT_EQ(poe_client_get_port_settings(client, 0, &got), POE_CLIENT_TIMEOUT);
        ASSERT_EQ(poe_client_begin_power_cycle(client, 1), POE_CLIENT_OK);
        EXPECT_EQ(take_when_readable(client, nullptr, 0), POE_CLIENT_TIMEOUT);
    }
    EXPECT_EQ(std::memcmp(&got, &untouched, sizeof got), 0);
}

TEST(c_api_errors, a_limit_beyond_what_milliwatts_can_say_is_malformed) {
    fake_daemon daemon([](const message&, std::size_t) {
        message reply = message_bytes("port_3_settings");
        std::fill_n(reply.begin() + 16, 4, 0xFF);
        return std::vector<message>{reply};
    });
    const c_client client(daemon.socket_path());
    poe_client_port_settings got;
    EXPECT_EQ(poe_client_get_port_settings(client, 3, &got), POE_CLIENT_MALFORMED);
    ASSERT_EQ(poe_client_begin_get_port_settings(client, 3), POE_CLIENT_OK);
    EXPECT_EQ(take_when_readable(client, &got, sizeof got), POE_CLIENT_MALFORMED);
}

TEST(c_api_errors, without_a_descriptor_to_watch_nothing_begins) {
    fake_daemon daemon(healthy());
    const c_client client(daemon.socket_path());
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const int begun = poe_client_begin_power_cycle(client, 1);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(begun, POE_CLIENT_OWN_SOCKET);
    EXPECT_EQ(poe_client_system_error(client), EMFILE);
    EXPECT_EQ(poe_client_power_cycle(client, 1), POE_CLIENT_OK) << "nothing is pending";
}

TEST(c_api_errors, each_have_a_name_and_a_sentence) {
    std::vector<std::string> names;
    for (int error = POE_CLIENT_PENDING; error <= POE_CLIENT_INTERNAL; error++) {
        names.emplace_back(poe_client_error_name(error));
        EXPECT_THAT(poe_client_error_text(error), testing::MatchesRegex(".+[.?]")) << error;
    }
    EXPECT_THAT(names, ElementsAre("pending", "ok", "no-daemon", "not-permitted", "timeout", "refused", "malformed",
                                   "own-socket", "usage", "internal"));
    EXPECT_STREQ(poe_client_error_name(99), "unknown");
    EXPECT_STRNE(poe_client_error_text(-99), "");
}

// --- the rest ---

TEST(c_api_connection, is_to_the_path_given_or_named_by_the_environment) {
    ASSERT_EQ(setenv("POE_DRV_SOCKET", "/named/by/environment", 1), 0);
    poe_client_connection* client = nullptr;
    ASSERT_EQ(poe_client_open(nullptr, &client), POE_CLIENT_OK);
    EXPECT_STREQ(poe_client_socket_path(client), "/named/by/environment");
    EXPECT_EQ(poe_client_timeout_ms(client), uint32_t{POE_CLIENT_DEFAULT_TIMEOUT_MS});
    EXPECT_EQ(poe_client_system_error(client), 0);
    poe_client_close(client);
    ASSERT_EQ(unsetenv("POE_DRV_SOCKET"), 0);
    const c_client named("/named/by/argument");
    EXPECT_STREQ(poe_client_socket_path(named), "/named/by/argument");
}

TEST(c_api_connection, closes_with_a_request_pending_and_leaves_no_name) {
    fake_daemon daemon([](const message&, std::size_t) { return std::vector<message>{}; });
    {
        const c_client client(daemon.socket_path());
        ASSERT_EQ(poe_client_begin_power_cycle(client, 1), POE_CLIENT_OK);
        EXPECT_THAT(daemon.folder.entries(), SizeIs(2));
        poe_client_remove_names();
        EXPECT_THAT(daemon.folder.entries(), SizeIs(1));
    }
    EXPECT_THAT(daemon.folder.entries(), ElementsAre("daemon"));
}

TEST(c_api_status, has_a_name_a_meaning_a_cause_and_a_remedy_under_every_number) {
    for (const auto& code : poe_client::status_codes) {
        EXPECT_EQ(poe_client_status_name(code.number), code.name);
        EXPECT_EQ(poe_client_status_meaning(code.number), code.meaning);
        EXPECT_EQ(poe_client_status_cause(code.number), code.cause);
        EXPECT_EQ(poe_client_status_remedy(code.number), code.remedy);
    }
    EXPECT_STREQ(poe_client_status_name(POE_CLIENT_STATUS_POWER_DENIED), "power-denied");
    EXPECT_STREQ(poe_client_status_name(POE_CLIENT_STATUS_NOT_READ_YET), "not-read-yet");
    EXPECT_STREQ(poe_client_status_name(POE_CLIENT_STATUS_SWITCHED_ON), "switched-on");
}

TEST(c_api_status, above_15_is_unknown_and_has_its_texts_all_the_same) {
    for (const uint32_t number : {16U, 255U, 0xFFFFFFFFU}) {
        EXPECT_STREQ(poe_client_status_name(number), "unknown");
        for (const char* text :
             {poe_client_status_meaning(number), poe_client_status_cause(number), poe_client_status_remedy(number)})
            EXPECT_STRNE(text, "");
    }
}

TEST(c_api_power_cycles, say_how_long_a_port_stays_off) {
    poe_client_power_cycles cycles{};
    cycles.now_tick = 3;  // the clock has just begun anew
    cycles.port[2] = {1, {}, 0xFFFFFFFC};
    EXPECT_EQ(poe_client_seconds_until_on(&cycles, 2, 5), 4U);
    EXPECT_EQ(poe_client_seconds_until_on(&cycles, 1, 5), 0U) << "not pending";
    EXPECT_EQ(poe_client_seconds_until_on(&cycles, 4, 5), 0U) << "no such port";
}

TEST(c_api_version, is_that_of_the_header) {
    EXPECT_EQ(poe_client_version(), uint32_t{POE_CLIENT_VERSION});
}

}  // namespace
