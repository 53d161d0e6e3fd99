#include "world/programs.h"

#include <string_view>

#include <unistd.h>

#include "wire.h"
#include "world/emulator.h"

namespace vswitch {
namespace {

constexpr const char* preload_library_name = "libvswitch_preload.so";

}  // namespace

std::filesystem::path own_folder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

std::filesystem::path find_program(const std::string& name, const std::filesystem::path& own,
                                   const std::string& search_path) {
    if (name.find('/') != std::string::npos) return std::filesystem::absolute(name).lexically_normal();
    std::vector<std::filesystem::path> folders{(own / "../sbin").lexically_normal(), own};
    for (std::size_t from = 0; from <= search_path.size();) {
        const std::size_t to = std::min(search_path.find(':', from), search_path.size());
        folders.push_back(search_path.substr(from, to - from));
        from = to + 1;
    }
    for (const auto& folder : folders) {
        const std::filesystem::path file = folder / name;
        if (!folder.empty() && access(file.c_str(), X_OK) == 0 && !std::filesystem::is_directory(file)) {
            return std::filesystem::absolute(file).lexically_normal();
        }
    }
    return {};
}

std::filesystem::path find_preload_library(const std::filesystem::path& own) {
    for (const auto& folder : {own / "../lib", own}) {
        const std::filesystem::path file = (folder / preload_library_name).lexically_normal();
        if (access(file.c_str(), R_OK) == 0) return file;
    }
    return {};
}

std::filesystem::path loadable_library(const std::filesystem::path& library, const std::filesystem::path& link_on_host,
                                       const std::filesystem::path& link_inside) {
    if (library.native().find_first_of(" :,") == std::string::npos) return library;
    std::error_code ignored;
    std::filesystem::remove(link_on_host / preload_library_name, ignored);
    std::filesystem::create_symlink(library, link_on_host / preload_library_name, ignored);
    return link_inside / preload_library_name;
}

std::vector<std::string> attached_environment(const char* const* environment,
                                              const std::filesystem::path& preload_library,
                                              const std::filesystem::path& device_folder, unsigned speed,
                                              bool emulated) {
    // An emulator must not load what is meant for the program that it runs.
    const std::string preloading =
        (emulated ? emulated_environment_variable + std::string("=") : std::string()) + preload_variable + "=";
    std::vector<std::string> attached;
    std::string preloads;
    for (; *environment != nullptr; environment++) {
        const std::string_view entry = *environment;
        const std::string_view name = entry.substr(0, entry.find('='));
        if (name == devices_variable || name == speed_variable || name == emulator_variable) continue;
        if (entry.starts_with(preloading)) {
            preloads = entry.substr(preloading.size());
        } else {
            attached.emplace_back(entry);
        }
    }
    // Behind the caller's own: some of them insist on being first.
    if (!preloads.empty()) preloads += ':';
    preloads += preload_library.native();
    attached.push_back(preloading + preloads);
    attached.push_back(std::string(devices_variable) + '=' + device_folder.native());
    attached.push_back(std::string(speed_variable) + '=' + std::to_string(speed));
    return attached;
}

}  // namespace vswitch
