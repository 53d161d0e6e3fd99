#include "poe_client/pending.h"

#include <cerrno>

#include "poe_client/connection_state.h"

namespace poe_client {

pending_request::pending_request(const std::shared_ptr<connection_state>& connection, question asked) {
    const failure begun = connection->begin(std::move(asked));
    if (begun.kind == failure_kind::none) {
        connection_ = connection;
    } else {
        outcome_ = begun;
    }
}

pending_request::pending_request(pending_request&& other) noexcept
    : connection_(std::move(other.connection_)), outcome_(other.outcome_) {}

pending_request& pending_request::operator=(pending_request&& other) noexcept {
    if (this == &other) return *this;
    cancel();
    connection_ = std::move(other.connection_);
    outcome_ = other.outcome_;
    return *this;
}

std::optional<failure> pending_request::take() {
    if (!connection_) return outcome_;
    outcome_ = connection_->take();
    if (outcome_) connection_ = nullptr;
    return outcome_;
}

void pending_request::cancel() {
    if (!connection_) return;
    connection_->cancel();
    connection_ = nullptr;
    outcome_ = failure{failure_kind::timeout, ECANCELED};
}

}  // namespace poe_client
