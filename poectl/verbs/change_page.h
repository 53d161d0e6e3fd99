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
    done,
    not_seen,   // in time
    doubtful,   // recorded, but the controller may not have got it
    no_answer,  // accepted; then the daemon could not be asked any more
};

struct told_change {
    outcome ended = outcome::accepted;
    std::string words;
    poe_client::port_bitmap ports = 0;
    const poe_client::datagram& request;
    const sight& seen;
    std::vector<std::string> notes{};  // beside those of what was seen
    std::chrono::milliseconds waited{0};
    std::uint64_t failed_transactions = 0;
    std::string last_trouble{};  // why the daemon could not be asked
};

void depict_change(const told_change& change, picture& into);

}  // namespace poectl
