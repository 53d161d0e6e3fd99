// How the vswitch command ends when no program of the user's own gave it its exit status.
#pragma once

namespace vswitch {

inline constexpr int exit_done = 0;
inline constexpr int exit_refused = 1;  // the virtual switch answered, and would not
inline constexpr int exit_usage = 2;
inline constexpr int exit_no_switch = 3;
inline constexpr int exit_no_cuse = 4;
inline constexpr int exit_no_program = 127;

}  // namespace vswitch
