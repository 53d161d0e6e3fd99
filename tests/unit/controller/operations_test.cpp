#include "controller/operations.h"

#include "controller_bench.h"

namespace {

// An answer whose checksum is wrong: the quickest way for one step to fail, with -2.
frame_bytes damaged(frame_bytes answer) {
    answer[11]++;
    return answer;
}

const frame_bytes port_status_answer = answer_frame({0x42, 0, 1, 2, 0x21, 0x43, 0x54, 0x65, 0x76, 0x87, 0x98});
const frame_bytes event_counters_answer = answer_frame({0x45, 0, 1, 13, 14, 15, 16, 17, 18, 19, 20});
const frame_bytes pm_answer = answer_frame({0x4B, 0, 2, 0x0B, 0xBD, 0, 0, 0, 0, 0, 0});  // method 2, 300.5 W
const frame_bytes parameters_answer = answer_frame({0x4A, 0, 179, 0, 0, 0, 0, 9, 0, 0, 0});

class operations : public controller_bench {
  protected:
    // Runs an operation whose failures are said on standard error, which is other tests' business.
    template <typename operation>
    int quietly(operation run) {
        int status = 0;
        said_during([&] { status = run(); });
        return status;
    }

    // Each port setting is refused, fails, or is executed, by key.
    void settings_end_with(std::map<int, int> status_by_key) {
        std::map<int, frame_bytes> by_key;
        for (const auto& [key, status] : status_by_key) {
            const auto byte = static_cast<std::uint8_t>(key);
            frame_bytes answer = answer_frame({byte, 0});
            if (status == -14) answer = answer_frame({byte, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1});
            by_key[key] = status == -2 ? damaged(answer) : answer;
        }
        answers_by_key(by_key);
    }
};

// --- port measurements ---------------------------------------------------------------------------------------------

TEST_F(operations, port_measurements_are_handed_out_but_for_the_spare) {
    answers(answer_frame({0x44, 0, 1, 0x03, 0x00, 0x12, 0x34, 0, 200, 0x56, 0x78}));
    std::uint16_t voltage = 1, current = 2, power = 3, spare = 4, temperature = 5;

    EXPECT_EQ(poe_get_port_measurements(1, &voltage, &current, &power, &spare, &temperature), 0);

    EXPECT_EQ(voltage, 494);
    EXPECT_EQ(current, 0x1234);
    EXPECT_EQ(power, 0x5678);
    EXPECT_EQ(spare, 4);
    EXPECT_EQ(temperature, 250);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x44, 0, 1})));
}

TEST_F(operations, failed_port_measurements_write_nothing) {
    answers_with_a_wrong_checksum();
    std::uint16_t voltage = 1, current = 2, power = 3, spare = 4, temperature = 5;

    EXPECT_EQ(quietly([&] { return poe_get_port_measurements(1, &voltage, &current, &power, &spare, &temperature); }),
              -2);

    EXPECT_THAT((std::array{voltage, current, power, spare, temperature}), ElementsAre(1, 2, 3, 4, 5));
}

// --- port status ---------------------------------------------------------------------------------------------------

struct port_status_outputs {
    std::uint8_t spare1 = 101, spare2 = 102, state = 103, detail = 104, low = 105, high = 106, pair_mode = 107,
                 mib1 = 108, mib2 = 109, mib3 = 110, mib4 = 111, mib5 = 112;
    int read(std::uint8_t port) {
        return poe_get_new_port_status(port, &spare1, &spare2, &state, &detail, &low, &high, &pair_mode, &mib1, &mib2,
                                       &mib3, &mib4, &mib5);
    }
    std::array<std::uint8_t, 12> all() const {
        return {spare1, spare2, state, detail, low, high, pair_mode, mib1, mib2, mib3, mib4, mib5};
    }
};

TEST_F(operations, a_port_status_is_the_status_then_the_event_counters) {
    answers_by_key({{0x42, port_status_answer}, {0x45, event_counters_answer}});
    port_status_outputs out;

    EXPECT_EQ(out.read(1), 0);

    EXPECT_THAT(out.all(), ElementsAre(101, 102, 2, 0xFF, 1, 2, 0x65, 13, 14, 15, 17, 16));
    EXPECT_THAT(conversation(), ElementsAre(asked({0x42, 0, 1}), asked({0x45, 0, 1, 1})));
}

TEST_F(operations, a_port_in_state_4_has_a_whole_detail) {
    answers_by_key({{0x42, answer_frame({0x42, 0, 1, 4, 0x21})}});
    port_status_outputs out;

    out.read(1);

    EXPECT_EQ(out.state, 4);
    EXPECT_EQ(out.detail, 0x21);
    EXPECT_EQ(out.low, 0xFF);
    EXPECT_EQ(out.high, 0xFF);
}

TEST_F(operations, a_failed_status_still_reads_the_event_counters) {
    answers_by_key({{0x42, damaged(port_status_answer)}, {0x45, event_counters_answer}});
    port_status_outputs out;

    EXPECT_EQ(quietly([&] { return out.read(3); }), -2);

    EXPECT_THAT(out.all(), ElementsAre(101, 102, 103, 104, 105, 106, 107, 13, 14, 15, 17, 16));
    EXPECT_THAT(keys_sent(), ElementsAre(0x42, 0x45));
}

