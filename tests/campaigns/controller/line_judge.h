// The first oracle: from nothing but what the line gave, what the transport had to do next. It watches attempts and
// pauses, keeps counters and marks of its own, and knows every line that must be said. Its checksum is the models'.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "door.h"

namespace campaign {

// The nine counters in their order.
enum counter_place : std::size_t {
    total,
    rx_retry,
    rx_timeout,
    rx_checksum,
    executed,
    tx_checksum,
    subject_conflict,
    wrong_data,
    undefined_key,
    counter_places
};

// What went through the door, as the layers above the transport know it.
struct heard {
    enum { transaction, link, cpld } what = transaction;
    frame request{};
    frame answer{};  // accepted, when the status is 0
    int status = 0;
    int attempts = 0;
    bool was_damaged = false;  // the answer is not what the controller said
    int result = 0;            // link
    std::uint32_t number = 0;  // link, cpld: as in the event
};

class line_judge {
  public:
    // Takes what happened since the last call. Between two calls no transaction is under way.
    std::vector<heard> judge(std::vector<event>& events);

    // As after a start.
    void start_again();

    const std::array<std::uint64_t, counter_places>& counters() const { return counters_; }
    std::uint64_t transactions() const { return counters_[total]; }
    // Two commands share a key; which of them speaks is known to who calls it.
    bool chip_type_is_asked = false;
    // The transport by itself: no command says what became of the transaction, nor looks after its mark.
    bool is_transport_alone = false;
    // The bring-up pauses between commands on its own account.
    bool is_bring_up = false;

  private:
    void attempt(const event& seen);
    void pause(const event& seen);
    void speech(const event& seen);
    void finish(int status);
    void expect_marks();
    void expect_report(const char* text);

    enum { idle, pausing, retrying } state_ = idle;
    heard now_{};
    std::uint32_t wait_ = 0;
    int unheard_ = 0;
    int refused_ = 0;
    std::array<std::uint64_t, counter_places> counters_{};
    std::array<std::array<bool, 3>, 3> marked_{};
    struct expected_speech {
        happening what;
        std::string text;  // '#' stands for a number
    };
    std::deque<expected_speech> expected_;
    std::vector<heard> heard_;
};

// The function that sends a request; null when no function sends such a one.
const char* sender_of(const frame& request, bool chip_type_is_asked);

std::string hex(const frame& bytes);

}  // namespace campaign
