#include "command/registry.h"

#include <cerrno>
#include <cstdlib>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sockets.h"

namespace vswitch {
namespace {

constexpr mode_t owner_only = 0700;
constexpr const char* control_suffix = ".control";

}  // namespace

std::filesystem::path registry_folder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    const bool has_runtime =
        runtime != nullptr && std::filesystem::path(runtime).is_absolute() && access(runtime, W_OK | X_OK) == 0;
    const std::filesystem::path folder = has_runtime
                                             ? std::filesystem::path(runtime) / "vswitch"
                                             : std::filesystem::path("/var/tmp/vswitch-" + std::to_string(geteuid()));
    if (mkdir(folder.c_str(), owner_only) != 0 && errno != EEXIST) return {};
    struct stat found {};
    if (lstat(folder.c_str(), &found) != 0 || !S_ISDIR(found.st_mode) || found.st_uid != geteuid()) return {};
    return folder;
}

std::filesystem::path make_fresh_world(const std::filesystem::path& registry) {
    std::string folder = registry / "world-XXXXXX";
    return mkdtemp(folder.data()) != nullptr ? std::filesystem::path(folder) : std::filesystem::path();
}

registration::registration(const std::filesystem::path& registry, const std::filesystem::path& control) {
    if (registry.empty()) return;
    link_ = registry / (std::to_string(getpid()) + control_suffix);
    std::error_code ignored;
    std::filesystem::remove(link_, ignored);
    std::filesystem::create_symlink(control, link_, ignored);
}

registration::~registration() {
    std::error_code ignored;
    if (!link_.empty()) std::filesystem::remove(link_, ignored);
}

std::vector<std::filesystem::path> running_switches(const std::filesystem::path& registry) {
    std::vector<std::filesystem::path> running;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(registry, error)) {
        if (entry.path().extension() != control_suffix) continue;
        const std::filesystem::path control = std::filesystem::read_symlink(entry.path(), error);
        if (connect_to(control, SOCK_STREAM).is_open()) {
            running.push_back(control);
        } else if (errno == ECONNREFUSED || errno == ENOENT) {
            std::filesystem::remove(entry.path(), error);
        }
    }
    return running;
}

}  // namespace vswitch
