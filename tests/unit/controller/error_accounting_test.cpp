#include "controller/error_accounting.h"

#include "controller/transport.h"
#include "controller_bench.h"

namespace {

struct mark_file {
    const char* name;
    const char* path;
    counter64 dbg_communication_info::*counter;
    std::uint32_t *once_1, *once_10, *once_100;
    int status;  // of the command whose report checks this counter
};
const mark_file tx_checksum{"tx_checksum",
                            "/flash/poe_error_tx_checksum.txt",
                            &dbg_communication_info::tx_chksum_error,
                            &poe_error_write_to_flash_tx_checksum_1_time,
                            &poe_error_write_to_flash_tx_checksum_10_time,
                            &poe_error_write_to_flash_tx_checksum_100_time,
                            -10};
const mark_file rx_timeout{"rx_timeout",
                           "/flash/poe_error_rx_timeout.txt",
                           &dbg_communication_info::rx_timeout,
                           &poe_error_write_to_flash_rx_timeout_1_time,
                           &poe_error_write_to_flash_rx_timeout_10_time,
                           &poe_error_write_to_flash_rx_timeout_100_time,
                           -1};
const mark_file rx_checksum{"rx_checksum",
                            "/flash/poe_error_rx_checksum.txt",
                            &dbg_communication_info::rx_chksum_error,
                            &poe_error_write_to_flash_rx_checksum_1_time,
                            &poe_error_write_to_flash_rx_checksum_10_time,
                            &poe_error_write_to_flash_rx_checksum_100_time,
                            -2};

void set(const mark_file& kind, std::uint64_t value) {
    (g_dbg_communication_info.*kind.counter).low.set(static_cast<std::uint32_t>(value));
    (g_dbg_communication_info.*kind.counter).high.set(static_cast<std::uint32_t>(value >> 32));
}

class error_accounting : public controller_bench {};

class marks_in_flash : public controller_bench, public testing::WithParamInterface<mark_file> {
  protected:
    const mark_file& kind = GetParam();
    std::string lines() const { return marks(kind.path); }
};

INSTANTIATE_TEST_SUITE_P(kind, marks_in_flash, testing::Values(tx_checksum, rx_timeout, rx_checksum),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_P(marks_in_flash, a_count_of_0_leaves_no_mark) {
    poe_error_write_to_flash();
    EXPECT_TRUE(the_world.files.empty());
    EXPECT_THAT(the_world.story, IsEmpty());
}

TEST_P(marks_in_flash, each_first_count_of_a_band_leaves_its_line_in_this_file_only) {
    struct {
        std::uint64_t count;
        const char* line;
    } bands[] = {{1, "1\n"},
                 {2, "1\n"},
                 {9, "1\n"},
                 {10, "10\n"},
                 {11, "10\n"},
                 {99, "10\n"},
                 {100, "100\n"},
                 {101, "100\n"},
                 {0xFFFFFFFF, "100\n"},
                 {0x100000000, "100\n"},
                 {0x100000001, "100\n"},
                 {~std::uint64_t{0}, "100\n"}};
    for (const auto& band : bands) {
        the_world.files.clear();
        clear_error_write_to_flash_flags();
        set(kind, band.count);

        poe_error_write_to_flash();

        EXPECT_EQ(the_world.files, (std::map<std::string, std::string>{{kind.path, band.line}})) << band.count;
    }
}

TEST_P(marks_in_flash, counting_from_1_to_1000_leaves_three_lines) {
    for (std::uint64_t count = 1; count <= 1000; count++) {
        set(kind, count);
        poe_error_write_to_flash();
        poe_error_write_to_flash();
        EXPECT_EQ(lines(), count < 10 ? "1\n" : count < 100 ? "1\n10\n" : "1\n10\n100\n") << count;
    }
    EXPECT_EQ(the_world.story.size(), 3U);
}

TEST_P(marks_in_flash, a_band_that_the_count_jumps_past_leaves_no_line) {
    set(kind, 9);
    poe_error_write_to_flash();
    set(kind, 100);
    poe_error_write_to_flash();
    EXPECT_EQ(lines(), "1\n100\n");
}

TEST_P(marks_in_flash, the_once_flag_of_the_level_is_set_and_no_other) {
    const std::vector<std::uint32_t*> all{tx_checksum.once_1, tx_checksum.once_10, tx_checksum.once_100,
                                          rx_timeout.once_1,  rx_timeout.once_10,  rx_timeout.once_100,
                                          rx_checksum.once_1, rx_checksum.once_10, rx_checksum.once_100};
    struct {
        std::uint64_t count;
        const std::uint32_t* flag;
    } levels[] = {{1, kind.once_1}, {10, kind.once_10}, {100, kind.once_100}};
    for (const auto& level : levels) {
        clear_error_write_to_flash_flags();
        set(kind, level.count);
        poe_error_write_to_flash();
        for (const std::uint32_t* flag : all)
            EXPECT_EQ(*flag, flag == level.flag ? 1U : 0U);
    }
}

TEST_P(marks_in_flash, a_set_once_flag_alone_keeps_its_line_from_being_written) {
    *kind.once_10 = 1;
    set(kind, 10);
    poe_error_write_to_flash();
    EXPECT_EQ(lines(), "");
}

TEST_P(marks_in_flash, another_run_appends_its_own_lines) {
    set(kind, 1);
    poe_error_write_to_flash();
    clear_error_write_to_flash_flags();
    poe_error_write_to_flash();
    EXPECT_EQ(lines(), "1\n1\n");
}

TEST_P(marks_in_flash, a_flash_that_cannot_be_written_loses_the_mark_for_this_run) {
    the_world.files_cannot_be_written = true;
    set(kind, 1);
    poe_error_write_to_flash();
    the_world.files_cannot_be_written = false;
    poe_error_write_to_flash();
    EXPECT_EQ(lines(), "");
}

TEST_P(marks_in_flash, reporting_its_status_writes_the_mark_before_anything_is_said) {
    set(kind, 1);
    said_during([&] { poe_talk_with_kernel_error_msg(kind.status, "_rtl_port_status_get", 1); });
    EXPECT_EQ(lines(), "1\n");
}

TEST_P(marks_in_flash, no_shell_is_needed) {
    set(kind, 1);
    poe_error_write_to_flash();
    EXPECT_THAT(the_world.shell_commands, IsEmpty());
}

TEST_F(error_accounting, the_kinds_are_looked_at_in_a_fixed_order) {
    set(rx_checksum, 100);
    set(rx_timeout, 10);
    set(tx_checksum, 1);

    poe_error_write_to_flash();

    EXPECT_THAT(the_world.story, ElementsAre("append /flash/poe_error_tx_checksum.txt 1\n",
                                             "append /flash/poe_error_rx_timeout.txt 10\n",
                                             "append /flash/poe_error_rx_checksum.txt 100\n"));
}

TEST_F(error_accounting, start_up_clears_all_nine_once_flags) {
    const std::vector<std::uint32_t*> all{tx_checksum.once_1, tx_checksum.once_10, tx_checksum.once_100,
                                          rx_timeout.once_1,  rx_timeout.once_10,  rx_timeout.once_100,
                                          rx_checksum.once_1, rx_checksum.once_10, rx_checksum.once_100};
    for (std::uint32_t* flag : all)
        *flag = 1;

    clear_error_write_to_flash_flags();

    for (const std::uint32_t* flag : all)
        EXPECT_EQ(*flag, 0U);
}

TEST_F(error_accounting, a_wrong_checksum_report_is_counted_marked_and_minus_10) {
    EXPECT_EQ(poe_check_report_key(as_frame({0x42, 'b'})), -10);

    EXPECT_EQ(g_dbg_communication_info.tx_chksum_error.get(), 1U);
    EXPECT_EQ(g_dbg_communication_info.tx_correctly_executed.get(), 0U);
    EXPECT_EQ(g_dbg_communication_info.undefined_key_value.get(), 0U);
    EXPECT_EQ(marks(tx_checksum.path), "1\n");
}

TEST_F(error_accounting, an_undefined_key_report_is_counted_unmarked_and_minus_13) {
    set(rx_timeout, 1);  // a mark that is due, but not now

    EXPECT_EQ(poe_check_report_key(as_frame({0x42, 'a'})), -13);

    EXPECT_EQ(g_dbg_communication_info.undefined_key_value.get(), 1U);
    EXPECT_EQ(g_dbg_communication_info.tx_chksum_error.get(), 0U);
    EXPECT_EQ(g_dbg_communication_info.tx_correctly_executed.get(), 0U);
    EXPECT_TRUE(the_world.files.empty());
}

TEST_F(error_accounting, any_other_byte_1_is_an_answer) {
    set(rx_timeout, 1);
    std::uint64_t answers = 0;
    for (unsigned byte = 0; byte <= 0xFF; byte++) {
        if (byte == 0x61 || byte == 0x62) continue;
        EXPECT_EQ(poe_check_report_key(as_frame({0x42, static_cast<std::uint8_t>(byte)})), 0) << byte;
        EXPECT_EQ(g_dbg_communication_info.tx_correctly_executed.get(), ++answers);
    }
    EXPECT_EQ(g_dbg_communication_info.tx_chksum_error.get(), 0U);
    EXPECT_EQ(g_dbg_communication_info.undefined_key_value.get(), 0U);
    EXPECT_TRUE(the_world.files.empty());
}

struct message {
    int status;
    const char* text;
    bool checks_marks;
};
const message messages[] = {
    {-1, "[_rtl_port_set() , 1234]: receive poe mcu message timeout!!!\n", true},
    {-2, "[_rtl_port_set() , 1234]: receive poe mcu message checksum error!!!\n", true},
    {-10, "[_rtl_port_set() , 1234]: poe mcu say [wrong checksum]!!!\n", true},
    {-11, "[_rtl_port_set() , 1234]: poe mcu say [conflict in subject byte]!!!\n", false},
    {-12, "[_rtl_port_set() , 1234]: poe mcu say [wrong data byte value]!!!\n", false},
    {-13, "[_rtl_port_set() , 1234]: poe mcu say [undefined key value]!!!\n", false},
};

TEST_F(error_accounting, every_status_has_its_own_message_or_none) {
    for (int status = -300; status <= 300; status++) {
        std::string expected;
        for (const message& row : messages) {
            if (row.status == status) expected = row.text;
        }
        EXPECT_EQ(said_during([&] { poe_talk_with_kernel_error_msg(status, "_rtl_port_set", 1234); }), expected)
            << status;
    }
}

TEST_F(error_accounting, only_the_statuses_of_marked_counters_check_the_marks) {
    for (int status = -300; status <= 300; status++) {
        the_world.files.clear();
        clear_error_write_to_flash_flags();
        set(rx_timeout, 1);
        bool checks = false;
        for (const message& row : messages)
            checks |= row.status == status && row.checks_marks;

        said_during([&] { poe_talk_with_kernel_error_msg(status, "_rtl_port_set", 1234); });

        EXPECT_EQ(marks(rx_timeout.path), checks ? "1\n" : "") << status;
    }
}

TEST_F(error_accounting, a_report_counts_nothing) {
    for (const message& row : messages) {
        said_during([&] { poe_talk_with_kernel_error_msg(row.status, "_rtl_port_set", 1); });
    }
    for (counter64* each = &g_dbg_communication_info.total; each <= &g_dbg_communication_info.undefined_key_value;
         each++) {
        EXPECT_EQ(each->get(), 0U);
    }
}

TEST_F(error_accounting, a_run_of_timeouts_marks_the_1st_the_10th_and_the_100th) {
    is_dead();
    for (int transaction = 1; transaction <= 120; transaction++) {
        controller_frame frame = blank_request(0x42, 0, {1});
        said_during([&] {
            poe_talk_with_kernel_error_msg(poe_kernel_drv_send_recv(driver_wait, frame), "_rtl_port_status_get", 1);
        });
        EXPECT_EQ(marks(rx_timeout.path), transaction < 10 ? "1\n" : transaction < 100 ? "1\n10\n" : "1\n10\n100\n");
    }
    EXPECT_EQ(the_world.files.size(), 1U);
}

}  // namespace
