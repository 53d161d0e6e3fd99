// vswitch exec: a command inside a running switch's world.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vswitch {

// Becomes the command; `attached`: with the switch's devices and time, as a second daemon. Returns an exit status when
// it cannot.
int enter_and_run(const std::filesystem::path& control, std::vector<std::string> command, bool attached);

}  // namespace vswitch
