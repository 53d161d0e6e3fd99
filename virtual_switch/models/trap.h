// The far end of the trap pipe: finds the 21-byte messages in what comes out of it and reads them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "models/configuration.h"

namespace vswitch {

inline constexpr std::size_t trap_size = 21;
using trap_bytes = std::array<std::uint8_t, trap_size>;

struct port_trap {
    bool reported;
    std::uint8_t kind;    // 0 the port, 1 pair set A, 2 pair set B, 3 both
    std::uint8_t status;  // of the port or of pair set A
    std::uint8_t status_b;
};

struct trap_message {
    std::array<port_trap, port_count> ports;
    bool usage_alarm;
    std::uint16_t consumed_w;
    trap_bytes bytes;
};

// Nothing when the header is not that of a trap.
std::optional<trap_message> read_trap(const trap_bytes& bytes);

// One line for people, ports 1 to 4.
std::string trap_text(const trap_message& trap);

const char* trap_kind_name(std::uint8_t kind);

// The switch's status codes, as clients and traps carry them.
const char* status_name(std::uint8_t status);

// Takes pieces of any size; what does not begin like a trap is skipped byte by byte.
class trap_reader {
  public:
    std::vector<trap_message> take(std::span<const std::uint8_t> bytes);
    std::uint64_t skipped_bytes() const { return skipped_; }

  private:
    std::vector<std::uint8_t> waiting_;
    std::uint64_t skipped_ = 0;
};

}  // namespace vswitch
