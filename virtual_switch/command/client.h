// One verb to a running virtual switch.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "unique_fd.h"

namespace vswitch {

struct verb_reply {
    int exit_status;
    std::string text;  // the answer, or why there is none
    std::vector<unique_fd> descriptors = {};
};

// The control socket that was named, or that of the only switch that runs. An empty `control` with the reason in
// `problem` when that leaves none or a choice.
std::filesystem::path find_control(const std::string& named, std::string& problem);

verb_reply ask(const std::filesystem::path& control, const std::vector<std::string>& words, bool json);

}  // namespace vswitch
