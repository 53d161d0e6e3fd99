#include "core/wire.h"

#include <array>
#include <cmath>
#include <limits>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

TEST(wire, a_16_bit_number_of_either_order_lies_as_its_two_bytes) {
    for (unsigned value = 0; value <= 0xFFFF; value++) {
        be16 big;
        le16 little;
        big = static_cast<std::uint16_t>(value);
        little = static_cast<std::uint16_t>(value);
        ASSERT_EQ(big.bytes[0] * 256u + big.bytes[1], value);
        ASSERT_EQ(little.bytes[0] + little.bytes[1] * 256u, value);
        ASSERT_EQ(std::uint16_t{big}, value);
        ASSERT_EQ(std::uint16_t{little}, value);
    }
}

TEST(wire, every_byte_of_a_longer_number_has_its_place) {
    le32 four;
    four = 0x04030201;
    le64 eight;
    eight = 0x0807060504030201;
    for (std::size_t i = 0; i < 4; i++)
        EXPECT_EQ(four.bytes[i], i + 1);
    for (std::size_t i = 0; i < 8; i++)
        EXPECT_EQ(eight.bytes[i], i + 1);
    EXPECT_EQ(std::uint32_t{four}, 0x04030201u);
    EXPECT_EQ(std::uint64_t{eight}, 0x0807060504030201u);
}

TEST(wire, every_bit_of_a_longer_number_goes_out_and_comes_back) {
    for (unsigned bit = 0; bit < 64; bit++) {
        le64 eight;
        eight = std::uint64_t{1} << bit;
        for (std::size_t i = 0; i < 8; i++)
            ASSERT_EQ(eight.bytes[i], i == bit / 8 ? 1u << bit % 8 : 0u) << "bit " << bit;
        ASSERT_EQ(std::uint64_t{eight}, std::uint64_t{1} << bit);
        if (bit >= 32) continue;
        le32 four;
        four = std::uint32_t{1} << bit;
        for (std::size_t i = 0; i < 4; i++)
            ASSERT_EQ(four.bytes[i], i == bit / 8 ? 1u << bit % 8 : 0u) << "bit " << bit;
        ASSERT_EQ(std::uint32_t{four}, std::uint32_t{1} << bit);
    }
}

TEST(wire, bytes_that_came_in_are_the_number_that_they_spell) {
    EXPECT_EQ(std::uint16_t{(be16{{0x12, 0x34}})}, 0x1234);
    EXPECT_EQ(std::uint16_t{(le16{{0x12, 0x34}})}, 0x3412);
    EXPECT_EQ(std::uint32_t{(le32{{0xFF, 0, 0, 0x80}})}, 0x800000FFu);
}

TEST(wire, a_single_precision_number_is_its_little_endian_pattern) {
    lef32 number;
    number = 1.0f;
    EXPECT_EQ((std::array{number.pattern.bytes[0], number.pattern.bytes[1], number.pattern.bytes[2],
                          number.pattern.bytes[3]}),
              (std::array<std::uint8_t, 4>{0x00, 0x00, 0x80, 0x3F}));
    number = -12.5f;
    EXPECT_EQ((std::array{number.pattern.bytes[0], number.pattern.bytes[1], number.pattern.bytes[2],
                          number.pattern.bytes[3]}),
              (std::array<std::uint8_t, 4>{0x00, 0x00, 0x48, 0xC1}));
}

TEST(wire, single_precision_numbers_come_back_as_they_went_out) {
    using limits = std::numeric_limits<float>;
    for (const float value : {0.0f, -0.0f, 1.5f, 3.1415927f, -273.15f, limits::max(), limits::min(),
                              limits::denorm_min(), limits::infinity(), -limits::infinity()}) {
        lef32 number;
        number = value;
        EXPECT_EQ(float{number}, value);
        EXPECT_EQ(std::signbit(float{number}), std::signbit(value));
    }
    lef32 number;
    number = limits::quiet_NaN();
    EXPECT_TRUE(std::isnan(float{number}));
}

struct some_record {
    std::uint8_t key;
    be16 first;
    le32 second;
    lef32 third;
};
static_assert(wire_record<some_record, 11>);
static_assert(!wire_record<some_record, 12>);
struct aligned_record {
    std::uint32_t machine_number;
};
static_assert(!wire_record<aligned_record, 4>);

TEST(wire, a_record_is_copied_out_of_bytes_at_any_address) {
    for (std::size_t offset = 0; offset < 8; offset++) {
        std::array<std::uint8_t, 24> bytes{};
        const std::array<std::uint8_t, 11> on_the_wire{7, 0x01, 0x02, 0x04, 0x03, 0x02, 0x01, 0, 0, 0x80, 0x3F};
        std::copy(on_the_wire.begin(), on_the_wire.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        const auto record = record_from<some_record>(bytes.data() + offset);
        EXPECT_EQ(record.key, 7);
        EXPECT_EQ(std::uint16_t{record.first}, 0x0102);
        EXPECT_EQ(std::uint32_t{record.second}, 0x01020304u);
        EXPECT_EQ(float{record.third}, 1.0f);
    }
}

TEST(wire, numbers_are_right_at_compile_time_too) {
    constexpr be16 two_bytes{{0x01, 0x00}};
    static_assert(std::uint16_t{two_bytes} == 256);
    constexpr le32 written = [] {
        le32 number{};
        number = 258;
        return number;
    }();
    static_assert(written.bytes[0] == 2 && written.bytes[1] == 1 && written.bytes[2] == 0 && written.bytes[3] == 0);
}

}  // namespace
