// What goes wrong on request: on the controller's line, in the CPLD, in the link monitor. A fault strikes each time
// that it is asked, until its times have run out or it is cleared; the oldest that fits strikes first.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "models/frame_layout.h"

namespace vswitch {

enum class fault_kind {
    no_answer,         // the controller hears nothing and the ioctl fails
    undefined_key,     // it reports the key as undefined
    refused_checksum,  // it reports the request's checksum as wrong
    bad_checksum,      // it does what it is asked, but its answer arrives damaged
    ioctl_error,       // the ioctl fails at once
    delay,             // the answer comes late
    cpld,              // a register access fails
    link_monitor       // the link query fails
};

struct fault {
    fault_kind kind = fault_kind::no_answer;
    std::optional<std::uint8_t> key{};     // only requests with this key
    std::optional<std::uint64_t> times{};  // how often still; nothing: until cleared
    int error = 0;                         // errno of a failing ioctl; 0: the usual one, or none for a report key
    std::uint32_t delay_us = 0;
};

// Nothing when there is no fault of that name.
std::optional<fault_kind> fault_kind_of(std::string_view name);
const char* fault_name(fault_kind kind);
std::string fault_text(const fault& one);

// Faults that take an errno: the ioctl fails with it, and a report key stands in the record all the same.
bool may_fail_the_ioctl(fault_kind kind);

// What befalls one transaction.
struct line_fault {
    std::optional<fault> strikes;
    std::uint32_t delay_us = 0;
};

class fault_list {
  public:
    void add(const fault& one) { faults_.push_back(one); }
    void clear() { faults_.clear(); }
    const std::vector<fault>& all() const { return faults_; }

    line_fault strike_line(std::uint8_t key);
    bool strike(fault_kind kind);

  private:
    void use(std::size_t at);

    std::vector<fault> faults_;
};

// Answers that a test dictates: the data bytes of every answer to a request that matches.
struct forced_answer {
    std::uint8_t key;
    std::optional<std::uint8_t> selector{};
    std::optional<std::uint8_t> port{};
    std::array<std::uint8_t, data_size> data{};
};

class forced_answer_list {
  public:
    void add(const forced_answer& one) { answers_.push_back(one); }
    void clear() { answers_.clear(); }
    const std::vector<forced_answer>& all() const { return answers_; }

    // The newest that matches the request.
    const forced_answer* find(const frame& request) const;

  private:
    std::vector<forced_answer> answers_;
};

}  // namespace vswitch
