// What is wrong with a command line, for people: which word, what may have been meant, and where to read on. Pure.
#pragma once

#include <string>
#include <vector>

#include "poectl/command_line.h"
#include "poectl/problem.h"

namespace poectl {

// `line` is as the parser left it when it found `error`.
problem bad_usage(const command_line& line, const CLI::ParseError& error);

// The innermost command that was understood.
const CLI::App& deepest(const CLI::App& app);

// A word that no command below `app` is called.
problem no_such_command(const CLI::App& app, const std::string& word);

// The one among `words` that a person who typed `typed` may have meant; empty when none is near.
std::string nearest(const std::string& typed, const std::vector<std::string>& words);

}  // namespace poectl
