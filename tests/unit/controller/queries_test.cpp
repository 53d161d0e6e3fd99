#include "controller/queries.h"

#include <cstring>
#include <functional>

#include "controller/decoding.h"
#include "controller_bench.h"

namespace {

// What every read command has in common. `ask` runs it on a record whose bytes are all `fill`, and hands back the
// record's bytes; `expect` gives the bytes that a decoded answer would leave.
struct query_row {
    std::string name;
    std::vector<std::uint8_t> request;
    std::function<int(std::vector<std::uint8_t>& bytes)> ask;
    std::function<void(const controller_frame& answer, std::vector<std::uint8_t>& bytes)> expect;
};

template <typename record, typename command>
query_row row(const char* name, std::vector<std::uint8_t> request, command run) {
    return {.name = name,
            .request = std::move(request),
            .ask =
                [run](std::vector<std::uint8_t>& bytes) {
                    record value;
                    bytes.resize(sizeof value);
                    std::memcpy(&value, bytes.data(), sizeof value);
                    const int status = run(value);
                    std::memcpy(bytes.data(), &value, sizeof value);
                    return status;
                },
            .expect =
                [](const controller_frame& answer, std::vector<std::uint8_t>& bytes) {
                    record value;
                    bytes.resize(sizeof value);
                    std::memcpy(&value, bytes.data(), sizeof value);
                    decode(answer, value);
                    std::memcpy(bytes.data(), &value, sizeof value);
                }};
}

const std::vector<query_row> rows{
    row<global_status>("_rtl_global_status_get", {0x40, 0}, [](auto& r) { return _rtl_global_status_get(r); }),
    row<global_power_status>("_rtl_global_power_status_get", {0x41, 0},
                             [](auto& r) { return _rtl_global_power_status_get(r); }),
    row<port_status>("_rtl_port_status_get", {0x42, 0, 3}, [](auto& r) { return _rtl_port_status_get(3, r); }),
    row<port_group_status>("_rtl_port_group_status_get", {0x43, 0, 0x71},
                           [](auto& r) { return _rtl_port_group_status_get(0x71, r); }),
    row<port_measurement>("_rtl_port_measurement_get", {0x44, 0, 2},
                          [](auto& r) { return _rtl_port_measurement_get(2, r); }),
    row<port_mib_counters>("_rtl_port_mib_counter_get", {0x45, 0, 3, 1},
                           [](auto& r) { return _rtl_port_mib_counter_get(3, r); }),
    row<port_event_status>("_rtl_port_event_status_get", {0x46, 0, 0x72},
                           [](auto& r) { return _rtl_port_event_status_get(0x72, r); }),
    row<reset_reason>("_rtl_global_reset_reason_get", {0x47, 0, 0x73},
                      [](auto& r) { return _rtl_global_reset_reason_get(0x73, r); }),
    row<port_basic_cfg>("_rtl_port_basic_cfg_get", {0x48, 0, 2}, [](auto& r) { return _rtl_port_basic_cfg_get(2, r); }),
    row<port_extended_cfg>("_rtl_port_extended_cfg_get", {0x49, 0, 3},
                           [](auto& r) { return _rtl_port_extended_cfg_get(3, r); }),
    row<global_parameters>("_rtl_global_parameters_get", {0x4A, 0},
                           [](auto& r) { return _rtl_global_parameters_get(r); }),
    row<global_pm_cfg>("_rtl_global_pm_cfg_get", {0x4B, 5}, [](auto& r) { return _rtl_global_pm_cfg_get(5, r); }),
    row<device_address>("_rtl_global_device_addr_get", {0x4C, 0, 0x74},
                        [](auto& r) { return _rtl_global_device_addr_get(0x74, r); }),
    row<channel_status>("_rtl_channel_status_get", {0x4E, 0, 7}, [](auto& r) { return _rtl_channel_status_get(7, r); }),
    row<channel_vol_cur>("_rtl_port_channel_vol_cur_get", {0x4F, 0, 6},
                         [](auto& r) { return _rtl_port_channel_vol_cur_get(6, r); }),
    row<chip_type_info>("_rtl_system_chip_type_info_get", {0x4F, 0, 0x75},
                        [](auto& r) { return _rtl_system_chip_type_info_get(0x75, r); }),
    row<cfg_version>("_rtl_cfg_ver_get", {0xC0, 4}, [](auto& r) { return _rtl_cfg_ver_get(r); }),
};

class queries : public controller_bench, public testing::WithParamInterface<query_row> {
  protected:
    const query_row& command = GetParam();
    std::vector<std::uint8_t> record = std::vector<std::uint8_t>(64, 0x5A);
};

INSTANTIATE_TEST_SUITE_P(each, queries, testing::ValuesIn(rows),
                         [](const auto& each) { return each.param.name.substr(5); });

TEST_P(queries, sends_its_request_once_with_wait_9) {
    EXPECT_EQ(command.ask(record), 0);
    EXPECT_THAT(conversation(), ElementsAre(asked(command.request)));
}

TEST_P(queries, decodes_a_good_answer_into_the_record) {
    const frame_bytes answer =
        answer_frame({command.request[0], command.request[1], 0x13, 0x24, 0x35, 0x46, 0x57, 0x02, 0x79, 0x8A, 0x9B});
    answers(answer);
    std::vector<std::uint8_t> expected = record;
    command.expect(as_frame(answer), expected);

    EXPECT_EQ(command.ask(record), 0);

    EXPECT_EQ(record, expected);
    EXPECT_NE(record, std::vector<std::uint8_t>(record.size(), 0x5A));
}

TEST_P(queries, says_nothing_when_all_is_well) {
    EXPECT_EQ(said_during([&] { command.ask(record); }), "");
}

TEST_P(queries, a_damaged_answer_is_reported_under_its_name_and_leaves_the_record) {
    answers_with_a_wrong_checksum();
    int status = 0;

    const std::string said = said_during([&] { status = command.ask(record); });

    EXPECT_EQ(status, -2);
    EXPECT_THAT(said, reported_under(command.name, "receive poe mcu message checksum error"));
    EXPECT_EQ(record, std::vector<std::uint8_t>(record.size(), 0x5A));
    EXPECT_EQ(marks(rx_checksum_marks_path), "1\n");
}

TEST_P(queries, a_dead_controller_is_reported_under_its_name_and_leaves_the_record) {
    is_dead();
    int status = 0;

    const std::string said = said_during([&] { status = command.ask(record); });

    EXPECT_EQ(status, -1);
    const std::string gave_up = "[poe_kernel_drv_send_recv() , 1370]: ERROR!! ERROR!! ERROR!!!\n";
    ASSERT_EQ(said.substr(0, gave_up.size()), gave_up);
    EXPECT_THAT(said.substr(gave_up.size()), reported_under(command.name, "receive poe mcu message timeout"));
    EXPECT_EQ(record, std::vector<std::uint8_t>(record.size(), 0x5A));
    EXPECT_EQ(marks(rx_timeout_marks_path), "1\n");
}

TEST_P(queries, a_controller_report_is_reported_under_its_name_and_leaves_the_record) {
    struct {
        char key;
        int status;
        const char* text;
    } reports_of[] = {{'a', -13, "poe mcu say [undefined key value]"}, {'b', -10, "poe mcu say [wrong checksum]"}};
    for (const auto& report : reports_of) {
        reports(report.key);
        int status = 0;

        const std::string said = said_during([&] { status = command.ask(record); });

        EXPECT_EQ(status, report.status);
        EXPECT_THAT(said, reported_under(command.name, report.text));
        EXPECT_EQ(record, std::vector<std::uint8_t>(record.size(), 0x5A));
    }
    EXPECT_EQ(marks(tx_checksum_marks_path), "1\n");  // once, though it is checked twice
}

TEST_P(queries, a_1_in_the_answer_is_data_and_no_refusal) {
    answers(answer_frame({command.request[0], 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}));
    EXPECT_EQ(command.ask(record), 0);
}

class query_arguments : public controller_bench {};

TEST_F(query_arguments, every_port_number_goes_out_as_it_is) {
    for (unsigned value = 0; value <= 0xFF; value++) {
        const auto byte = static_cast<std::uint8_t>(value);
        the_world.frames.clear();
        port_status status{};
        port_measurement measurement{};
        port_mib_counters counters{};
        port_basic_cfg basic{};
        port_extended_cfg extended{};
        channel_status channel{};
        channel_vol_cur volts{};

        _rtl_port_status_get(byte, status);
        _rtl_port_measurement_get(byte, measurement);
        _rtl_port_mib_counter_get(byte, counters);
        _rtl_port_basic_cfg_get(byte, basic);
        _rtl_port_extended_cfg_get(byte, extended);
        _rtl_channel_status_get(byte, channel);
        _rtl_port_channel_vol_cur_get(byte, volts);

        ASSERT_THAT(conversation(),
                    ElementsAre(asked({0x42, 0, byte}), asked({0x44, 0, byte}), asked({0x45, 0, byte, 1}),
                                asked({0x48, 0, byte}), asked({0x49, 0, byte}), asked({0x4E, 0, byte}),
                                asked({0x4F, 0, byte})));
    }
}

TEST_F(query_arguments, each_power_bank_is_the_selector) {
    for (std::uint8_t bank = 0; bank < 8; bank++) {
        global_pm_cfg cfg{};
        the_world.frames.clear();
        _rtl_global_pm_cfg_get(bank, cfg);
        EXPECT_THAT(conversation(), ElementsAre(asked({0x4B, bank})));
        EXPECT_EQ(cfg.bank, bank);
    }
}

// The line of a report is the command's own place in its source file.
TEST_F(query_arguments, different_commands_report_different_lines) {
    answers_with_a_wrong_checksum();
    std::map<std::string, std::string> command_of_line;
    for (const query_row& each : rows) {
        std::vector<std::uint8_t> record(64, 0);
        const std::string said = said_during([&] { each.ask(record); });
        const std::string line = said.substr(said.find(" , "), said.find("]: ") - said.find(" , "));
        EXPECT_TRUE(command_of_line.emplace(line, each.name).second) << each.name << " and " << command_of_line[line];
    }
}

}  // namespace
