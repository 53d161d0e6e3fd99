#include "core/power_budget.h"

#include <cstddef>

#include "core/paths.h"
#include "core/records.h"
#include "platform/system.h"

namespace {

constexpr std::uint32_t largest_budget_w = 65535;
constexpr std::size_t longest_file_read = 4096;

constexpr bool is_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

void drop_last_number(std::string_view& text) {
    while (!text.empty() && is_digit(text.back()))
        text.remove_suffix(1);
}

}  // namespace

std::optional<std::uint16_t> parse_power_budget(std::string_view text) {
    while (!text.empty() && is_space(text.front()))
        text.remove_prefix(1);
    if (text.empty() || !is_digit(text.front())) return std::nullopt;
    std::uint32_t watts = 0;
    for (; !text.empty() && is_digit(text.front()); text.remove_prefix(1)) {
        watts = watts * 10 + static_cast<std::uint32_t>(text.front() - '0');
        if (watts > largest_budget_w) return std::nullopt;
    }
    return static_cast<std::uint16_t>(watts);
}

void read_power_budget_file() {
    char bytes[longest_file_read];
    const std::ptrdiff_t length = system_read_file(power_budget_path, bytes, sizeof bytes);
    if (length < 0) return;
    std::string_view text{bytes, static_cast<std::size_t>(length)};
    // A longer file goes on behind what was read, perhaps in the middle of a number: half of it is no budget.
    if (text.size() == sizeof bytes) drop_last_number(text);
    const auto budget = parse_power_budget(text);
    if (budget.has_value()) g_poe_power_budget = *budget;
}
