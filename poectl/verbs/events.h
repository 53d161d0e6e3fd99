// What watch tells: the daemon looked at again and again, as events. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "poectl/picture.h"
#include "poectl/readings.h"

namespace poectl {

enum class event_kind : std::uint8_t { state, status, power, alarm, daemon, controller };

inline constexpr std::array<std::string_view, 6> event_names{"state", "status", "power",
                                                             "alarm", "daemon", "controller"};

constexpr std::string_view name_of(event_kind kind) {
    return event_names[static_cast<std::size_t>(kind)];
}

struct event {
    event_kind kind;
    facts details;            // for programs; the keys of a kind are always the same
    std::vector<cell> words;  // for people, one line
};

// One look at the daemon.
struct observation {
    std::optional<problem> trouble;  // none: it answered, and `all` is what it said
    whole_reading all{};
    bool controller_answers = true;  // else `all` is old
};

// What the events have told so far.
struct told_state {
    bool nothing = true;
    std::optional<problem> trouble{};
    whole_reading all{};  // where power is what was told last, not what was seen last
    bool controller_answers = true;
};

struct news {
    std::vector<event> events;
    told_state told;
};

// The first observation is told whole, and so is the first one after the daemon was out of reach or was restarted.
// Power is told when it differs from what was told last by `power_step_mw`, or begins or ends.
news news_of(const told_state& told, const observation& now, std::uint32_t power_step_mw);

}  // namespace poectl
