#include "controller/decoding.h"

#include <algorithm>

namespace {

// The thresholds as the controller reports them: volts at byte 0, and volts a count.
constexpr double lower_threshold_base_v = 33.0;
constexpr double upper_threshold_base_v = 57.0;
constexpr double threshold_step_v = 0.06445;
constexpr double tenths = 10.0;

// The same bases as they are set, in tenths of a volt.
constexpr int lower_threshold_base = 330;
constexpr int upper_threshold_base = 570;

constexpr int temperature_base_count = 120;
constexpr double degrees_per_count = -1.25;
constexpr double temperature_base_degrees = 125.0;

constexpr double watts_per_limit_step = 0.4;

// States and types whose answer is laid out differently.
constexpr std::uint8_t state_with_whole_detail = 4;
constexpr std::uint8_t type_with_split_detail = 2;

constexpr std::uint8_t reason_none = 15;

std::uint16_t threshold_read(std::uint8_t count, double base_v) {
    return truncated_to_16_bits((count * threshold_step_v + base_v) * tenths);
}

std::uint8_t threshold_to_set(std::uint16_t tenth_volts, int base) {
    return truncated_to_8_bits((tenth_volts - base) / tenth_volts_per_count);
}

std::uint16_t sum(std::uint16_t a, std::uint16_t b) {
    return static_cast<std::uint16_t>(a + b);
}

std::uint8_t reason_code(std::uint8_t nibble) {
    return nibble == reason_none ? reason_none : static_cast<std::uint8_t>((nibble + 16) * 2);
}

}  // namespace

std::uint16_t tenth_volts(std::uint16_t count) {
    return truncated_to_16_bits(count * tenth_volts_per_count);
}

std::uint16_t tenth_degrees(std::uint16_t count) {
    const double degrees = (count - temperature_base_count) * degrees_per_count + temperature_base_degrees;
    return truncated_to_16_bits(degrees * tenths);
}

std::uint16_t lower_threshold(std::uint8_t count) {
    return threshold_read(count, lower_threshold_base_v);
}
std::uint16_t upper_threshold(std::uint8_t count) {
    return threshold_read(count, upper_threshold_base_v);
}

std::uint8_t lower_threshold_count(std::uint16_t tenth_volts) {
    return threshold_to_set(tenth_volts, lower_threshold_base);
}
std::uint8_t upper_threshold_count(std::uint16_t tenth_volts) {
    return threshold_to_set(tenth_volts, upper_threshold_base);
}

void decode(const controller_frame& answer, global_status& status) {
    const std::uint8_t flags = byte_of<9>(answer);
    status.b3 = byte_of<3>(answer);
    status.b4 = byte_of<4>(answer);
    status.b5_b6 = sum(status.b5_b6, word_of<5>(answer));
    status.b7_high = high_nibble(byte_of<7>(answer));
    status.b7_low = low_nibble(byte_of<7>(answer));
    status.b8 = byte_of<8>(answer);
    for (std::size_t bit = 0; bit < status.b9_flags.size(); bit++)
        status.b9_flags[bit] = flags >> bit & 1;
    status.b10_high = high_nibble(byte_of<10>(answer));
    status.b10_low = low_nibble(byte_of<10>(answer));
}

void decode(const controller_frame& answer, global_power_status& status) {
    status.b2_b3 = sum(status.b2_b3, word_of<2>(answer));
    status.power_word = sum(status.power_word, word_of<4>(answer));
    status.active_bank = byte_of<6>(answer);
    status.b7_b8 = sum(status.b7_b8, word_of<7>(answer));
}

void decode(const controller_frame& answer, port_status& status) {
    const std::uint8_t b4 = byte_of<4>(answer);
    const std::uint8_t b5 = byte_of<5>(answer);
    status.port = byte_of<2>(answer);
    status.state = byte_of<3>(answer);
    status.port_type = byte_of<7>(answer);

    const bool whole = status.state == state_with_whole_detail;
    status.detail = whole ? b4 : not_reported;
    status.detail_low = whole ? not_reported : low_nibble(b4);
    status.detail_high = whole ? not_reported : high_nibble(b4);

    const bool split = status.port_type == type_with_split_detail;
    status.second_detail = split ? not_reported : b5;
    status.second_low = split ? low_nibble(b5) : not_reported;
    status.second_high = split ? high_nibble(b5) : not_reported;
}

// Two data bytes make four entries of the record, in the order low of the first, high of the second, high of the first,
// low of the second.
void decode(const controller_frame& answer, port_group_status& status) {
    status.r[0] = byte_of<2>(answer);
    for (std::size_t data = 1, entry = 1; data + 1 < answer.data.size(); data += 2, entry += 4) {
        const std::uint8_t first = answer.data[data];
        const std::uint8_t second = answer.data[data + 1];
        status.r[entry] = low_nibble(first);
        status.r[entry + 1] = high_nibble(second);
        status.r[entry + 2] = high_nibble(first);
        status.r[entry + 3] = low_nibble(second);
    }
}

