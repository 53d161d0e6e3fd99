// How poectl ends. Scripts rely on these numbers.
#pragma once

namespace poectl {

inline constexpr int exit_done = 0;
inline constexpr int exit_internal = 1;  // this process could not do its own part
inline constexpr int exit_usage = 2;
inline constexpr int exit_no_daemon = 3;
inline constexpr int exit_no_answer = 4;  // none in time, or none that can be understood
inline constexpr int exit_refused = 5;
inline constexpr int exit_not_permitted = 6;

}  // namespace poectl
