// The socket of a floor.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>

inline int socket_named(const char* path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path, path, sizeof name.sun_path - 1);
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0 || bind(descriptor, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0) {
        std::perror(path);
        std::exit(1);
    }
    return descriptor;
}
