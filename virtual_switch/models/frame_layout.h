// The controller's frame, as the controller itself sees it: command keys, byte places, checksum, big-endian words.
// Pure. Written for the controller's side alone, so that a mistake of the daemon's cannot agree with itself here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vswitch {

using frame = std::array<std::uint8_t, 12>;

inline constexpr std::size_t key_at = 0;
inline constexpr std::size_t selector_at = 1;
inline constexpr std::size_t data_at = 2;
inline constexpr std::size_t checksum_at = 11;
inline constexpr std::size_t data_size = checksum_at - data_at;
inline constexpr std::uint8_t unused_byte = 0xFF;

// What the controller puts into byte 1 when it does not take a request.
inline constexpr std::uint8_t report_undefined_key = 'a';
inline constexpr std::uint8_t report_wrong_checksum = 'b';

// What stands in a result byte.
inline constexpr std::uint8_t accepted = 0;
inline constexpr std::uint8_t refused = 1;

namespace command_key {
inline constexpr std::uint8_t all_ports_power = 0x00;
inline constexpr std::uint8_t port_power = 0x01;
inline constexpr std::uint8_t global_reset = 0x02;
inline constexpr std::uint8_t power_bank = 0x04;
inline constexpr std::uint8_t mapping_enable = 0x05;
inline constexpr std::uint8_t pair_mapping = 0x06;
inline constexpr std::uint8_t disconnect_mode = 0x08;
inline constexpr std::uint8_t power_up_mode = 0x0C;
inline constexpr std::uint8_t thresholds = 0x0E;
inline constexpr std::uint8_t detection_mode = 0x0F;
inline constexpr std::uint8_t power_method = 0x10;
inline constexpr std::uint8_t system_mask = 0x11;
inline constexpr std::uint8_t limit_mode = 0x12;
inline constexpr std::uint8_t port_limit = 0x14;
inline constexpr std::uint8_t port_priority = 0x15;
inline constexpr std::uint8_t event_code = 0x16;
inline constexpr std::uint8_t inline_option = 0x18;
inline constexpr std::uint8_t global_status = 0x40;
inline constexpr std::uint8_t global_power_status = 0x41;
inline constexpr std::uint8_t port_status = 0x42;
inline constexpr std::uint8_t port_group_status = 0x43;
inline constexpr std::uint8_t port_measurement = 0x44;
inline constexpr std::uint8_t event_counters = 0x45;
inline constexpr std::uint8_t event_status = 0x46;
inline constexpr std::uint8_t reset_reason = 0x47;
inline constexpr std::uint8_t port_basic = 0x48;
inline constexpr std::uint8_t port_extended = 0x49;
inline constexpr std::uint8_t global_parameters = 0x4A;
inline constexpr std::uint8_t power_management = 0x4B;
inline constexpr std::uint8_t device_address = 0x4C;
inline constexpr std::uint8_t channel_status = 0x4E;
inline constexpr std::uint8_t channel_measurement = 0x4F;
inline constexpr std::uint8_t configuration_store = 0xC0;
}  // namespace command_key

// Selectors of the configuration store.
inline constexpr std::uint8_t store_save = 1;
inline constexpr std::uint8_t store_clear = 2;
inline constexpr std::uint8_t store_version_save = 3;
inline constexpr std::uint8_t store_version_get = 4;

constexpr std::uint8_t checksum_of(const frame& bytes) {
    unsigned sum = 0;
    for (std::size_t at = 0; at < checksum_at; at++)
        sum += bytes[at];
    return static_cast<std::uint8_t>(sum % 256);
}

constexpr void seal(frame& bytes) {
    bytes[checksum_at] = checksum_of(bytes);
}

constexpr bool is_sealed(const frame& bytes) {
    return bytes[checksum_at] == checksum_of(bytes);
}

constexpr std::uint16_t word_at(const frame& bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

constexpr void put_word(frame& bytes, std::size_t at, unsigned value) {
    bytes[at] = static_cast<std::uint8_t>(value >> 8 & 0xFF);
    bytes[at + 1] = static_cast<std::uint8_t>(value & 0xFF);
}

constexpr std::uint8_t nibbles(unsigned high, unsigned low) {
    return static_cast<std::uint8_t>((high & 0x0F) << 4 | (low & 0x0F));
}

// An answer with every data byte unused, not yet sealed.
constexpr frame blank_answer(std::uint8_t key, std::uint8_t selector = 0) {
    frame bytes{};
    bytes.fill(unused_byte);
    bytes[key_at] = key;
    bytes[selector_at] = selector;
    return bytes;
}

}  // namespace vswitch
