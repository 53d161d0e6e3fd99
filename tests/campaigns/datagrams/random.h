// One seeded stream of numbers: the same seed gives the same run everywhere.
#pragma once

#include <cstdint>

namespace campaign {

class random_stream {
  public:
    explicit random_stream(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31U);
    }
    std::uint64_t below(std::uint64_t bound) { return next() % bound; }
    std::uint64_t within(std::uint64_t lowest, std::uint64_t highest) { return lowest + below(highest - lowest + 1); }
    std::uint8_t byte() { return static_cast<std::uint8_t>(next()); }
    bool once_in(std::uint64_t times) { return below(times) == 0; }

  private:
    std::uint64_t state_;
};

// A stream of its own for each thread of a run.
inline random_stream stream_of(std::uint64_t seed, std::uint64_t number) {
    random_stream both(seed * 1000003U + number);
    return random_stream(both.next());
}

}  // namespace campaign
