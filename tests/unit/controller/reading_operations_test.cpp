#include "controller/operations.h"

#include "controller_bench.h"

namespace {

const frame_bytes port_status_answer = answer_frame({0x42, 0, 1, 2, 0x21, 0x43, 0x54, 0x65, 0x76, 0x87, 0x98});
const frame_bytes event_counters_answer = answer_frame({0x45, 0, 1, 13, 14, 15, 16, 17, 18, 19, 20});
const frame_bytes pm_answer = answer_frame({0x4B, 0, 2, 0x0B, 0xBD, 0, 0, 0, 0, 0, 0});  // method 2, 300.5 W
const frame_bytes parameters_answer = answer_frame({0x4A, 0, 179, 0, 0, 0, 0, 9, 0, 0, 0});

class reading_operations : public controller_bench {};

// --- port measurements ---

TEST_F(reading_operations, port_measurements_are_handed_out_but_for_the_spare) {
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

TEST_F(reading_operations, failed_port_measurements_write_nothing) {
    answers_with_a_wrong_checksum();
    std::uint16_t voltage = 1, current = 2, power = 3, spare = 4, temperature = 5;

    EXPECT_EQ(quietly([&] { return poe_get_port_measurements(1, &voltage, &current, &power, &spare, &temperature); }),
              -2);

    EXPECT_THAT((std::array{voltage, current, power, spare, temperature}), ElementsAre(1, 2, 3, 4, 5));
}

// --- port status ---

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

TEST_F(reading_operations, a_port_status_is_the_status_then_the_event_counters) {
    answers_by_key({{0x42, port_status_answer}, {0x45, event_counters_answer}});
    port_status_outputs out;

    EXPECT_EQ(out.read(1), 0);

    EXPECT_THAT(out.all(), ElementsAre(101, 102, 2, 0xFF, 1, 2, 0x65, 13, 14, 15, 17, 16));
    EXPECT_THAT(conversation(), ElementsAre(asked({0x42, 0, 1}), asked({0x45, 0, 1, 1})));
}

TEST_F(reading_operations, a_port_in_state_4_has_a_whole_detail) {
    answers_by_key({{0x42, answer_frame({0x42, 0, 1, 4, 0x21})}});
    port_status_outputs out;

    out.read(1);

    EXPECT_EQ(out.state, 4);
    EXPECT_EQ(out.detail, 0x21);
    EXPECT_EQ(out.low, 0xFF);
    EXPECT_EQ(out.high, 0xFF);
}

TEST_F(reading_operations, a_failed_status_still_reads_the_event_counters) {
    answers_by_key({{0x42, damaged(port_status_answer)}, {0x45, event_counters_answer}});
    port_status_outputs out;

    EXPECT_EQ(quietly([&] { return out.read(3); }), -2);

    EXPECT_THAT(out.all(), ElementsAre(101, 102, 103, 104, 105, 106, 107, 13, 14, 15, 17, 16));
    EXPECT_THAT(keys_sent(), ElementsAre(0x42, 0x45));
}

TEST_F(reading_operations, failed_event_counters_fail_the_port_status_and_keep_its_outputs) {
    answers_by_key({{0x42, port_status_answer}, {0x45, damaged(event_counters_answer)}});
    port_status_outputs out;

    EXPECT_EQ(quietly([&] { return out.read(1); }), -2);

    EXPECT_THAT(out.all(), ElementsAre(101, 102, 2, 0xFF, 1, 2, 0x65, 108, 109, 110, 111, 112));
}

TEST_F(reading_operations, the_event_counters_failure_comes_before_the_statuss) {
    answers_by_key({{0x42, answer_frame({0x42, 'a'})}, {0x45, damaged(event_counters_answer)}});
    port_status_outputs out;
    EXPECT_EQ(quietly([&] { return out.read(1); }), -2);

    answers_by_key({{0x42, damaged(port_status_answer)}, {0x45, answer_frame({0x45, 'a'})}});
    EXPECT_EQ(quietly([&] { return out.read(1); }), -13);
}

// --- channels ---

TEST_F(reading_operations, channel_measurements_hand_out_four_values) {
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

TEST_F(reading_operations, the_channel_status_hands_out_the_bytes_6_5_3_4_10_9_7_8) {
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

// --- power management and banks ---

TEST_F(reading_operations, the_method_is_read_from_bank_0) {
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

TEST_F(reading_operations, a_power_bank_is_read_in_whole_watts_with_both_thresholds) {
    answers_by_key({{0x4B, pm_answer}, {0x4A, parameters_answer}});
    std::uint16_t power = 1, upper = 2, lower = 3;

    EXPECT_EQ(poe_get_power_banks(5, &power, &upper, &lower), 0);

    EXPECT_EQ(power, 300);
    EXPECT_EQ(upper, 575);
    EXPECT_EQ(lower, 445);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x4B, 5}), asked({0x4A, 0})));
}

TEST_F(reading_operations, failed_thresholds_leave_the_power_and_return_their_failure) {
    answers_by_key({{0x4B, pm_answer}, {0x4A, damaged(parameters_answer)}});
    std::uint16_t power = 1, upper = 2, lower = 3;

    EXPECT_EQ(quietly([&] { return poe_get_power_banks(0, &power, &upper, &lower); }), -2);

    EXPECT_THAT((std::array{power, upper, lower}), ElementsAre(300, 2, 3));
}

TEST_F(reading_operations, a_failed_bank_leaves_the_thresholds_and_returns_its_failure) {
    answers_by_key({{0x4B, damaged(pm_answer)}, {0x4A, parameters_answer}});
    std::uint16_t power = 1, upper = 2, lower = 3;

    EXPECT_EQ(quietly([&] { return poe_get_power_banks(0, &power, &upper, &lower); }), -2);

    EXPECT_THAT((std::array{power, upper, lower}), ElementsAre(1, 575, 445));
}

TEST_F(reading_operations, the_thresholds_failure_comes_before_the_banks) {
    answers_by_key({{0x4B, answer_frame({0x4B, 'a'})}, {0x4A, damaged(parameters_answer)}});
    EXPECT_EQ(quietly([] { return poe_get_power_banks(0, nullptr, nullptr, nullptr); }), -2);

    answers_by_key({{0x4B, damaged(pm_answer)}, {0x4A, answer_frame({0x4A, 'a'})}});
    EXPECT_EQ(quietly([] { return poe_get_power_banks(0, nullptr, nullptr, nullptr); }), -13);
}

// --- ports' configuration ---

TEST_F(reading_operations, the_active_matrix_gives_bytes_8_and_9) {
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

TEST_F(reading_operations, the_enable_states_are_read_port_by_port) {
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

TEST_F(reading_operations, only_0_and_1_are_enable_states) {
    for (unsigned value = 0; value <= 0xFF; value++) {
        answers(answer_frame({0x48, 0, 0, static_cast<std::uint8_t>(value)}));
        std::uint8_t state = 77;
        EXPECT_EQ(poe_get_all_port_enable_disable(&state, 1), 0);
        EXPECT_EQ(state, value <= 1 ? value : 77);
    }
}

TEST_F(reading_operations, the_enable_states_carry_on_after_a_failure_and_return_the_last) {
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

TEST_F(reading_operations, no_more_enable_states_are_read_than_there_are_ports) {
    for (unsigned count = 0; count <= 0xFF; count++) {
        the_world.frames.clear();
        std::array<std::uint8_t, 4> states{};
        poe_get_all_port_enable_disable(states.data(), static_cast<std::uint8_t>(count));
        EXPECT_EQ(the_world.frames.size(), std::min(count, 4U));
    }
}

TEST_F(reading_operations, the_priority_codes_0_2_3_read_as_3_2_1_and_others_leave_the_output) {
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

TEST_F(reading_operations, a_power_limit_reads_as_tenths_of_a_watt) {
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

// --- system measurements ---

const frame_bytes power_status_answer = answer_frame({0x41, 0, 0, 0, 0x12, 0x34, 6, 0, 0});
const frame_bytes temperature_answer = answer_frame({0x44, 0, 0, 0, 0, 0, 0, 0, 200});

struct system_outputs {
    std::uint8_t bank = 101;
    std::uint16_t bank_power = 102, power_word = 103, spare = 104, temperature = 105;
    int read() { return poe_get_system_measurments(&bank, &bank_power, &power_word, &spare, &temperature); }
    std::array<unsigned, 5> all() const { return {bank, bank_power, power_word, spare, temperature}; }
};

TEST_F(reading_operations, system_measurements_follow_the_active_bank) {
    answers_by_key({{0x41, power_status_answer}, {0x4B, pm_answer}, {0x44, temperature_answer}});
    system_outputs out;

    EXPECT_EQ(out.read(), 0);

    EXPECT_THAT(out.all(), ElementsAre(6, 3005, 0x1234, 104, 250));
    EXPECT_THAT(conversation(), ElementsAre(asked({0x41, 0}), asked({0x4B, 6}), asked({0x44, 0, 0})));
}

TEST_F(reading_operations, without_a_power_status_bank_0_is_read) {
    answers_by_key({{0x41, damaged(power_status_answer)}, {0x4B, pm_answer}, {0x44, temperature_answer}});
    system_outputs out;

    EXPECT_EQ(quietly([&] { return out.read(); }), -2);

    EXPECT_THAT(out.all(), ElementsAre(101, 3005, 103, 104, 250));
    EXPECT_THAT(conversation(), ElementsAre(asked({0x41, 0}), asked({0x4B, 0}), asked({0x44, 0, 0})));
}

TEST_F(reading_operations, a_failed_bank_of_the_system_keeps_its_output_and_returns_its_failure) {
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

TEST_F(reading_operations, a_temperature_that_cannot_be_read_is_0_and_no_failure) {
    answers_by_key({{0x41, power_status_answer}, {0x4B, pm_answer}, {0x44, damaged(temperature_answer)}});
    system_outputs out;

    EXPECT_EQ(quietly([&] { return out.read(); }), 0);

    EXPECT_THAT(out.all(), ElementsAre(6, 3005, 0x1234, 104, 0));
}

TEST_F(reading_operations, a_temperature_of_0_is_0) {
    answers_by_key({{0x44, answer_frame({0x44, 0, 0, 0, 0, 0, 0, 0, 220})}});
    system_outputs out;
    out.read();
    EXPECT_EQ(out.temperature, 0);
}

// --- software version ---

TEST_F(reading_operations, the_software_version_hands_out_whole_bytes_and_three_bits) {
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

TEST_F(reading_operations, a_failed_software_version_writes_nothing) {
    answers_with_a_wrong_checksum();
    std::uint8_t o0 = 1, o1 = 1, o3 = 1, o4 = 1, o5 = 1, o6 = 1, o7 = 1, o8 = 1;
    std::uint16_t o2 = 1;
    EXPECT_EQ(quietly([&] { return poe_get_software_version(&o0, &o1, &o2, &o3, &o4, &o5, &o6, &o7, &o8); }), -2);
    EXPECT_THAT((std::array<unsigned, 9>{o0, o1, o2, o3, o4, o5, o6, o7, o8}), testing::Each(1));
}

// --- null outputs ---

TEST_F(reading_operations, null_outputs_are_skipped_and_the_commands_sent_all_the_same) {
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

}  // namespace
