// What may befall one attempt on the controller's line. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "models/frame_layout.h"

namespace campaign {

enum class left_behind {
    answer,    // the controller was asked; this is its answer
    request,   // the controller heard nothing; the request lies where it was
    previous,  // the answer to the attempt before, once more
    zeros,
    ones,
    report,  // a report key in byte 1, the rest unused
};

struct befalling {
    left_behind record = left_behind::answer;
    int error = 0;                  // 0: the ioctl succeeds
    std::uint8_t report_key = 0;    // of a report
    std::size_t set_at = no_byte;   // a byte that arrives as another one
    std::uint8_t set_to = 0;        //
    bool resealed = false;          // with a checksum that fits it
    vswitch::frame flips{};         // bits that arrive inverted
    std::uint8_t checksum_off = 0;  // added to the checksum
    bool is_fault = true;
    static constexpr std::size_t no_byte = vswitch::frame{}.size();
};

inline constexpr befalling nothing{.is_fault = false};

struct named_fault {
    std::string name;
    befalling what;
};

// One of every kind.
const std::vector<named_fault>& fault_kinds();

// All 96 single and 4,560 double bit flips.
inline constexpr std::size_t frame_bits = 96;
inline constexpr std::size_t flip_count = frame_bits + frame_bits * (frame_bits - 1) / 2;
const std::vector<befalling>& all_flips();

}  // namespace campaign
