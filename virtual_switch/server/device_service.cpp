#include "server/device_service.h"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

#include "sockets.h"

namespace vswitch {

device_service::device_service(event_loop& loop, device_answers& answers) : loop_(loop), answers_(answers) {}

device_service::~device_service() {
    for (const auto& [socket, held] : connections_)
        loop_.forget(socket);
    for (const auto& [path, listener] : listeners_) {
        loop_.forget(listener.get());
        unlink(path.c_str());
    }
}

std::string device_service::open_at(const std::filesystem::path& device_folder) {
    for (const char* name : {controller_device, cpld_device, link_monitor_device}) {
        const std::filesystem::path path = device_folder / name;
        unique_fd listener = listen_at(path, SOCK_SEQPACKET);
        if (!listener.is_open()) return "cannot open the device socket " + path.native() + ": " + std::strerror(errno);
        const auto placed = listeners_.insert_or_assign(path.native(), std::move(listener)).first;
        loop_.watch(placed->second.get(), [this, placed] { accept_one(placed->second); });
    }
    return {};
}

void device_service::accept_one(const unique_fd& listener) {
    unique_fd socket = accept_from(listener, SOCK_NONBLOCK);
    if (!socket.is_open()) return;
    const int number = socket.get();
    connections_.insert_or_assign(number, connection{.socket = std::move(socket), .serial = next_serial_++});
    loop_.watch(number, [this, number] { serve(number); });
}

void device_service::drop(int socket) {
    loop_.forget(socket);
    connections_.erase(socket);
}

void device_service::serve(int socket) {
    device_request request{};
    const ssize_t got = recv(socket, &request, sizeof request, 0);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (got != sizeof request) return drop(socket);
    std::chrono::microseconds delay{0};
    const device_reply reply = answers_.answer(request, delay);
    if (delay.count() > 0) return answer_later(socket, reply, delay);
    send(socket, &reply, sizeof reply, MSG_NOSIGNAL);
}

void device_service::answer_later(int socket, const device_reply& reply, std::chrono::microseconds delay) {
    const auto asker = connections_.find(socket);
    if (asker == connections_.end()) return;
    loop_.at(event_loop::clock::now() + delay, [this, socket, serial = asker->second.serial, reply] {
        const auto found = connections_.find(socket);
        if (found == connections_.end() || found->second.serial != serial) return;
        send(socket, &reply, sizeof reply, MSG_NOSIGNAL);
    });
}

}  // namespace vswitch
