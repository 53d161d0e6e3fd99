// Lines of shaded text broken between words, so that none is longer than the screen is wide. Pure.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "poectl/picture.h"

namespace poectl {

// Letters on a screen: the bytes of UTF-8 that do not go on with a letter.
std::size_t width_of(std::string_view text);
std::size_t width_of(const std::vector<cell>& line);

// The same words on as many lines as it takes. Each but the first begins below the first word, `hang` letters further
// in. A word that is longer than a line is broken where the line ends. A width of 0 breaks nothing.
std::vector<std::vector<cell>> wrapped(const std::vector<cell>& line, std::size_t width, std::size_t hang = 0);

}  // namespace poectl
