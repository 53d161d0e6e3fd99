#include "datagrams/generator.h"

#include <algorithm>

namespace campaign {
namespace {

constexpr std::size_t result_end = 8;
constexpr std::uint64_t rarely = 8;
constexpr std::uint8_t keep = 0xFF;

void fill(std::span<std::uint8_t> target, random_stream& random) {
    for (std::uint8_t& byte : target)
        byte = random.byte();
}

std::uint8_t one_of(random_stream& random, std::uint64_t lowest, std::uint64_t highest) {
    return static_cast<std::uint8_t>(random.within(lowest, highest));
}

std::uint8_t keep_or(random_stream& random, bool may_keep, std::uint64_t lowest, std::uint64_t highest) {
    return may_keep && random.once_in(3) ? keep : one_of(random, lowest, highest);
}

void put_word(std::span<std::uint8_t> target, std::uint64_t value) {
    for (std::size_t i = 0; i < 4; i++)
        target[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

// Ports come on more often than they go, so that there is something to see.
std::uint8_t switch_state(random_stream& random, bool may_keep) {
    return keep_or(random, may_keep, 0, 3) == 0 ? 0 : keep_or(random, may_keep, 1, 1);
}

void put_block(std::span<std::uint8_t> block, std::size_t port, bool may_keep, random_stream& random) {
    block[0] = static_cast<std::uint8_t>(port);
    block[1] = switch_state(random, may_keep);
    block[2] = keep_or(random, may_keep, 1, 3);
    block[3] = random.once_in(4) ? 1 : 0;
    block[4] = keep_or(random, may_keep, 0, 4);
    block[5] = keep_or(random, may_keep, 5, 60);
    put_word(block.subspan(8), may_keep && random.once_in(2) ? 0xFFFFFFFFU : random.within(10, 900));
}

}  // namespace

bytes well_formed(const message_row& row, random_stream& random) {
    const std::uint64_t any_length = random.once_in(4) ? random.within(1, longest_message) : 1 + random.below(16);
    bytes message(row.request != 0 ? row.request : any_length);
    fill(message, random);
    message[0] = row.type;
    if (row.request == 0) return message;
    const std::span<std::uint8_t> payload = std::span(message).subspan(result_end);
    const bool spoilt = random.once_in(rarely);
    switch (row.type) {
        case 1:
        case 6:
            if (!spoilt) payload[0] = one_of(random, 0, ports - 1);
            break;
        case 17:
            put_word(payload, random.within(0, spoilt ? 2 * ports : ports - 1));
            break;
        case 128:
            for (const std::size_t i : {1U, 2U, 4U, 5U})
                payload[i] = keep_or(random, true, 0, 1);
            payload[0] = switch_state(random, true);
            payload[3] = keep_or(random, true, 1, 99);
            break;
        case 129:
            put_block(payload, random.below(ports), true, random);
            break;
        case 132:
            put_block(payload, random.byte(), false, random);
            break;
        case 130:
            for (std::size_t port = 0; port < ports; port++)
                put_block(payload.subspan(12 * port, 12), random.below(ports), true, random);
            break;
        case 137:
        case 138:
            for (std::size_t i = 0; i < payload.size(); i += 4) {
                payload[i] = one_of(random, 0, ports - 1);
                payload[i + 1] = random.once_in(3) ? 0 : 1;
            }
            break;
        case 142:
            put_word(payload, random.within(10, 400));
            break;
        case 144:
            payload[0] = one_of(random, 0, 2);
            break;
        case 148:
            put_word(payload, random.once_in(3) ? random.next() : random.below(20000));
            break;
        default:
            break;
    }
    const bool has_limits = row.is_queued && row.type != 142 && row.type != 143;
    if (spoilt && has_limits) payload[random.below(payload.size())] = random.byte();
    return message;
}

bytes anything(random_stream& random) {
    constexpr std::uint64_t hardly_ever = 8192;
    constexpr std::size_t oversized = 200000;
    const std::span<const message_row> known = messages();
    const message_row& near = known[random.below(known.size())];
    std::size_t length = 0;
    switch (random.below(8)) {
        case 0:
            length = random.below(4);
            break;
        case 1:
            length = near.request + random.below(3) - (near.request > 0 ? 1 : 0);
            break;
        case 2:
            length = random.below(longest_message + 2);
            break;
        default:
            length = random.below(64);
    }
    if (random.once_in(hardly_ever)) length = oversized;
    bytes datagram(length);
    fill(std::span(datagram).first(std::min<std::size_t>(length, 2 * longest_message)), random);
    if (!datagram.empty() && random.once_in(3)) datagram[0] = near.type;
    return datagram;
}

}  // namespace campaign
