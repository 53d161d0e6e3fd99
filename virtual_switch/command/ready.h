// The line that tells whoever waits that a virtual switch is ready.
#pragma once

#include <string>

namespace vswitch {

// To the descriptor, which is closed then, or to standard output when it is negative.
void say_ready(int descriptor, const std::string& what);

}  // namespace vswitch
