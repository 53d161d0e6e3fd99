// Bars of characters for a terminal that may know no more than ASCII. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace poectl {

inline constexpr std::int64_t plot_height = 8;

// One bar a value, from 0 to the greatest value, which stands at the axis in tenths. A known bar too small to be drawn
// is "_", an unknown one "?". Values below 0 count as 0.
std::string bar_plot(std::span<const std::optional<std::int64_t>> thousandths);

// Fewer bars: each is the mean of the known ones among so many values.
std::vector<std::optional<std::int64_t>> condensed(std::span<const std::optional<std::int64_t>> thousandths,
                                                   std::size_t values_a_bar);

// The width of a plot: of its longest line.
std::size_t width_of_plot(std::string_view plot);

}  // namespace poectl
