// How a virtual switch that cannot begin ends: it says why.
#pragma once

#include <cstdio>
#include <string>

#include "command/exit_status.h"

namespace vswitch {

inline int give_up(const std::string& why, int status = exit_refused) {
    std::fprintf(stderr, "vswitch: %s\n", why.c_str());
    return status;
}

}  // namespace vswitch
