// What clients asked of the daemon, kept a second time, straight from their bytes: which requests it must accept, what
// the records hold once a request was applied, what a query must say then, and what the controller must have been told.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <vector>

#include "fuzz.h"

namespace fuzz::client {

using message = std::vector<std::uint8_t>;

struct expected_port {
    int enable = 0, priority = 3, schedule_enable = 0, mode = 2, re_enable_s = 10;
    std::uint32_t limit = 900;
    int schedule_on = 1;
    bool pending = false;
    std::uint32_t tick = 0;  // of the power-cycle
    // energy record
    std::uint32_t powered_s = 0;
    std::uint64_t energy_mws = 0;
    std::array<std::size_t, 3> history{};  // slots written of each ring
};

struct expected_settings {
    std::array<expected_port, 4> ports;
    std::array<int, 6> system{1, 0, 0, 95, 0, 0};
    std::uint16_t bank_w = 300, second = 0;
    std::deque<message> queue;
    std::size_t deepest = 0;
    std::uint8_t statistics = 0;
    bool restored = false;
    bool file = false;
    bool file_is_writable = true;

    // May a request of the right type and length be carried out?
    static bool is_acceptable(const message& request);

    // An accepted request: queued, or carried out at once.
    void accept(message request);

    // One pass of the supervision thread at `tick`.
    void pass(std::uint32_t tick);

    bool is_powered(std::size_t port) const;

  private:
    void apply(const message& request, std::uint32_t tick);
    void merge(std::size_t port, bytes_view block);
};

}  // namespace fuzz::client
