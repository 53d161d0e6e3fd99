// A request whose answer is taken later, for a program with an event loop of its own.
//
//   auto status = begin_get_whole_status(daemon);   // sent
//   ... the loop watches daemon.descriptor() for reading ...
//   if (const auto done = status.take()) {          // never waits; nothing: not yet
//       if (done->ok()) use(done->value); else report(done->error);
//   }
//
// A failure to send and a timeout wake the loop, too: the loop needs no timer. The descriptor is readable until take()
// was called. One request at a time on a connection: the next begins when this one was taken to its end, cancelled or
// destroyed; until then it fails with own_socket and EBUSY. One thread at a time. Not for a child process to go on
// with.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "poe_client/api.h"
#include "poe_client/result.h"

namespace poe_client {

class connection_state;
struct question;

class POE_CLIENT_API pending_request {
  public:
    pending_request(const std::shared_ptr<connection_state>& connection, question asked);
    pending_request(pending_request&& other) noexcept;
    pending_request& operator=(pending_request&& other) noexcept;
    ~pending_request() { cancel(); }

    std::optional<failure> take();
    void cancel();

  private:
    std::shared_ptr<connection_state> connection_;  // only while it works for this request
    std::optional<failure> outcome_;
};

template <typename answer>
class pending {
  public:
    pending(pending_request request, std::shared_ptr<answer> value)
        : request_(std::move(request)), value_(std::move(value)) {}

    // Nothing while the answer is still to come. Once there is an outcome, every further call gives it again.
    std::optional<result<answer>> take() {
        const auto outcome = request_.take();
        if (!outcome) return std::nullopt;
        return result<answer>{*outcome, outcome->kind == failure_kind::none ? *value_ : answer{}};
    }

    // No answer is wanted any more; take() gives timeout with ECANCELED. A setting may have been taken by the daemon.
    void cancel() { request_.cancel(); }

  private:
    pending_request request_;
    std::shared_ptr<answer> value_;
};

}  // namespace poe_client
