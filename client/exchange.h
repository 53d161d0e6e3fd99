// One request under way and the one answer that is ours. Never waits: whoever drives it does, with poll or with a loop
// of his own. One thread at a time.
//
// Every attempt has a local datagram socket of its own, with a name that is never used again. So a late answer finds
// nobody and cannot be taken for the answer to a later question. The socket is connected to the daemon's: the kernel
// keeps everybody else's datagrams away. It is closed with the first answer: nothing is left in it unread.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "poe_client/own_folder.h"
#include "poe_client/result.h"
#include "poe_client/verdict.h"

namespace poe_client {

class exchange {
  public:
    exchange() = default;
    exchange(const exchange&) = delete;
    exchange& operator=(const exchange&) = delete;
    ~exchange() { cancel(); }

    // Makes the first attempt's socket and sends, if the daemon's queue has room. With a failure nothing is under way.
    // `timeout` is for one attempt; with two attempts an unanswered request is sent once more.
    failure begin(const std::string& daemon_socket, datagram request, int attempts, std::chrono::milliseconds timeout,
                  judgement judge);

    // Does what can be done now. Nothing: the answer is still to come. Otherwise the outcome, and nothing is under way.
    std::optional<failure> step();

    void cancel();
    bool under_way() const { return socket_ >= 0; }

    // What step() waits for: these events of this socket, or the deadline.
    int socket() const { return socket_; }
    short events() const;
    std::chrono::steady_clock::time_point deadline() const { return deadline_; }

  private:
    failure begin_attempt();
    failure open_socket();
    failure send_request();
    std::optional<failure> take_answer();

    own_folder folder_;
    std::string daemon_socket_;
    datagram request_;
    judgement judge_;
    std::chrono::milliseconds timeout_{0};
    std::chrono::steady_clock::time_point deadline_;
    int attempts_left_ = 0;
    int socket_ = -1;
    bool sent_ = false;
};

}  // namespace poe_client