TEST_F(operations, failed_event_counters_fail_the_port_status_and_keep_its_outputs) {
    answers_by_key({{0x42, port_status_answer}, {0x45, damaged(event_counters_answer)}});
    port_status_outputs out;

    EXPECT_EQ(quietly([&] { return out.read(1); }), -2);

    EXPECT_THAT(out.all(), ElementsAre(101, 102, 2, 0xFF, 1, 2, 0x65, 108, 109, 110, 111, 112));
}

TEST_F(operations, the_event_counters_failure_comes_before_the_statuss) {
    answers_by_key({{0x42, answer_frame({0x42, 'a'})}, {0x45, damaged(event_counters_answer)}});
    port_status_outputs out;
    EXPECT_EQ(quietly([&] { return out.read(1); }), -2);

    answers_by_key({{0x42, damaged(port_status_answer)}, {0x45, answer_frame({0x45, 'a'})}});
    EXPECT_EQ(quietly([&] { return out.read(1); }), -13);
}

// --- channels ------------------------------------------------------------------------------------------------------

TEST_F(operations, channel_measurements_hand_out_four_values) {
    answers(answer_frame({0x4F, 0, 2, 0x03, 0x00, 0x12, 0x34, 0x03, 0x20, 0x56, 0x78}));
    std::uint16_t voltage1 = 1, raw1 = 2, voltage2 = 3, raw2 = 4;

    EXPECT_EQ(poe_get_channel_measurements(2, &voltage1, &raw1, &voltage2, &raw2), 0);

    EXPECT_THAT((std::array{voltage1, raw1, voltage2, raw2}), ElementsAre(494, 0x1234, 515, 0x5678));
    EXPECT_THAT(conversation(), ElementsAre(asked({0x4F, 0, 2})));

    answers_with_a_wrong_checksum();
    voltage1 = 1, raw1 = 2, voltage2 = 3, raw2 = 4;
    EXPECT_EQ(quietly([&] { return poe_get_channel_measurements(2, &voltage1, &raw1, &voltage2, &raw2); }), -2);
    EXPECT_THAT((std::array{voltage1, raw1, voltage2, raw2}), ElementsAre(1, 2, 3, 4));
}

TEST_F(operations, the_channel_status_hands_out_the_bytes_6_5_3_4_10_9_7_8) {
    answers(answer_frame({0x4E, 0, 12, 13, 14, 15, 16, 17, 18, 19, 20}));
    std::array<std::uint8_t, 8> o{1, 2, 3, 4, 5, 6, 7, 8};
    const auto read = [&] {
        return poe_get_new_channel_status(3, &o[0], &o[1], &o[2], &o[3], &o[4], &o[5], &o[6], &o[7]);
    };

    EXPECT_EQ(read(), 0);

    EXPECT_THAT(o, ElementsAre(16, 15, 13, 14, 20, 19, 17, 18));
    EXPECT_THAT(conversation(), ElementsAre(asked({0x4E, 0, 3})));

    o = {1, 2, 3, 4, 5, 6, 7, 8};
    answers_with_a_wrong_checksum();
    EXPECT_EQ(quietly(read), -2);
    EXPECT_THAT(o, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
}

// --- power management and banks ------------------------------------------------------------------------------------

TEST_F(operations, the_method_is_read_from_bank_0) {
    answers(pm_answer);
    std::uint8_t method = 255;

    EXPECT_EQ(poe_get_pm_method(&method), 0);

    EXPECT_EQ(method, 2);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x4B, 0})));

    method = 255;
    answers_with_a_wrong_checksum();
    EXPECT_EQ(quietly([&] { return poe_get_pm_method(&method); }), -2);
    EXPECT_EQ(method, 255);
}

TEST_F(operations, a_power_bank_is_read_in_whole_watts_with_both_thresholds) {
    answers_by_key({{0x4B, pm_answer}, {0x4A, parameters_answer}});
    std::uint16_t power = 1, upper = 2, lower = 3;

    EXPECT_EQ(poe_get_power_banks(5, &power, &upper, &lower), 0);

    EXPECT_EQ(power, 300);
    EXPECT_EQ(upper, 575);
    EXPECT_EQ(lower, 445);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x4B, 5}), asked({0x4A, 0})));
}

TEST_F(operations, failed_thresholds_leave_the_power_and_return_their_failure) {
    answers_by_key({{0x4B, pm_answer}, {0x4A, damaged(parameters_answer)}});
    std::uint16_t power = 1, upper = 2, lower = 3;

    EXPECT_EQ(quietly([&] { return poe_get_power_banks(0, &power, &upper, &lower); }), -2);

    EXPECT_THAT((std::array{power, upper, lower}), ElementsAre(300, 2, 3));
}

