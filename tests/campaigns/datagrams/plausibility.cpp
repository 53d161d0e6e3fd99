#include "datagrams/plausibility.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace campaign {
namespace {

using view = std::span<const std::uint8_t>;

constexpr std::size_t result_offset = 7;
constexpr std::size_t parameter_block = 12;
constexpr std::size_t system_block = 20;
constexpr std::size_t status_block = 92;
constexpr std::size_t pair_set_block = 20;
constexpr std::size_t first_pair_set = 32;
constexpr std::size_t pair_sets = 2;
constexpr std::size_t ring_entry = 12;
constexpr std::size_t summary_block = 32;

std::uint64_t number_at(view data, std::size_t offset, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = size; i > 0; i--)
        number = number << 8U | data[offset + i - 1];
    return number;
}

std::uint32_t word_at(view data, std::size_t offset) {
    return static_cast<std::uint32_t>(number_at(data, offset, 4));
}

float float_at(view data, std::size_t offset) {
    return std::bit_cast<float>(word_at(data, offset));
}

bool is_zero(view data) {
    return std::ranges::all_of(data, [](std::uint8_t byte) { return byte == 0; });
}

template <typename number>
bool is_within(number value, number lowest, number highest) {
    return lowest <= value && value <= highest;
}

bool is_same_float(float one, float other) {
    return std::bit_cast<std::uint32_t>(one) == std::bit_cast<std::uint32_t>(other);
}

std::string system_parameters(view block) {
    for (const std::size_t i : {0U, 2U, 4U, 5U}) {
        if (block[i] > 1) return "a system parameter that nobody set";
    }
    if (block[1] != 0) return "parameter 1 has changed";
    if (!is_within<int>(block[3], 1, 99)) return "a usage threshold that nobody set";
    return is_zero(block.subspan(6, 2)) ? "" : "something in the unused bytes";
}

std::string port_parameters(view block, std::size_t port) {
    if (block[0] != port) return "the parameters of another port";
    if (block[1] > 1 || block[3] > 1) return "a switch that is neither on nor off";
    if (!is_within<int>(block[2], 1, 3)) return "a priority that nobody set";
    if (block[4] > 4) return "a mode that nobody set";
    if (!is_within<int>(block[5], 5, 60)) return "a re-enable time that nobody set";
    if (!is_zero(block.subspan(6, 2))) return "something in the unused bytes";
    return is_within<std::uint32_t>(word_at(block, 8), 10, 900) ? "" : "a limit that nobody set";
}

std::string system_status(view block) {
    // A power bank of more than 16 bits of tenths of a watt is cut by the controller.
    if (word_at(block, 0) % 100 != 0) return "a power limit that is no number of tenths of a watt";
    if (block[16] > 1) return "an alarm that is neither raised nor not";
    return is_zero(block.subspan(17, 3)) ? "" : "something in the unused bytes";
}

// 11 is told until a port is read for the first time, which is over before anybody looks; 14 and 15 are said by traps
// only. The controller knows no state that is passed on as it is.
bool is_status_code(std::uint32_t code) {
    return code <= 13 && code != 11;
}

std::string pair_set(view block) {
    if (block[3] != 0) return "something in a pair set's unused byte";
    if (!is_status_code(word_at(block, 4))) return "no status code of a pair set";
    return word_at(block, 16) == word_at(block, 12) * word_at(block, 8) / 1000
               ? ""
               : "a pair set's power that is not voltage times current";
}

std::string port_status(view block, std::size_t port) {
    if (block[0] != port) return "the status of another port";
    for (const std::size_t i : {1U, 2U, 3U}) {
        if (block[i] > 1) return "a switch that is neither on nor off";
    }
    if (!is_status_code(word_at(block, 8))) return "no status code";
    if (word_at(block, 12) > 1) return "an automatic switch-off that is neither";
    if (word_at(block, 24) != word_at(block, 20) * word_at(block, 16) / 1000)
        return "a power that is not voltage times current";
    for (std::size_t set = 0; set < pair_sets; set++) {
        const std::string wrong = pair_set(block.subspan(first_pair_set + pair_set_block * set, pair_set_block));
        if (!wrong.empty()) return wrong;
    }
    return {};
}

std::string all_ports(view blocks, std::size_t size, std::string (*check)(view, std::size_t)) {
    for (std::size_t port = 0; port < ports; port++) {
        const std::string wrong = check(blocks.subspan(size * port, size), port);
        if (!wrong.empty()) return wrong;
    }
    return {};
}

std::string combined_status(view payload) {
    std::string wrong = system_status(payload.first(system_block));
    const view blocks = payload.subspan(system_block);
    if (wrong.empty()) wrong = all_ports(blocks, status_block, port_status);
    std::uint32_t consumed = 0;
    for (std::size_t port = 0; port < ports; port++) {
        for (std::size_t set = 0; set < pair_sets; set++)
            consumed += word_at(blocks, status_block * port + first_pair_set + pair_set_block * set + 16);
    }
    if (wrong.empty() && consumed != word_at(payload, 4)) wrong = "consumption that is not the sum of the pair sets";
    return wrong;
}

