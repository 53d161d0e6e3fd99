#include "client/fake_daemon.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>

namespace {

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), std::min(path.size(), sizeof address.sun_path - 1));
    return address;
}

}  // namespace

temporary_folder::temporary_folder() {
    char name[] = "/tmp/poe_test.XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    path = name;
}

temporary_folder::~temporary_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::vector<std::string> temporary_folder::entries() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path))
        names.push_back(entry.path().filename());
    return names;
}

fake_daemon::fake_daemon(script answers) : answers_(std::move(answers)) {
    socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    stop_ = eventfd(0, EFD_CLOEXEC);
    const auto address = address_of(socket_path());
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::abort();
    thread_ = std::thread([this] { serve(); });
}

fake_daemon::~fake_daemon() {
    const std::uint64_t one = 1;
    if (write(stop_, &one, sizeof one) != sizeof one) std::abort();
    thread_.join();
    close(socket_);
    close(stop_);
}

std::vector<served_request> fake_daemon::requests() {
    const std::lock_guard held(mutex_);
    return requests_;
}

bool fake_daemon::send_to(const std::string& client, const message& bytes) {
    const auto address = address_of(client);
    return sendto(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                  reinterpret_cast<const sockaddr*>(&address), sizeof address) >= 0;
}

void fake_daemon::serve() {
    pollfd watched[2]{{socket_, POLLIN, 0}, {stop_, POLLIN, 0}};
    while (poll(watched, 2, -1) >= 0 && watched[1].revents == 0) {
        message request(4096);
        sockaddr_un client{};
        socklen_t client_length = sizeof client;
        const ssize_t length =
            recvfrom(socket_, request.data(), request.size(), 0, reinterpret_cast<sockaddr*>(&client), &client_length);
        if (length < 0) continue;
        request.resize(static_cast<std::size_t>(length));
        std::size_t number = 0;
        {
            const std::lock_guard held(mutex_);
            number = requests_.size();
            requests_.push_back({request, client.sun_path});
        }
        for (const auto& reply : answers_(request, number))
            send_to(client.sun_path, reply);
    }
}

fake_daemon::script healthy(std::uint8_t result) {
    return [result](const message& request, std::size_t) -> std::vector<message> {
        static const std::map<int, std::string> answers{
            {0, "system_settings"}, {1, "port_3_settings"}, {2, "all_port_settings"}, {5, "system_status"},
            {6, "port_2_status"},   {7, "all_port_status"}, {11, "whole_status"},     {12, "communication_counters"},
            {13, "deepest_queue"},  {14, "power_bank"},     {15, "power_cycles"},     {16, "energy_recording"},
            {17, "port_1_energy"},  {18, "energy_summary"}};
        constexpr std::size_t port_offset = 8;
        const int type = request.front();
        const auto known = answers.find(type);
        if (known == answers.end()) return {{request.front(), 0, 0, 0, 0, 0, 0, result}};
        message reply = message_bytes(known->second);
        if (type == 1 || type == 6 || type == 17) reply[port_offset] = request[port_offset];
        return {reply};
    };
}

fake_daemon::script with_controller(std::size_t from) {
    return [from, answers = std::uint8_t{0}](const message& request, std::size_t number) mutable {
        constexpr std::uint8_t counters_type = 12;
        constexpr std::size_t correctly_executed_offset = 40;
        auto replies = healthy()(request, number);
        if (request.front() != counters_type) return replies;
        if (number >= from) answers++;
        auto& count = replies.front()[correctly_executed_offset];
        count = static_cast<std::uint8_t>(count + answers);
        return replies;
    };
}

std::string hex(const message& bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i++) {
        char part[16];
        if (i % 16 == 0) {
            std::snprintf(part, sizeof part, "\n%5u:", static_cast<unsigned>(i));
            text += part;
        }
        std::snprintf(part, sizeof part, " %02x", static_cast<unsigned>(bytes[i]));
        text += part;
    }
    return text;
}

testing::AssertionResult same_bytes(const message& actual, const message& expected) {
    if (actual == expected) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "are" << hex(actual) << "\nshould be" << hex(expected);
}
