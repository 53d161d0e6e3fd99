#include "soak/surroundings.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "datagrams/expectation.h"
#include "datagrams/random.h"

namespace campaign {
namespace {

using words = std::vector<std::string>;

std::string ask(const std::string& control, const words& verb) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    control.copy(address.sun_path, sizeof address.sun_path - 1);
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string request("text\0", 5);
    for (const std::string& word : verb)
        request += word + '\0';
    std::string answer;
    if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        send(connection, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size()) &&
        shutdown(connection, SHUT_WR) == 0) {
        char part[512];
        for (ssize_t got = 0; (got = recv(connection, part, sizeof part, 0)) > 0;)
            answer.append(part, static_cast<std::size_t>(got));
    }
    close(connection);
    return answer;
}

words plugging(const std::string& port, random_stream& random) {
    words verb{"plug", port};
    if (random.once_in(8)) {
        verb.insert(verb.end(), {"--legacy"});
    } else if (random.once_in(4)) {
        verb.insert(verb.end(), {"--dual", "--class", std::to_string(random.within(1, 5))});
    } else {
        verb.insert(verb.end(), {"--class", std::to_string(random.within(0, 8))});
    }
    constexpr std::array broken{"open", "short", "overload", "bad-signature"};
    if (random.once_in(8)) verb.insert(verb.end(), {"--broken", broken.at(random.below(broken.size()))});
    return verb;
}

words change_of(std::size_t number, bool is_plugged, random_stream& random) {
    const std::string port = std::to_string(number + 1);
    if (random.once_in(3)) return {"link", port, random.once_in(2) ? "up" : "down"};
    if (random.once_in(8)) return {"event", port, std::to_string(random.within(1, 5))};
    if (!is_plugged) return plugging(port, random);
    if (random.once_in(2)) return {"load", port, std::to_string(random.within(1, 60))};
    return {"unplug", port};
}

}  // namespace

void pace::went_on(std::size_t datagrams) {
    {
        const std::lock_guard held(mutex_);
        datagrams_ += datagrams;
    }
    changed_.notify_one();
}

void pace::end() {
    {
        const std::lock_guard held(mutex_);
        is_over_ = true;
    }
    changed_.notify_one();
}

bool pace::reached(std::size_t datagrams) {
    std::unique_lock held(mutex_);
    changed_.wait(held, [&] { return is_over_ || datagrams_ >= datagrams; });
    return !is_over_;
}

surroundings_result change_surroundings(const std::string& control, std::uint64_t seed, pace& clients,
                                        std::size_t datagrams_a_change) {
    random_stream random = stream_of(seed, 0);
    std::array<bool, ports> plugged{};
    surroundings_result result;
    while (clients.reached(result.changes * datagrams_a_change)) {
        const std::size_t port = random.below(ports);
        const words verb = change_of(port, plugged.at(port), random);
        const std::string answer = ask(control, verb);
        if (answer.empty() || answer.front() != '+') {
            result.failure = "the virtual switch refused " + verb.front() + ": " + answer;
            return result;
        }
        if (verb.front() == "plug") plugged.at(port) = true;
        if (verb.front() == "unplug") plugged.at(port) = false;
        result.changes++;
    }
    return result;
}

}  // namespace campaign
