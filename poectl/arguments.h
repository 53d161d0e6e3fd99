// The command line into a command. Everything that can be found wrong without the daemon is found here, before anything
// is opened. Pure.
#pragma once

#include <string>
#include <vector>

#include "poectl/command.h"

namespace poectl {

struct parsed_arguments {
    bool go_on = false;  // `asked` is to be carried out; otherwise the program is done with `status`
    command asked;
    int status = 0;
    std::string help;       // for standard output, also what programs and monitoring systems are told of bad usage
    std::string complaint;  // for standard error
};

// `arguments` without the program's name.
parsed_arguments parse_arguments(std::vector<std::string> arguments);

}  // namespace poectl
