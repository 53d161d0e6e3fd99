// From milliwatts to the counts that the controller measures. Pure.
#pragma once

#include <cstdint>

namespace vswitch {

// A voltage count is 0.06445 V; readers of it see whole tenths of a volt.
constexpr unsigned tenth_volts(unsigned counts) {
    return counts * 6445 / 10000;
}

// The current that, times the voltage as a reader sees it, comes nearest to the load.
constexpr unsigned milliamperes(std::uint32_t load_mw, unsigned counts) {
    const unsigned tenths = tenth_volts(counts);
    return tenths == 0 ? 0 : (load_mw * 10 + tenths / 2) / tenths;
}

}  // namespace vswitch
