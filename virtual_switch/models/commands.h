// The controller's commands by name and field, for whoever reads a log of frames.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "models/frame_layout.h"

namespace vswitch {

using named_values = std::vector<std::pair<std::string, std::string>>;

// "unknown command" when the key is none of the controller's.
const char* command_name(const frame& request);

named_values request_fields(const frame& request);

// The fields of the answer to a request; a refusal is one field that says so.
named_values answer_fields(const frame& request, const frame& answer);

// True for commands that only read.
bool is_query(const frame& request);

std::string hex_text(const frame& bytes);
std::string values_text(const named_values& values);

}  // namespace vswitch
