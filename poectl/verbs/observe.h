// The daemon looked at again and again, with its failures as part of what is seen. One thread at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "poe_client/connection.h"
#include "poectl/messages.h"
#include "poectl/verbs/events.h"

namespace poectl {

// Whether the controller answers, from one look to the next, by the transactions that came to their good end. Pure.
class heard_controller {
  public:
    using time_point = std::chrono::steady_clock::time_point;

    // Nothing before begin(): one look does not tell.
    std::optional<bool> answers(std::uint64_t good_transactions, time_point now) {
        if (!known_) return std::nullopt;
        if (good_transactions != good_transactions_) begin(good_transactions, true, now);
        return heard_ && now - *heard_ < patience_with_the_controller;
    }

    void begin(std::uint64_t good_transactions, bool answers, time_point now) {
        known_ = true;
        good_transactions_ = good_transactions;
        heard_ = answers ? std::optional(now) : std::nullopt;
    }

    void forget() { known_ = false; }

  private:
    bool known_ = false;
    std::uint64_t good_transactions_ = 0;
    std::optional<time_point> heard_;  // nothing: not since begin()
};

class observer {
  public:
    observer(const std::string& socket_path, std::chrono::milliseconds timeout)
        : daemon_(socket_path, timeout), timeout_(timeout) {}

    poe_client::connection& daemon() { return daemon_; }

    observation look() {
        observation seen;
        const auto error = read(seen);
        if (succeeded(error)) return seen;
        controller_.forget();
        return {.trouble = problem_of(error, daemon_.socket_path(), timeout_)};
    }

  private:
    // The first look, and the first one after the daemon was out of reach, wait until they know.
    poe_client::failure read(observation& seen) {
        poe_client::communication_counters counted{};
        auto error = take(get_communication_counters(daemon_), counted);
        if (succeeded(error)) error = read_whole(daemon_, seen.all);
        if (!succeeded(error)) return error;
        const auto good = counted.tx_correctly_executed;
        if (const auto answers = controller_.answers(good, std::chrono::steady_clock::now())) {
            seen.controller_answers = *answers;
            return {};
        }
        error = read_whether_controller_answers(daemon_, counted, seen.controller_answers);
        controller_.begin(good, seen.controller_answers, std::chrono::steady_clock::now());
        return error;
    }

    poe_client::connection daemon_;
    std::chrono::milliseconds timeout_;
    heard_controller controller_;
};

// On standard error; gives the exit status.
inline int complain(const problem& trouble) {
    std::fputs(("poectl: " + sentence_of(trouble) + "\n").c_str(), stderr);
    return trouble.exit_status;
}

}  // namespace poectl
