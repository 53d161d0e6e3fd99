#include "models/trap.h"

#include <algorithm>
#include <cstring>

namespace vswitch {

namespace {

constexpr std::array<std::uint8_t, 5> header{0xAB, 0x31, 0x12, 0x83, 0x07};

// Places in the 16 bytes after the header.
constexpr std::size_t bitmap_at = header.size();
constexpr std::size_t kinds_at = bitmap_at + 1;
constexpr std::size_t statuses_at = kinds_at + port_count;
constexpr std::size_t statuses_b_at = statuses_at + port_count;
constexpr std::size_t alarm_at = statuses_b_at + port_count;
constexpr std::size_t consumed_at = alarm_at + 1;
static_assert(consumed_at + sizeof(std::uint16_t) == trap_size);

constexpr std::uint8_t kind_port = 0;
constexpr std::uint8_t kind_a = 1;
constexpr std::uint8_t kind_b = 2;
constexpr std::uint8_t kind_both = 3;

std::string with_number(std::uint8_t status) {
    return std::string(status_name(status)) + " (" + std::to_string(status) + ")";
}

}  // namespace

const char* status_name(std::uint8_t status) {
    constexpr const char* names[]{"disabled",     "delivering",    "searching",       "overload",
                                  "power denied", "short circuit", "fault 6",         "fault 7",
                                  "fault 8",      "requesting",    "fault 10",        "not read yet",
                                  "on hold",      "auto off",      "searching again", "switched on"};
    return status < std::size(names) ? names[status] : "undefined";
}

const char* trap_kind_name(std::uint8_t kind) {
    switch (kind) {
        case kind_port:
            return "port";
        case kind_a:
            return "pair A";
        case kind_b:
            return "pair B";
        case kind_both:
            return "both pairs";
        default:
            return "undefined";
    }
}

std::optional<trap_message> read_trap(const trap_bytes& bytes) {
    if (!std::equal(header.begin(), header.end(), bytes.begin())) return std::nullopt;
    trap_message trap{};
    trap.bytes = bytes;
    for (std::size_t port = 0; port < port_count; port++) {
        trap.ports[port] = {.reported = (bytes[bitmap_at] >> port & 1) != 0,
                            .kind = bytes[kinds_at + port],
                            .status = bytes[statuses_at + port],
                            .status_b = bytes[statuses_b_at + port]};
    }
    trap.usage_alarm = bytes[alarm_at] == 1;
    std::memcpy(&trap.consumed_w, bytes.data() + consumed_at, sizeof trap.consumed_w);
    return trap;
}

std::string trap_text(const trap_message& trap) {
    std::string text;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : "; ") + part; };
    for (std::size_t port = 0; port < port_count; port++) {
        const port_trap& one = trap.ports[port];
        if (!one.reported) continue;
        const std::string name = "port " + std::to_string(port + 1);
        switch (one.kind) {
            case kind_a:
                add(name + " pair A: " + with_number(one.status));
                break;
            case kind_b:
                add(name + " pair B: " + with_number(one.status_b));
                break;
            case kind_both:
                add(name + " pair A: " + with_number(one.status) + ", pair B: " + with_number(one.status_b));
                break;
            default:
                add(name + ": " + with_number(one.status));
                break;
        }
    }
    if (trap.usage_alarm) add("power usage alarm: " + std::to_string(trap.consumed_w) + " W consumed");
    return text.empty() ? "nothing reported" : text;
}

std::vector<trap_message> trap_reader::take(std::span<const std::uint8_t> bytes) {
    waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
    std::vector<trap_message> traps;
    std::size_t at = 0;
    while (at < waiting_.size()) {
        const std::size_t have = waiting_.size() - at;
        const auto begins = waiting_.begin() + static_cast<std::ptrdiff_t>(at);
        if (!std::equal(begins, begins + static_cast<std::ptrdiff_t>(std::min(have, header.size())), header.begin())) {
            at++;
            skipped_++;
            continue;
        }
        if (have < trap_size) break;
        trap_bytes message{};
        std::copy_n(begins, trap_size, message.begin());
        if (const std::optional<trap_message> trap = read_trap(message)) traps.push_back(*trap);
        at += trap_size;
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(at));
    return traps;
}

}  // namespace vswitch
