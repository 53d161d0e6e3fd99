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
constexpr std::uint32_t longest_history_min = poe_client::two_hour_count * 120;

// Decimal digits and nothing else.
std::optional<std::uint32_t> whole_number(std::string_view text) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

template <typename number>
parsed<number> complaint(std::string_view text, const std::string& wanted) {
    return {.value = {}, .problem = "'" + std::string(text) + "' is not " + wanted};
}

template <typename number>
parsed<number> number_within(std::string_view text, std::uint32_t lowest, std::uint32_t highest,
                             const std::string& what) {
    const auto value = whole_number(text);
    if (!value || *value < lowest || *value > highest) {
        return complaint<number>(text, what + " from " + std::to_string(lowest) + " to " + std::to_string(highest));
    }
    return {.value = static_cast<number>(*value), .problem = {}};
}

}  // namespace

parsed<std::uint8_t> parse_port(std::string_view text) {
    for (std::uint8_t port = 0; port < poe_client::port_count; port++) {
        if (text == std::to_string(panel_number(port)) || text == interface_name(port))
            return {.value = port, .problem = {}};
    }
    return complaint<std::uint8_t>(text, "a port from 1 to 4 (or its interface, " + std::string(interface_name(0)) +
                                             " to " + std::string(interface_name(poe_client::port_count - 1)) + ")");
}

namespace {

// "3", "lan3" or "2-4".
std::optional<poe_client::port_bitmap> port_range(std::string_view text) {
    const auto one = parse_port(text);
    if (one.good()) return poe_client::bit_of_port(one.value);
    const std::size_t dash = text.find('-');
    if (dash == std::string_view::npos) return std::nullopt;
    const auto first = parse_port(text.substr(0, dash)), last = parse_port(text.substr(dash + 1));
    if (!first.good() || !last.good() || first.value > last.value) return std::nullopt;
    poe_client::port_bitmap ports = 0;
    for (std::size_t port = first.value; port <= last.value; port++)
        ports = static_cast<poe_client::port_bitmap>(ports | poe_client::bit_of_port(port));
    return ports;
}

}  // namespace

parsed<poe_client::port_bitmap> parse_ports(std::string_view text) {
    parsed<poe_client::port_bitmap> ports;
    if (text == all_ports_word) text = "1-4";
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        const auto range = port_range(text.substr(begin, comma - begin));
        if (!range) {
            return complaint<poe_client::port_bitmap>(text,
                                                      "a list of ports such as 2 or 1,3 or 1-3 or all (ports 1 to 4)");
        }
        ports.value = static_cast<poe_client::port_bitmap>(ports.value | *range);
        begin = comma + 1;
    }
    return ports;
}

parsed<std::int8_t> parse_on_off(std::string_view text) {
    if (text == "on") return {.value = 1, .problem = {}};
    if (text == "off") return {.value = 0, .problem = {}};
    return complaint<std::int8_t>(text, "on or off");
}

parsed<std::int8_t> parse_zero_or_one(std::string_view text) {
    return number_within<std::int8_t>(text, 0, 1, "a number");
}

parsed<std::int8_t> parse_priority(std::string_view text) {
    for (std::int8_t priority = highest_priority; priority <= lowest_priority; priority++) {
        if (text == priority_name(priority) || text == std::to_string(priority))
            return {.value = priority, .problem = {}};
    }
    return complaint<std::int8_t>(text, "critical, high or low (or 1, 2 or 3)");
}

parsed<std::int8_t> parse_mode(std::string_view text) {
    static_assert(power_modes.size() == highest_poe_mode + 1);
    std::string names;
    for (std::int8_t mode = 0; mode <= highest_poe_mode; mode++) {
        const auto name = power_mode_of(mode)->name;
        if (text == name || text == std::to_string(mode)) return {.value = mode, .problem = {}};
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return complaint<std::int8_t>(text, "one of " + names + " (or 0 to " + std::to_string(highest_poe_mode) + ")");
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
        return complaint<std::uint32_t>(text, "a limit in watts such as 15.4");
    }
    if (decimals.size() > 1 && decimals.find_first_not_of('0', 1) != std::string_view::npos) {
        return complaint<std::uint32_t>(text, "a whole number of tenths of a watt");
    }
    const std::uint64_t limit =
        std::uint64_t{*watts} * 10 + (decimals.empty() ? 0U : static_cast<unsigned>(decimals[0] - '0'));
    if (limit < lowest_power_limit || limit > highest_power_limit) {
        return complaint<std::uint32_t>(
            text, "a limit from " + tenths(lowest_power_limit) + " to " + tenths(highest_power_limit) + " watts");
    }
    return {.value = static_cast<std::uint32_t>(limit), .problem = {}};
}