void decode(const controller_frame& answer, port_measurement& measurement) {
    measurement = {.port = byte_of<2>(answer),
                   .voltage = tenth_volts(word_of<3>(answer)),
                   .current = word_of<5>(answer),
                   .temperature = tenth_degrees(word_of<7>(answer)),
                   .power = word_of<9>(answer)};
}

void decode(const controller_frame& answer, port_mib_counters& counters) {
    std::copy_n(answer.data.begin(), counters.b2_to_b7.size(), counters.b2_to_b7.begin());
}

void decode(const controller_frame& answer, port_event_status& status) {
    status.b2 = byte_of<2>(answer);
    status.b3 = byte_of<3>(answer);
    std::copy_n(answer.data.begin() + 2, status.b4_to_b9.size(), status.b4_to_b9.begin());
}

void decode(const controller_frame& answer, reset_reason& reason) {
    reason.b2 = byte_of<2>(answer);
    reason.b3 = byte_of<3>(answer);
    reason.b4 = byte_of<4>(answer);
    for (std::size_t i = 0; i < reason.nibbles.size(); i += 2) {
        const std::uint8_t byte = answer.data[3 + i / 2];
        reason.nibbles[i] = reason_code(high_nibble(byte));
        reason.nibbles[i + 1] = reason_code(low_nibble(byte));
    }
}

void decode(const controller_frame& answer, port_basic_cfg& cfg) {
    cfg = {.port = byte_of<2>(answer),
           .enable = byte_of<3>(answer),
           .b4 = byte_of<4>(answer),
           .b5 = byte_of<5>(answer),
           .b7 = byte_of<7>(answer),
           .b8 = byte_of<8>(answer)};
}

void decode(const controller_frame& answer, port_extended_cfg& cfg) {
    cfg = {.b2 = byte_of<2>(answer),
           .b3 = byte_of<3>(answer),
           .b4 = byte_of<4>(answer),
           .power_limit_w = static_cast<float>(byte_of<5>(answer) * watts_per_limit_step),
           .priority_code = byte_of<6>(answer),
           .b7 = byte_of<7>(answer),
           .pair_a = byte_of<8>(answer),
           .pair_b = byte_of<9>(answer)};
}

void decode(const controller_frame& answer, global_parameters& parameters) {
    parameters = {.lower = lower_threshold(byte_of<2>(answer)),
                  .b3 = byte_of<3>(answer),
                  .upper = upper_threshold(byte_of<7>(answer)),
                  .b8 = byte_of<8>(answer)};
}

void decode(const controller_frame& answer, global_pm_cfg& cfg) {
    cfg = {.bank = answer.selector,
           .method = byte_of<2>(answer),
           .bank_power = word_of<3>(answer),
           .b5_b6 = word_of<5>(answer),
           .b7_b8 = word_of<7>(answer),
           .b9_b10 = word_of<9>(answer)};
}

void decode(const controller_frame& answer, device_address& address) {
    address.b2 = byte_of<2>(answer);
    std::copy_n(answer.data.begin() + 1, address.b3_to_b10.size(), address.b3_to_b10.begin());
}

void decode(const controller_frame& answer, channel_status& status) {
    status = {.b2 = byte_of<2>(answer),
              .b6 = byte_of<6>(answer),
              .b5 = byte_of<5>(answer),
              .b3 = byte_of<3>(answer),
              .b4 = byte_of<4>(answer),
              .b10 = byte_of<10>(answer),
              .b9 = byte_of<9>(answer),
              .b7 = byte_of<7>(answer),
              .b8 = byte_of<8>(answer)};
}

void decode(const controller_frame& answer, channel_vol_cur& measurement) {
    measurement = {.channel = byte_of<2>(answer),
                   .voltage1 = tenth_volts(word_of<3>(answer)),
                   .raw1 = word_of<5>(answer),
                   .voltage2 = tenth_volts(word_of<7>(answer)),
                   .raw2 = word_of<9>(answer)};
}

void decode(const controller_frame& answer, chip_type_info& info) {
    for (std::size_t i = 0; i < info.nibbles.size(); i += 2) {
        info.nibbles[i] = high_nibble(answer.data[i / 2]);
        info.nibbles[i + 1] = low_nibble(answer.data[i / 2]);
    }
}

void decode(const controller_frame& answer, cfg_version& version) {
    std::copy_n(answer.data.begin(), version.b2_to_b6.size(), version.b2_to_b6.begin());
}