TEST_F(operations, a_failed_bank_leaves_the_thresholds_and_returns_its_failure) {
    answers_by_key({{0x4B, damaged(pm_answer)}, {0x4A, parameters_answer}});
    std::uint16_t power = 1, upper = 2, lower = 3;

    EXPECT_EQ(quietly([&] { return poe_get_power_banks(0, &power, &upper, &lower); }), -2);

    EXPECT_THAT((std::array{power, upper, lower}), ElementsAre(1, 575, 445));
}

TEST_F(operations, the_thresholds_failure_comes_before_the_banks) {
    answers_by_key({{0x4B, answer_frame({0x4B, 'a'})}, {0x4A, damaged(parameters_answer)}});
    EXPECT_EQ(quietly([] { return poe_get_power_banks(0, nullptr, nullptr, nullptr); }), -2);

    answers_by_key({{0x4B, damaged(pm_answer)}, {0x4A, answer_frame({0x4A, 'a'})}});
    EXPECT_EQ(quietly([] { return poe_get_power_banks(0, nullptr, nullptr, nullptr); }), -13);
}

// --- ports' configuration ------------------------------------------------------------------------------------------

TEST_F(operations, the_active_matrix_gives_bytes_8_and_9) {
    answers(answer_frame({0x49, 0, 2, 13, 14, 15, 16, 17, 18, 19, 20}));
    std::uint8_t pair_a = 1, pair_b = 2;

    EXPECT_EQ(poe_get_physical_port_number_from_active_matrix(2, &pair_a, &pair_b), 0);

    EXPECT_EQ(pair_a, 18);
    EXPECT_EQ(pair_b, 19);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x49, 0, 2})));

    pair_a = 1, pair_b = 2;
    answers_with_a_wrong_checksum();
    EXPECT_EQ(quietly([&] { return poe_get_physical_port_number_from_active_matrix(2, &pair_a, &pair_b); }), -2);
    EXPECT_EQ(pair_a, 1);
    EXPECT_EQ(pair_b, 2);
}

TEST_F(operations, the_enable_states_are_read_port_by_port) {
    the_world.controller = [](std::uint32_t, frame_bytes& frame) {
        const std::uint8_t enable[] = {1, 0, 2, 1};
        frame = answer_frame({0x48, 0, frame[2], enable[frame[2]]});
        return 0;
    };
    std::array<std::uint8_t, 4> states{9, 9, 9, 9};

    EXPECT_EQ(poe_get_all_port_enable_disable(states.data(), 4), 0);

    EXPECT_THAT(states, ElementsAre(1, 0, 9, 1));  // neither 0 nor 1 is left alone
    EXPECT_THAT(conversation(),
                ElementsAre(asked({0x48, 0, 0}), asked({0x48, 0, 1}), asked({0x48, 0, 2}), asked({0x48, 0, 3})));
}

TEST_F(operations, only_0_and_1_are_enable_states) {
    for (unsigned value = 0; value <= 0xFF; value++) {
        answers(answer_frame({0x48, 0, 0, static_cast<std::uint8_t>(value)}));
        std::uint8_t state = 77;
        EXPECT_EQ(poe_get_all_port_enable_disable(&state, 1), 0);
        EXPECT_EQ(state, value <= 1 ? value : 77);
    }
}

TEST_F(operations, the_enable_states_carry_on_after_a_failure_and_return_the_last) {
    the_world.controller = [](std::uint32_t, frame_bytes& frame) {
        const std::uint8_t port = frame[2];
        frame = answer_frame({0x48, port == 1 ? std::uint8_t{'a'} : std::uint8_t{0}, port, 1});
        if (port == 2) frame[11]++;
        return 0;
    };
    std::array<std::uint8_t, 4> states{9, 9, 9, 9};

    EXPECT_EQ(quietly([&] { return poe_get_all_port_enable_disable(states.data(), 4); }), -2);
    EXPECT_THAT(states, ElementsAre(1, 9, 9, 1));
    EXPECT_EQ(quietly([&] { return poe_get_all_port_enable_disable(states.data(), 2); }), -13);
}

TEST_F(operations, no_more_enable_states_are_read_than_there_are_ports) {
    for (unsigned count = 0; count <= 0xFF; count++) {
        the_world.frames.clear();
        std::array<std::uint8_t, 4> states{};
        poe_get_all_port_enable_disable(states.data(), static_cast<std::uint8_t>(count));
        EXPECT_EQ(the_world.frames.size(), std::min(count, 4U));
    }
}

TEST_F(operations, the_priority_codes_0_2_3_read_as_3_2_1_and_others_leave_the_output) {
    for (unsigned code = 0; code <= 0xFF; code++) {
        answers(answer_frame({0x49, 0, 1, 0, 0, 0, static_cast<std::uint8_t>(code)}));
        std::uint8_t priority = 99;
        EXPECT_EQ(poe_get_port_priority(1, &priority), 0);
        EXPECT_EQ(priority, code == 0 ? 3 : code == 2 ? 2 : code == 3 ? 1 : 99) << code;
    }
    EXPECT_EQ(conversation().front(), asked({0x49, 0, 1}));
    answers_with_a_wrong_checksum();
    std::uint8_t priority = 99;
    EXPECT_EQ(quietly([&] { return poe_get_port_priority(1, &priority); }), -2);
    EXPECT_EQ(priority, 99);
}

