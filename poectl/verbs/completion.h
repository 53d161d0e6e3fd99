// Completion of the command line: the program itself says what could come next, from the tree that parses it, and a few
// lines for each shell ask it. Pure.
#pragma once

#include <string>
#include <vector>

#include "poectl/command.h"

namespace poectl {

struct suggestion {
    std::string word;
    std::string help;  // one line
};

// What the last of `words` may become; the words before it are those that stand on the line after the program's name.
std::vector<suggestion> suggestions_for(const std::vector<std::string>& words);

// The lines for a shell.
std::string completion_script(shell wanted);

}  // namespace poectl
