// The daemon looked at once, with its failures as part of what is seen. One thread at a time.
#pragma once

#include <chrono>
#include <cstdio>

#include "poe_client/connection.h"
#include "poectl/messages.h"
#include "poectl/verbs/events.h"

namespace poectl {

inline observation observe(poe_client::connection& daemon, std::chrono::milliseconds timeout) {
    observation seen;
    const auto error = read_whole(daemon, seen.all);
    if (!succeeded(error)) seen.trouble = problem_of(error, daemon.socket_path(), timeout);
    return seen;
}

// On standard error; gives the exit status.
inline int complain(const problem& trouble) {
    std::fputs(("poectl: " + sentence_of(trouble) + "\n").c_str(), stderr);
    return trouble.exit_status;
}

}  // namespace poectl
