#include "models/arguments.h"

#include <algorithm>
#include <charconv>
#include <functional>

#include "models/configuration.h"
#include "models/powered_device.h"

namespace vswitch {

std::uint64_t read_number(std::string_view word, std::uint64_t lowest, std::uint64_t highest, const std::string& what) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc{} || end != word.data() + word.size() || value < lowest || value > highest) {
        throw usage_error(what + " is a number from " + std::to_string(lowest) + " to " + std::to_string(highest) +
                          ", not '" + std::string(word) + "'");
    }
    return value;
}

std::uint8_t read_hex_byte(std::string_view word, const std::string& what) {
    constexpr int hexadecimal = 16;
    std::string_view digits = word;
    if (digits.starts_with("0x") || digits.starts_with("0X")) digits.remove_prefix(2);
    std::uint8_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, hexadecimal);
    if (error != std::errc{} || end != digits.data() + digits.size() || digits.empty()) {
        throw usage_error(what + " is a hexadecimal byte, not '" + std::string(word) + "'");
    }
    return value;
}

// Digits, and at most three of them after a point.
std::uint32_t read_milliwatts(std::string_view watts) {
    constexpr std::uint64_t watt_mw = 1000;
    constexpr std::size_t most_decimals = 3;
    const auto wrong = [&] {
        return usage_error("a load is watts from 0 to " + std::to_string(highest_load_mw / watt_mw) +
                           " with at most three decimals, not '" + std::string(watts) + "'");
    };
    const auto digits = [&](std::string_view part) {
        std::uint64_t value = 0;
        const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), value);
        if (error != std::errc{} || end != part.data() + part.size()) throw wrong();
        return value;
    };
    const std::size_t point = watts.find('.');
    const std::uint64_t whole = digits(watts.substr(0, point));
    if (whole > highest_load_mw / watt_mw) throw wrong();
    std::uint64_t milliwatts = whole * watt_mw;
    if (point != std::string_view::npos) {
        std::string decimals(watts.substr(point + 1));
        if (decimals.empty() || decimals.size() > most_decimals) throw wrong();
        decimals.resize(most_decimals, '0');
        milliwatts += digits(decimals);
    }
    if (milliwatts > highest_load_mw) throw wrong();
    return static_cast<std::uint32_t>(milliwatts);
}

std::size_t read_port(std::string_view word) {
    return static_cast<std::size_t>(read_number(word, 1, port_count, "a port") - 1);
}

arguments::arguments(const std::vector<std::string>& words, std::initializer_list<std::string_view> flags,
                     std::initializer_list<std::string_view> options) {
    const auto is_one_of = [](const std::string& word, std::initializer_list<std::string_view> names) {
        return std::find(names.begin(), names.end(), word) != names.end();
    };
    for (std::size_t at = 1; at < words.size(); at++) {
        const std::string& word = words[at];
        if (!word.starts_with("--")) {
            plain_.push_back(word);
        } else if (is_one_of(word, flags)) {
            given_[word] = "";
        } else if (is_one_of(word, options)) {
            if (at + 1 >= words.size()) throw usage_error(word + " needs a value");
            given_[word] = words[++at];
        } else {
            throw usage_error("no option " + word);
        }
    }
}

const std::string& arguments::word(std::size_t at, const std::string& what) const {
    if (at >= plain_.size()) throw usage_error(what + " is missing");
    return plain_[at];
}

void arguments::expect_at_most(std::size_t count) const {
    if (plain_.size() > count) throw usage_error("'" + plain_[count] + "' is one word too many");
}

std::optional<std::string> arguments::option(std::string_view name) const {
    const auto found = given_.find(name);
    if (found == given_.end()) return std::nullopt;
    return found->second;
}

}  // namespace vswitch
