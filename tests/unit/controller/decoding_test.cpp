#include "controller/decoding.h"

#include "controller_bench.h"

namespace {

// An answer of the bytes 2..10, decoded into a zeroed record.
template <typename record>
record decoded(std::vector<std::uint8_t> data, std::uint8_t b1 = 0) {
    data.insert(data.begin(), {0x40, b1});
    record value{};
    decode(as_frame(answer_frame(data)), value);
    return value;
}

template <typename record>
record decoded_with(std::size_t place, unsigned byte) {
    std::vector<std::uint8_t> data(9, 0);
    data.at(place - 2) = static_cast<std::uint8_t>(byte);
    return decoded<record>(data);
}

template <typename record>
record decoded_with_word(std::size_t place, unsigned word) {
    std::vector<std::uint8_t> data(9, 0);
    data.at(place - 2) = static_cast<std::uint8_t>(word / 256);
    data.at(place - 1) = static_cast<std::uint8_t>(word % 256);
    return decoded<record>(data);
}

// Division that drops the fraction, on whole numbers: what the floating conversions come to.
constexpr long long quotient(long long dividend, long long divisor) {
    return dividend / divisor;
}

// Counts whose exact voltage is whole, and whose product with 0.6445 in double precision falls just short of it.
bool falls_just_short(unsigned count) {
    return count == 6000 || count == 12000 || count == 24000 || count == 48000 || count == 50000;
}
unsigned voltage_of(unsigned count) {
    return static_cast<unsigned>(quotient(count * 6445LL, 10000)) - (falls_just_short(count) ? 1 : 0);
}
std::uint16_t low_16_bits(long long value) {
    return static_cast<std::uint16_t>(((value % 65536) + 65536) % 65536);
}

// Nibbles by a table of their own.
std::uint8_t hi(unsigned byte) {
    return static_cast<std::uint8_t>(byte / 16);
}
std::uint8_t lo(unsigned byte) {
    return static_cast<std::uint8_t>(byte % 16);
}

const std::vector<std::uint8_t> distinct{0x12, 0x23, 0x34, 0x45, 0x56, 0x67, 0x78, 0x89, 0x9A};  // b2..b10

TEST(decoding, a_floating_value_is_truncated_towards_zero_and_cut_to_its_low_bits) {
    struct {
        double value;
        std::uint16_t bits_16;
        std::uint8_t bits_8;
    } cases[] = {{0.0, 0, 0},
                 {0.999, 0, 0},
                 {-0.999, 0, 0},
                 {1.999, 1, 1},
                 {-1.0, 0xFFFF, 0xFF},
                 {-1.999, 0xFFFF, 0xFF},
                 {255.9, 255, 255},
                 {256.0, 256, 0},
                 {65535.9, 65535, 255},
                 {65536.0, 0, 0},
                 {65537.5, 1, 1},
                 {-816437.5, 0x8ACB, 0xCB},
                 {2147483647.0, 0xFFFF, 0xFF},
                 {-2147483648.0, 0, 0}};
    for (const auto& each : cases) {
        EXPECT_EQ(truncated_to_16_bits(each.value), each.bits_16) << each.value;
        EXPECT_EQ(truncated_to_8_bits(each.value), each.bits_8) << each.value;
    }
}

TEST(decoding, voltages_are_0_6445_tenths_of_a_volt_a_count) {
    for (unsigned count = 0; count <= 0xFFFF; count++) {
        ASSERT_EQ(tenth_volts(static_cast<std::uint16_t>(count)), voltage_of(count)) << count;
    }
    EXPECT_EQ(tenth_volts(0x0300), 494);
}

TEST(decoding, temperatures_fall_by_12_5_tenths_a_count_and_wrap_when_negative) {
    for (long long count = 0; count <= 0xFFFF; count++) {
        const long long tenths = quotient((120 - count) * 125 + 12500, 10);
        ASSERT_EQ(tenth_degrees(static_cast<std::uint16_t>(count)), low_16_bits(tenths)) << count;
    }
    EXPECT_EQ(tenth_degrees(120), 1250);
    EXPECT_EQ(tenth_degrees(200), 250);
    EXPECT_EQ(tenth_degrees(220), 0);
    EXPECT_EQ(tenth_degrees(221), 0xFFF4);  // -12.5 drops its fraction: -12
}

TEST(decoding, thresholds_are_read_from_one_byte) {
    for (unsigned count = 0; count <= 0xFF; count++) {
        EXPECT_EQ(lower_threshold(static_cast<std::uint8_t>(count)), quotient(count * 6445LL + 3300000, 10000));
        EXPECT_EQ(upper_threshold(static_cast<std::uint8_t>(count)), quotient(count * 6445LL + 5700000, 10000));
    }
    EXPECT_EQ(lower_threshold(180), 446);
    EXPECT_EQ(upper_threshold(9), 575);
    EXPECT_EQ(lower_threshold(179), 445);
}

TEST(decoding, thresholds_to_be_set_become_the_low_byte_of_a_truncated_quotient) {
    for (long long tenths = 0; tenths <= 0xFFFF; tenths++) {
        const long long lower = quotient((tenths - 330) * 10000, 6445);
        const long long upper = quotient((tenths - 570) * 10000, 6445);
        ASSERT_EQ(lower_threshold_count(static_cast<std::uint16_t>(tenths)), low_16_bits(lower) % 256) << tenths;
        ASSERT_EQ(upper_threshold_count(static_cast<std::uint16_t>(tenths)), low_16_bits(upper) % 256) << tenths;
    }
    EXPECT_EQ(lower_threshold_count(446), 179);
    EXPECT_EQ(upper_threshold_count(576), 9);
}

TEST(decoding, the_global_status_is_split_into_its_parts) {
    const auto status = decoded<global_status>(distinct);
    EXPECT_EQ(status.b3, 0x23);
    EXPECT_EQ(status.b4, 0x34);
    EXPECT_EQ(status.b5_b6, 0x4556);
    EXPECT_EQ(status.b8, 0x78);
    EXPECT_EQ(status.b7_high, 6);
    EXPECT_EQ(status.b7_low, 7);
    EXPECT_EQ(status.b10_high, 9);
    EXPECT_EQ(status.b10_low, 0xA);
}

TEST(decoding, the_global_status_flags_are_bits_0_to_2_of_byte_9) {
    for (unsigned byte = 0; byte <= 0xFF; byte++) {
        const auto flags = decoded_with<global_status>(9, byte).b9_flags;
        EXPECT_EQ(flags[0], byte % 2);
        EXPECT_EQ(flags[1], byte / 2 % 2);
        EXPECT_EQ(flags[2], byte / 4 % 2);
    }
}

TEST(decoding, every_byte_splits_into_two_nibbles) {
    for (unsigned byte = 0; byte <= 0xFF; byte++) {
        EXPECT_EQ(decoded_with<global_status>(7, byte).b7_high, hi(byte));
        EXPECT_EQ(decoded_with<global_status>(7, byte).b7_low, lo(byte));
        EXPECT_EQ(decoded_with<global_status>(10, byte).b10_high, hi(byte));
        EXPECT_EQ(decoded_with<global_status>(10, byte).b10_low, lo(byte));
    }
}

TEST(decoding, the_global_power_status_holds_three_words_and_the_active_bank) {
    const auto status = decoded<global_power_status>(distinct);
    EXPECT_EQ(status.b2_b3, 0x1223);
    EXPECT_EQ(status.power_word, 0x3445);
    EXPECT_EQ(status.active_bank, 0x56);
    EXPECT_EQ(status.b7_b8, 0x6778);
}

TEST(decoding, the_words_of_the_global_records_add_to_what_is_there) {
    const controller_frame answer = as_frame(answer_frame({0x40, 0, 0, 1, 0, 2, 0, 0xFF, 0xFF}));  // b7, b8 = 0xFFFF
    global_power_status power{.b2_b3 = 10, .power_word = 20, .active_bank = 30, .b7_b8 = 40};
    decode(answer, power);
    EXPECT_EQ(power.b2_b3, 11);
    EXPECT_EQ(power.power_word, 22);
    EXPECT_EQ(power.active_bank, 0);
    EXPECT_EQ(power.b7_b8, 39);

    global_status status{};
    status.b5_b6 = 100;
    decode(as_frame(answer_frame({0x40, 0, 0, 0, 0, 1, 0})), status);
    EXPECT_EQ(status.b5_b6, 356);
}

TEST(decoding, the_port_status_names_port_state_and_type) {
    const auto status = decoded<port_status>({3, 2, 0x21, 0x57, 0xEE, 9, 0xEE, 0xEE, 0xEE});
    EXPECT_EQ(status.port, 3);
    EXPECT_EQ(status.state, 2);
    EXPECT_EQ(status.port_type, 9);
}

TEST(decoding, byte_4_of_the_port_status_is_whole_in_state_4_and_two_nibbles_in_every_other) {
    for (unsigned state = 0; state <= 0xFF; state++) {
        for (unsigned b4 = 0; b4 <= 0xFF; b4++) {
            const auto status = decoded<port_status>(
                {0, static_cast<std::uint8_t>(state), static_cast<std::uint8_t>(b4), 0, 0, 0, 0, 0, 0});
            ASSERT_EQ(status.detail, state == 4 ? b4 : 0xFF) << state << " " << b4;
            ASSERT_EQ(status.detail_low, state == 4 ? 0xFF : lo(b4)) << state << " " << b4;
            ASSERT_EQ(status.detail_high, state == 4 ? 0xFF : hi(b4)) << state << " " << b4;
        }
    }
}

TEST(decoding, byte_5_of_the_port_status_is_two_nibbles_for_type_2_and_whole_for_every_other) {
    for (unsigned type = 0; type <= 0xFF; type++) {
        for (unsigned b5 = 0; b5 <= 0xFF; b5++) {
            const auto status = decoded<port_status>(
                {0, 0, 0, static_cast<std::uint8_t>(b5), 0, static_cast<std::uint8_t>(type), 0, 0, 0});
            ASSERT_EQ(status.second_detail, type == 2 ? 0xFF : b5) << type << " " << b5;
            ASSERT_EQ(status.second_low, type == 2 ? lo(b5) : 0xFF) << type << " " << b5;
            ASSERT_EQ(status.second_high, type == 2 ? hi(b5) : 0xFF) << type << " " << b5;
        }
    }
}

TEST(decoding, the_group_status_keeps_the_controllers_nibble_order) {
    const auto status = decoded<port_group_status>({0x99, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0});
    EXPECT_THAT(status.r,
                ElementsAre(0x99, 0x2, 0x3, 0x1, 0x4, 0x6, 0x7, 0x5, 0x8, 0xA, 0xB, 0x9, 0xC, 0xE, 0xF, 0xD, 0x0));
}

TEST(decoding, a_port_measurement_holds_voltage_current_temperature_and_power) {
    const auto measurement = decoded<port_measurement>({2, 0x03, 0x00, 0x12, 0x34, 0, 200, 0x56, 0x78});
    EXPECT_EQ(measurement.port, 2);
    EXPECT_EQ(measurement.voltage, 494);
    EXPECT_EQ(measurement.current, 0x1234);
    EXPECT_EQ(measurement.temperature, 250);
    EXPECT_EQ(measurement.power, 0x5678);
}

TEST(decoding, the_measurement_words_take_every_value) {
    for (unsigned word = 0; word <= 0xFFFF; word++) {
        ASSERT_EQ(decoded_with_word<port_measurement>(3, word).voltage, voltage_of(word));
        ASSERT_EQ(decoded_with_word<port_measurement>(5, word).current, word);
        ASSERT_EQ(decoded_with_word<port_measurement>(9, word).power, word);
        ASSERT_EQ(decoded_with_word<channel_vol_cur>(3, word).voltage1, voltage_of(word));
        ASSERT_EQ(decoded_with_word<channel_vol_cur>(5, word).raw1, word);
        ASSERT_EQ(decoded_with_word<channel_vol_cur>(7, word).voltage2, voltage_of(word));
        ASSERT_EQ(decoded_with_word<channel_vol_cur>(9, word).raw2, word);
        ASSERT_EQ(decoded_with_word<global_pm_cfg>(3, word).bank_power, word);
    }
}

TEST(decoding, the_event_counters_are_bytes_2_to_7) {
    EXPECT_THAT(decoded<port_mib_counters>(distinct).b2_to_b7, ElementsAre(0x12, 0x23, 0x34, 0x45, 0x56, 0x67));
}

TEST(decoding, the_event_status_is_two_bytes_and_six) {
    const auto status = decoded<port_event_status>(distinct);
    EXPECT_EQ(status.b2, 0x12);
    EXPECT_EQ(status.b3, 0x23);
    EXPECT_THAT(status.b4_to_b9, ElementsAre(0x34, 0x45, 0x56, 0x67, 0x78, 0x89));
}

TEST(decoding, a_reset_reason_nibble_is_15_or_twice_itself_plus_32) {
    const std::uint8_t code[16] = {32, 34, 36, 38, 40, 42, 44, 46, 48, 50, 52, 54, 56, 58, 60, 15};
    for (std::size_t place = 5; place <= 10; place++) {
        for (unsigned byte = 0; byte <= 0xFF; byte++) {
            const auto reason = decoded_with<reset_reason>(place, byte);
            for (std::size_t i = 0; i < 12; i++) {
                const std::size_t high = 2 * (place - 5);
                const std::uint8_t expected = i == high ? code[byte / 16] : i == high + 1 ? code[byte % 16] : code[0];
                ASSERT_EQ(reason.nibbles[i], expected) << "byte " << place << " = " << byte << ", entry " << i;
            }
        }
    }
    const auto reason = decoded<reset_reason>(distinct);
    EXPECT_EQ(reason.b2, 0x12);
    EXPECT_EQ(reason.b3, 0x23);
    EXPECT_EQ(reason.b4, 0x34);
}

TEST(decoding, the_basic_configuration_skips_byte_6) {
    const auto cfg = decoded<port_basic_cfg>(distinct);
    EXPECT_EQ(cfg.port, 0x12);
    EXPECT_EQ(cfg.enable, 0x23);
    EXPECT_EQ(cfg.b4, 0x34);
    EXPECT_EQ(cfg.b5, 0x45);
    EXPECT_EQ(cfg.b7, 0x67);
    EXPECT_EQ(cfg.b8, 0x78);
}

TEST(decoding, the_extended_configuration_holds_limit_priority_and_channels) {
    const auto cfg = decoded<port_extended_cfg>(distinct);
    EXPECT_EQ(cfg.b2, 0x12);
    EXPECT_EQ(cfg.b3, 0x23);
    EXPECT_EQ(cfg.b4, 0x34);
    EXPECT_EQ(cfg.priority_code, 0x56);
    EXPECT_EQ(cfg.b7, 0x67);
    EXPECT_EQ(cfg.pair_a, 0x78);
    EXPECT_EQ(cfg.pair_b, 0x89);
}

TEST(decoding, a_power_limit_step_is_0_4_watts_in_single_precision) {
    for (unsigned steps = 0; steps <= 0xFF; steps++) {
        EXPECT_EQ(decoded_with<port_extended_cfg>(5, steps).power_limit_w,
                  static_cast<float>(static_cast<double>(steps) * 0.4));
    }
    EXPECT_FLOAT_EQ(decoded_with<port_extended_cfg>(5, 225).power_limit_w, 90.0F);
}

TEST(decoding, the_parameters_read_the_lower_threshold_from_byte_2_and_the_upper_from_byte_7) {
    const auto parameters = decoded<global_parameters>({180, 0x23, 99, 98, 97, 9, 0x78, 96, 95});
    EXPECT_EQ(parameters.lower, 446);
    EXPECT_EQ(parameters.b3, 0x23);
    EXPECT_EQ(parameters.upper, 575);
    EXPECT_EQ(parameters.b8, 0x78);
}

TEST(decoding, the_power_management_record_takes_the_bank_from_byte_1) {
    const auto cfg = decoded<global_pm_cfg>(distinct, 5);
    EXPECT_EQ(cfg.bank, 5);
    EXPECT_EQ(cfg.method, 0x12);
    EXPECT_EQ(cfg.bank_power, 0x2334);
    EXPECT_EQ(cfg.b5_b6, 0x4556);
    EXPECT_EQ(cfg.b7_b8, 0x6778);
    EXPECT_EQ(cfg.b9_b10, 0x899A);
}

TEST(decoding, the_device_address_is_a_byte_and_eight) {
    const auto address = decoded<device_address>(distinct);
    EXPECT_EQ(address.b2, 0x12);
    EXPECT_THAT(address.b3_to_b10, ElementsAre(0x23, 0x34, 0x45, 0x56, 0x67, 0x78, 0x89, 0x9A));
}

TEST(decoding, the_channel_status_names_each_byte) {
    const auto status = decoded<channel_status>(distinct);
    EXPECT_EQ(status.b2, 0x12);
    EXPECT_EQ(status.b3, 0x23);
    EXPECT_EQ(status.b4, 0x34);
    EXPECT_EQ(status.b5, 0x45);
    EXPECT_EQ(status.b6, 0x56);
    EXPECT_EQ(status.b7, 0x67);
    EXPECT_EQ(status.b8, 0x78);
    EXPECT_EQ(status.b9, 0x89);
    EXPECT_EQ(status.b10, 0x9A);
}

TEST(decoding, the_channel_status_record_has_the_order_2_6_5_3_4_10_9_7_8) {
    const auto record = std::bit_cast<std::array<std::uint8_t, 9>>(decoded<channel_status>(distinct));
    EXPECT_THAT(record, ElementsAre(0x12, 0x56, 0x45, 0x23, 0x34, 0x9A, 0x89, 0x67, 0x78));
}

TEST(decoding, a_channel_measurement_holds_both_pair_sets) {
    const auto measurement = decoded<channel_vol_cur>({1, 0x03, 0x00, 0x12, 0x34, 0x03, 0x20, 0x56, 0x78});
    EXPECT_EQ(measurement.channel, 1);
    EXPECT_EQ(measurement.voltage1, 494);
    EXPECT_EQ(measurement.raw1, 0x1234);
    EXPECT_EQ(measurement.voltage2, 515);  // 800 x 0.6445 = 515.6
    EXPECT_EQ(measurement.raw2, 0x5678);
}

TEST(decoding, the_chip_types_are_twelve_nibbles_high_before_low) {
    EXPECT_THAT(decoded<chip_type_info>({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0x11}).nibbles,
                ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 0xA, 0xB, 0xC));
}

TEST(decoding, the_configuration_version_is_bytes_2_to_6) {
    EXPECT_THAT(decoded<cfg_version>(distinct).b2_to_b6, ElementsAre(0x12, 0x23, 0x34, 0x45, 0x56));
}

}  // namespace
