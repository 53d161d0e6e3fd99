// The third oracle: the supervision as a second, independent hand has written it, from the controller's answers to what
// clients are told. It is run after the daemon over what went through the door in the same pass, demands the very
// requests in the very order, and predicts every byte of what clients may ask for.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "line_judge.h"

namespace campaign {

using bytes = std::vector<std::uint8_t>;

struct ref_codes {
    std::uint8_t status = 0, sub = 0, error = 0, grade = 0;
};
struct ref_channel {
    std::uint16_t volts = 0, current = 0;
    ref_codes codes;
};
struct ref_reading {
    std::uint16_t volts = 0, current = 0, heat = 0;
    ref_codes codes;
    std::uint8_t type = 0;
    std::array<std::uint8_t, 5> events{};
    std::array<ref_channel, 2> channels{};
    bool status_was_read = true;
    bool events_are_new = false;
};

struct ref_part {  // of a port's record: the port, pair set A, pair set B
    std::uint8_t grade = 0, sub = 0, error = 0;
    std::uint32_t tick = 0, status = 0, volts = 0, current = 0, power = 0;
};
struct ref_record {
    std::array<ref_part, 3> parts{};
    std::uint32_t heat = 0, type = 0;
    std::array<std::uint32_t, 5> totals{};
};

struct ref_parameters {
    std::int8_t mode = 2, enable = 0, priority = 3, schedule = 0, on_off = 1, re_enable = 10;
    std::uint32_t limit = 900;
};

class reference {
  public:
    reference();

    // A request that the daemon acknowledged goes onto the queue.
    void accepted(const bytes& request);

    // One pass of the supervision thread. Returns true when it ended a sweep.
    bool pass(const std::vector<heard>& door, std::uint32_t tick);

    // What clients are told.
    bytes combined_reply() const;                     // type 11
    bytes system_status_reply() const;                // type 5
    bytes parameters_reply() const;                   // type 2
    bytes system_parameters_reply() const;            // type 0
    bytes bank_reply() const;                         // type 14
    bytes re_enable_reply(std::uint32_t tick) const;  // type 15

    // Forgets every reading and every status, as if nothing had ever been read; keeps the configuration.
    void forget_all_readings();

    bool is_enabled(std::size_t port) const { return wanted(port); }
    bool is_auto_off(std::size_t port) const { return (auto_off_ >> port & 1) != 0; }
    bool queue_is_empty() const { return queue_.empty(); }
    std::size_t next_port() const { return port_; }

    std::array<ref_parameters, 4> parameters{};
    std::array<std::int8_t, 6> system{1, 0, 0, 95, 0, 0};
    std::array<ref_record, 4> records{};
    std::uint32_t total_mw = 0, consumed_mw = 0, remaining_mw = 0, heat = 0;
    std::uint16_t limit = 0;
    std::uint64_t auto_offs = 0;  // ports switched off because they linked without power

  private:
    // --- the door ---
    std::optional<frame> ask(std::initializer_list<unsigned> head);
    std::optional<bool> ask_link(std::size_t port);
    void expect_register_9(unsigned value, unsigned mask);

    // --- supervision ---
    bool wanted(std::size_t port) const;
    static bool should(int system_on, int enable, int schedule, int on_off);
    bool apply(const bytes& request);
    bool change(std::size_t port, ref_parameters next);
    ref_parameters merged(const bytes& block, std::size_t at, const ref_parameters& stored) const;
    bool re_enable();
    void switch_power(std::size_t port, unsigned value);
    void send_mode(std::size_t port, std::int8_t mode);
    void poll(std::size_t port);
    void temperature_only(std::size_t port);
    void end_sweep();
    void collect(std::size_t port);
    bool translate(std::size_t port, ref_reading& reading, std::size_t part);

    std::array<ref_reading, 4> readings_{};
    std::deque<bytes> queue_;
    struct pending {
        bool is = false;
        std::uint32_t tick = 0;
    };
    std::array<pending, 4> coming_back_{};
    std::uint8_t auto_off_ = 0;
    bool last_link_ = false;
    std::size_t port_ = 0;
    std::uint16_t temperature_ = 0;
    std::uint32_t bank_ = 0;
    bool alarm_ = false;
    std::uint32_t tick_ = 0;
    const std::vector<heard>* door_ = nullptr;
    std::size_t at_ = 0;
};

}  // namespace campaign
