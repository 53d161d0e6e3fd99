// The socket of a floor.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "floor/replies.h"

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

// Waits for a datagram and takes it. False when there was none after all.
inline bool wait_and_receive(int descriptor, unsigned char (&message)[longest_message], sockaddr_un& peer,
                             socklen_t& peer_length) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(descriptor, &readable);
    if (select(descriptor + 1, &readable, nullptr, nullptr, nullptr) <= 0) return false;
    return recvfrom(descriptor, message, sizeof message, 0, reinterpret_cast<sockaddr*>(&peer), &peer_length) > 0;
}
