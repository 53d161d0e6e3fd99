#include "models/commands.h"

#include <array>
#include <cstdio>
#include <span>

#include "models/readings.h"

namespace vswitch {

namespace {

enum class form { byte, word, high, low, port, tenths, decivolts, celsius, limit, lower, upper, port_pairs };

struct field {
    const char* name;
    std::size_t at;
    form kind;
};

struct command {
    std::uint8_t key;
    int selector;  // any_selector: not looked at
    const char* name;
    std::span<const field> asks;
    std::span<const field> answers;
};

constexpr int any_selector = -1;

// clang-format off
constexpr field by_port[]{{"port", 2, form::port_pairs}};  // (port, value) pairs there, (port, result) pairs back
constexpr field port_only[]{{"port", 2, form::port}};
constexpr field value_only[]{{"value", 2, form::byte}};
constexpr field result_only[]{{"result", 2, form::byte}};
constexpr field index_only[]{{"index", 2, form::byte}};
constexpr field bank_only[]{{"bank", 1, form::byte}};

constexpr field bank_asks[]{{"bank", 2, form::byte}, {"power_w", 3, form::tenths}, {"extra", 5, form::word}};
constexpr field bank_answers[]{{"bank", 2, form::byte}, {"result", 3, form::byte}};
constexpr field enable_asks[]{{"enable", 2, form::byte}, {"count", 3, form::byte}};
constexpr field enable_answers[]{{"enable_result", 2, form::byte}, {"count_result", 3, form::byte}};
constexpr field mapping_asks[]{{"port", 2, form::port}, {"count", 3, form::byte}, {"device", 4, form::byte},
    {"pair_a", 5, form::byte}, {"pair_b", 6, form::byte}};
constexpr field mapping_answers[]{{"port", 2, form::port}, {"count_result", 3, form::byte},
    {"device_result", 4, form::byte}, {"pair_a_result", 5, form::byte}, {"pair_b_result", 6, form::byte},
    {"result", 10, form::byte}};
constexpr field threshold_asks[]{{"lower_counts", 2, form::byte}, {"upper_counts", 4, form::byte}};

constexpr field status_answers[]{{"max_ports", 3, form::byte}, {"devices", 4, form::byte}, {"device_id", 5, form::word},
    {"version", 7, form::byte}, {"mcu", 8, form::byte}, {"flags", 9, form::byte}, {"patch", 10, form::byte}};
constexpr field power_answers[]{{"delivered_w", 2, form::tenths}, {"free_w", 4, form::tenths},
    {"bank", 6, form::byte}, {"supply_v", 7, form::decivolts}};
constexpr field port_status_answers[]{{"port", 2, form::port}, {"state", 3, form::byte}, {"class", 4, form::high},
    {"sub_status", 4, form::low}, {"detail", 4, form::byte}, {"type", 7, form::byte}};
constexpr field measurement_answers[]{{"port", 2, form::port}, {"voltage_v", 3, form::decivolts},
    {"current_ma", 5, form::word}, {"temperature_c", 7, form::celsius}, {"power_w", 9, form::tenths}};
constexpr field counter_answers[]{{"port", 2, form::port}, {"disconnected", 3, form::byte},
    {"overloaded", 4, form::byte}, {"shorted", 5, form::byte}, {"denied", 6, form::byte},
    {"bad_signature", 7, form::byte}};
constexpr field basic_answers[]{{"port", 2, form::port}, {"enable", 3, form::byte}, {"disconnect", 4, form::byte},
    {"detection", 5, form::byte}, {"limit_mode", 7, form::byte}, {"inline_option", 8, form::byte}};
constexpr field extended_answers[]{{"port", 2, form::port}, {"power_up_mode", 3, form::byte},
    {"limit_w", 5, form::limit}, {"priority", 6, form::byte}, {"pair_a", 8, form::byte}, {"pair_b", 9, form::byte}};
constexpr field parameter_answers[]{{"lower_v", 2, form::lower}, {"upper_v", 7, form::upper}};
constexpr field management_answers[]{{"bank", 1, form::byte}, {"method", 2, form::byte},
    {"power_w", 3, form::tenths}, {"extra", 5, form::word}};
constexpr field channel_status_answers[]{{"port", 2, form::port}, {"sub_status_a", 3, form::byte},
    {"class_a", 4, form::byte}, {"error_a", 5, form::byte}, {"state_a", 6, form::byte},
    {"sub_status_b", 7, form::byte}, {"class_b", 8, form::byte}, {"error_b", 9, form::byte},
    {"state_b", 10, form::byte}};
constexpr field channel_answers[]{{"port", 2, form::port}, {"voltage_a_v", 3, form::decivolts},
    {"current_a_ma", 5, form::word}, {"voltage_b_v", 7, form::decivolts},
    {"current_b_ma", 9, form::word}};
constexpr field reason_answers[]{{"index", 2, form::byte}, {"reason", 3, form::byte}};
constexpr field version_fields[]{{"a", 2, form::byte}, {"b", 3, form::byte}, {"c", 4, form::byte},
    {"d", 5, form::byte}, {"e", 6, form::byte}};

using none = std::span<const field>;
constexpr std::array commands{
    command{command_key::all_ports_power, any_selector, "set all ports' power", value_only, result_only},
    command{command_key::port_power, any_selector, "set port power", by_port, by_port},
    command{command_key::global_reset, any_selector, "global reset", value_only, result_only},
    command{command_key::power_bank, any_selector, "set power bank", bank_asks, bank_answers},
    command{command_key::mapping_enable, any_selector, "enable port mapping", enable_asks, enable_answers},
    command{command_key::pair_mapping, any_selector, "set port pair mapping", mapping_asks, mapping_answers},
    command{command_key::disconnect_mode, any_selector, "set port disconnect mode", by_port, by_port},
    command{command_key::power_up_mode, any_selector, "set port power-up mode", by_port, by_port},
    command{command_key::thresholds, any_selector, "set voltage thresholds", threshold_asks, result_only},
    command{command_key::detection_mode, any_selector, "set port detection mode", by_port, by_port},
    command{command_key::power_method, any_selector, "set power management method", value_only, result_only},
    command{command_key::system_mask, any_selector, "set system mask", value_only, result_only},
    command{command_key::limit_mode, any_selector, "set port limit mode", by_port, by_port},
    command{command_key::port_limit, any_selector, "set port power limit", by_port, by_port},
    command{command_key::port_priority, any_selector, "set port priority", by_port, by_port},
    command{command_key::event_code, any_selector, "set event code", value_only, result_only},
    command{command_key::inline_option, any_selector, "set port inline option", by_port, by_port},
    command{command_key::global_status, any_selector, "get global status", none{}, status_answers},
    command{command_key::global_power_status, any_selector, "get global power status", none{}, power_answers},
    command{command_key::port_status, any_selector, "get port status", port_only, port_status_answers},
    command{command_key::port_group_status, any_selector, "get port group status", index_only, index_only},
    command{command_key::port_measurement, any_selector, "get port measurement", port_only, measurement_answers},
    command{command_key::event_counters, any_selector, "get port event counters", port_only, counter_answers},
    command{command_key::event_status, any_selector, "get port event status", index_only, index_only},
    command{command_key::reset_reason, any_selector, "get reset reason", index_only, reason_answers},
    command{command_key::port_basic, any_selector, "get port basic configuration", port_only, basic_answers},
    command{command_key::port_extended, any_selector, "get port extended configuration", port_only, extended_answers},
    command{command_key::global_parameters, any_selector, "get global parameters", none{}, parameter_answers},
    command{command_key::power_management, any_selector, "get power management", bank_only, management_answers},
    command{command_key::device_address, any_selector, "get device address", index_only, index_only},
    command{command_key::channel_status, any_selector, "get channel status", port_only, channel_status_answers},
    command{command_key::channel_measurement, any_selector, "get channel measurement", port_only, channel_answers},
    command{command_key::configuration_store, store_save, "save configuration", none{}, result_only},
    command{command_key::configuration_store, store_clear, "clear configuration", none{}, result_only},
    command{command_key::configuration_store, store_version_save, "save configuration version", version_fields,
        result_only},
    command{command_key::configuration_store, store_version_get, "get configuration version", none{}, version_fields},
};
// clang-format on

const command* find(const frame& request) {
    for (const command& row : commands) {
        if (row.key != request[key_at]) continue;
        if (row.selector == any_selector || row.selector == request[selector_at]) return &row;
    }
    return nullptr;
}

std::string number(const char* format, double value) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string value_text(const field& one, const frame& bytes) {
    const unsigned byte = bytes[one.at];
    const unsigned word = one.at + 1 < bytes.size() ? word_at(bytes, one.at) : byte;
    constexpr unsigned all_ports = 128;
    switch (one.kind) {
        case form::byte:
            return std::to_string(byte);
        case form::word:
            return std::to_string(word);
        case form::high:
            return std::to_string(byte >> 4);
        case form::low:
            return std::to_string(byte & 0x0F);
        case form::port:
            return byte < all_ports ? std::to_string(byte + 1) : "-";
        case form::tenths:
            return number("%.1f", word / 10.0);
        case form::decivolts:
            return number("%.1f", tenth_volts(word) / 10.0);
        case form::celsius:
            return number("%.1f", 125.0 - (static_cast<double>(word) - 120.0) * 1.25);
        case form::limit:
            return number("%.1f", byte * 0.4);
        case form::lower:
            return number("%.2f", byte * 0.06445 + 33.0);
        case form::upper:
            return number("%.2f", byte * 0.06445 + 57.0);
        case form::port_pairs:
            break;
    }
    return {};
}

named_values pair_fields(const frame& bytes) {
    named_values values;
    for (std::size_t at = data_at; at + 1 < checksum_at; at += 2) {
        if (bytes[at] == unused_byte) continue;
        values.emplace_back("port_" + std::to_string(bytes[at] + 1), std::to_string(bytes[at + 1]));
    }
    return values;
}

named_values fields_of(std::span<const field> fields, const frame& bytes) {
    named_values values;
    for (const field& one : fields) {
        if (one.kind == form::port_pairs) return pair_fields(bytes);
        values.emplace_back(one.name, value_text(one, bytes));
    }
    return values;
}

}  // namespace

const char* command_name(const frame& request) {
    const command* row = find(request);
    return row == nullptr ? "unknown command" : row->name;
}

named_values request_fields(const frame& request) {
    const command* row = find(request);
    if (row == nullptr) return {};
    return fields_of(row->asks, request);
}

named_values answer_fields(const frame& request, const frame& answer) {
    const command* row = find(request);
    if (answer[selector_at] == report_undefined_key) return {{"report", "undefined key"}};
    if (answer[selector_at] == report_wrong_checksum) return {{"report", "wrong checksum"}};
    if (row == nullptr) return {};
    return fields_of(row->answers, answer);
}

bool is_query(const frame& request) {
    constexpr std::uint8_t first = command_key::global_status;
    constexpr std::uint8_t last = command_key::channel_measurement;
    if (request[key_at] == command_key::configuration_store) return request[selector_at] == store_version_get;
    return request[key_at] >= first && request[key_at] <= last;
}

std::string hex_text(const frame& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::string values_text(const named_values& values) {
    std::string text;
    for (const auto& [name, value] : values) {
        if (!text.empty()) text += ' ';
        text += name;
        text += '=';
        text += value;
    }
    return text;
}

}  // namespace vswitch
