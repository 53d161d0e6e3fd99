#include "controller/frame.h"

#include "controller_bench.h"

namespace {

class frame : public controller_bench {};

TEST_F(frame, the_checksum_is_the_low_8_bits_of_the_sum_of_the_first_eleven_bytes) {
    const controller_frame request = as_frame({0x42, 0, 2, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0});
    std::uint8_t checksum = 0;

    poe_cal_data_checksum(request, checksum);

    EXPECT_EQ(checksum, 0x3C);  // 0x44 + 8 x 0xFF = 0x83C
}

TEST_F(frame, the_checksum_does_not_depend_on_the_byte_that_holds_it) {
    controller_frame request = as_frame({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0});
    for (unsigned byte = 0; byte <= 0xFF; byte++) {
        request.checksum = static_cast<std::uint8_t>(byte);
        std::uint8_t checksum = 0;
        poe_cal_data_checksum(request, checksum);
        EXPECT_EQ(checksum, 66);
    }
}

TEST_F(frame, every_byte_counts_in_the_checksum) {
    for (std::size_t place = 0; place < 11; place++) {
        frame_bytes bytes{};
        bytes[place] = 0xA7;
        std::uint8_t checksum = 0;
        poe_cal_data_checksum(as_frame(bytes), checksum);
        EXPECT_EQ(checksum, 0xA7) << "byte " << place;
    }
}

TEST_F(frame, a_sum_of_0x1ff_is_carried_as_0xff) {
    controller_frame answer = as_frame({0xFF, 0xFF, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0});

    poe_cal_data_fill_chk(answer);

    EXPECT_EQ(answer.checksum, 0xFF);
}

TEST_F(frame, filling_the_checksum_changes_no_other_byte) {
    controller_frame request = as_frame({0x4B, 3, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0x77});

    poe_cal_data_fill_chk(request);

    EXPECT_EQ(as_bytes(request), (frame_bytes{0x4B, 3, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0x7B}));
}

TEST_F(frame, exactly_one_value_of_the_last_byte_passes_the_check) {
    controller_frame answer = as_frame({0x40, 0, 0x80, 0x80, 0x80, 0, 0, 0, 0, 0, 1, 0});  // sums to 0x1C1
    for (unsigned byte = 0; byte <= 0xFF; byte++) {
        answer.checksum = static_cast<std::uint8_t>(byte);
        EXPECT_EQ(is_succ_poe_chk_dat(answer), byte == 0xC1 ? 1 : 0) << byte;
        EXPECT_EQ(is_fail_poe_chk_dat(answer), byte == 0xC1 ? 0 : 1) << byte;
    }
}

TEST_F(frame, a_blank_request_has_ff_in_unused_bytes_and_a_zero_for_the_checksum) {
    EXPECT_EQ(as_bytes(blank_request(0x4A, 0)),
              (frame_bytes{0x4A, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0}));
    EXPECT_EQ(as_bytes(blank_request(0xC0, 3, {1, 2, 3, 4, 5})),
              (frame_bytes{0xC0, 3, 1, 2, 3, 4, 5, 0xFF, 0xFF, 0xFF, 0xFF, 0}));
    EXPECT_EQ(as_bytes(blank_request(0x15, 0, {0, 3, 1, 3, 2, 3, 3, 3, 9})),
              (frame_bytes{0x15, 0, 0, 3, 1, 3, 2, 3, 3, 3, 9, 0}));
}

TEST_F(frame, data_beyond_the_ninth_byte_never_reaches_the_checksum) {
    EXPECT_EQ(as_bytes(blank_request(1, 0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11})),
              (frame_bytes{1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0}));
}

TEST_F(frame, only_a_and_b_are_report_keys) {
    for (unsigned byte = 0; byte <= 0xFF; byte++) {
        const controller_frame answer = as_frame({0x40, static_cast<std::uint8_t>(byte)});
        EXPECT_EQ(carries_report_key(answer), byte == 0x61 || byte == 0x62) << byte;
    }
}

TEST_F(frame, a_trace_shows_who_what_and_twelve_bytes_on_one_line) {
    const std::string said = said_during([] {
        _byte_code_print(1, "_rtl_port_status_get", 77, "TX",
                         as_frame({0x42, 0, 2, 3, 4, 5, 6, 7, 0xAB, 9, 0xFF, 0x0C}));
    });
    EXPECT_EQ(said, "[_rtl_port_status_get() , 77]: TX: 42 00 02 03 04 05 06 07 ab 09 ff 0c \n");
}

TEST_F(frame, a_trace_that_is_switched_off_says_nothing) {
    EXPECT_EQ(said_during([] { _byte_code_print(0, "_rtl_port_status_get", 77, "RX", {}); }), "");
}

TEST_F(frame, traces_are_switched_off) {
    EXPECT_EQ(frame_trace, 0);
}

}  // namespace