TEST_F(operations, a_power_limit_reads_as_tenths_of_a_watt) {
    for (unsigned steps = 0; steps <= 0xFF; steps++) {
        answers(answer_frame({0x49, 0, 1, 0, 0, static_cast<std::uint8_t>(steps)}));
        std::uint32_t limit = 12345;
        EXPECT_EQ(poe_get_port_power_limit(1, &limit), 0);
        EXPECT_EQ(limit, 4 * steps);
    }
    EXPECT_EQ(conversation().front(), asked({0x49, 0, 1}));
    answers_with_a_wrong_checksum();
    std::uint32_t limit = 12345;
    EXPECT_EQ(quietly([&] { return poe_get_port_power_limit(1, &limit); }), -2);
    EXPECT_EQ(limit, 12345U);
}

// --- system measurements -------------------------------------------------------------------------------------------

const frame_bytes power_status_answer = answer_frame({0x41, 0, 0, 0, 0x12, 0x34, 6, 0, 0});
const frame_bytes temperature_answer = answer_frame({0x44, 0, 0, 0, 0, 0, 0, 0, 200});

struct system_outputs {
    std::uint8_t bank = 101;
    std::uint16_t bank_power = 102, power_word = 103, spare = 104, temperature = 105;
    int read() { return poe_get_system_measurments(&bank, &bank_power, &power_word, &spare, &temperature); }
    std::array<unsigned, 5> all() const { return {bank, bank_power, power_word, spare, temperature}; }
};

TEST_F(operations, system_measurements_follow_the_active_bank) {
    answers_by_key({{0x41, power_status_answer}, {0x4B, pm_answer}, {0x44, temperature_answer}});
    system_outputs out;

    EXPECT_EQ(out.read(), 0);

    EXPECT_THAT(out.all(), ElementsAre(6, 3005, 0x1234, 104, 250));
    EXPECT_THAT(conversation(), ElementsAre(asked({0x41, 0}), asked({0x4B, 6}), asked({0x44, 0, 0})));
}

TEST_F(operations, without_a_power_status_bank_0_is_read) {
    answers_by_key({{0x41, damaged(power_status_answer)}, {0x4B, pm_answer}, {0x44, temperature_answer}});
    system_outputs out;

    EXPECT_EQ(quietly([&] { return out.read(); }), -2);

    EXPECT_THAT(out.all(), ElementsAre(101, 3005, 103, 104, 250));
    EXPECT_THAT(conversation(), ElementsAre(asked({0x41, 0}), asked({0x4B, 0}), asked({0x44, 0, 0})));
}

TEST_F(operations, a_failed_bank_of_the_system_keeps_its_output_and_returns_its_failure) {
    answers_by_key({{0x41, power_status_answer}, {0x4B, damaged(pm_answer)}, {0x44, temperature_answer}});
    system_outputs out;

    EXPECT_EQ(quietly([&] { return out.read(); }), -2);

    EXPECT_THAT(out.all(), ElementsAre(6, 102, 0x1234, 104, 250));

    answers_by_key(
        {{0x41, damaged(power_status_answer)}, {0x4B, answer_frame({0x4B, 'a'})}, {0x44, temperature_answer}});
    EXPECT_EQ(quietly([&] { return out.read(); }), -13);
    answers_by_key({{0x41, answer_frame({0x41, 'a'})}, {0x4B, damaged(pm_answer)}, {0x44, temperature_answer}});
    EXPECT_EQ(quietly([&] { return out.read(); }), -2);
}

TEST_F(operations, a_temperature_that_cannot_be_read_is_0_and_no_failure) {
    answers_by_key({{0x41, power_status_answer}, {0x4B, pm_answer}, {0x44, damaged(temperature_answer)}});
    system_outputs out;

    EXPECT_EQ(quietly([&] { return out.read(); }), 0);

    EXPECT_THAT(out.all(), ElementsAre(6, 3005, 0x1234, 104, 0));
}

TEST_F(operations, a_temperature_of_0_is_0) {
    answers_by_key({{0x44, answer_frame({0x44, 0, 0, 0, 0, 0, 0, 0, 220})}});
    system_outputs out;
    out.read();
    EXPECT_EQ(out.temperature, 0);
}

// --- software version ----------------------------------------------------------------------------------------------

TEST_F(operations, the_software_version_hands_out_whole_bytes_and_three_bits) {
    for (unsigned byte = 0; byte <= 0xFF; byte++) {
        const auto b = static_cast<std::uint8_t>(byte);
        const auto inverted = static_cast<std::uint8_t>(~byte);
        answers(answer_frame({0x40, 0, 0, 13, 14, 0x15, 0x16, b, 18, b, inverted}));
        std::uint8_t o0 = 1, o1 = 1, o3 = 1, o4 = 1, o5 = 9, o6 = 9, o7 = 9, o8 = 1;
        std::uint16_t o2 = 1;

        ASSERT_EQ(poe_get_software_version(&o0, &o1, &o2, &o3, &o4, &o5, &o6, &o7, &o8), 0);

        ASSERT_EQ(o0, 13);
        ASSERT_EQ(o1, 14);
        ASSERT_EQ(o2, 0x1516);
        ASSERT_EQ(o3, b);
        ASSERT_EQ(o4, 18);
        ASSERT_EQ(o5, byte % 2);
        ASSERT_EQ(o6, byte / 2 % 2);
        ASSERT_EQ(o7, byte / 4 % 2);
        ASSERT_EQ(o8, inverted);
    }
    EXPECT_EQ(conversation().front(), asked({0x40, 0}));
}

