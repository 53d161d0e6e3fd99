#include "client/fake_daemon.h"
#include "poe_client/codec.h"

namespace {

using namespace poe_client;

template <typename answer>
answer accepted_value(const decoded<answer>& outcome) {
    EXPECT_EQ(outcome.said, verdict::accepted);
    return outcome.value;
}

TEST(decode, system_settings) {
    EXPECT_EQ(accepted_value(decode_system_settings(message_bytes("system_settings"))),
              (system_settings{.enable = 1,
                               .parameter_1 = 0,
                               .parameter_2 = 1,
                               .threshold_percent = 95,
                               .parameter_4 = 0,
                               .parameter_5 = -1}));
}

TEST(decode, port_settings_of_the_port_that_was_asked_for) {
    EXPECT_EQ(accepted_value(decode_port_settings(message_bytes("port_3_settings"), 3)),
              (port_settings{.port = 3,
                             .enable = 1,
                             .priority = priority_high,
                             .schedule_enable = 0,
                             .mode = 4,
                             .re_enable_s = 10,
                             .power_limit_dw = 154}));
}

TEST(decode, settings_of_all_ports_in_port_order) {
    const auto ports = accepted_value(decode_all_port_settings(message_bytes("all_port_settings")));
    EXPECT_EQ(ports[0], (port_settings{0, 0, 3, 0, 2, 10, 900}));
    EXPECT_EQ(ports[1], (port_settings{1, 1, 1, 1, 0, 5, 10}));
    EXPECT_EQ(ports[2], (port_settings{2, 1, 2, 0, 3, 60, 300}));
    EXPECT_EQ(ports[3], (port_settings{3, 1, 3, 1, 4, 30, 601}));
}

TEST(decode, system_status) {
    EXPECT_EQ(accepted_value(decode_system_status(message_bytes("system_status"))),
              (system_status{.total_mw = 300000,
                             .consumed_mw = 35000,
                             .remaining_mw = 265000,
                             .temperature_mc = 41000,
                             .alarm_raised = true}));
}

TEST(decode, what_is_consumed_over_the_budget_remains_as_less_than_nothing) {
    const auto status = accepted_value(decode_system_status(message_bytes("system_status_over_budget_below_zero")));
    EXPECT_EQ(status.remaining_mw, -1000);
    EXPECT_EQ(status.temperature_mc, -5000);
}

TEST(decode, port_status_field_by_field) {
    const port_status expected{.port = 2,
                               .enable = 1,
                               .schedule_enable = 1,
                               .schedule_on = 0,
                               .detected_class = 4,
                               .error_code = not_reported,
                               .sub_status = 1,
                               .port_type = 2,
                               .status = 1,
                               .auto_off = false,
                               .voltage_mv = 53200,
                               .current_ma = 235,
                               .power_mw = 12500,
                               .temperature_mc = 41000,
                               .pair_set = {pair_set_status{.detected_class = 4,
                                                            .error_code = not_reported,
                                                            .sub_status = 1,
                                                            .status = 1,
                                                            .voltage_mv = 53200,
                                                            .current_ma = 150,
                                                            .power_mw = 7979},
                                            pair_set_status{.detected_class = not_reported,
                                                            .error_code = 5,
                                                            .sub_status = not_reported,
                                                            .status = 8,
                                                            .voltage_mv = 0,
                                                            .current_ma = 0,
                                                            .power_mw = 0}},
                               .event_totals = {1, 2, 3, 4, 5}};
    EXPECT_EQ(accepted_value(decode_port_status(message_bytes("port_2_status"), 2)), expected);
}

TEST(decode, a_port_before_its_first_reading_has_status_11) {
    const auto status = accepted_value(decode_port_status(message_bytes("port_2_status_before_the_first_reading"), 2));
    EXPECT_EQ(status.status, 11U);
    EXPECT_EQ(status.schedule_on, 1);
}

TEST(decode, status_of_all_ports_under_the_type_byte_1) {
    const auto ports = accepted_value(decode_all_port_status(message_bytes("all_port_status")));
    for (std::uint8_t port = 0; port < port_count; port++)
        EXPECT_EQ(ports[port].port, port);
    EXPECT_EQ(ports[0].port_type, 3);
    EXPECT_EQ(ports[1].power_mw, 5320U);
    EXPECT_EQ(ports[1].temperature_mc, 1000);
    EXPECT_TRUE(ports[2].auto_off);
    EXPECT_EQ(ports[3].status, 3U);
}

TEST(decode, whole_status_has_the_system_before_the_ports) {
    const auto status = accepted_value(decode_whole_status(message_bytes("whole_status")));
    EXPECT_EQ(status.system, (system_status{300000, 5320, 294680, 41000, false}));
    EXPECT_EQ(status.port, accepted_value(decode_all_port_status(message_bytes("all_port_status"))));
}

TEST(decode, communication_counters_are_whole_64_bit_numbers_in_their_order) {
    EXPECT_EQ(accepted_value(decode_communication_counters(message_bytes("communication_counters"))),
              (communication_counters{.total = 0x100000001,
                                      .rx_retry = 2,
                                      .rx_timeout = 3,
                                      .rx_chksum_error = 4,
                                      .tx_correctly_executed = 5,
                                      .tx_chksum_error = 6,
                                      .tx_subject_byte_conflict = 0,
                                      .tx_wrong_data_byte_value = 0,
                                      .undefined_key_value = 0x8000000000000009}));
}

TEST(decode, small_answers) {
    EXPECT_EQ(accepted_value(decode_deepest_queue(message_bytes("deepest_queue"))), 3U);
    EXPECT_EQ(accepted_value(decode_power_bank(message_bytes("power_bank"))), (power_bank{300, 7}));
    EXPECT_TRUE(accepted_value(decode_energy_recording(message_bytes("energy_recording"))));
}

TEST(decode, energy_is_recorded_when_the_byte_is_1_and_not_when_it_is_any_other) {
    message reply = message_bytes("energy_recording");
    for (unsigned value = 0; value < 256; value++) {
        reply.back() = static_cast<std::uint8_t>(value);
        EXPECT_EQ(accepted_value(decode_energy_recording(reply)), value == 1) << value;
    }
}

TEST(decode, power_cycles) {
    const auto cycles = accepted_value(decode_power_cycles(message_bytes("power_cycles")));
    EXPECT_EQ(cycles.now_tick, 1000U);
    EXPECT_EQ(cycles.port[0], (power_cycle_state{false, 0}));
    EXPECT_EQ(cycles.port[1], (power_cycle_state{true, 975}));
    EXPECT_EQ(cycles.port[2], (power_cycle_state{false, 7}));
    EXPECT_EQ(cycles.port[3], (power_cycle_state{true, 1000}));
}

TEST(decode, port_energy_with_its_three_rings) {
    const auto energy = accepted_value(decode_port_energy(message_bytes("port_1_energy"), 1));
    EXPECT_EQ(energy.powered_s, 3600U);
    EXPECT_EQ(energy.energy_wh, 12.5F);
    EXPECT_EQ(energy.minutes_start_s, 1700000000U);
    EXPECT_EQ(energy.half_hours_start_s, 1700000001U);
    EXPECT_EQ(energy.two_hours_start_s, 0x16553F102U);
    EXPECT_EQ(energy.minutes[0], (energy_slot{true, 60, 1.5F}));
    EXPECT_EQ(energy.minutes[59], (energy_slot{false, 0, 0.0F}));
    EXPECT_EQ(energy.half_hours[0], (energy_slot{true, 1800, 2.5F}));
    EXPECT_EQ(energy.two_hours[83], (energy_slot{true, 7200, 3.5F}));
}

TEST(decode, energy_summary_has_the_totals_before_the_ports) {
    const auto summary = accepted_value(decode_energy_summary(message_bytes("energy_summary")));
    EXPECT_EQ(summary.totals, (energy_figures{10, 3.0F, {true, 1.5F}, {false, 0}, {true, 3.5F}}));
    EXPECT_EQ(summary.port[0], (energy_figures{4, 2.0F, {true, 1.5F}, {false, 0}, {false, 0}}));
    EXPECT_EQ(summary.port[1], (energy_figures{6, 1.0F, {false, 0}, {false, 0}, {true, 3.5F}}));
    EXPECT_EQ(summary.port[3], energy_figures{});
}

TEST(decode, an_acknowledgement_of_another_request_is_foreign) {
    const auto said = [](const char* name, ipc_type request) {
        return decode_acknowledgement(message_bytes(name), request).said;
    };
    EXPECT_EQ(said("set_port_accepted", ipc_type::set_one_port_pmt), verdict::accepted);
    EXPECT_EQ(said("set_port_refused", ipc_type::set_one_port_pmt), verdict::refused);
    EXPECT_EQ(said("set_port_accepted", ipc_type::set_sys_pwr_pmt), verdict::foreign);
}

TEST(decode, a_refused_answer_is_refused_although_it_names_no_port) {
    EXPECT_EQ(decode_port_settings(message_bytes("port_settings_refused"), 3).said, verdict::refused);
    EXPECT_EQ(decode_port_status(message_bytes("port_status_refused"), 3).said, verdict::refused);
    EXPECT_EQ(decode_port_energy(message_bytes("port_energy_refused"), 3).said, verdict::refused);
}

TEST(decode, an_answer_for_another_port_is_foreign) {
    EXPECT_EQ(decode_port_settings(message_bytes("port_3_settings"), 2).said, verdict::foreign);
    EXPECT_EQ(decode_port_status(message_bytes("port_2_status"), 3).said, verdict::foreign);
    EXPECT_EQ(decode_port_energy(message_bytes("port_1_energy"), 0).said, verdict::foreign);
}

TEST(decode, ports_out_of_order_are_malformed) {
    EXPECT_EQ(decode_all_port_settings(message_bytes("all_port_settings_out_of_order")).said, verdict::malformed);
    message ports = message_bytes("all_port_status");
    ports[100] = 2;  // port 1 calls itself 2
    EXPECT_EQ(decode_all_port_status(ports).said, verdict::malformed);
    message whole = message_bytes("whole_status");
    whole[304] = 9;  // port 3 calls itself 9
    EXPECT_EQ(decode_whole_status(whole).said, verdict::malformed);
}

// --- every decoder against every length, type and result ---

struct decoder_row {
    const char* known;
    verdict (*judge)(received_bytes);
};

const decoder_row decoders[]{
    {"system_settings", [](received_bytes r) { return decode_system_settings(r).said; }},
    {"port_3_settings", [](received_bytes r) { return decode_port_settings(r, 3).said; }},
    {"all_port_settings", [](received_bytes r) { return decode_all_port_settings(r).said; }},
    {"system_status", [](received_bytes r) { return decode_system_status(r).said; }},
    {"port_2_status", [](received_bytes r) { return decode_port_status(r, 2).said; }},
    {"all_port_status", [](received_bytes r) { return decode_all_port_status(r).said; }},
    {"whole_status", [](received_bytes r) { return decode_whole_status(r).said; }},
    {"communication_counters", [](received_bytes r) { return decode_communication_counters(r).said; }},
    {"deepest_queue", [](received_bytes r) { return decode_deepest_queue(r).said; }},
    {"power_bank", [](received_bytes r) { return decode_power_bank(r).said; }},
    {"power_cycles", [](received_bytes r) { return decode_power_cycles(r).said; }},
    {"energy_recording", [](received_bytes r) { return decode_energy_recording(r).said; }},
    {"port_1_energy", [](received_bytes r) { return decode_port_energy(r, 1).said; }},
    {"energy_summary", [](received_bytes r) { return decode_energy_summary(r).said; }},
    {"set_port_accepted", [](received_bytes r) { return decode_acknowledgement(r, ipc_type::set_one_port_pmt).said; }},
};

TEST(decode, truncated_and_oversized_answers_are_foreign_at_every_length) {
    for (const auto& [known, judge] : decoders) {
        const message whole = message_bytes(known);
        for (std::size_t length = 0; length <= whole.size() + 9; length++) {
            message cut = whole;  // of its own size, so that a read behind its end shows
            cut.resize(length);
            cut.shrink_to_fit();
            EXPECT_EQ(judge(cut), length == whole.size() ? verdict::accepted : verdict::foreign) << known << length;
        }
    }
}

TEST(decode, every_other_type_byte_is_foreign) {
    for (const auto& [known, judge] : decoders) {
        const message right = message_bytes(known);
        for (int type = 0; type < 256; type++) {
            message other = right;
            other[0] = static_cast<std::uint8_t>(type);
            EXPECT_EQ(judge(other), type == right[0] ? verdict::accepted : verdict::foreign) << known << type;
        }
    }
}

TEST(decode, the_result_byte_1_is_refused_and_a_larger_one_malformed) {
    for (const auto& [known, judge] : decoders) {
        for (int result = 0; result < 256; result++) {
            message answer = message_bytes(known);
            answer[7] = static_cast<std::uint8_t>(result);
            const verdict expected =
                result == 0 ? verdict::accepted : (result == 1 ? verdict::refused : verdict::malformed);
            EXPECT_EQ(judge(answer), expected) << known << result;
        }
    }
}

// --- figures ---

TEST(temperature, is_in_thousandths_and_below_zero_in_the_upper_half_of_16_bits) {
    EXPECT_EQ(temperature_mc_of(0), 0);
    EXPECT_EQ(temperature_mc_of(41000), 41000);
    EXPECT_EQ(temperature_mc_of(32767U * 100), 3276700);
    EXPECT_EQ(temperature_mc_of(32768U * 100), -3276800);
    EXPECT_EQ(temperature_mc_of(65535U * 100), -100);
}

TEST(seconds_until_on, counts_down_in_ticks_of_200_ms_rounded_up) {
    EXPECT_EQ(seconds_until_on(1000, {true, 1000}, 10), 10U);
    EXPECT_EQ(seconds_until_on(1001, {true, 1000}, 10), 10U);
    EXPECT_EQ(seconds_until_on(1005, {true, 1000}, 10), 9U);
    EXPECT_EQ(seconds_until_on(1049, {true, 1000}, 10), 1U);
    EXPECT_EQ(seconds_until_on(1050, {true, 1000}, 10), 0U);
    EXPECT_EQ(seconds_until_on(5000, {true, 1000}, 10), 0U);
    EXPECT_EQ(seconds_until_on(1000, {false, 1000}, 10), 0U);
    EXPECT_EQ(seconds_until_on(4, {true, 0xFFFFFFFF}, 5), 4U) << "the tick counter wraps";
    EXPECT_EQ(seconds_until_on(1000, {true, 1000}, -1), 0U);
}

}  // namespace
