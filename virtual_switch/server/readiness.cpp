#include "server/readiness.h"

#include <array>
#include <cstdint>

#include <sys/socket.h>

#include "sockets.h"

namespace vswitch {
namespace {

constexpr const char* daemon_socket_name = "poe_driver_ipc_socket_server.txt";
constexpr const char* own_socket_name = ".vswitch_readiness";
constexpr std::uint8_t get_system_power_parameters = 0;
constexpr std::chrono::milliseconds between_attempts{5};

}  // namespace

readiness::readiness(event_loop& loop, const std::filesystem::path& tmp)
    : loop_(loop), daemon_(tmp / daemon_socket_name), own_(tmp / own_socket_name) {}

void readiness::ask(std::function<void()> answered) {
    stop_asking();
    is_answered_ = false;
    answered_ = std::move(answered);
    const std::optional<sockaddr_un> address = unix_address(own_);
    if (!address) return;
    unlink(own_.c_str());
    socket_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) return;
    loop_.watch(socket_.get(), [this] {
        std::array<std::uint8_t, 64> reply;
        if (recv(socket_.get(), reply.data(), reply.size(), 0) <= 0) return;
        is_answered_ = true;
        stop_asking();
        if (answered_) answered_();
    });
    try_once(question_);
}

void readiness::stop_asking() {
    question_++;
    if (!socket_.is_open()) return;
    loop_.forget(socket_.get());
    socket_.reset();
    unlink(own_.c_str());
}

void readiness::try_once(unsigned long question) {
    if (question != question_ || !socket_.is_open()) return;
    const std::optional<sockaddr_un> address = unix_address(daemon_);
    const std::uint8_t request = get_system_power_parameters;
    if (address && sendto(socket_.get(), &request, sizeof request, MSG_NOSIGNAL,
                          reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == sizeof request) {
        return;
    }
    loop_.at(event_loop::clock::now() + between_attempts, [this, question] { try_once(question); });
}

}  // namespace vswitch
