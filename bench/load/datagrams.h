// The socket of a load program.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>

[[noreturn]] inline void give_up(const char* what) {
    std::perror(what);
    std::exit(1);
}

inline sockaddr_un address_of(const std::string& path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    if (path.size() >= sizeof name.sun_path) give_up("a name too long");
    path.copy(name.sun_path, path.size());
    return name;
}

inline const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

inline int socket_named(const std::string& name) {
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(name);
    if (descriptor < 0 || bind(descriptor, generic(address), sizeof address) != 0) give_up(name.c_str());
    return descriptor;
}
