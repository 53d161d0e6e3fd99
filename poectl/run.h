// Carries a command out: gathers what it needs, and turns it into text for standard output and standard error and an
// exit status. Touches nothing but the daemon.
#pragma once

#include <string>

#include "poectl/command.h"
#include "poectl/look.h"

namespace poectl {

struct ended {
    int status;
    std::string out, err;
};

ended run(const command& asked, const look& how);

}  // namespace poectl
