// What went wrong, for people and for programs. Plain data.
#pragma once

#include <string>

namespace poectl {

struct problem {
    int exit_status;
    std::string what;  // without a full stop, like the two behind it
    std::string why;
    std::string advice;
};

}  // namespace poectl
