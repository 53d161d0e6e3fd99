// Every frame with its model time, and beside them what else happened: the operator's words, register writes, traps.
// Holds the newest; what is older falls out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>

#include "models/frame_layout.h"

namespace vswitch {

struct frame_entry {
    std::uint64_t number;  // from 1, never reused
    std::uint64_t at_us;   // when the request arrived
    std::uint32_t wait;
    frame request;
    frame answer;
    int result;
    int error;
    std::uint32_t delay_us;
    const char* fault;  // what struck, or nullptr
    bool forced;        // the answer was dictated
};

struct note_entry {
    std::uint64_t at_us;
    std::uint64_t before_frame;  // the number of the next frame
    std::string text;
};

class frame_log {
  public:
    static constexpr std::size_t most_frames = 65536;
    static constexpr std::size_t most_notes = 4096;

    void add(frame_entry entry) {
        entry.number = ++total_;
        frames_.push_back(entry);
        if (frames_.size() > most_frames) frames_.pop_front();
    }
    void note(std::uint64_t at_us, std::string text) {
        notes_.push_back({at_us, total_ + 1, std::move(text)});
        if (notes_.size() > most_notes) notes_.pop_front();
    }
    void clear() {
        frames_.clear();
        notes_.clear();
    }

    const std::deque<frame_entry>& frames() const { return frames_; }
    const std::deque<note_entry>& notes() const { return notes_; }
    std::uint64_t total() const { return total_; }

  private:
    std::deque<frame_entry> frames_;
    std::deque<note_entry> notes_;
    std::uint64_t total_ = 0;
};

}  // namespace vswitch
