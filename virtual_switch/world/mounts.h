// The mounts of a world, made in a mount namespace that nobody else is in.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "world/folders.h"

namespace vswitch {

// Makes the calling process's root a fresh one: every top-level entry of the host, with the world's own folders in the
// place of /tmp, /flash and /dev. Returns what was refused, or nothing.
std::string build_root(const world_folders& folders, const std::vector<std::filesystem::path>& kept);

}  // namespace vswitch
