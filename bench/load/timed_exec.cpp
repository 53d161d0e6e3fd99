// Writes down when it becomes another program: timed_exec FILE LIBRARY PROGRAM WORDS...
// The library is loaded into that program ahead of what the environment names. Statically linked, so that the
// environment's libraries are loaded into the program and not into this one.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

#include "clock.h"

int main(int count, char** words) {
    if (count < 4) return EXIT_FAILURE;
    const char* const others = std::getenv("LD_PRELOAD");
    const std::string preload = std::string(words[2]) + (others == nullptr ? "" : std::string(":") + others);
    setenv("LD_PRELOAD", preload.c_str(), 1);

    std::FILE* const file = std::fopen(words[1], "w");
    if (file == nullptr) return EXIT_FAILURE;
    std::fprintf(file, "%lld\n", static_cast<long long>(monotonic_ns()));
    std::fclose(file);
    execv(words[3], words + 3);
    std::perror(words[3]);
    return EXIT_FAILURE;
}
