// CPLD, link monitor and the far end of the trap pipe.
#include <cstring>

#include "models/trap.h"
#include "switch_bench.h"

namespace vswitch {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;

using surroundings = switch_bench;

TEST_F(surroundings, a_masked_write_changes_only_the_bits_of_its_mask) {
    std::uint8_t value = 0;
    model.cpld_write(10, 0xFF, 0xF0);
    model.cpld_write(10, 0, 15);
    EXPECT_EQ(model.cpld_read(10, value), 0);
    EXPECT_EQ(value, 0xF0);
    model.cpld_write(10, 0x05, 0x04);
    model.cpld_read(10, value);
    EXPECT_EQ(value, 0xF4);
}

TEST_F(surroundings, leds_are_lit_until_they_are_switched_off) {
    EXPECT_EQ(say("show leds"), "LED 1: on\nLED 2: on\nLED 3: on\nLED 4: on");
    model.cpld_write(10, 0, 15);
    EXPECT_EQ(say("show leds"), "LED 1: off\nLED 2: off\nLED 3: off\nLED 4: off");
}

TEST_F(surroundings, bit_p_lights_a_led_and_bit_p_plus_4_makes_it_blink) {
    model.cpld_write(10, 0b0010'0011, 0xFF);
    EXPECT_EQ(say("show leds"), "LED 1: on\nLED 2: blinking\nLED 3: off\nLED 4: off");
}

TEST_F(surroundings, the_link_record_has_a_word_a_port_from_byte_4_with_bit_8_for_up) {
    say("link 1 up");
    say("link 3 up");
    say("link 1 down");
    std::array<std::uint8_t, 40> record;
    record.fill(0xEE);
    EXPECT_EQ(model.link_monitor(record), 0);
    std::array<std::uint16_t, 4> words{};
    std::memcpy(words.data(), record.data() + 4, sizeof words);
    EXPECT_THAT(words, testing::ElementsAre(0, 0, 0x100, 0));
}

trap_bytes empty_trap() {
    return {0xAB, 0x31, 0x12, 0x83, 0x07};
}

TEST(trap, without_its_header_is_none) {
    for (std::size_t at = 0; at < 5; at++) {
        trap_bytes bytes = empty_trap();
        bytes[at] ^= 1;
        EXPECT_FALSE(read_trap(bytes)) << at;
    }
    EXPECT_TRUE(read_trap(empty_trap()));
}

TEST(trap, is_read_field_by_field) {
    trap_bytes bytes = empty_trap();
    const std::uint8_t body[] = {0b1010, 0, 3, 0, 2, 0, 1, 0, 0, 0, 5, 0, 4, 1, 0, 0};
    std::copy(std::begin(body), std::end(body), bytes.begin() + 5);
    const std::uint16_t watts = 287;
    std::memcpy(bytes.data() + 19, &watts, 2);
    const auto message = read_trap(bytes);
    ASSERT_TRUE(message);
    EXPECT_FALSE(message->ports[0].reported);
    EXPECT_TRUE(message->ports[1].reported);
    EXPECT_EQ(message->ports[1].kind, 3);
    EXPECT_EQ(message->ports[1].status, 1);
    EXPECT_EQ(message->ports[1].status_b, 5);
    EXPECT_EQ(message->ports[3].kind, 2);
    EXPECT_EQ(message->ports[3].status_b, 4);
    EXPECT_TRUE(message->usage_alarm);
    EXPECT_EQ(message->consumed_w, 287);
    EXPECT_EQ(trap_text(*message),
              "port 2 pair A: delivering (1), pair B: short circuit (5); port 4 pair B: power denied (4); "
              "power usage alarm: 287 W consumed");
}

TEST(trap, says_when_it_reports_nothing) {
    EXPECT_EQ(trap_text(*read_trap(empty_trap())), "nothing reported");
}

TEST(trap, names_every_status) {
    for (unsigned status = 0; status < 16; status++) {
        EXPECT_STRNE(status_name(static_cast<std::uint8_t>(status)), "undefined");
    }
    EXPECT_STREQ(status_name(16), "undefined");
    EXPECT_STREQ(trap_kind_name(4), "undefined");
}

TEST_F(surroundings, traps_come_in_pieces_and_after_rubbish) {
    trap_bytes bytes = empty_trap();
    bytes[5] = 1;
    bytes[10] = 15;
    const std::uint8_t rubbish[] = {0x00, 0xAB, 0x31};
    model.trap(rubbish);
    for (const std::uint8_t& byte : bytes)
        model.trap({&byte, 1});
    model.trap(bytes);
    EXPECT_THAT(say("traps"), HasSubstr("port 1: switched on (15)"));
    EXPECT_THAT(say("traps", true), HasSubstr(R"("total":2)"));
    EXPECT_THAT(say("show counters", true), HasSubstr(R"("skipped_trap_bytes":3)"));
}

TEST_F(surroundings, half_a_trap_is_none_yet) {
    const trap_bytes bytes = empty_trap();
    model.trap(std::span(bytes).first(20));
    EXPECT_EQ(say("traps"), "no traps");
    model.trap(std::span(bytes).last(1));
    EXPECT_THAT(say("traps"), HasSubstr("nothing reported"));
    say("traps clear");
    EXPECT_EQ(say("traps"), "no traps");
}

}  // namespace
}  // namespace vswitch
