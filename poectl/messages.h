// Failures for people: what, why and what to try next, and the exit status that goes with it. Pure.
#pragma once

#include <chrono>
#include <string>

#include "poe_client/result.h"

namespace poectl {

int exit_status_of(const poe_client::failure& failure);

// One line without the program's name and without a line end.
std::string message_of(const poe_client::failure& failure, const std::string& socket_path,
                       std::chrono::milliseconds timeout);

}  // namespace poectl
