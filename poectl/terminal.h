// What standard output is, as far as it matters to how things look.
#pragma once

#include "poectl/command.h"
#include "poectl/look.h"

namespace poectl {

// Colour on a terminal that has some, unless NO_COLOR is set to anything; --color=always and --color=never outweigh
// both.
look look_of_standard_output(const command& asked);

}  // namespace poectl
