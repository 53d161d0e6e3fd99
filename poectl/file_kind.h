// What kind of file stands at a path, in words. Pure.
#pragma once

#include <sys/stat.h>

#include <string>

namespace poectl {

inline std::string words_of_kind(mode_t mode) {
    if (S_ISREG(mode)) return "a file";
    if (S_ISDIR(mode)) return "a folder";
    if (S_ISLNK(mode)) return "a link";
    if (S_ISFIFO(mode)) return "a pipe";
    if (S_ISSOCK(mode)) return "a socket";
    if (S_ISCHR(mode)) return "a character device";
    return "something else";
}

}  // namespace poectl
