// How a change went, as facts and as a page. Pure.
#pragma once

#include <chrono>
#include <string>

#include "poe_client/codec.h"
#include "poectl/picture.h"
#include "poectl/verbs/effect.h"

namespace poectl {

enum class outcome : std::uint8_t {
    would_be_sent,  // dry run
    accepted,       // and not awaited
    nothing_to_do,  // and so nothing sent
    done,
    not_seen,     // in time
    not_reached,  // it was so before; what was queued before it may still change that
    doubtful,     // recorded, but the controller may not have got it
    no_answer,    // accepted; then the daemon could not be asked any more
};

// A port that was asked for and that the change does not touch.
struct left_out_port {
    std::uint8_t port;
    std::string_view reason;  // a key for programs
};

struct told_change {
    outcome ended = outcome::accepted;
    std::string words;
    poe_client::port_bitmap ports = 0;
    const poe_client::datagram& request;
    const sight& seen;
    std::vector<std::string> notes{};  // beside those of what was seen
    std::vector<left_out_port> left_out{};
    bool dry_run = false;  // of what would be sent it need not be said
    bool was_so = false;   // before it
    std::chrono::milliseconds waited{0};
    std::uint64_t failed_transactions = 0;
    std::string last_trouble{};  // why the daemon could not be asked
};

// Did the daemon perhaps take a setting whose sending ended like this? Then it must not be repeated unseen.
bool may_have_been_taken(const poe_client::failure& of_sending);
problem unanswered(problem of_sending, const std::string& look_with);

void depict_change(const told_change& change, picture& into);

}  // namespace poectl
