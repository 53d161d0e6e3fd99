// The three folders that a world has for itself, where they lie on the host, and what else must stay reachable in it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vswitch {

struct world_folders {
    std::filesystem::path root;   // on the host
    std::filesystem::path tmp;    // what the daemon sees as /tmp
    std::filesystem::path flash;  // ... as /flash
    std::filesystem::path dev;    // ... as /dev
};

world_folders folders_at(const std::filesystem::path& root);

// Makes the folders that are missing. Returns what went wrong, or nothing.
std::string make_folders(const world_folders& folders);

// The longest root whose sockets can be named from outside.
inline constexpr std::size_t longest_root = 64;

// The folders that a world hides behind its own.
inline const std::vector<std::filesystem::path> hidden_folders{"/tmp", "/flash", "/dev"};

// Which of `wanted` (absolute, without . and ..) lie under a hidden folder and so must be bound to their own path
// inside, outermost first and none within another. A hidden folder itself is never one of them.
std::vector<std::filesystem::path> kept_folders(std::vector<std::filesystem::path> wanted);

// Folders that environment variables tell programs to write profiles and sanitizer reports to.
std::vector<std::filesystem::path> output_folders(const char* const* environment);

}  // namespace vswitch
