// What passes over the control socket (a Unix stream socket) between the command and a running virtual switch.
//
// Request: the words of a verb, each ended by a zero byte, the first one saying how to answer; then the writing side is
// shut down. Reply: one byte that says how it went, then text, then the end.
#pragma once

namespace vswitch {

inline constexpr char answer_in_text[] = "text";
inline constexpr char answer_in_json[] = "json";

enum class control_result : char { done = '+', refused = '-' };

// Its reply carries the descriptors of the world's mount namespace and, when there is one, of its user namespace; the
// text holds lines of the form name=value, named below.
inline constexpr char enter_verb[] = "enter";
inline constexpr char enter_preload[] = "preload";
inline constexpr char enter_devices[] = "devices";
inline constexpr char enter_speed[] = "speed";

}  // namespace vswitch
