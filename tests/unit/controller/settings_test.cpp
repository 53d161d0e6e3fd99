#include "controller/settings.h"

#include <functional>

#include "controller_bench.h"

namespace {

struct setting_row {
    std::string name;
    std::string variant;
    std::vector<std::uint8_t> request;
    std::uint32_t wait;
    std::vector<std::size_t> result_bytes;  // a 1 in one of these refuses
    std::function<int()> set;
};

const std::vector<setting_row> rows{
    {"_rtl_global_set", "power_off", {0x00, 0, 7}, 9, {2}, [] { return _rtl_global_set(0x00, 7); }},
    {"_rtl_global_set", "reset", {0x02, 0, 1}, 204, {2}, [] { return _rtl_global_set(0x02, 1); }},
    {"_rtl_global_set", "method", {0x10, 0, 2}, 9, {2}, [] { return _rtl_global_set(0x10, 2); }},
    {"_rtl_global_set", "mask", {0x11, 0, 1}, 9, {2}, [] { return _rtl_global_set(0x11, 1); }},
    {"_rtl_global_set", "event_code", {0x16, 0, 6}, 9, {2}, [] { return _rtl_global_set(0x16, 6); }},
    {"_rtl_global_power_source_set",
     "bank",
     {0x04, 0, 3, 0x0B, 0xB8, 0x12, 0x34},
     9,
     {3},
     [] { return _rtl_global_power_source_set(3, 3000, 0x1234); }},
    {"_rtl_port_mapping_enable_set",
     "matrix",
     {0x05, 0, 1, 4},
     204,
     {2, 3},
     [] { return _rtl_port_mapping_enable_set(1, 4); }},
    {"_rtl_port_pair_mapping_set",
     "port",
     {0x06, 0, 3, 0x11, 0x22, 6, 7},
     9,
     {3, 4, 5, 6, 10},
     [] { return _rtl_port_pair_mapping_set(3, 0x11, 0x22, 6, 7); }},
    {"_rtl_global_parameters_set",
     "thresholds",
     {0x0E, 0, 179, 0xFF, 9},
     9,
     {2},
     [] { return _rtl_global_parameters_set(446, 576); }},
    {"_rtl_port_set",
     "power",
     {0x01, 0, 0, 1, 1, 0, 2, 1, 3, 0xFF},
     9,
     {3, 5, 7, 9},
     [] {
         return _rtl_port_set(0x01, {0, 1, 2, 3}, {1, 0, 1, 0xFF});
     }},
    {"_rtl_port_set",
     "one_limit",
     {0x14, 0, 1, 75},
     9,
     {3, 5, 7, 9},
     [] {
         return _rtl_port_set(0x14, {1, 0xFF, 0xFF, 0xFF}, {75, 0xFF, 0xFF, 0xFF});
     }},
    {"_rtl_cfg_info_save", "store", {0xC0, 1}, 9, {2}, [] { return _rtl_cfg_info_save(); }},
    {"_rtl_cfg_info_clear", "store", {0xC0, 2}, 9, {2}, [] { return _rtl_cfg_info_clear(); }},
    {"_rtl_cfg_ver_save",
     "version",
     {0xC0, 3, 11, 12, 13, 14, 15},
     9,
     {2},
     [] { return _rtl_cfg_ver_save(11, 12, 13, 14, 15); }},
};

class settings : public controller_bench, public testing::WithParamInterface<setting_row> {
  protected:
    const setting_row& command = GetParam();

    // The controller's answer to the command: every data byte `rest`, the one at `place` `value`.
    void answers_with(std::size_t place, unsigned value, std::uint8_t rest) {
        frame_bytes answer =
            answer_frame({command.request[0], 0, rest, rest, rest, rest, rest, rest, rest, rest, rest});
        answer.at(place) = static_cast<std::uint8_t>(value);
        seal(answer);
        answers(answer);
    }

