// What a controller transaction, command or operation returns: 0, or one of these. Outputs are written on 0 only. A
// sequence of commands goes on after a failed step and returns its last failure.
#pragma once

inline constexpr int controller_ok = 0;
inline constexpr int controller_no_answer = -1;            // ten attempts without an answer
inline constexpr int controller_answer_damaged = -2;       // the answer's checksum is wrong
inline constexpr int controller_saw_wrong_checksum = -10;  // report key 'b'
inline constexpr int controller_subject_conflict = -11;    // known to the messages; the transport never returns it
inline constexpr int controller_wrong_data_value = -12;    // known to the messages; the transport never returns it
inline constexpr int controller_undefined_key = -13;       // report key 'a'
inline constexpr int controller_refused = -14;             // answered, but the setting was refused

// Keeps the last failure of a sequence.
inline void keep_failure(int& status, int step) {
    if (step != controller_ok) status = step;
}
