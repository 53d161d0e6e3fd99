#include "stats/statistics_text.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr bool is_white_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

void skip_white_space(std::string_view& text) {
    while (!text.empty() && is_white_space(text.front()))
        text.remove_prefix(1);
}

bool take_character(std::string_view& text, char wanted) {
    if (text.empty() || text.front() != wanted) return false;
    text.remove_prefix(1);
    return true;
}

// A decimal number after any white space, modulo 2^64.
bool take_number(std::string_view& text, std::uint64_t& number) {
    constexpr unsigned base = 10;
    skip_white_space(text);
    const bool negative = take_character(text, '-');
    if (!negative) take_character(text, '+');
    if (text.empty() || !is_digit(text.front())) return false;
    std::uint64_t value = 0;
    for (; !text.empty() && is_digit(text.front()); text.remove_prefix(1)) {
        value = value * base + static_cast<unsigned>(text.front() - '0');
    }
    number = negative ? 0 - value : value;
    return true;
}

std::string_view take_line(std::string_view& text) {
    std::size_t length = 0;
    while (length < text.size() && length < longest_statistics_line) {
        if (text[length++] == '\n') break;
    }
    const std::string_view line = text.substr(0, length);
    text.remove_prefix(length);
    return line;
}

}  // namespace

statistics_text compose_statistics_text(const port_stats_records& records) {
    statistics_text text{};
    for (std::size_t port = 0; port < records.size(); port++) {
        // Wider than the seconds: on every machine they are told without a sign.
        const int written =
            std::snprintf(text.bytes.data() + text.length, text.bytes.size() - text.length, "%d, %lld, %lld\n",
                          static_cast<int>(port), static_cast<long long>(records[port].powered_s),
                          static_cast<long long>(records[port].energy_mws));
        text.length += static_cast<std::size_t>(std::max(written, 0));
    }
    return text;
}

std::optional<statistics_line> parse_statistics_line(std::string_view line) {
    std::uint64_t port = 0;
    std::uint64_t powered_s = 0;
    std::uint64_t energy_mws = 0;
    const bool complete = take_number(line, port) && take_character(line, ',') && take_number(line, powered_s) &&
                          take_character(line, ',') && take_number(line, energy_mws);
    if (!complete) return std::nullopt;
    return statistics_line{.port = static_cast<std::uint32_t>(port),
                           .powered_s = static_cast<std::uint32_t>(powered_s),
                           .energy_mws = energy_mws};
}

void add_statistics_text(port_stats_records& records, std::string_view text) {
    while (!text.empty()) {
        const std::optional<statistics_line> line = parse_statistics_line(take_line(text));
        if (!line || line->port >= records.size()) continue;
        records[line->port].powered_s += line->powered_s;
        records[line->port].energy_mws += line->energy_mws;
    }
}