    bool is_result_byte(std::size_t place) const {
        return std::count(command.result_bytes.begin(), command.result_bytes.end(), place) != 0;
    }
};

INSTANTIATE_TEST_SUITE_P(each, settings, testing::ValuesIn(rows),
                         [](const auto& each) { return each.param.name.substr(5) + "_" + each.param.variant; });

TEST_P(settings, sends_its_request_once_with_its_wait) {
    EXPECT_EQ(command.set(), 0);
    EXPECT_THAT(conversation(), ElementsAre(asked(command.request, command.wait)));
}

TEST_P(settings, says_nothing_when_all_is_well) {
    EXPECT_EQ(said_during([&] { command.set(); }), "");
}

TEST_P(settings, a_1_refuses_in_each_result_byte_and_nowhere_else) {
    for (std::size_t place = 2; place <= 10; place++) {
        answers_with(place, 1, 0);
        int status = 1;
        said_during([&] { status = command.set(); });
        EXPECT_EQ(status, is_result_byte(place) ? -14 : 0) << "byte " << place;
    }
}

TEST_P(settings, only_a_1_refuses) {
    for (std::size_t place = 2; place <= 10; place++) {
        for (unsigned value = 0; value <= 0xFF; value++) {
            answers_with(place, value, 0xFF);
            int status = 1;
            if (value == 1) {
                said_during([&] { status = command.set(); });
            } else {
                status = command.set();
            }
            ASSERT_EQ(status, value == 1 && is_result_byte(place) ? -14 : 0) << "byte " << place << " = " << value;
        }
    }
}

TEST_P(settings, a_refusal_leaves_no_mark_and_counts_as_executed) {
    answers_with(command.result_bytes.front(), 1, 0);
    said_during([&] { command.set(); });
    EXPECT_TRUE(the_world.files.empty());
    EXPECT_EQ(g_dbg_communication_info.tx_correctly_executed.get(), 1U);
    EXPECT_EQ(the_world.frames.size(), 1U);
}

TEST_P(settings, a_refusal_is_silent_but_for_the_port_setting) {
    if (command.name == "_rtl_port_set") return;
    answers_with(command.result_bytes.front(), 1, 0);
    EXPECT_EQ(said_during([&] { command.set(); }), "");
}

TEST_P(settings, a_failed_transaction_is_reported_under_its_name_and_is_no_refusal) {
    the_world.controller = [](std::uint32_t, frame_bytes& frame) {
        for (std::size_t i = 2; i < 11; i++)
            frame[i] = 1;
        seal(frame);
        frame[11]++;
        return 0;
    };
    int status = 0;

    const std::string said = said_during([&] { status = command.set(); });

    EXPECT_EQ(status, -2);
    EXPECT_THAT(said, reported_under(command.name, "receive poe mcu message checksum error"));
}

TEST_P(settings, controller_reports_and_silence_come_through) {
    struct {
        char key;
        int status;
        const char* text;
    } reports_of[] = {{'a', -13, "poe mcu say [undefined key value]"}, {'b', -10, "poe mcu say [wrong checksum]"}};
    for (const auto& report : reports_of) {
        reports(report.key);
        int status = 0;
        EXPECT_THAT(said_during([&] { status = command.set(); }), reported_under(command.name, report.text));
        EXPECT_EQ(status, report.status);
    }
    is_dead();
    int status = 0;
    said_during([&] { status = command.set(); });
    EXPECT_EQ(status, -1);
}

class port_settings : public controller_bench {
  protected:
    port_settings() { g_port_pwr_auto_off = 0x0F; }

