// The link monitor: which ports have a link. Its record is 40 bytes: four bytes of its own, then one word a port in
// native byte order whose bit 8 says that the link is up.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "models/configuration.h"

namespace vswitch {

class link_monitor_model {
  public:
    void set(std::size_t port, bool up) { up_.at(port) = up; }
    bool is_up(std::size_t port) const { return up_.at(port); }

    std::array<std::uint8_t, 40> record() const {
        constexpr std::size_t first_word = 4;
        constexpr std::uint16_t link_up = 0x0100;
        std::array<std::uint8_t, 40> bytes{};
        for (std::size_t port = 0; port < port_count; port++) {
            const std::uint16_t word = up_[port] ? link_up : 0;
            std::memcpy(bytes.data() + first_word + port * sizeof word, &word, sizeof word);
        }
        return bytes;
    }

  private:
    std::array<bool, port_count> up_{};
};

}  // namespace vswitch
