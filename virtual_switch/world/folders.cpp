#include "world/folders.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <sys/stat.h>

namespace vswitch {
namespace {

constexpr mode_t for_everyone_with_sticky_bit = 01777;
constexpr mode_t for_the_owner_to_write = 0755;

bool is_within(const std::filesystem::path& inner, const std::filesystem::path& outer) {
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

bool is_kept(const std::filesystem::path& folder) {
    return std::ranges::any_of(hidden_folders,
                               [&](const auto& hidden) { return folder != hidden && is_within(folder, hidden); });
}

// The value of log_path in a sanitizer's options, which colons and blanks separate.
std::string_view log_path_in(std::string_view options) {
    constexpr std::string_view key = "log_path=";
    const std::size_t at = options.find(key);
    if (at == std::string_view::npos) return {};
    const std::string_view value = options.substr(at + key.size());
    return value.substr(0, value.find_first_of(": \t"));
}

}  // namespace

world_folders folders_at(const std::filesystem::path& root) {
    return {.root = root, .tmp = root / "tmp", .flash = root / "flash", .dev = root / "dev"};
}

std::string make_folders(const world_folders& folders) {
    std::error_code error;
    for (const auto& [folder, mode] :
         {std::pair{folders.tmp, for_everyone_with_sticky_bit}, std::pair{folders.flash, for_the_owner_to_write},
          std::pair{folders.dev, for_the_owner_to_write}}) {
        const bool made = std::filesystem::create_directories(folder, error);
        if (error) return "cannot make the folder " + folder.native() + ": " + error.message();
        if (made && chmod(folder.c_str(), mode) != 0) {
            return "cannot open up the folder " + folder.native() + ": " + std::strerror(errno);
        }
    }
    return {};
}

std::vector<std::filesystem::path> kept_folders(std::vector<std::filesystem::path> wanted) {
    std::ranges::sort(wanted);
    std::vector<std::filesystem::path> kept;
    for (const auto& folder : wanted) {
        const bool covered = std::ranges::any_of(kept, [&](const auto& outer) { return is_within(folder, outer); });
        if (is_kept(folder) && !covered) kept.push_back(folder);
    }
    return kept;
}

std::vector<std::filesystem::path> output_folders(const char* const* environment) {
    std::vector<std::filesystem::path> folders;
    for (; *environment != nullptr; environment++) {
        const std::string_view entry = *environment;
        const std::size_t equals = entry.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view name = entry.substr(0, equals);
        std::string_view file = entry.substr(equals + 1);
        if (name.ends_with("SAN_OPTIONS")) {
            file = log_path_in(file);
        } else if (name != "LLVM_PROFILE_FILE") {
            continue;
        }
        const std::filesystem::path path(file);
        if (path.is_absolute()) folders.push_back(path.parent_path().lexically_normal());
    }
    return folders;
}

}  // namespace vswitch
