// The named pipe that an SNMP agent would read: made in the world, read here, every message handed on. Lives on the
// event loop's thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>

#include "unique_fd.h"

namespace vswitch {

class trap_pipe {
  public:
    using reader = std::function<void(std::span<const std::uint8_t>)>;

    ~trap_pipe();
    // Returns what went wrong, or nothing. A pipe that is there already is read and left there at the end.
    std::string open_at(const std::filesystem::path& path);
    int descriptor() const { return pipe_.get(); }
    void drain(const reader& take);  // everything that was written until now

  private:
    std::filesystem::path made_;
    unique_fd pipe_;
};

}  // namespace vswitch
