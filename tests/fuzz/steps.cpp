#include "steps.h"

#include <algorithm>

namespace fuzz {

namespace {

constexpr std::size_t head_size = 3;

}  // namespace

step_list steps_in(bytes_view input) {
    step_list steps;
    while (input.size() >= head_size) {
        const std::size_t promised = input[1] + std::size_t{input[2]} * 256;
        const std::size_t length = std::min(promised, input.size() - head_size);
        const bytes_view bytes = input.subspan(head_size, length);
        steps.push_back({.kind = input[0], .bytes = {bytes.begin(), bytes.end()}});
        input = input.subspan(head_size + length);
    }
    return steps;
}

std::size_t put_steps(const step_list& steps, std::uint8_t* into, std::size_t capacity) {
    std::size_t at = 0;
    for (const step& one : steps) {
        if (one.bytes.size() > UINT16_MAX || at + head_size + one.bytes.size() > capacity) break;
        into[at++] = one.kind;
        into[at++] = static_cast<std::uint8_t>(one.bytes.size() % 256);
        into[at++] = static_cast<std::uint8_t>(one.bytes.size() / 256);
        at = static_cast<std::size_t>(std::copy(one.bytes.begin(), one.bytes.end(), into + at) - into);
    }
    return at;
}

}  // namespace fuzz
