#include "server/control_service.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "sockets.h"

namespace vswitch {
namespace {

constexpr std::size_t longest_request = 65536;
constexpr timeval reader_patience{.tv_sec = 5, .tv_usec = 0};

std::vector<std::string> words_in(const std::string& text) {
    std::vector<std::string> words;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t to = std::min(text.find('\0', from), text.size());
        words.push_back(text.substr(from, to - from));
        from = to + 1;
    }
    return words;
}

}  // namespace

control_service::control_service(event_loop& loop, std::function<void(const control_request&)> serve)
    : loop_(loop), serve_(std::move(serve)) {}

control_service::~control_service() {
    for (const auto& [socket, held] : connections_)
        loop_.forget(socket);
    if (!listener_.is_open()) return;
    loop_.forget(listener_.get());
    unlink(path_.c_str());
}

std::string control_service::open_at(const std::filesystem::path& path) {
    if (connect_to(path, SOCK_STREAM).is_open()) return "a virtual switch already answers at " + path.native();
    path_ = path;
    listener_ = listen_at(path, SOCK_STREAM);
    if (!listener_.is_open()) return "cannot open the control socket " + path.native() + ": " + std::strerror(errno);
    loop_.watch(listener_.get(), [this] { accept_one(); });
    return {};
}

void control_service::accept_one() {
    unique_fd socket = accept_from(listener_, SOCK_NONBLOCK);
    if (!socket.is_open()) return;
    const int number = socket.get();
    connections_.insert_or_assign(number, connection{.socket = std::move(socket), .received = {}});
    loop_.watch(number, [this, number] { read_some(number); });
}

void control_service::read_some(int socket) {
    connection& asker = connections_.at(socket);
    std::array<char, 4096> buffer;
    const ssize_t got = recv(socket, buffer.data(), buffer.size(), 0);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (got > 0 && asker.received.size() < longest_request) {
        asker.received.append(buffer.data(), static_cast<std::size_t>(got));
        return;
    }
    // Ended, or not worth listening to. The answer owns the connection from here on.
    loop_.forget(socket);
    const auto answering = std::make_shared<connection>(std::move(asker));
    connections_.erase(socket);
    if (got != 0) return;
    std::vector<std::string> words = words_in(answering->received);
    if (words.size() < 2) return;
    const bool json = words.front() == answer_in_json;
    words.erase(words.begin());
    // The reply is written in one go: a client that does not read holds the switch up for so long and no longer.
    fcntl(socket, F_SETFL, 0);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &reader_patience, sizeof reader_patience);
    serve_({.words = std::move(words), .json = json, .answer = [answering](const control_reply& reply) {
                send_all(answering->socket.get(), static_cast<char>(reply.result) + reply.text, reply.descriptors);
                answering->socket.reset();
            }});
}

}  // namespace vswitch
