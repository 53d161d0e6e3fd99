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

}  // namespace poectl
