#include "poectl/verbs/bar_plot.h"

#include <algorithm>

#include "poectl/words.h"

namespace poectl {

namespace {

constexpr char drawn = '#';
constexpr char too_small = '_';
constexpr char unknown = '?';

// Rounded to the nearest line.
std::int64_t lines_of(std::int64_t value, std::int64_t greatest) {
    return greatest > 0 ? (value * plot_height * 2 + greatest) / (greatest * 2) : 0;
}

char mark_at(std::int64_t line, const std::optional<std::int64_t>& value, std::int64_t greatest) {
    const std::int64_t lines = lines_of(std::max<std::int64_t>(value.value_or(0), 0), greatest);
    if (line <= lines) return drawn;
    if (line > 1) return ' ';
    return value ? too_small : unknown;
}

}  // namespace

std::string bar_plot(std::span<const std::optional<std::int64_t>> thousandths) {
    std::int64_t greatest = 0;
    for (const auto& value : thousandths)
        greatest = std::max(greatest, value.value_or(0));
    const std::string top = thousandths_as_tenths(greatest), bottom = tenths(0);
    std::string text;
    for (std::int64_t line = plot_height; line >= 1; line--) {
        const std::string label = line == plot_height ? top : line == 1 ? bottom : std::string{};
        text += std::string(top.size() - label.size(), ' ') + label + " |";
        for (const auto& value : thousandths)
            text += mark_at(line, value, greatest);
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

std::vector<std::optional<std::int64_t>> condensed(std::span<const std::optional<std::int64_t>> thousandths,
                                                   std::size_t values_a_bar) {
    std::vector<std::optional<std::int64_t>> bars;
    for (std::size_t i = 0; i < thousandths.size(); i += values_a_bar) {
        std::int64_t sum = 0, known = 0;
        for (const auto& value : thousandths.subspan(i, std::min(values_a_bar, thousandths.size() - i))) {
            sum += value.value_or(0);
            known += value ? 1 : 0;
        }
        bars.push_back(known > 0 ? std::optional(sum / known) : std::nullopt);
    }
    return bars;
}

std::size_t width_of_plot(std::string_view plot) {
    std::size_t widest = 0;
    while (!plot.empty()) {
        const std::size_t end = std::min(plot.find('\n'), plot.size());
        widest = std::max(widest, end);
        plot.remove_prefix(std::min(end + 1, plot.size()));
    }
    return widest;
}

}  // namespace poectl
