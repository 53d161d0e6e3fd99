#include "expected_settings.h"

#include <algorithm>
#include <initializer_list>

namespace fuzz::client {

namespace {

constexpr std::uint32_t keep_limit = 0xFFFFFFFF;
constexpr std::size_t payload = 8;

int signed_at(bytes_view message, std::size_t at) {
    return message[at] < 128 ? message[at] : message[at] - 256;
}

bool is_one_of(int value, std::initializer_list<int> values) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

bool is_keep_or(int value, int lowest, int highest) {
    return value == -1 || (lowest <= value && value <= highest);
}

bool block_is_acceptable(bytes_view block) {
    const std::uint64_t limit = number_at(block, 8, 4);
    const bool sets_something = block[1] != 0xFF || block[2] != 0xFF || block[3] != 0xFF || limit != keep_limit;
    return block[0] <= 3 && sets_something && is_keep_or(signed_at(block, 1), 0, 1) &&
           is_keep_or(signed_at(block, 2), 1, 3) && is_keep_or(signed_at(block, 3), 0, 1) &&
           is_keep_or(signed_at(block, 4), 0, 4) && is_keep_or(signed_at(block, 5), 5, 60) &&
           (limit == keep_limit || (limit >= 10 && limit <= 900));
}

bool entry_is_acceptable(bytes_view entry) {
    return entry[0] <= 3 && is_one_of(signed_at(entry, 1), {-1, 0, 1});
}

}  // namespace

bool expected_settings::is_acceptable(const message& request) {
    const bytes_view bytes = request;
    switch (bytes[0]) {
        case 1:
        case 6:
            return bytes[payload] <= 3;
        case 17:
            return number_at(bytes, payload, 4) <= 3;
        case 128:
            for (const std::size_t at : {8U, 9U, 10U, 12U, 13U}) {
                if (!is_one_of(signed_at(bytes, at), {-1, 0, 1})) return false;
            }
            return is_keep_or(signed_at(bytes, 11), 1, 99);
        case 129:
            return block_is_acceptable(bytes.subspan(payload, 12));
        case 130:
            for (std::size_t port = 0; port < 4; port++) {
                if (!block_is_acceptable(bytes.subspan(payload + 12 * port, 12))) return false;
            }
            return true;
        case 132: {
            message block(request.begin() + payload, request.end());
            block[0] = 0;
            const bool keeps = std::any_of(block.begin() + 1, block.begin() + 6, [](int byte) { return byte == 0xFF; });
            return !keeps && number_at(block, 8, 4) != keep_limit && block_is_acceptable(block);
        }
        case 137:
            return entry_is_acceptable(bytes.subspan(payload, 4));
        case 138:
            for (std::size_t port = 0; port < 4; port++) {
                if (!entry_is_acceptable(bytes.subspan(payload + 4 * port, 4))) return false;
            }
            return true;
        default:
            return true;
    }
}

void expected_settings::accept(message request) {
    const auto value = [&request](std::size_t width) { return number_at(request, payload, width); };
    switch (request[0]) {
        case 83:
            for (std::size_t port = 0; port < 4; port++) {
                if ((value(1) >> port & 1) == 0) continue;
                ports[port].powered_s = 0;
                ports[port].energy_mws = 0;
                ports[port].history = {};
            }
            if (statistics == 1 && file) file = file_is_writable;
            return;
        case 144:
            statistics = static_cast<std::uint8_t>(value(1));
            if (statistics != 1) {
                file = false;
            } else if (restored) {
                file = file || file_is_writable;
            } else {
                restored = true;
                if (file) {
                    ports[0].powered_s += 10;
                    ports[0].energy_mws += 3600000;
                    ports[3].powered_s += 20;
                    ports[3].energy_mws += 7200000;
                }
            }
            return;
        case 148: {
            const auto minutes = static_cast<std::size_t>(value(4));
            for (expected_port& port : ports) {
                port.powered_s = 0;
                port.energy_mws = 0;
                port.history = {std::min<std::size_t>(minutes, 60), std::min<std::size_t>(minutes / 30, 48),
                                std::min<std::size_t>(minutes / 120, 84)};
            }
            return;
        }
        default:
            break;
    }
    if (request[0] < 128) return;
    if (request[0] == 132) request[payload] = 0;
    queue.push_back(std::move(request));
    deepest = std::max(deepest, queue.size());
}

bool expected_settings::is_powered(std::size_t port) const {
    const expected_port& one = ports[port];
    return system[0] != 0 && one.enable != 0 && (one.schedule_enable == 0 || one.schedule_on != 0);
}

void expected_settings::merge(std::size_t port, bytes_view block) {
    expected_port& one = ports[port];
    const auto take = [&block](int& stored, std::size_t at) {
        if (block[at] != 0xFF) stored = signed_at(block, at);
    };
    take(one.enable, 1);
    take(one.priority, 2);
    take(one.schedule_enable, 3);
    take(one.mode, 4);
    take(one.re_enable_s, 5);
    if (number_at(block, 8, 4) != keep_limit) one.limit = static_cast<std::uint32_t>(number_at(block, 8, 4));
}

void expected_settings::apply(const message& request, std::uint32_t tick) {
    const bytes_view bytes = request;
    switch (bytes[0]) {
        case 128:
            for (const std::size_t i : {0U, 2U, 3U, 4U, 5U}) {
                if (bytes[payload + i] != 0xFF) system[i] = signed_at(bytes, payload + i);
            }
            return;
        case 129:
            return merge(bytes[payload], bytes.subspan(payload));
        case 130:
            for (std::size_t port = 0; port < 4; port++)
                merge(port, bytes.subspan(payload + 12 * port));
            return;
        case 132:
            for (std::size_t port = 0; port < 4; port++)
                merge(port, bytes.subspan(payload));
            return;
        case 137:
            if (bytes[9] != 0xFF) ports[bytes[8]].schedule_on = bytes[9];
            return;
        case 138:
            for (std::size_t port = 0; port < 4; port++) {
                if (bytes[9 + 4 * port] != 0xFF) ports[port].schedule_on = bytes[9 + 4 * port];
            }
            return;
        case 142:
            bank_w = static_cast<std::uint16_t>(number_at(bytes, 8, 2));
            second = static_cast<std::uint16_t>(number_at(bytes, 10, 2));
            return;
        case 143:
            for (std::size_t port = 0; port < 4; port++) {
                if ((bytes[8] >> port & 1) == 0) continue;
                ports[port].enable = 0;
                ports[port].pending = true;
                ports[port].tick = tick;
            }
            return;
        default:
            return;
    }
}

void expected_settings::pass(std::uint32_t tick) {
    if (!queue.empty()) {
        apply(queue.front(), tick);
        queue.pop_front();
        return;
    }
    for (expected_port& one : ports) {
        if (!one.pending || tick - one.tick < static_cast<std::uint32_t>(one.re_enable_s) * 5) continue;
        one.pending = false;
        one.enable = 1;
    }
}

}  // namespace fuzz::client
