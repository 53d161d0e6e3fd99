// An input that is a list of steps: one byte that says what kind, two (little-endian) that say how many bytes follow,
// and these. Any bytes are a list: a step that promises more than is there ends with the input.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "fuzz.h"

namespace fuzz {

struct step {
    std::uint8_t kind;
    std::vector<std::uint8_t> bytes;
};
using step_list = std::vector<step>;

using chance = std::minstd_rand;

inline std::size_t below(chance& random, std::size_t count) {
    return random() % count;
}

step_list steps_in(bytes_view input);

// Puts the steps that fit into `capacity` bytes there, and returns how many bytes that took.
std::size_t put_steps(const step_list& steps, std::uint8_t* into, std::size_t capacity);

// Changes the list in one of the ways that suit any list: a step's bytes, its kind, its place, its number.
// `most_steps` of `longest` bytes each is what the list may grow to.
void mutate_steps(step_list& steps, chance& random, std::size_t most_steps, std::size_t longest);

void insert_step(step_list& steps, chance& random, const step& one);

}  // namespace fuzz
