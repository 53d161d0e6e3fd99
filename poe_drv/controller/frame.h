// The controller's frame: 12 bytes, the same shape for a request and for its answer. Knows nothing but its arguments;
// any thread.
//
//      0      1          2 ... 10      11
//   | key | selector | 9 data bytes | checksum |      numbers inside the data are big-endian, nibbles high first
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "core/diagnostics.h"
#include "core/wire.h"

inline constexpr std::size_t frame_data_size = 9;
inline constexpr std::size_t frame_data_offset = 2;

struct controller_frame {
    std::uint8_t key;                                // 0   of the command; echoed in the answer
    std::uint8_t selector;                           // 1   0, a sub-command or a bank; in an answer the report key
    std::array<std::uint8_t, frame_data_size> data;  // 2   unused bytes of a request are 0xFF
    std::uint8_t checksum;                           // 11  low 8 bits of the sum of bytes 0..10
};
static_assert(wire_record<controller_frame, 12>);
static_assert(offsetof(controller_frame, data) == frame_data_offset && offsetof(controller_frame, checksum) == 11);

inline constexpr std::uint8_t unused_byte = 0xFF;

// In place of the selector of an answer: the controller could not take the request.
inline constexpr std::uint8_t report_undefined_key = 'a';
inline constexpr std::uint8_t report_wrong_checksum = 'b';

constexpr bool carries_report_key(const controller_frame& answer) {
    return answer.selector == report_undefined_key || answer.selector == report_wrong_checksum;
}

// A request as every command starts it: the first data bytes given, the others unused, the checksum left to the
// transport. Data beyond the ninth byte does not fit and is left out.
constexpr controller_frame blank_request(std::uint8_t key, std::uint8_t selector,
                                         std::initializer_list<std::uint8_t> data = {}) {
    controller_frame frame{.key = key, .selector = selector, .data = {}, .checksum = 0};
    frame.data.fill(unused_byte);
    std::size_t i = 0;
    for (const std::uint8_t byte : data) {
        if (i < frame.data.size()) frame.data[i++] = byte;
    }
    return frame;
}
static_assert(std::bit_cast<std::array<std::uint8_t, 12>>(blank_request(0x45, 0, {2, 1})) ==
              std::array<std::uint8_t, 12>{0x45, 0, 2, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0});

// One data byte by its place in the frame, 2..10.
template <std::size_t offset>
constexpr std::uint8_t byte_of(const controller_frame& frame) {
    static_assert(offset >= frame_data_offset && offset < frame_data_offset + frame_data_size);
    return frame.data[offset - frame_data_offset];
}

// Two data bytes, high byte first.
template <std::size_t offset>
constexpr std::uint16_t word_of(const controller_frame& frame) {
    return be16{{byte_of<offset>(frame), byte_of<offset + 1>(frame)}};
}

constexpr std::uint8_t high_nibble(std::uint8_t byte) {
    return static_cast<std::uint8_t>(byte >> 4);
}
constexpr std::uint8_t low_nibble(std::uint8_t byte) {
    return byte & 0x0F;
}

// The checksum of bytes 0..10, into `out`.
void poe_cal_data_checksum(const controller_frame& frame, std::uint8_t& out);

// The same, into the frame's own last byte.
void poe_cal_data_fill_chk(controller_frame& frame);

// 1 or 0: does the frame carry the right checksum? And its opposite.
int is_succ_poe_chk_dat(const controller_frame& frame);
int is_fail_poe_chk_dat(const controller_frame& frame);

// The switch of the frame traces: 1 makes every command and every attempt show its bytes on standard error.
inline constexpr int frame_trace = 0;

// One line with the frame's bytes in hexadecimal, when `enable` is not 0. `tag` is "TX" before a transmission, "RX"
// after a reception.
void _byte_code_print(int enable, const char* function_name, int line, const char* tag, const controller_frame& frame);
