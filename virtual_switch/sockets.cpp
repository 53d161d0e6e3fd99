#include "sockets.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>

namespace vswitch {
namespace {

constexpr int waiting_connections = 64;
constexpr std::size_t most_descriptors = 4;
constexpr mode_t owner_only = 0600;

}  // namespace

std::optional<sockaddr_un> unix_address(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& text = path.native();
    if (text.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return std::nullopt;
    }
    std::memcpy(address.sun_path, text.c_str(), text.size() + 1);
    return address;
}

unique_fd listen_at(const std::filesystem::path& path, int type) {
    const std::optional<sockaddr_un> address = unix_address(path);
    if (!address) return {};
    unique_fd socket_fd(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket_fd.is_open()) return {};
    std::error_code ignored;
    if (std::filesystem::is_socket(path, ignored)) std::filesystem::remove(path, ignored);
    if (bind(socket_fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) return {};
    chmod(path.c_str(), owner_only);
    if (listen(socket_fd.get(), waiting_connections) != 0) return {};
    return socket_fd;
}

unique_fd connect_to(const std::filesystem::path& path, int type) {
    const std::optional<sockaddr_un> address = unix_address(path);
    if (!address) return {};
    unique_fd socket_fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    if (!socket_fd.is_open()) return {};
    if (connect(socket_fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) return {};
    return socket_fd;
}

unique_fd accept_from(const unique_fd& listener, int flags) {
    return unique_fd(accept4(listener.get(), nullptr, nullptr, flags | SOCK_CLOEXEC));
}

bool send_all(int socket, const std::string& text, const std::vector<int>& descriptors) {
    std::size_t done = 0;
    bool with_descriptors = !descriptors.empty() && descriptors.size() <= most_descriptors;
    while (done < text.size()) {
        iovec part{.iov_base = const_cast<char*>(text.data()) + done, .iov_len = text.size() - done};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        alignas(cmsghdr) std::array<char, CMSG_SPACE(most_descriptors * sizeof(int))> control{};
        if (with_descriptors) {
            const std::size_t size = descriptors.size() * sizeof(int);
            message.msg_control = control.data();
            message.msg_controllen = CMSG_SPACE(size);
            cmsghdr* header = CMSG_FIRSTHDR(&message);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = SCM_RIGHTS;
            header->cmsg_len = CMSG_LEN(size);
            std::memcpy(CMSG_DATA(header), descriptors.data(), size);
        }
        const ssize_t sent = sendmsg(socket, &message, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        done += static_cast<std::size_t>(sent);
        with_descriptors = false;
    }
    return true;
}

bool receive_all(int socket, std::string& text, std::vector<unique_fd>& descriptors) {
    std::array<char, 65536> buffer;
    for (;;) {
        iovec part{.iov_base = buffer.data(), .iov_len = buffer.size()};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(most_descriptors * sizeof(int))> control{};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t got = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
            if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) continue;
            const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
            for (std::size_t i = 0; i < count; i++) {
                int descriptor = -1;
                std::memcpy(&descriptor, CMSG_DATA(header) + i * sizeof(int), sizeof descriptor);
                descriptors.emplace_back(descriptor);
            }
        }
        if (got == 0) return true;
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

}  // namespace vswitch
