// How a request ended. Nothing in this library throws of its own accord: a failure is a value.
#pragma once

#include <string_view>

#include "poe_client/api.h"

namespace poe_client {

enum class failure_kind {
    none,
    no_daemon,      // there is no socket at the path, or nobody behind it
    not_permitted,  // the socket is there, and this user may not write to it
    timeout,        // asked, and no answer came in time
    refused,        // the daemon answered: bad port number or bad value; nothing was changed
    malformed,      // the answer to this request holds what no daemon says
    own_socket,     // this process could not make a socket of its own to be answered on; EBUSY: another request of the
                    // connection is pending
};

// A short name such as "timeout", and a sentence for a person: literals, which end with a zero. Pure; any thread.
POE_CLIENT_API std::string_view failure_name(failure_kind kind);
POE_CLIENT_API std::string_view failure_text(failure_kind kind);

struct failure {
    failure_kind kind = failure_kind::none;
    int system_error = 0;  // errno of the call that failed, 0 when none did
    bool operator==(const failure&) const = default;
};

// What a setting is answered: that it was accepted, and no more.
struct acknowledgement {
    bool operator==(const acknowledgement&) const = default;
};

// `value` means something only when ok().
template <typename answer>
struct result {
    failure error;
    answer value{};
    bool ok() const { return error.kind == failure_kind::none; }
};

}  // namespace poe_client
