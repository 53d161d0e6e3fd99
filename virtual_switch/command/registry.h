// Where this user's virtual switches are found: one folder with a link to the control socket of each, and the worlds
// that were given no folder of their own.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vswitch {

// $XDG_RUNTIME_DIR/vswitch, or /var/tmp/vswitch-UID: made when it is missing. Empty when it cannot be, or belongs to
// somebody else.
std::filesystem::path registry_folder();

std::filesystem::path make_fresh_world(const std::filesystem::path& registry);  // empty on failure

// One running virtual switch's entry, for as long as this object lives.
class registration {
  public:
    registration(const std::filesystem::path& registry, const std::filesystem::path& control);
    ~registration();
    registration(const registration&) = delete;
    registration& operator=(const registration&) = delete;

  private:
    std::filesystem::path link_;
};

// The control sockets on which a virtual switch answers now. Removes the entries of those that died.
std::vector<std::filesystem::path> running_switches(const std::filesystem::path& registry);

}  // namespace vswitch
