#include "core/cpld.h"

#include <unistd.h>

#include "captured_lines.h"
#include "world/world.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class cpld : public world_test {
  protected:
    captured_lines errors{STDERR_FILENO};
};

TEST_F(cpld, the_led_register_is_10_and_the_inline_mode_register_9) {
    EXPECT_EQ(cpld_led_register, 10);
    EXPECT_EQ(cpld_inline_mode_register, 9);
    EXPECT_EQ(cpld_led_blink_shift, 4);
}

TEST_F(cpld, a_masked_write_hands_register_value_and_mask_to_the_driver) {
    __poe_drv_cpld_write_mask(10, 0x21, 0xF3);
    EXPECT_THAT(the_world.cpld_writes, ElementsAre(cpld_write{10, 0x21, 0xF3}));
    EXPECT_THAT(errors.take(), IsEmpty());
}

TEST_F(cpld, a_write_of_0_under_mask_15_clears_the_lower_four_bits_and_leaves_the_upper_ones) {
    the_world.cpld_registers[10] = 0xA5;
    __poe_drv_cpld_write_mask(10, 0, 15);
    EXPECT_EQ(the_world.cpld_registers[10], 0xA0);
}

TEST_F(cpld, the_device_is_opened_for_each_access_and_closed_again) {
    __poe_drv_cpld_write_mask(9, 1, 1);
    __poe_drv_cpld_write_mask(10, 2, 2);
    std::uint8_t value = 0;
    __poe_drv_cpld_read(10, value);
    EXPECT_THAT(the_world.story, ElementsAre("open /dev/cpld_rtl819x", "cpld 9 1 1", "open /dev/cpld_rtl819x",
                                             "cpld 10 2 2", "open /dev/cpld_rtl819x"));
    EXPECT_EQ(the_world.open_descriptors, 0);
}

TEST_F(cpld, a_read_gives_the_registers_value) {
    the_world.cpld_registers[9] = 0x5A;
    the_world.cpld_registers[10] = 0xC3;
    std::uint8_t value = 0;
    __poe_drv_cpld_read(9, value);
    EXPECT_EQ(value, 0x5A);
    __poe_drv_cpld_read(10, value);
    EXPECT_EQ(value, 0xC3);
    EXPECT_THAT(errors.take(), IsEmpty());
}

TEST_F(cpld, a_write_to_a_missing_device_says_so_once_and_does_nothing_else) {
    the_world.cpld_device_missing = true;
    __poe_drv_cpld_write_mask(10, 0, 15);
    EXPECT_THAT(errors.take(), ElementsAre("poe_drv open /dev/ cpld_rtl819x FAIL!!\n"));
    EXPECT_THAT(the_world.cpld_writes, IsEmpty());
    EXPECT_EQ(the_world.open_descriptors, 0);
}

TEST_F(cpld, a_read_from_a_missing_device_says_so_once_and_leaves_the_value) {
    the_world.cpld_device_missing = true;
    std::uint8_t value = 77;
    __poe_drv_cpld_read(10, value);
    EXPECT_THAT(errors.take(), ElementsAre("poe_drv open /dev/ cpld_rtl819x FAIL!!\n"));
    EXPECT_EQ(value, 77);
}

TEST_F(cpld, a_write_that_fails_prints_the_requests_number_whatever_the_register_and_closes_the_device) {
    the_world.cpld_ioctl_fails = true;
    __poe_drv_cpld_write_mask(10, 0, 15);
    __poe_drv_cpld_write_mask(9, 0, 15);
    EXPECT_THAT(errors.take(),
                ElementsAre("poe_drv registerID(0x8003d203) failed\n", "poe_drv registerID(0x8003d203) failed\n"));
    EXPECT_EQ(the_world.open_descriptors, 0);
}

TEST_F(cpld, a_read_that_fails_says_so_leaves_the_value_and_closes_the_device) {
    the_world.cpld_ioctl_fails = true;
    std::uint8_t value = 77;
    __poe_drv_cpld_read(10, value);
    EXPECT_THAT(errors.take(), ElementsAre("poe_drv IOC_CPLD_READ failed\n"));
    EXPECT_EQ(value, 77);
    EXPECT_EQ(the_world.open_descriptors, 0);
}

}  // namespace