std::string counters(view payload, client_memory& memory) {
    for (std::size_t i = 0; i < memory.counts.size(); i++) {
        const std::uint64_t count = number_at(payload, 8 * i, 8);
        if (count < memory.counts[i]) return "a count that ran backwards";
        memory.counts[i] = count;
    }
    return memory.counts[6] == 0 && memory.counts[7] == 0 ? "" : "a count of what never happens";
}

std::string high_water_mark(view payload, client_memory& memory) {
    const std::uint32_t mark = word_at(payload, 0);
    if (mark < memory.deepest_queue) return "a high-water mark that fell";
    memory.deepest_queue = mark;
    return {};
}

std::string power_bank(view payload, client_memory& memory) {
    memory.bank_mark = static_cast<std::uint16_t>(number_at(payload, 2, 2));
    return {};
}

std::string power_cycles(view payload, client_memory& memory) {
    const std::uint32_t now = word_at(payload, 0);
    if (static_cast<std::int32_t>(now - memory.tick) < 0) return "a tick that ran backwards";
    memory.tick = now;
    for (std::size_t port = 0; port < ports; port++) {
        const view entry = payload.subspan(4 + 8 * port, 8);
        if (entry[0] > 1 || !is_zero(entry.subspan(1, 3))) return "a power-cycle that is neither under way nor not";
    }
    return {};
}

// Made-up history is in the order of time and belongs to one moment: neighbours are one period apart.
std::string ring(view payload, std::size_t offset, std::size_t count, std::uint32_t period) {
    bool is_over = false;
    for (std::size_t i = 0; i < count; i++) {
        const view entry = payload.subspan(offset - envelope + ring_entry * i, ring_entry);
        if (word_at(entry, 0) > 1) return "a history entry that is neither valid nor not";
        const bool is_valid = word_at(entry, 0) == 1;
        if (!is_valid && !is_zero(entry)) return "something in an entry that is not valid";
        if (is_valid && (is_over || float_at(entry, 8) < 1.0F)) return "history with a hole";
        is_over = !is_valid;
        if (!is_valid || i == 0) continue;
        const std::uint32_t before = word_at(payload, offset - envelope + ring_entry * (i - 1) + 4);
        const std::uint32_t step = word_at(entry, 4) - before;
        if (before != 0 && step != period) return "history of two different moments";
    }
    return {};
}

std::string one_port_statistics(view payload, std::size_t port) {
    if (word_at(payload, 0) != port) return "the history of another port";
    if (!is_zero(payload.subspan(4, 12))) return "energy that was never sampled";
    std::string wrong = ring(payload, 48, 60, 60);
    if (wrong.empty()) wrong = ring(payload, 768, 48, 1800);
    return wrong.empty() ? ring(payload, 1344, 84, 7200) : wrong;
}

std::string all_port_statistics(view payload) {
    if (!is_zero(payload.first(8))) return "energy that was never sampled";
    for (const std::size_t offset : {8U, 16U, 24U}) {
        std::uint32_t any = 0;
        float sum = 0;
        for (std::size_t port = 1; port <= ports; port++) {
            any |= word_at(payload, summary_block * port + offset);
            sum += float_at(payload, summary_block * port + offset + 4);
        }
        if (any > 1 || any != word_at(payload, offset)) return "averages that are valid for no port";
        if (!is_same_float(sum, float_at(payload, offset + 4))) return "averages that do not add up";
    }
    return {};
}

std::string content(const expectation& expected, view payload, client_memory& memory) {
    switch (expected.row->type) {
        case 0:
            return system_parameters(payload);
        case 1:
            memory.limits.at(expected.port) = word_at(payload, 8);
            return port_parameters(payload, expected.port);
        case 2:
            return all_ports(payload, parameter_block, port_parameters);
        case 5:
            return system_status(payload);
        case 6:
            return port_status(payload, expected.port);
        case 7:
            return all_ports(payload, status_block, port_status);
        case 11:
            return combined_status(payload);
        case 12:
            return counters(payload, memory);
        case 13:
            return high_water_mark(payload, memory);
        case 14:
            return power_bank(payload, memory);
        case 15:
            return power_cycles(payload, memory);
        case 17:
            return one_port_statistics(payload, expected.port);
        case 18:
            return all_port_statistics(payload);
        default:
            return {};
    }
}

}  // namespace

std::string what_is_wrong(const expectation& expected, view reply, client_memory& memory) {
    const message_row& row = *expected.row;
    if (reply.size() != row.reply) return "a reply of " + std::to_string(reply.size()) + " bytes";
    if (reply[0] != row.reply_type) return "a reply of type " + std::to_string(reply[0]);
    if (!is_zero(reply.subspan(1, result_offset - 1))) return "something in the reserved bytes";
    const bool is_rejected = expected.what == outcome::rejection;
    if (reply[result_offset] != (is_rejected ? 1 : 0)) return "the result " + std::to_string(reply[result_offset]);
    const view payload = reply.subspan(envelope);
    if (is_rejected) return is_zero(payload) ? "" : "something in a rejection";
    return content(expected, payload, memory);
}

}  // namespace campaign
