// A controller as the bring-up sees it: a few stored values, answered by key. Every value can be made foreign, and any
// key made deaf.
#pragma once

#include <array>
#include <set>

#include "world/world.h"

struct fake_controller {
    std::array<std::uint8_t, 4> port_enabled{};
    std::uint8_t method = 2;
    std::array<std::uint8_t, 4> pair_a{0, 2, 4, 6};
    std::array<std::uint8_t, 4> pair_b{1, 3, 5, 7};
    std::uint16_t bank_limit = 3000;  // 0.1 W
    std::uint8_t lower_count = 177;   // (177 x 0.06445 + 33) x 10 = 444.07
    std::uint8_t upper_count = 9;     // ( 9 x 0.06445 + 57) x 10 = 575.8
    std::uint8_t active_bank = 0;
    std::uint16_t temperature_count = 200;  // 25.0 degrees
    std::array<std::uint8_t, 12> identity = answer_frame({0x40, 0, 0xFF, 4, 1, 0, 57, 16, 1, 0b101, 26});
    std::set<int> deaf_keys;  // the device refuses these

    int answer(std::uint32_t, frame_bytes& frame) const {
        const std::uint8_t key = frame[0];
        if (deaf_keys.contains(key)) return -1;
        const std::size_t port = frame[2] % 4;
        const auto high = [](std::uint16_t v) { return static_cast<std::uint8_t>(v >> 8); };
        const auto low = [](std::uint16_t v) { return static_cast<std::uint8_t>(v & 0xFF); };
        switch (key) {
            case 0x40:
                frame = identity;
                break;
            case 0x41:
                frame = answer_frame({0x41, 0, 0, 0, 0, 0, active_bank});
                break;
            case 0x44:
                frame = answer_frame({0x44, 0, frame[2], 0, 0, 0, 0, high(temperature_count), low(temperature_count)});
                break;
            case 0x48:
                frame = answer_frame({0x48, 0, frame[2], port_enabled[port]});
                break;
            case 0x49:
                frame = answer_frame({0x49, 0, frame[2], 0, 0, 0, 0, 0, pair_a[port], pair_b[port]});
                break;
            case 0x4A:
                frame = answer_frame({0x4A, 0, lower_count, 0, 0, 0, 0, upper_count});
                break;
            case 0x4B:
                frame = answer_frame({0x4B, frame[1], method, high(bank_limit), low(bank_limit)});
                break;
            default:
                frame = answer_frame({key, 0});
                break;
        }
        return 0;
    }
};
