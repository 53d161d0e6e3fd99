#include <algorithm>

#include "steps.h"

namespace fuzz {

void insert_step(step_list& steps, chance& random, const step& one) {
    steps.insert(steps.begin() + static_cast<std::ptrdiff_t>(below(random, steps.size() + 1)), one);
}

void mutate_steps(step_list& steps, chance& random, std::size_t most_steps, std::size_t longest) {
    if (steps.empty()) steps.push_back({.kind = static_cast<std::uint8_t>(below(random, 8)), .bytes = {0}});
    const std::size_t chosen = below(random, steps.size());
    switch (below(random, 8)) {
        case 0:
            steps[chosen].kind = static_cast<std::uint8_t>(below(random, 8));
            return;
        case 1:
            if (steps.size() < most_steps) insert_step(steps, random, step(steps[chosen]));
            return;
        case 2:
            if (steps.size() > 1) steps.erase(steps.begin() + static_cast<std::ptrdiff_t>(chosen));
            return;
        case 3:
            std::swap(steps[chosen], steps[below(random, steps.size())]);
            return;
        default: {
            std::vector<std::uint8_t>& bytes = steps[chosen].bytes;
            const std::size_t length = bytes.size();
            bytes.resize(longest);
            bytes.resize(LLVMFuzzerMutate(bytes.data(), std::min(length, longest), longest));
            return;
        }
    }
}

}  // namespace fuzz
