#include "poe_client/connection.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "core/paths.h"
#include "poe_client/connection_state.h"

namespace poe_client {

namespace {

using steady = std::chrono::steady_clock;

constexpr failure another_is_pending{failure_kind::own_socket, EBUSY};

// Waits until there is something to do, a moment too long rather than too short. A signal ends the wait early.
void wait_for(const exchange& one) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(one.deadline() - steady::now()).count();
    pollfd watched{.fd = one.socket(), .events = one.events(), .revents = 0};
    poll(&watched, 1, static_cast<int>(std::clamp<std::int64_t>(left, 0, 1'000'000'000)));
}

}  // namespace

std::string daemon_socket_path(const std::string& wanted) {
    if (!wanted.empty()) return wanted;
    const char* named = std::getenv(socket_path_variable);
    return named != nullptr && *named != '\0' ? named : external_socket_path;
}

connection::connection(std::string socket_path, std::chrono::milliseconds timeout)
    : state_(std::make_shared<connection_state>(std::move(socket_path), timeout)) {}
connection::connection(connection&&) noexcept = default;
connection& connection::operator=(connection&&) noexcept = default;
connection::~connection() = default;

const std::string& connection::socket_path() const {
    return state_->socket_path;
}

std::chrono::milliseconds connection::timeout() const {
    return state_->timeout;
}

void connection::set_timeout(std::chrono::milliseconds timeout) {
    state_->timeout = timeout;
}

int connection::descriptor() {
    return state_->loop.number();
}

failure connection_state::ask(question asked) {
    if (is_busy()) return another_is_pending;
    const failure begun =
        exchange_.begin(socket_path, std::move(asked.request), asked.attempts, timeout, std::move(asked.judge));
    if (begun.kind != failure_kind::none) return begun;
    for (;;) {
        wait_for(exchange_);
        if (const auto outcome = exchange_.step()) return *outcome;
    }
}

failure connection_state::begin(question asked) {
    if (is_busy()) return another_is_pending;
    if (loop.number() < 0) return {failure_kind::own_socket, errno};
    const failure begun =
        exchange_.begin(socket_path, std::move(asked.request), asked.attempts, timeout, std::move(asked.judge));
    if (begun.kind != failure_kind::none) not_sent_ = begun;
    const auto until = not_sent_ ? steady::time_point{} : exchange_.deadline();  // a failure wakes the loop at once
    loop.follow(exchange_.socket(), exchange_.events(), until);
    return {};
}

std::optional<failure> connection_state::take() {
    loop.rest();
    if (not_sent_) return std::exchange(not_sent_, std::nullopt);
    const auto outcome = exchange_.step();
    if (!outcome) loop.follow(exchange_.socket(), exchange_.events(), exchange_.deadline());
    return outcome;
}

void connection_state::cancel() {
    loop.rest();
    not_sent_.reset();
    exchange_.cancel();
}

}  // namespace poe_client
