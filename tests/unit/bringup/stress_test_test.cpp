#include "bringup/stress_test.h"

#include "controller/counters.h"
#include "fake_controller.h"
#include "world/records.h"

namespace {

class stress_test : public records_test {
  protected:
    fake_controller controller;
    stress_totals totals{};

    stress_test() {
        the_world.controller = [this](std::uint32_t wait, frame_bytes& frame) {
            return controller.answer(wait, frame);
        };
        i_am_the(controller_user);
        fd_poe_kernel_drv = system_open_device("/dev/poe_kernel_drv");
        clear_communication_counters();
    }
    std::string round() {
        testing::internal::CaptureStderr();
        i_am_the(controller_user);
        stress_test_round(totals);
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(stress_test, a_round_asks_who_the_controller_is_and_for_its_measurements) {
    round();
    EXPECT_THAT(keys_sent(), testing::ElementsAre(0x40, 0x41, 0x4B, 0x44));
}

TEST_F(stress_test, a_round_prints_the_totals_and_seven_counters) {
    round();
    const std::string lines = round();
    EXPECT_EQ(lines,
              "===================================\n"
              "total_count            : 0000000002\n"
              "data_fail_count        : 0000000000\n"
              "[dbg]\n"
              "  total                : 0000000008\n"
              "  undefined_key_value  : 0000000000\n"
              "  [rx]\n"
              "    retry              : 0000000000\n"
              "    timeout            : 0000000000\n"
              "    chksum_error       : 0000000000\n"
              "  [tx]\n"
              "    correctly_executed : 0000000008\n"
              "    chksum_error       : 0000000000\n");
}

TEST_F(stress_test, each_counter_has_its_own_line) {
    auto& link = g_dbg_communication_info;
    link.undefined_key_value.low.set(11);
    link.rx_retry.low.set(12);
    link.rx_timeout.low.set(13);
    link.rx_chksum_error.low.set(14);
    link.tx_chksum_error.high.set(1);
    const std::string lines = round();
    EXPECT_THAT(lines, testing::HasSubstr("  undefined_key_value  : 0000000011\n"));
    EXPECT_THAT(lines, testing::HasSubstr("    retry              : 0000000012\n"));
    EXPECT_THAT(lines, testing::HasSubstr("    timeout            : 0000000013\n"));
    EXPECT_THAT(lines,
                testing::HasSubstr("  [rx]\n    retry              : 0000000012\n    timeout            : 0000000013\n"
                                   "    chksum_error       : 0000000014\n"));
    EXPECT_THAT(lines, testing::HasSubstr("    chksum_error       : 4294967296\n"));
}

TEST_F(stress_test, every_single_differing_byte_is_one_data_failure) {
    const frame_bytes right = controller.identity;
    std::uint32_t expected = 0;
    for (const unsigned byte : {3u, 4u, 5u, 6u, 7u, 8u, 10u}) {
        controller.identity = right;
        controller.identity[byte] = static_cast<std::uint8_t>(controller.identity[byte] ^ 1u);
        seal(controller.identity);
        round();
        EXPECT_EQ(totals.data_fail_count, ++expected) << "byte " << byte;
    }
    for (std::uint8_t flags = 0; flags < 8; flags++) {
        if (flags == 0b101) continue;
        controller.identity = right;
        controller.identity[9] = flags;
        seal(controller.identity);
        round();
        EXPECT_EQ(totals.data_fail_count, ++expected) << "flags " << int{flags};
    }
    controller.identity = right;
    round();
    EXPECT_EQ(totals.data_fail_count, expected);
    EXPECT_EQ(totals.total_count, expected + 1);
}

TEST_F(stress_test, a_controller_that_does_not_answer_is_no_data_failure) {
    controller.deaf_keys = {0x40, 0x41, 0x44, 0x4B};
    round();
    EXPECT_EQ(totals.total_count, 1u);
    EXPECT_EQ(totals.data_fail_count, 0u);
    EXPECT_EQ(g_dbg_communication_info.rx_timeout.get(), 4u);
}

}  // namespace