TEST_F(operations, a_failed_software_version_writes_nothing) {
    answers_with_a_wrong_checksum();
    std::uint8_t o0 = 1, o1 = 1, o3 = 1, o4 = 1, o5 = 1, o6 = 1, o7 = 1, o8 = 1;
    std::uint16_t o2 = 1;
    EXPECT_EQ(quietly([&] { return poe_get_software_version(&o0, &o1, &o2, &o3, &o4, &o5, &o6, &o7, &o8); }), -2);
    EXPECT_THAT((std::array<unsigned, 9>{o0, o1, o2, o3, o4, o5, o6, o7, o8}), testing::Each(1));
}

// --- null outputs --------------------------------------------------------------------------------------------------

TEST_F(operations, null_outputs_are_skipped_and_the_commands_sent_all_the_same) {
    EXPECT_EQ(poe_get_port_measurements(0, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(poe_get_new_port_status(0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                      nullptr, nullptr, nullptr, nullptr),
              0);
    EXPECT_EQ(poe_get_channel_measurements(0, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(poe_get_new_channel_status(0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(poe_get_pm_method(nullptr), 0);
    EXPECT_EQ(poe_get_power_banks(0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(poe_get_physical_port_number_from_active_matrix(0, nullptr, nullptr), 0);
    EXPECT_EQ(poe_get_all_port_enable_disable(nullptr, 1), 0);
    EXPECT_EQ(poe_get_system_measurments(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(poe_get_software_version(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
    EXPECT_EQ(poe_get_port_priority(0, nullptr), 0);
    EXPECT_EQ(poe_get_port_power_limit(0, nullptr), 0);
    EXPECT_THAT(keys_sent(), ElementsAre(0x44, 0x42, 0x45, 0x4F, 0x4E, 0x4B, 0x4B, 0x4A, 0x49, 0x48, 0x41, 0x4B, 0x44,
                                         0x40, 0x49, 0x49));
}

// --- system settings -----------------------------------------------------------------------------------------------

TEST_F(operations, the_plain_settings_send_their_one_frame) {
    EXPECT_EQ(poe_save_system_settings(), 0);
    EXPECT_EQ(poe_set_pm_method(2), 0);
    EXPECT_EQ(poe_set_system_mask(1), 0);
    EXPECT_EQ(poe_set_temporary_matrix(3, 6, 7), 0);
    EXPECT_EQ(poe_program_global_matrix(0), 0);
    EXPECT_EQ(poe_program_global_matrix(1), 0);
    EXPECT_THAT(conversation(),
                ElementsAre(asked({0xC0, 1}), asked({0x10, 0, 2}), asked({0x11, 0, 1}), asked({0x06, 0, 3, 1, 0, 6, 7}),
                            asked({0x05, 0, 0, 4}, 204), asked({0x05, 0, 1, 4}, 204)));
}

TEST_F(operations, the_plain_settings_hand_their_failure_on) {
    answers_with_a_wrong_checksum();
    EXPECT_EQ(quietly([] { return poe_save_system_settings(); }), -2);
    EXPECT_EQ(quietly([] { return poe_set_pm_method(2); }), -2);
    EXPECT_EQ(quietly([] { return poe_set_system_mask(1); }), -2);
    EXPECT_EQ(quietly([] { return poe_set_temporary_matrix(3, 6, 7); }), -2);
    EXPECT_EQ(quietly([] { return poe_program_global_matrix(1); }), -2);
    settings_end_with({{0xC0, -14}, {0x10, -14}, {0x11, -14}, {0x06, -14}, {0x05, -14}});
    EXPECT_EQ(poe_save_system_settings(), -14);
    EXPECT_EQ(poe_set_pm_method(2), -14);
    EXPECT_EQ(poe_set_system_mask(1), -14);
    EXPECT_EQ(poe_set_temporary_matrix(3, 6, 7), -14);
    EXPECT_EQ(poe_program_global_matrix(1), -14);
}

TEST_F(operations, the_temporary_matrix_names_the_device_of_the_port) {
    poe_set_temporary_matrix(0, 0, 1);
    poe_set_temporary_matrix(4, 8, 9);
    poe_set_temporary_matrix(11, 22, 23);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x06, 0, 0, 1, 0, 0, 1}), asked({0x06, 0, 4, 1, 1, 8, 9}),
                                            asked({0x06, 0, 11, 1, 2, 22, 23})));
}

TEST_F(operations, one_power_bank_is_set_with_the_thresholds_behind_it) {
    EXPECT_EQ(poe_set_power_banks(5, 300, 576, 446), 0);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x04, 0, 5, 0x0B, 0xB8, 0, 0}), asked({0x0E, 0, 179, 0xFF, 9})));
}

TEST_F(operations, bank_128_sets_all_eight_banks_and_the_thresholds_once) {
    EXPECT_EQ(poe_set_power_banks(128, 65, 576, 446), 0);
    std::vector<std::string> expected;
    for (std::uint8_t bank = 0; bank < 8; bank++)
        expected.push_back(asked({0x04, 0, bank, 0x02, 0x8A, 0, 0}));
    expected.push_back(asked({0x0E, 0, 179, 0xFF, 9}));
    EXPECT_THAT(conversation(), ElementsAreArray(expected));
}

TEST_F(operations, the_bank_value_keeps_16_bits_of_ten_times_the_watts) {
    poe_set_power_banks(0, 65535, 576, 446);  // 655350 = 0x9FFF6
    EXPECT_EQ(conversation().front(), asked({0x04, 0, 0, 0xFF, 0xF6, 0, 0}));
}

TEST_F(operations, all_banks_are_sent_after_a_failure_and_the_last_failure_is_returned) {
    the_world.controller = [](std::uint32_t, frame_bytes& frame) {
        const std::uint8_t bank = frame[2];
        const bool refused = frame[0] == 0x04 && bank == 4;
        const bool fails = frame[0] == 0x04 && bank == 1;
        frame = answer_frame({frame[0], 0, 0, refused ? std::uint8_t{1} : std::uint8_t{0}});
        if (fails) frame[11]++;
        return 0;
    };
    EXPECT_EQ(quietly([] { return poe_set_power_banks(128, 300, 576, 446); }), -14);
    EXPECT_EQ(the_world.frames.size(), 9U);
}

TEST_F(operations, the_thresholds_failure_comes_before_that_of_the_banks) {
    settings_end_with({{0x04, -2}, {0x0E, -14}});
    EXPECT_EQ(quietly([] { return poe_set_power_banks(128, 300, 576, 446); }), -14);
    settings_end_with({{0x04, -14}, {0x0E, -2}});
    EXPECT_EQ(quietly([] { return poe_set_power_banks(2, 300, 576, 446); }), -2);
    settings_end_with({{0x04, -14}});
    EXPECT_EQ(quietly([] { return poe_set_power_banks(2, 300, 576, 446); }), -14);
}

// --- port settings -------------------------------------------------------------------------------------------------

// The pairs of a frame for one port, and for all four.
std::string to_one(std::uint8_t key, std::uint8_t port, std::uint8_t value) {
    return asked({key, 0, port, value});
}
std::string to_all(std::uint8_t key, std::uint8_t value) {
    return asked({key, 0, 0, value, 1, value, 2, value, 3, value});
}

TEST_F(operations, a_power_state_is_0_1_or_ff) {
    for (unsigned state = 0; state <= 0xFF; state++) {
        the_world.frames.clear();
        EXPECT_EQ(poe_set_port_power_state(2, static_cast<std::uint8_t>(state)), 0);
        ASSERT_THAT(conversation(), ElementsAre(to_one(0x01, 2, state == 0 ? 0 : state == 1 ? 1 : 0xFF)));
    }
}

TEST_F(operations, the_power_state_is_set_one_port_at_a_time) {
    poe_set_port_power_state(128, 1);
    EXPECT_THAT(conversation(), ElementsAre(to_one(0x01, 128, 1)));
}

TEST_F(operations, a_priority_is_sent_as_the_controllers_code) {
    for (unsigned priority = 0; priority <= 0xFF; priority++) {
        const auto byte = static_cast<std::uint8_t>(priority);
        const std::uint8_t code = priority == 1 ? 3 : priority == 2 ? 2 : 0;
        the_world.frames.clear();
        EXPECT_EQ(poe_set_port_priority(3, byte), 0);
        EXPECT_EQ(poe_set_port_priority(128, byte), 0);
        ASSERT_THAT(conversation(), ElementsAre(to_one(0x15, 3, code), to_all(0x15, code))) << priority;
    }
}

TEST_F(operations, a_limit_is_sent_in_steps_of_400_mw_in_one_byte) {
    struct {
        std::uint32_t milliwatts;
        std::uint8_t value;
    } limits[] = {{0, 0},       {399, 0},      {400, 1},    {30000, 75}, {30399, 75},
                  {90000, 225}, {102000, 255}, {102400, 0}, {102800, 1}, {0xFFFFFFFF, 0x0A}};  // 10737418 = 0xA3D70A
    for (const auto& limit : limits) {
        the_world.frames.clear();
        EXPECT_EQ(poe_set_power_limit_for_channels(1, limit.milliwatts), 0);
        EXPECT_EQ(poe_set_power_limit_for_channels(128, limit.milliwatts), 0);
        EXPECT_THAT(conversation(), ElementsAre(to_one(0x14, 1, limit.value), to_all(0x14, limit.value)));
    }
}

TEST_F(operations, port_parameters_are_power_state_limit_and_priority_in_that_order) {
    EXPECT_EQ(poe_set_port_parameters(2, 1, 30000, 2), 0);
    EXPECT_THAT(conversation(), ElementsAre(to_one(0x01, 2, 1), to_one(0x14, 2, 75), to_one(0x15, 2, 2)));
}

TEST_F(operations, port_parameters_of_all_ports_are_three_frames) {
    EXPECT_EQ(poe_set_port_parameters(128, 0, 90000, 3), 0);
    EXPECT_THAT(conversation(), ElementsAre(to_all(0x01, 0), to_all(0x14, 225), to_all(0x15, 0)));
}

TEST_F(operations, port_parameters_switch_on_for_1_only) {
    for (unsigned enable = 0; enable <= 0xFF; enable++) {
        the_world.frames.clear();
        poe_set_port_parameters(0, static_cast<std::uint8_t>(enable), 0, 1);
        ASSERT_THAT(conversation(),
                    ElementsAre(to_one(0x01, 0, enable == 1 ? 1 : 0), to_one(0x14, 0, 0), to_one(0x15, 0, 3)));
    }
}

TEST_F(operations, port_parameters_of_every_priority_carry_its_code) {
    for (unsigned priority = 0; priority <= 0xFF; priority++) {
        the_world.frames.clear();
        poe_set_port_parameters(0, 1, 0, static_cast<std::uint8_t>(priority));
        ASSERT_EQ(conversation().back(), to_one(0x15, 0, priority == 2 ? 2 : priority == 1 ? 3 : 0));
    }
}

TEST_F(operations, port_parameters_are_all_sent_and_the_last_failure_returned) {
    struct {
        std::map<int, int> steps;
        int status;
    } cases[] = {
        {{{0x01, -2}}, -2},
        {{{0x14, -2}}, -2},
        {{{0x15, -2}}, -2},
        {{{0x01, -2}, {0x14, -14}}, -14},
        {{{0x01, -14}, {0x14, -2}}, -2},
        {{{0x01, -2}, {0x15, -14}}, -14},
        {{{0x14, -14}, {0x15, -2}}, -2},
    };
    for (const auto& each : cases) {
        settings_end_with(each.steps);
        the_world.frames.clear();
        EXPECT_EQ(quietly([] { return poe_set_port_parameters(1, 1, 30000, 1); }), each.status);
        EXPECT_THAT(keys_sent(), ElementsAre(0x01, 0x14, 0x15));
    }
}

TEST_F(operations, single_port_settings_hand_their_failure_on) {
    answers_with_a_wrong_checksum();
    EXPECT_EQ(quietly([] { return poe_set_port_power_state(1, 1); }), -2);
    EXPECT_EQ(quietly([] { return poe_set_port_priority(1, 1); }), -2);
    EXPECT_EQ(quietly([] { return poe_set_power_limit_for_channels(128, 400); }), -2);
}

TEST_F(operations, powering_ports_cancels_their_auto_off_marks) {
    g_port_pwr_auto_off = 0x0F;
    poe_set_port_power_state(2, 1);
    EXPECT_EQ(g_port_pwr_auto_off, 0x0B);
    poe_set_port_parameters(0, 1, 400, 1);
    EXPECT_EQ(g_port_pwr_auto_off, 0x0A);
    poe_set_port_priority(128, 1);
    EXPECT_EQ(g_port_pwr_auto_off, 0x0A);
    poe_set_enable_disable_channels(128, 1, 2);
    EXPECT_EQ(g_port_pwr_auto_off, 0);
}

// --- inline mode ---------------------------------------------------------------------------------------------------

struct inline_frame {
    std::uint8_t key, value;
};
// Mode by mode, frame by frame.
const std::vector<std::vector<inline_frame>> inline_frames{
    {{0x08, 0}, {0x0F, 2}, {0x0C, 0}, {0x12, 1}},
    {{0x08, 0}, {0x0F, 2}, {0x0C, 3}, {0x12, 1}},
    {{0x08, 0}, {0x0F, 2}, {0x0C, 6}, {0x12, 1}},
    {{0x08, 0}, {0x0F, 2}, {0x0C, 6}, {0x12, 2}},
    {{0x08, 2}, {0x0F, 0}, {0x0C, 6}, {0x12, 2}, {0x18, 3}},
};

std::vector<inline_frame> frames_of_mode(unsigned mode) {
    return mode < inline_frames.size() ? inline_frames[mode] : std::vector<inline_frame>{};
}
bool sets_cpld_bit(unsigned mode) {
    return mode == 2 || mode == 3 || mode == 4;
}

TEST_F(operations, every_inline_mode_of_one_port_sends_its_frames_and_writes_its_cpld_bit) {
    for (std::uint8_t port = 0; port < 4; port++) {
        for (unsigned mode = 0; mode <= 0xFF; mode++) {
            the_world.frames.clear();
            the_world.cpld_writes.clear();
            std::vector<std::string> expected;
            for (const auto& frame : frames_of_mode(mode))
                expected.push_back(to_one(frame.key, port, frame.value));
            const auto bit = static_cast<std::uint8_t>(1 << port);
            const cpld_write write{9, sets_cpld_bit(mode) ? bit : std::uint8_t{0}, bit};

            ASSERT_EQ(poe_set_inline_mode(port, static_cast<std::uint8_t>(mode)), 0);

            ASSERT_THAT(conversation(), ElementsAreArray(expected)) << mode;
            ASSERT_THAT(the_world.cpld_writes, ElementsAre(write)) << mode;
        }
    }
}

TEST_F(operations, every_inline_mode_of_all_ports_sends_one_frame_a_setting_and_one_cpld_write) {
    for (unsigned mode = 0; mode <= 0xFF; mode++) {
        the_world.frames.clear();
        the_world.cpld_writes.clear();
        std::vector<std::string> expected;
        for (const auto& frame : frames_of_mode(mode))
            expected.push_back(to_all(frame.key, frame.value));
        const cpld_write write{9, sets_cpld_bit(mode) ? std::uint8_t{15} : std::uint8_t{0}, 15};

        ASSERT_EQ(poe_set_inline_mode(128, static_cast<std::uint8_t>(mode)), 0);

        ASSERT_THAT(conversation(), ElementsAreArray(expected)) << mode;
        ASSERT_THAT(the_world.cpld_writes, ElementsAre(write)) << mode;
    }
}

TEST_F(operations, the_cpld_is_written_after_the_frames_even_when_they_fail) {
    answers_with_a_wrong_checksum();
    EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 4); }), -2);
    EXPECT_THAT(keys_sent(), ElementsAre(0x08, 0x0F, 0x0C, 0x12, 0x18));
    ASSERT_FALSE(the_world.story.empty());
    EXPECT_EQ(the_world.story.back(), "cpld 9 2 2");
}

