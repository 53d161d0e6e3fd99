#include "controller/operations.h"

#include "controller_bench.h"

namespace {

class writing_operations : public controller_bench {
  protected:
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

// --- system settings ---

TEST_F(writing_operations, the_plain_settings_send_their_one_frame) {
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

TEST_F(writing_operations, the_plain_settings_hand_their_failure_on) {
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

TEST_F(writing_operations, the_temporary_matrix_names_the_device_of_the_port) {
    poe_set_temporary_matrix(0, 0, 1);
    poe_set_temporary_matrix(4, 8, 9);
    poe_set_temporary_matrix(11, 22, 23);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x06, 0, 0, 1, 0, 0, 1}), asked({0x06, 0, 4, 1, 1, 8, 9}),
                                            asked({0x06, 0, 11, 1, 2, 22, 23})));
}

TEST_F(writing_operations, one_power_bank_is_set_with_the_thresholds_behind_it) {
    EXPECT_EQ(poe_set_power_banks(5, 300, 576, 446), 0);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x04, 0, 5, 0x0B, 0xB8, 0, 0}), asked({0x0E, 0, 179, 0xFF, 9})));
}

TEST_F(writing_operations, bank_128_sets_all_eight_banks_and_the_thresholds_once) {
    EXPECT_EQ(poe_set_power_banks(128, 65, 576, 446), 0);
    std::vector<std::string> expected;
    for (std::uint8_t bank = 0; bank < 8; bank++)
        expected.push_back(asked({0x04, 0, bank, 0x02, 0x8A, 0, 0}));
    expected.push_back(asked({0x0E, 0, 179, 0xFF, 9}));
    EXPECT_THAT(conversation(), ElementsAreArray(expected));
}

TEST_F(writing_operations, the_bank_value_keeps_16_bits_of_ten_times_the_watts) {
    poe_set_power_banks(0, 65535, 576, 446);  // 655350 = 0x9FFF6
    EXPECT_EQ(conversation().front(), asked({0x04, 0, 0, 0xFF, 0xF6, 0, 0}));
}

TEST_F(writing_operations, all_banks_are_sent_after_a_failure_and_the_last_failure_is_returned) {
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

TEST_F(writing_operations, the_thresholds_failure_comes_before_that_of_the_banks) {
    settings_end_with({{0x04, -2}, {0x0E, -14}});
    EXPECT_EQ(quietly([] { return poe_set_power_banks(128, 300, 576, 446); }), -14);
    settings_end_with({{0x04, -14}, {0x0E, -2}});
    EXPECT_EQ(quietly([] { return poe_set_power_banks(2, 300, 576, 446); }), -2);
    settings_end_with({{0x04, -14}});
    EXPECT_EQ(quietly([] { return poe_set_power_banks(2, 300, 576, 446); }), -14);
}

// --- port settings ---

// The pairs of a frame for one port, and for all four.
std::string to_one(std::uint8_t key, std::uint8_t port, std::uint8_t value) {
    return asked({key, 0, port, value});
}
std::string to_all(std::uint8_t key, std::uint8_t value) {
    return asked({key, 0, 0, value, 1, value, 2, value, 3, value});
}

TEST_F(writing_operations, a_power_state_is_0_1_or_ff) {
    for (unsigned state = 0; state <= 0xFF; state++) {
        the_world.frames.clear();
        EXPECT_EQ(poe_set_port_power_state(2, static_cast<std::uint8_t>(state)), 0);
        ASSERT_THAT(conversation(), ElementsAre(to_one(0x01, 2, state == 0 ? 0 : state == 1 ? 1 : 0xFF)));
    }
}

TEST_F(writing_operations, the_power_state_is_set_one_port_at_a_time) {
    poe_set_port_power_state(128, 1);
    EXPECT_THAT(conversation(), ElementsAre(to_one(0x01, 128, 1)));
}

TEST_F(writing_operations, a_priority_is_sent_as_the_controllers_code) {
    for (unsigned priority = 0; priority <= 0xFF; priority++) {
        const auto byte = static_cast<std::uint8_t>(priority);
        const std::uint8_t code = priority == 1 ? 3 : priority == 2 ? 2 : 0;
        the_world.frames.clear();
        EXPECT_EQ(poe_set_port_priority(3, byte), 0);
        EXPECT_EQ(poe_set_port_priority(128, byte), 0);
        ASSERT_THAT(conversation(), ElementsAre(to_one(0x15, 3, code), to_all(0x15, code))) << priority;
    }
}

TEST_F(writing_operations, a_limit_is_sent_in_steps_of_400_mw_in_one_byte) {
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

TEST_F(writing_operations, port_parameters_are_power_state_limit_and_priority_in_that_order) {
    EXPECT_EQ(poe_set_port_parameters(2, 1, 30000, 2), 0);
    EXPECT_THAT(conversation(), ElementsAre(to_one(0x01, 2, 1), to_one(0x14, 2, 75), to_one(0x15, 2, 2)));
}

TEST_F(writing_operations, port_parameters_of_all_ports_are_three_frames) {
    EXPECT_EQ(poe_set_port_parameters(128, 0, 90000, 3), 0);
    EXPECT_THAT(conversation(), ElementsAre(to_all(0x01, 0), to_all(0x14, 225), to_all(0x15, 0)));
}

TEST_F(writing_operations, port_parameters_switch_on_for_1_only) {
    for (unsigned enable = 0; enable <= 0xFF; enable++) {
        the_world.frames.clear();
        poe_set_port_parameters(0, static_cast<std::uint8_t>(enable), 0, 1);
        ASSERT_THAT(conversation(),
                    ElementsAre(to_one(0x01, 0, enable == 1 ? 1 : 0), to_one(0x14, 0, 0), to_one(0x15, 0, 3)));
    }
}

TEST_F(writing_operations, port_parameters_of_every_priority_carry_its_code) {
    for (unsigned priority = 0; priority <= 0xFF; priority++) {
        the_world.frames.clear();
        poe_set_port_parameters(0, 1, 0, static_cast<std::uint8_t>(priority));
        ASSERT_EQ(conversation().back(), to_one(0x15, 0, priority == 2 ? 2 : priority == 1 ? 3 : 0));
    }
}

TEST_F(writing_operations, port_parameters_are_all_sent_and_the_last_failure_returned) {
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

TEST_F(writing_operations, single_port_settings_hand_their_failure_on) {
    answers_with_a_wrong_checksum();
    EXPECT_EQ(quietly([] { return poe_set_port_power_state(1, 1); }), -2);
    EXPECT_EQ(quietly([] { return poe_set_port_priority(1, 1); }), -2);
    EXPECT_EQ(quietly([] { return poe_set_power_limit_for_channels(128, 400); }), -2);
}

TEST_F(writing_operations, powering_ports_cancels_their_auto_off_marks) {
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

// --- inline mode ---

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

TEST_F(writing_operations, every_inline_mode_of_one_port_sends_its_frames_and_writes_its_cpld_bit) {
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

TEST_F(writing_operations, every_inline_mode_of_all_ports_sends_one_frame_a_setting_and_one_cpld_write) {
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

TEST_F(writing_operations, the_cpld_is_written_after_the_frames_even_when_they_fail) {
    answers_with_a_wrong_checksum();
    EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 4); }), -2);
    EXPECT_THAT(keys_sent(), ElementsAre(0x08, 0x0F, 0x0C, 0x12, 0x18));
    ASSERT_FALSE(the_world.story.empty());
    EXPECT_EQ(the_world.story.back(), "cpld 9 2 2");
}

TEST_F(writing_operations, the_inline_modes_last_failure_is_returned) {
    for (const int key : {0x08, 0x0F, 0x0C, 0x12, 0x18}) {
        settings_end_with({{key, -14}});
        EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 4); }), -14);
    }
    settings_end_with({{0x08, -2}, {0x18, -14}});
    EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 4); }), -14);
    settings_end_with({{0x0F, -14}, {0x12, -2}});
    EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 4); }), -2);
}

