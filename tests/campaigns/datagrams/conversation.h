// One client and the daemon: what was sent, what is owed for it, and what came. The daemon answers in the order of
// sending, so the replies are compared with the debts one by one: a reply that is missing, doubled, out of order or
// meant for somebody else does not match. Never more replies are owed than the socket holds, so none is lost on the
// way.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "datagrams/client_socket.h"
#include "datagrams/expectation.h"
#include "datagrams/plausibility.h"

namespace campaign {

struct tally {
    std::size_t sent = 0;
    std::size_t replies = 0;
    std::size_t rejections = 0;
    std::size_t silences = 0;
    std::array<std::size_t, 256> size_errors{};  // by type
    std::vector<std::string> failures;           // the first few in words
    std::size_t failure_count = 0;

    void fail(const std::string& what);
    void add(const tally& other);
};

class conversation {
  public:
    conversation(const std::string& daemon_path, const std::string& own_path, std::size_t most_owed);

    // Sends one datagram, after taking replies when too many are owed. False when the daemon does not listen any more.
    bool say(std::span<const std::uint8_t> datagram);

    // Takes every reply that is still owed, and one to a last query as a fence: whatever the daemon sends for a
    // datagram of ours was sent before.
    bool settle();

    // After everybody has settled: whatever is there now is one too many.
    void expect_nothing_more();

    // Something else that went wrong; always false.
    bool complain(const std::string& what);

    const tally& counts() const { return tally_; }
    const client_memory& memory() const { return memory_; }
    std::size_t accepted_changes() const { return accepted_changes_; }  // acknowledged and to be applied

  private:
    struct debt {
        expectation expected;
        std::size_t number;  // of the datagram
        std::size_t length;
        std::array<std::uint8_t, 24> head;  // its first bytes, for the failure's text
    };

    bool take_one();
    std::string text_of(const debt& owed) const;

    client_socket socket_;
    std::size_t most_owed_;
    std::deque<debt> owed_;
    client_memory memory_;
    tally tally_;
    std::size_t accepted_changes_ = 0;
    std::vector<std::uint8_t> buffer_;
};

// Adds up, prints the failures, and says the counts as one line of JSON for the script that started us.
int report(const tally& all, const std::string& further_json);

}  // namespace campaign
