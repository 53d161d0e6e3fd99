// What a controller's attempt is answered with in the target of controller answers, and what happens beside it. Shared
// with the program that writes the first inputs.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz::answer {

// The input begins with these bytes.
enum setting : std::size_t {
    ports_enabled,    // bit n: port n is enabled; bit 7: the system is not
    links_up,         // bit n: the link of port n is up
    auto_off,         // bit n: port n is switched off automatically
    usage_threshold,  // percent, modulo 99
    surroundings,     // bits, below
    setting_count
};

inline constexpr std::uint8_t traps_are_welcome = 1;
inline constexpr std::uint8_t link_monitor_fails = 2;
inline constexpr std::uint8_t cpld_fails = 4;

// Behind them the answers, one an attempt: a byte that says how it arrives, then the frame. When they have run out, the
// controller answers every request with zeros.
inline constexpr std::size_t frame_size = 12;
inline constexpr std::size_t answer_size = 1 + frame_size;

inline constexpr std::uint8_t ioctl_fails = 1;       // the frame is what the driver left behind
inline constexpr std::uint8_t changes_link = 2;      // of the port in bits 4 and 5, from the next pass on
inline constexpr std::uint8_t changes_welcome = 4;   // traps are welcome from the next pass on, or no longer
inline constexpr std::uint8_t changes_failures = 8;  // of link monitor and CPLD, to bits 6 and 7

}  // namespace fuzz::answer