TEST_F(writing_operations, a_missing_cpld_is_no_failure_of_the_inline_mode) {
    the_world.cpld_device_missing = true;
    EXPECT_EQ(quietly([] { return poe_set_inline_mode(1, 1); }), 0);
}

TEST_F(writing_operations, the_inline_mode_of_a_port_that_does_not_exist_touches_no_cpld_bit) {
    for (unsigned port = 4; port <= 0xFF; port++) {
        if (port == 128) continue;
        the_world.cpld_writes.clear();
        poe_set_inline_mode(static_cast<std::uint8_t>(port), 4);
        EXPECT_THAT(the_world.cpld_writes, ElementsAre(cpld_write{9, 0, 0})) << port;
    }
}

// --- enable and disable ---

TEST_F(writing_operations, switching_a_port_sends_its_state_and_then_its_inline_mode) {
    for (unsigned enable = 0; enable <= 0xFF; enable++) {
        the_world.frames.clear();
        EXPECT_EQ(poe_set_enable_disable_channels(2, static_cast<std::uint8_t>(enable), 1), 0);
        const std::uint8_t value = enable == 0 ? 0 : enable == 1 ? 1 : 0xFF;
        ASSERT_THAT(conversation(), ElementsAre(to_one(0x01, 2, value), to_one(0x08, 2, 0), to_one(0x0F, 2, 2),
                                                to_one(0x0C, 2, 3), to_one(0x12, 2, 1)));
    }
    EXPECT_EQ(the_world.cpld_writes.back(), (cpld_write{9, 0, 4}));
}

TEST_F(writing_operations, switching_all_ports_sends_one_frame_a_setting) {
    EXPECT_EQ(poe_set_enable_disable_channels(128, 0, 2), 0);
    EXPECT_THAT(conversation(),
                ElementsAre(to_all(0x01, 0), to_all(0x08, 0), to_all(0x0F, 2), to_all(0x0C, 6), to_all(0x12, 1)));
    EXPECT_THAT(the_world.cpld_writes, ElementsAre(cpld_write{9, 15, 15}));
}

TEST_F(writing_operations, a_failed_inline_mode_comes_before_a_failed_power_state) {
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
