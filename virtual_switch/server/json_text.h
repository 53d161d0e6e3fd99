// The few pieces of JSON that the server writes itself.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vswitch {

inline std::string json_number(std::optional<int> value) {
    return value ? std::to_string(*value) : "null";
}

inline std::string json_string(std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (byte < 0x20) {
            quoted += "\\u00";
            quoted += digits[byte / 16];
            quoted += digits[byte % 16];
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

}  // namespace vswitch