parsed<std::uint16_t> parse_bank_w(std::string_view text) {
    return number_within<std::uint16_t>(text, 0, highest_bank_w, "a number of watts");
}

parsed<std::uint32_t> parse_minutes(std::string_view text) {
    return number_within<std::uint32_t>(text, 0, longest_history_min, "a number of minutes");
}

parsed<std::uint32_t> parse_timeout_ms(std::string_view text) {
    return number_within<std::uint32_t>(text, 1, longest_timeout_ms, "a number of milliseconds");
}

parsed<std::chrono::milliseconds> parse_seconds(std::string_view text) {
    constexpr std::uint32_t longest_s = 86'400, ms_a_s = 1000;
    constexpr std::size_t most_decimals = 3;
    const std::size_t point = std::min(text.find('.'), text.size());
    const auto whole = whole_number(text.substr(0, point));
    std::string decimals(text.substr(std::min(point + 1, text.size())));
    const bool has_too_few_or_many = (point < text.size()) == decimals.empty() || decimals.size() > most_decimals;
    decimals.resize(most_decimals, '0');
    const auto rest = whole_number(decimals);
    const bool too_long = whole && (*whole > longest_s || (*whole == longest_s && rest.value_or(0) > 0));
    if (!whole || !rest || has_too_few_or_many || too_long || (*whole == 0 && *rest == 0)) {
        return complaint<std::chrono::milliseconds>(
            text, "a number of seconds such as 10 or 0.5, up to " + std::to_string(longest_s));
    }
    return {.value = std::chrono::milliseconds(std::uint64_t{*whole} * ms_a_s + *rest), .problem = {}};
}

parsed<std::chrono::milliseconds> parse_interval(std::string_view text) {
    constexpr std::chrono::milliseconds shortest{100};
    const auto time = parse_seconds(text);
    if (time.good() && time.value < shortest)
        return complaint<std::chrono::milliseconds>(text, "a number of seconds from 0.1 on");
    return time;
}

parsed<std::uint32_t> parse_event_count(std::string_view text) {
    return number_within<std::uint32_t>(text, 1, UINT32_MAX, "a number");
}

parsed<std::uint32_t> parse_power_step_mw(std::string_view text) {
    const auto step = parse_power_threshold(text);
    if (!step.good() || step.value.is_percent || step.value.amount == 0)
        return complaint<std::uint32_t>(text, "a number of watts such as 1 or 0.5");
    return {.value = step.value.amount, .problem = {}};
}

parsed<std::uint32_t> parse_count(std::string_view text) {
    return number_within<std::uint32_t>(text, 0, UINT32_MAX, "a number");
}

parsed<power_threshold> parse_power_threshold(std::string_view text) {
    constexpr std::uint32_t most_w = 100'000, most_percent = 100, thousand = 1000;
    const bool is_percent = text.ends_with('%');
    const std::string_view number = is_percent ? text.substr(0, text.size() - 1) : text;
    const std::size_t point = std::min(number.find('.'), number.size());
    const auto whole = whole_number(number.substr(0, point));
    const auto tenth =
        point == number.size() ? std::optional<std::uint32_t>(0) : whole_number(number.substr(point + 1));
    const bool one_decimal = point == number.size() || number.size() - point == 2;
    if (!whole || !tenth || !one_decimal || *whole > (is_percent ? most_percent : most_w)) {
        return complaint<power_threshold>(text, "watts such as 240 or 240.5, or a share of the budget such as 80%");
    }
    return {.value = {.amount = *whole * thousand + *tenth * (thousand / 10), .is_percent = is_percent}, .problem = {}};
}

namespace {

template <typename word>
parsed<word> one_of(std::string_view text, std::initializer_list<std::pair<std::string_view, word>> words) {
    std::string wanted;
    for (const auto& [name, value] : words) {
        if (text == name) return {.value = value, .problem = {}};
        wanted += (wanted.empty() ? "" : ", ") + std::string(name);
    }
    return complaint<word>(text, "one of " + wanted);
}

}  // namespace

parsed<output_format> parse_format(std::string_view text) {
    return one_of<output_format>(text, {{"table", output_format::table},
                                        {"json", output_format::json},
                                        {"jsonl", output_format::jsonl},
                                        {"csv", output_format::csv},
                                        {"kv", output_format::kv}});
}

parsed<colour_choice> parse_colour(std::string_view text) {
    return one_of<colour_choice>(
        text, {{"auto", colour_choice::automatic}, {"always", colour_choice::always}, {"never", colour_choice::never}});
}

parsed<shell> parse_shell(std::string_view text) {
    return one_of<shell>(text, {{"bash", shell::bash}, {"zsh", shell::zsh}, {"fish", shell::fish}});
}

}  // namespace poectl