    // The pairs (port, result) of the controller's answer.
    void answers_pairs(std::vector<std::uint8_t> pairs) {
        pairs.insert(pairs.begin(), {0x14, 0});
        answers(answer_frame(pairs));
    }
};

TEST_F(port_settings, each_refused_port_is_named) {
    answers_pairs({0, 1, 1, 0, 2, 0, 3, 1});
    int status = 0;

    const std::string said = said_during([&] { status = _rtl_port_set(0x14, {0, 1, 2, 3}, {75, 75, 75, 75}); });

    EXPECT_EQ(status, -14);
    EXPECT_EQ(said,
              "[_rtl_port_set() , 1517]: Port 0 setup failed!!!\n"
              "[_rtl_port_set() , 1517]: Port 3 setup failed!!!\n");
}

TEST_F(port_settings, every_combination_of_refusals_names_its_ports) {
    for (unsigned refused = 0; refused < 16; refused++) {
        std::vector<std::uint8_t> pairs;
        std::string expected;
        for (unsigned port = 0; port < 4; port++) {
            const bool is_refused = refused >> port & 1;
            pairs.insert(pairs.end(),
                         {static_cast<std::uint8_t>(port), is_refused ? std::uint8_t{1} : std::uint8_t{0}});
            if (is_refused) {
                expected += "[_rtl_port_set() , 1517]: Port " + std::to_string(port) + " setup failed!!!\n";
            }
        }
        answers_pairs(pairs);
        int status = 1;
        EXPECT_EQ(said_during([&] { status = _rtl_port_set(0x15, {0, 1, 2, 3}, {3, 3, 3, 3}); }), expected);
        EXPECT_EQ(status, refused != 0 ? -14 : 0);
    }
}

TEST_F(port_settings, the_port_named_is_the_one_in_the_answer) {
    answers_pairs({200, 1, 255, 1, 1, 2, 7, 1});
    EXPECT_EQ(said_during([&] {
                  _rtl_port_set(0x14, {0, 1, 2, 3}, {0, 0, 0, 0});
              }),
              "[_rtl_port_set() , 1517]: Port 200 setup failed!!!\n"
              "[_rtl_port_set() , 1517]: Port 255 setup failed!!!\n"
              "[_rtl_port_set() , 1517]: Port 7 setup failed!!!\n");
}

TEST_F(port_settings, a_power_command_cancels_the_auto_off_mark_of_the_ports_it_names) {
    for (unsigned named = 0; named < 16; named++) {
        four_bytes ports{0xFF, 0xFF, 0xFF, 0xFF};
        unsigned left = 0x0F;
        for (unsigned port = 0; port < 4; port++) {
            if ((named >> port & 1) == 0) continue;
            ports[3 - port] = static_cast<std::uint8_t>(port);  // the place in the frame does not matter
            left &= ~(1U << port);
        }
        g_port_pwr_auto_off = 0x0F;
        _rtl_port_set(0x01, ports, {0, 0, 0, 0});
        EXPECT_EQ(g_port_pwr_auto_off, left);
    }
}

TEST_F(port_settings, a_power_command_for_no_real_port_touches_no_mark) {
    g_port_pwr_auto_off = 0xFF;
    for (unsigned port = 4; port <= 0xFF; port++) {
        const auto byte = static_cast<std::uint8_t>(port);
        _rtl_port_set(0x01, {byte, byte, byte, byte}, {1, 1, 1, 1});
    }
    EXPECT_EQ(g_port_pwr_auto_off, 0xFF);
}

TEST_F(port_settings, every_other_key_leaves_the_auto_off_marks_alone) {
    for (unsigned key = 0; key <= 0xFF; key++) {
        if (key == 0x01) continue;
        _rtl_port_set(static_cast<std::uint8_t>(key), {0, 1, 2, 3}, {0, 0, 0, 0});
        EXPECT_EQ(g_port_pwr_auto_off, 0x0F) << key;
    }
}

TEST_F(port_settings, the_mark_is_cancelled_even_when_the_transaction_fails) {
    answers_with_a_wrong_checksum();
    said_during([] { _rtl_port_set(0x01, {2, 0xFF, 0xFF, 0xFF}, {0, 0xFF, 0xFF, 0xFF}); });
    EXPECT_EQ(g_port_pwr_auto_off, 0x0B);
}

TEST_F(port_settings, global_power_off_clears_every_mark_even_when_it_fails) {
    g_port_pwr_auto_off = 0xFF;
    _rtl_global_set(0x00, 1);
    EXPECT_EQ(g_port_pwr_auto_off, 0);

    g_port_pwr_auto_off = 0xFF;
    answers_with_a_wrong_checksum();
    said_during([] { _rtl_global_set(0x00, 1); });
    EXPECT_EQ(g_port_pwr_auto_off, 0);
}

TEST_F(port_settings, the_marks_are_cleared_before_the_controller_hears_of_it) {
    unsigned seen = 0xFF;
    the_world.controller = [&seen](std::uint32_t, frame_bytes& frame) {
        seen = g_port_pwr_auto_off;
        frame = answer_frame({frame[0]});
        return 0;
    };
    _rtl_global_set(0x00, 1);
    EXPECT_EQ(seen, 0U);
    g_port_pwr_auto_off = 0x0F;
    _rtl_port_set(0x01, {1, 0xFF, 0xFF, 0xFF}, {1, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(seen, 0x0DU);
}

TEST_F(port_settings, no_other_global_key_touches_the_marks_and_only_the_reset_waits_long) {
    for (unsigned key = 1; key <= 0xFF; key++) {
        const auto byte = static_cast<std::uint8_t>(key);
        the_world.frames.clear();
        _rtl_global_set(byte, 0xA5);
        ASSERT_EQ(g_port_pwr_auto_off, 0x0F);
        ASSERT_THAT(conversation(), ElementsAre(asked({byte, 0, 0xA5}, key == 0x02 ? 204 : 9)));
    }
}

TEST_F(port_settings, a_power_source_word_is_sent_high_byte_first) {
    _rtl_global_power_source_set(0, 0xABCD, 0);
    EXPECT_THAT(conversation(), ElementsAre(asked({0x04, 0, 0, 0xAB, 0xCD, 0, 0})));
}

TEST_F(port_settings, thresholds_below_their_base_wrap_into_the_byte) {
    _rtl_global_parameters_set(329, 0);  // -1.55 and -884.4
    EXPECT_THAT(conversation(), ElementsAre(asked({0x0E, 0, 0xFF, 0xFF, 0x8C})));
}

}  // namespace
