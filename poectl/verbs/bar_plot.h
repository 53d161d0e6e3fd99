// Bars of characters for a terminal that may know no more than ASCII. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace poectl {

inline constexpr std::int64_t plot_height = 8;

// One bar a value, from 0 to the greatest value, which stands at the axis in tenths. A known bar too small to be drawn
// is "_", an unknown one "?". Values below 0 count as 0.
std::string bar_plot(std::span<const std::optional<std::int64_t>> thousandths);

}  // namespace poectl
