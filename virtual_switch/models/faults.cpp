#include "models/faults.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace vswitch {

namespace {

struct fault_name_row {
    std::string_view name;
    fault_kind kind;
};

// The first name of a kind is the one shown.
constexpr std::array fault_names{fault_name_row{"no-answer", fault_kind::no_answer},
                                 fault_name_row{"silence", fault_kind::no_answer},
                                 fault_name_row{"key-a", fault_kind::undefined_key},
                                 fault_name_row{"a", fault_kind::undefined_key},
                                 fault_name_row{"key-b", fault_kind::refused_checksum},
                                 fault_name_row{"b", fault_kind::refused_checksum},
                                 fault_name_row{"checksum", fault_kind::bad_checksum},
                                 fault_name_row{"ioctl", fault_kind::ioctl_error},
                                 fault_name_row{"delay", fault_kind::delay},
                                 fault_name_row{"cpld", fault_kind::cpld},
                                 fault_name_row{"link", fault_kind::link_monitor},
                                 fault_name_row{"link-monitor", fault_kind::link_monitor}};

bool is_on_the_line(fault_kind kind) {
    return kind != fault_kind::cpld && kind != fault_kind::link_monitor;
}

}  // namespace

std::optional<fault_kind> fault_kind_of(std::string_view name) {
    const auto* row = std::ranges::find(fault_names, name, &fault_name_row::name);
    if (row == fault_names.end()) return std::nullopt;
    return row->kind;
}

const char* fault_name(fault_kind kind) {
    const auto* row = std::ranges::find(fault_names, kind, &fault_name_row::kind);
    return row == fault_names.end() ? "fault" : row->name.data();
}

std::string fault_text(const fault& one) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text = fault_name(one.kind);
    if (one.key) {
        text += " of key 0x";
        text += digits[*one.key >> 4];
        text += digits[*one.key & 0x0F];
    }
    if (one.kind == fault_kind::delay) text += " by " + std::to_string(one.delay_us) + " us";
    if (one.error != 0) text += " with errno " + std::to_string(one.error);
    text += one.times ? ", " + std::to_string(*one.times) + " times" : ", until cleared";
    return text;
}

bool may_fail_the_ioctl(fault_kind kind) {
    switch (kind) {
        case fault_kind::no_answer:
        case fault_kind::ioctl_error:
        case fault_kind::undefined_key:
        case fault_kind::refused_checksum:
            return true;
        default:
            return false;
    }
}

void fault_list::use(std::size_t at) {
    fault& one = faults_.at(at);
    if (one.times && --*one.times == 0) faults_.erase(faults_.begin() + static_cast<std::ptrdiff_t>(at));
}

line_fault fault_list::strike_line(std::uint8_t key) {
    line_fault result{};
    std::optional<std::size_t> striking;
    for (std::size_t at = faults_.size(); at-- > 0;) {
        const fault one = faults_[at];
        if (!is_on_the_line(one.kind) || (one.key && *one.key != key)) continue;
        if (one.kind == fault_kind::delay) {
            result.delay_us += one.delay_us;
            const std::size_t before = faults_.size();
            use(at);
            if (striking && faults_.size() < before) --*striking;
        } else {
            striking = at;
            result.strikes = one;
        }
    }
    if (striking) use(*striking);
    return result;
}

bool fault_list::strike(fault_kind kind) {
    const auto one = std::ranges::find(faults_, kind, &fault::kind);
    if (one == faults_.end()) return false;
    use(static_cast<std::size_t>(one - faults_.begin()));
    return true;
}

const forced_answer* forced_answer_list::find(const frame& request) const {
    const auto fits = [&request](const forced_answer& one) {
        if (one.key != request[key_at]) return false;
        if (one.selector && *one.selector != request[selector_at]) return false;
        return !one.port || *one.port == request[data_at];
    };
    const auto newest = std::find_if(answers_.rbegin(), answers_.rend(), fits);
    return newest == answers_.rend() ? nullptr : &*newest;
}

}  // namespace vswitch
