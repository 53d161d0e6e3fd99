#include "supervision/leds.h"

#include "supervised_switch.h"

namespace {

class port_leds : public supervision_test {
  protected:
    static std::string said_on_update(std::uint8_t number, bool lit, bool blinking) {
        the_world.cpld_writes.clear();
        testing::internal::CaptureStdout();
        update_port_led(number, lit, blinking);
        return testing::internal::GetCapturedStdout();
    }
    static std::vector<cpld_write> writes() { return the_world.cpld_writes; }
};

std::uint8_t bit(int n) {
    return static_cast<std::uint8_t>(1 << n);
}

TEST_F(port_leds, lighting_and_darkening_write_one_bit_of_register_10) {
    for (std::uint8_t number = 0; number < 4; number++) {
        const std::string name = "[Port" + std::to_string(number) + "]";
        EXPECT_EQ(said_on_update(number, true, false), name + " Turn on PoE LED\n");
        EXPECT_EQ(writes(), (std::vector<cpld_write>{{10, bit(number), bit(number)}}));
        EXPECT_EQ(g_port_led_stu, bit(number));
        EXPECT_EQ(said_on_update(number, false, false), name + " Turn off PoE LED\n");
        EXPECT_EQ(writes(), (std::vector<cpld_write>{{10, 0, bit(number)}}));
        EXPECT_EQ(g_port_led_stu, 0);
    }
}

TEST_F(port_leds, blinking_and_steady_write_one_bit_of_the_upper_half) {
    for (std::uint8_t number = 0; number < 4; number++) {
        const std::string name = "[Port" + std::to_string(number) + "]";
        EXPECT_EQ(said_on_update(number, false, true), name + " Set PoE LED to blinking\n");
        EXPECT_EQ(writes(), (std::vector<cpld_write>{{10, bit(number + 4), bit(number + 4)}}));
        EXPECT_EQ(g_port_led_blk, bit(number));
        EXPECT_EQ(said_on_update(number, false, false), name + " Set PoE LED to always on\n");
        EXPECT_EQ(writes(), (std::vector<cpld_write>{{10, 0, bit(number + 4)}}));
        EXPECT_EQ(g_port_led_blk, 0);
    }
}

TEST_F(port_leds, a_change_of_both_lights_first) {
    EXPECT_EQ(said_on_update(2, true, true), "[Port2] Turn on PoE LED\n[Port2] Set PoE LED to blinking\n");
    EXPECT_EQ(writes(), (std::vector<cpld_write>{{10, 4, 4}, {10, 64, 64}}));
}

TEST_F(port_leds, an_led_that_is_as_wanted_is_left_alone) {
    update_port_led(1, true, true);
    EXPECT_EQ(said_on_update(1, true, true), "");
    EXPECT_TRUE(writes().empty());
}

TEST_F(port_leds, other_ports_leds_stay) {
    g_port_led_stu = 0b1101;
    g_port_led_blk = 0b1001;
    update_port_led(1, true, true);
    EXPECT_EQ(g_port_led_stu, 0b1111);
    EXPECT_EQ(g_port_led_blk, 0b1011);
    update_port_led(0, false, false);
    EXPECT_EQ(g_port_led_stu, 0b1110);
    EXPECT_EQ(g_port_led_blk, 0b1010);
}

TEST_F(port_leds, a_failed_write_is_not_tried_again) {
    the_world.cpld_ioctl_fails = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(said_on_update(3, true, false), "[Port3] Turn on PoE LED\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "poe_drv registerID(0x8003d203) failed\n");
    EXPECT_EQ(g_port_led_stu, 8);
    EXPECT_EQ(said_on_update(3, true, false), "");
    EXPECT_TRUE(writes().empty());
}

TEST_F(port_leds, a_port_that_does_not_exist_has_none) {
    EXPECT_EQ(said_on_update(4, true, true), "");
    EXPECT_EQ(said_on_update(255, true, true), "");
    EXPECT_EQ(g_port_led_stu, 0);
    EXPECT_EQ(g_port_led_blk, 0);
    EXPECT_TRUE(writes().empty());
}

}  // namespace
