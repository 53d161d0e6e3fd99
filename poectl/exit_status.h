// How poectl ends. Scripts rely on these numbers. `check` has the statuses of monitoring plugins instead
// (verbs/check.h).
#pragma once

#include <array>
#include <string_view>

namespace poectl {

inline constexpr int exit_done = 0;
inline constexpr int exit_internal = 1;  // this process could not do its own part; doctor: something is at fault
inline constexpr int exit_usage = 2;
inline constexpr int exit_no_daemon = 3;
inline constexpr int exit_no_answer = 4;  // none in time, or none that can be understood
inline constexpr int exit_refused = 5;
inline constexpr int exit_not_permitted = 6;
inline constexpr int exit_no_effect = 7;  // accepted, and no effect seen in time

struct exit_status_row {
    std::string_view name;  // a key for programs
    std::string_view meaning;
};

inline constexpr std::array<exit_status_row, 8> exit_statuses{{
    {"done", "done"},
    {"internal", "internal failure"},
    {"usage", "bad usage"},
    {"daemon_not_reachable", "daemon not reachable"},
    {"no_answer", "no answer"},
    {"refused", "refused"},
    {"not_permitted", "not permitted"},
    {"no_effect", "accepted, but no effect seen in time"},
}};

}  // namespace poectl