TEST_F(operations, the_inline_modes_last_failure_is_returned) {
    for (const int key : {0x08, 0x0F, 0x0C, 0x12, 0x18}) {
        settings_end_with({{key, -14}});
        EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 4); }), -14);
    }
    settings_end_with({{0x08, -2}, {0x18, -14}});
    EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 4); }), -14);
    settings_end_with({{0x0F, -14}, {0x12, -2}});
    EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 4); }), -2);
}

TEST_F(operations, a_missing_cpld_is_no_failure_of_the_inline_mode) {
    the_world.cpld_device_missing = true;
    EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 1); }), 0);
}

TEST_F(operations, the_inline_mode_of_a_port_that_does_not_exist_touches_no_cpld_bit) {
    for (unsigned port = 4; port <= 0xFF; port++) {
        if (port == 128) continue;
        the_world.cpld_writes.clear();
        poe_set_inline_mode(static_cast<std::uint8_t>(port), 4);
        EXPECT_THAT(the_world.cpld_writes, ElementsAre(cpld_write{9, 0, 0})) << port;
    }
}

// --- enable and disable --------------------------------------------------------------------------------------------

TEST_F(operations, switching_a_port_sends_its_state_and_then_its_inline_mode) {
    for (unsigned enable = 0; enable <= 0xFF; enable++) {
        the_world.frames.clear();
        EXPECT_EQ(poe_set_enable_disable_channels(2, static_cast<std::uint8_t>(enable), 1), 0);
        const std::uint8_t value = enable == 0 ? 0 : enable == 1 ? 1 : 0xFF;
        ASSERT_THAT(conversation(), ElementsAre(to_one(0x01, 2, value), to_one(0x08, 2, 0), to_one(0x0F, 2, 2),
                                                to_one(0x0C, 2, 3), to_one(0x12, 2, 1)));
    }
    EXPECT_EQ(the_world.cpld_writes.back(), (cpld_write{9, 0, 4}));
}

