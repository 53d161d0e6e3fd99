#include "poectl/values.h"

#include <charconv>
#include <cstdint>
#include <optional>

#include "core/parameter_limits.h"
#include "poectl/words.h"

namespace poectl {

namespace {

constexpr std::uint32_t longest_timeout_ms = 600'000;
constexpr std::uint32_t highest_bank_w = 65535;

// Decimal digits and nothing else.
std::optional<std::uint32_t> whole_number(std::string_view text) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

template <typename number>
parsed<number> problem(std::string_view text, const std::string& wanted) {
    return {.value = {}, .problem = "'" + std::string(text) + "' is not " + wanted};
}

template <typename number>
parsed<number> number_within(std::string_view text, std::uint32_t lowest, std::uint32_t highest,
                             const std::string& what) {
    const auto value = whole_number(text);
    if (!value || *value < lowest || *value > highest) {
        return problem<number>(text, what + " from " + std::to_string(lowest) + " to " + std::to_string(highest));
    }
    return {.value = static_cast<number>(*value), .problem = {}};
}

}  // namespace

parsed<std::uint8_t> parse_port(std::string_view text) {
    auto port = number_within<std::uint8_t>(text, 1, poe_client::port_count, "a port");
    if (port.good()) port.value--;
    return port;
}

parsed<poe_client::port_bitmap> parse_ports(std::string_view text) {
    parsed<poe_client::port_bitmap> ports;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        const auto port = parse_port(text.substr(begin, comma - begin));
        if (!port.good()) return problem<poe_client::port_bitmap>(text, "a list of ports such as 1,3 (ports 1 to 4)");
        ports.value = static_cast<poe_client::port_bitmap>(ports.value | poe_client::bit_of_port(port.value));
        begin = comma + 1;
    }
    return ports;
}

parsed<std::int8_t> parse_on_off(std::string_view text) {
    if (text == "on") return {.value = 1, .problem = {}};
    if (text == "off") return {.value = 0, .problem = {}};
    return problem<std::int8_t>(text, "on or off");
}

parsed<std::int8_t> parse_zero_or_one(std::string_view text) {
    return number_within<std::int8_t>(text, 0, 1, "a number");
}

parsed<std::int8_t> parse_priority(std::string_view text) {
    for (std::int8_t priority = highest_priority; priority <= lowest_priority; priority++) {
        if (text == priority_name(priority) || text == std::to_string(priority))
            return {.value = priority, .problem = {}};
    }
    return problem<std::int8_t>(text, "critical, high or low (or 1, 2 or 3)");
}

parsed<std::int8_t> parse_mode(std::string_view text) {
    return number_within<std::int8_t>(text, 0, highest_poe_mode, "a mode");
}

parsed<std::int8_t> parse_re_enable_s(std::string_view text) {
    return number_within<std::int8_t>(text, lowest_re_enable_s, highest_re_enable_s, "a number of seconds");
}

parsed<std::int8_t> parse_threshold_percent(std::string_view text) {
    return number_within<std::int8_t>(text, lowest_usage_threshold, highest_usage_threshold, "a percentage");
}

parsed<std::uint32_t> parse_limit_dw(std::string_view text) {
    const std::size_t point = std::min(text.find('.'), text.size());
    const auto watts = whole_number(text.substr(0, point));
    std::string_view decimals = text.substr(std::min(point + 1, text.size()));
    const bool decimals_promised = point < text.size();
    const bool all_digits = decimals.find_first_not_of("0123456789") == std::string_view::npos;
    if (!watts || decimals_promised == decimals.empty() || !all_digits) {
        return problem<std::uint32_t>(text, "a limit in watts such as 15.4");
    }
    if (decimals.size() > 1 && decimals.find_first_not_of('0', 1) != std::string_view::npos) {
        return problem<std::uint32_t>(text, "a whole number of tenths of a watt");
    }
    const std::uint64_t limit =
        std::uint64_t{*watts} * 10 + (decimals.empty() ? 0U : static_cast<unsigned>(decimals[0] - '0'));
    if (limit < lowest_power_limit || limit > highest_power_limit) {
        return problem<std::uint32_t>(
            text, "a limit from " + tenths(lowest_power_limit) + " to " + tenths(highest_power_limit) + " watts");
    }
    return {.value = static_cast<std::uint32_t>(limit), .problem = {}};
}

parsed<std::uint16_t> parse_bank_w(std::string_view text) {
    return number_within<std::uint16_t>(text, 0, highest_bank_w, "a number of watts");
}

parsed<std::uint32_t> parse_minutes(std::string_view text) {
    return number_within<std::uint32_t>(text, 0, UINT32_MAX, "a number of minutes");
}

parsed<std::uint32_t> parse_timeout_ms(std::string_view text) {
    return number_within<std::uint32_t>(text, 1, longest_timeout_ms, "a number of milliseconds");
}

}  // namespace poectl
