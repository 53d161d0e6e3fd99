// What a connection consists of, and the two ways to put a request on it: wait for its answer, or take it later. One
// request at a time. One thread at a time.
#pragma once

#include <memory>
#include <string>

#include "poe_client/connection.h"
#include "poe_client/exchange.h"
#include "poe_client/loop_descriptor.h"

namespace poe_client {

// A request as it goes out, how often it may be sent, and the judge of what comes back.
struct question {
    datagram request;
    int attempts;
    judgement judge;
};

class connection_state {
  public:
    connection_state(std::string path, std::chrono::milliseconds one_attempt)
        : socket_path(std::move(path)), timeout(one_attempt) {}

    // Sends and waits. Own_socket with EBUSY while another request is pending.
    failure ask(question asked);

    // Sends. A failure here means that nothing is pending; one to send is found by take(), like every other outcome.
    failure begin(question asked);
    // Nothing while the answer is still to come.
    std::optional<failure> take();
    void cancel();

    std::string socket_path;
    std::chrono::milliseconds timeout;
    loop_descriptor loop;

  private:
    bool is_busy() const { return exchange_.under_way() || not_sent_.has_value(); }

    exchange exchange_;
    std::optional<failure> not_sent_;  // of a pending request
};

// The library's own way into a connection.
struct connection_access {
    static const std::shared_ptr<connection_state>& state(connection& daemon) { return daemon.state_; }
};

}  // namespace poe_client