TEST_F(operations, switching_all_ports_sends_one_frame_a_setting) {
    EXPECT_EQ(poe_set_enable_disable_channels(128, 0, 2), 0);
    EXPECT_THAT(conversation(),
                ElementsAre(to_all(0x01, 0), to_all(0x08, 0), to_all(0x0F, 2), to_all(0x0C, 6), to_all(0x12, 1)));
    EXPECT_THAT(the_world.cpld_writes, ElementsAre(cpld_write{9, 15, 15}));
}

TEST_F(operations, a_failed_inline_mode_comes_before_a_failed_power_state) {
    settings_end_with({{0x01, -2}, {0x0C, -14}});
    EXPECT_EQ(quietly([] { return poe_set_enable_disable_channels(1, 1, 0); }), -14);
    settings_end_with({{0x01, -14}, {0x0C, -2}});
    EXPECT_EQ(quietly([] { return poe_set_enable_disable_channels(1, 1, 0); }), -2);
    settings_end_with({{0x01, -14}});
    the_world.frames.clear();
    EXPECT_EQ(quietly([] { return poe_set_enable_disable_channels(1, 1, 0); }), -14);
    EXPECT_THAT(keys_sent(), ElementsAre(0x01, 0x08, 0x0F, 0x0C, 0x12));
}

}  // namespace
