// The same descriptions for programs: one JSON document each.
#pragma once

#include <string>

#include "models/describe.h"

namespace vswitch {

std::string show_json(const switch_state& state, subject what);
std::string frames_json(const frame_log& log, const frame_choice& choice);
std::string traps_json(const switch_state& state, std::size_t last);

// {"ok": true, "text": ...} or {"ok": false, "error": ...}
std::string message_json(bool ok, const std::string& text);

}  // namespace vswitch
