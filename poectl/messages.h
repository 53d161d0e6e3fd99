// Failures for people: what, why and what to try next, and the exit status that goes with it. Nothing is touched but
// the path of a socket that nobody answers at, which is looked at.
#pragma once

#include <chrono>
#include <string>

#include "poe_client/result.h"
#include "poectl/problem.h"

namespace poectl {

problem problem_of(const poe_client::failure& failure, const std::string& socket_path,
                   std::chrono::milliseconds timeout);

// For standard error, after the program's name and without a line end.
std::string sentence_of(const problem& one);

}  // namespace poectl
