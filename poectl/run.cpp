#include "poectl/run.h"

#include "poectl/messages.h"
#include "poectl/readings.h"
#include "poectl/render.h"
#include "poectl/verbs/verbs.h"

namespace poectl {

ended run(const command& asked, const look& how) {
    const verb_entry& entry = entry_of(asked.verb);
    picture seen = empty_picture(entry.shape);
    poe_client::connection daemon(poe_client::daemon_socket_path(asked.socket_path), asked.timeout);
    const auto failure = entry.gather(asked, daemon, seen);
    if (!succeeded(failure)) {
        const auto error = seen.error ? *seen.error : problem_of(failure, daemon.socket_path(), asked.timeout);
        const picture nothing = empty_picture(entry.shape);
        return {.status = error.exit_status,
                .out = rendered({.command = entry.name, .seen = nothing, .error = error}, how),
                .err = sentence_of(error)};
    }
    return {.status = seen.exit_status,
            .out = rendered({.command = entry.name, .seen = seen, .error = seen.error}, how),
            .err = how.format == output_format::csv && seen.complaint.empty() ? seen.caution : seen.complaint};
}

}  // namespace poectl
