// An event as a line of text. Pure.
#pragma once

#include <cstdint>
#include <string>

#include "poectl/look.h"
#include "poectl/verbs/events.h"

namespace poectl {

struct moment {
    std::int64_t time_ms = 0;  // since 1970
    std::int64_t zone_s = 0;   // how far the local time is ahead, for people
};

// JSON and JSON lines are the same here: a stream has no end that a document could wait for. csv begins with a line of
// headings, before the event with the number 1. An event in kv has several lines and an empty one.
std::string event_text(const event& told, std::uint64_t sequence, const moment& when, const look& how);

// "2026-11-21T10:15:02.123Z"
std::string utc_text(std::int64_t time_ms);

}  // namespace poectl
