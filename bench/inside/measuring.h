// What the programs here share: a clock, and an end for what goes wrong.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace bench {

template <typename work>
double seconds_of(work&& what) {
    using clock = std::chrono::steady_clock;
    const clock::time_point begin = clock::now();
    what();
    return std::chrono::duration<double>(clock::now() - begin).count();
}

[[noreturn]] inline void give_up(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    std::exit(EXIT_FAILURE);
}

}  // namespace bench
