#include "supervision/link.h"

#include "world/records.h"

namespace {

using link_query = records_test;

TEST_F(link_query, reads_bit_8_of_the_word_of_the_asked_port_and_no_other_bit) {
    for (std::uint8_t up = 0; up < 4; up++) {
        the_world.link_up = {};
        the_world.link_up[up] = true;
        for (std::uint8_t port = 0; port < 4; port++) {
            std::uint32_t link = 7;
            EXPECT_EQ(poe_drv_port_status_get(port, link), 0);
            EXPECT_EQ(link, port == up ? 1U : 0U);
        }
    }
}

TEST_F(link_query, that_fails_says_so_on_standard_output_and_leaves_the_link_as_it_was) {
    the_world.link_monitor_fails = true;
    std::uint32_t link = 7;
    testing::internal::CaptureStdout();
    EXPECT_EQ(poe_drv_port_status_get(2, link), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "link_mon_intf_param_get fail\n");
    EXPECT_EQ(link, 7U);
}

TEST_F(link_query, of_a_port_that_does_not_exist_fails_without_asking) {
    std::uint32_t link = 7;
    EXPECT_EQ(poe_drv_port_status_get(4, link), 1);
    EXPECT_EQ(poe_drv_port_status_get(255, link), 1);
    EXPECT_EQ(link, 7U);
    EXPECT_EQ(the_world.link_queries, 0);
}

}  // namespace
