// Where programs and the preload library are: beside the command's own binary first, so that an installed tree runs
// what was installed with it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vswitch {

std::filesystem::path own_folder();  // of the running command's binary

// A name with a slash is a path; otherwise it is looked up in ../sbin and the folder of the command itself, then in
// `search_path` (folders with colons between them). Empty when it is nowhere.
std::filesystem::path find_program(const std::string& name, const std::filesystem::path& own,
                                   const std::string& search_path);

// In ../lib of an installed tree, or beside the command in a build tree. Empty when it is nowhere.
std::filesystem::path find_preload_library(const std::filesystem::path& own);

// The path by which the loader takes `library`: it reads spaces and colons as separators, an emulator commas, so a path
// with one of them gets a link in the folder `link_on_host`, which the daemon sees as `link_inside`.
std::filesystem::path loadable_library(const std::filesystem::path& library, const std::filesystem::path& link_on_host,
                                       const std::filesystem::path& link_inside);

// The environment of a program that is attached to the switch: `environment` with the preload library, the folder of
// the devices and the speed. `emulated`: the library is for the program that an emulator runs, not for the emulator.
std::vector<std::string> attached_environment(const char* const* environment,
                                              const std::filesystem::path& preload_library,
                                              const std::filesystem::path& device_folder, unsigned speed,
                                              bool emulated);

}  // namespace vswitch
