// The hardware stress test: a production and service aid that takes the place of normal service when its flag file
// exists at start. Main thread, alone: no other thread is ever started in this mode.
#pragma once

#include <cstdint>

#include "core/locks.h"

// What the controller that the product is fitted with answers about itself.
struct controller_identity {
    std::uint8_t o0;   // answer byte 3
    std::uint8_t o1;   // 4
    std::uint16_t o2;  // 5 and 6
    std::uint8_t o3;   // 7
    std::uint8_t o4;   // 8
    std::uint8_t o5;   // 9, bit 0
    std::uint8_t o6;   // 9, bit 1
    std::uint8_t o7;   // 9, bit 2
    std::uint8_t o8;   // 10
    bool operator==(const controller_identity&) const = default;
};
inline constexpr controller_identity fitted_controller{
    .o0 = 4, .o1 = 1, .o2 = 57, .o3 = 16, .o4 = 1, .o5 = 1, .o6 = 0, .o7 = 1, .o8 = 26};

struct stress_totals {
    std::uint32_t total_count;      // rounds
    std::uint32_t data_fail_count;  // rounds whose answer came, but from another controller
};

// One round: ask the controller who it is, ask it for its measurements, print the totals and the link's counters.
void stress_test_round(stress_totals& totals) REQUIRES(controller_user);

// Rounds for ever, at the pace of the controller.
[[noreturn]] void for_check_cpld_hardware() REQUIRES(controller_user);
