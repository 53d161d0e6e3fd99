#include "world/mounts.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "unique_fd.h"

namespace vswitch {
namespace {

using std::filesystem::path;

// The new root is put together over /tmp: it is there on every machine, and it is hidden anyway, so that no folder that
// is bound into the new root holds the new root.
const path new_root = "/tmp";

constexpr const char* host_devices[] = {"null", "zero", "full", "random", "urandom", "tty"};
constexpr std::pair<const char*, const char*> device_links[] = {{"fd", "/proc/self/fd"},
                                                                {"stdin", "/proc/self/fd/0"},
                                                                {"stdout", "/proc/self/fd/1"},
                                                                {"stderr", "/proc/self/fd/2"}};

std::string refused(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

// A place on the host, held open because mounts over its path are about to hide it.
struct held_place {
    path where;
    unique_fd descriptor;
};

held_place hold(const path& where) {
    return {.where = where, .descriptor = unique_fd(open(where.c_str(), O_PATH | O_CLOEXEC))};
}

void touch(const path& file) {
    unique_fd(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
}

// Within a user namespace a folder with mounts below it can only be bound with all of them.
bool bind_to(const path& from, const path& to) {
    return mount(from.c_str(), to.c_str(), nullptr, MS_BIND, nullptr) == 0 ||
           mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

bool bind_to(const held_place& from, const path& to) {
    return bind_to("/proc/self/fd/" + std::to_string(from.descriptor.get()), to);
}

// An entry that cannot be bound stays empty: whoever needs it says so better than we could.
void bind_top_level_entry(const std::filesystem::directory_entry& entry) {
    const path target = new_root / entry.path().filename();
    std::error_code ignored;
    if (entry.is_symlink(ignored)) {
        std::filesystem::copy_symlink(entry.path(), target, ignored);
        return;
    }
    if (entry.is_directory(ignored)) {
        std::filesystem::create_directory(target, ignored);
    } else {
        touch(target);
    }
    mount(entry.path().c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr);
}

std::string fill_device_folder(const std::vector<held_place>& devices) {
    for (const held_place& device : devices) {
        const path target = new_root / "dev" / device.where.filename();
        touch(target);
        if (!bind_to(device, target)) return refused("binding " + device.where.native());
    }
    for (const auto& [name, target] : device_links) {
        std::error_code ignored;  // there already in a world that is used again
        std::filesystem::create_symlink(target, new_root / "dev" / name, ignored);
    }
    return {};
}

}  // namespace

std::string build_root(const world_folders& folders, const std::vector<path>& kept) {
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return refused("keeping mounts private");

    std::vector<held_place> own;
    for (const path& folder : {folders.tmp, folders.flash, folders.dev})
        own.push_back(hold(folder));
    std::vector<held_place> devices;
    for (const char* name : host_devices) {
        held_place device = hold(path("/dev") / name);
        if (device.descriptor.is_open()) devices.push_back(std::move(device));
    }
    std::vector<held_place> reachable;
    for (const path& folder : kept) {
        held_place place = hold(folder);
        if (place.descriptor.is_open()) reachable.push_back(std::move(place));
    }
    std::vector<std::filesystem::directory_entry> entries;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/", error)) {
        if (std::ranges::find(hidden_folders, entry.path()) == hidden_folders.end()) entries.push_back(entry);
    }

    if (mount("vswitch", new_root.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
        return refused("mounting a new root");
    }
    for (const auto& entry : entries)
        bind_top_level_entry(entry);
    for (std::size_t i = 0; i < own.size(); i++) {
        const path target = new_root / hidden_folders[i].relative_path();
        std::filesystem::create_directory(target, error);
        if (!bind_to(own[i], target)) return refused("binding " + own[i].where.native());
    }
    if (std::string problem = fill_device_folder(devices); !problem.empty()) return problem;
    for (const held_place& place : reachable) {
        const path target = new_root / place.where.relative_path();
        std::filesystem::create_directories(target, error);
        if (!bind_to(place, target)) return refused("binding " + place.where.native());
    }

    if (chdir(new_root.c_str()) != 0) return refused("entering the new root");
    if (syscall(SYS_pivot_root, ".", ".") != 0) return refused("changing the root");
    if (umount2(".", MNT_DETACH) != 0) return refused("letting go of the old root");
    return chdir("/") == 0 ? std::string() : refused("entering the new root");
}

}  // namespace vswitch
