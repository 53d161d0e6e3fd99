#include "poectl/verbs/change.h"

#include <algorithm>
#include <thread>

#include "poe_client/requests.h"
#include "poectl/messages.h"
#include "poectl/verbs/change_page.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;

namespace {

using steady = std::chrono::steady_clock;

// The daemon answers beside its work, so looking costs it little; still, who waits long looks rarely.
constexpr std::chrono::milliseconds first_pause{50};
constexpr std::chrono::milliseconds longest_pause{500};

struct awaited {
    outcome ended = outcome::not_seen;
    sight last;
    change_records records{};
    std::string last_trouble;
    bool was_so = false;  // and stayed so
};

// Whether the daemon has come to a change that shows in no record. It talks with the controller all the time.
class passing {
  public:
    bool is_over(std::uint64_t transactions) {
        const bool is_another_daemon = begin_ && transactions < *begin_;
        if (!begin_ || is_another_daemon) begin_ = transactions;
        return transactions - *begin_ >= transactions_until_applied;
    }

  private:
    std::optional<std::uint64_t> begin_;
};

awaited await_effect(const command& asked, connection& daemon, const planned_change& change,
                     const change_records& before, steady::time_point until) {
    awaited seen;
    seen.last = change.judge(before, before);
    seen.was_so = !change.replaces && all_seen(seen.last.aims);
    passing pass;
    auto pause = first_pause;
    for (;;) {
        change_records now = before;
        const failure error = change.look(daemon, now);
        seen.ended = succeeded(error) ? outcome::not_seen : outcome::no_answer;
        if (succeeded(error)) {
            seen.last = change.judge(before, now);
            seen.records = now;
            const bool is_so = all_seen(seen.last.aims);
            seen.was_so = seen.was_so && is_so;
            const bool may_wait_yet = seen.was_so && change.is_queued && !pass.is_over(now.counters.total);
            if (is_so) seen.ended = may_wait_yet ? outcome::not_reached : outcome::done;
            if (!may_wait_yet && !more_can_come(seen.last.aims)) return seen;
        } else {
            const auto trouble = problem_of(error, daemon.socket_path(), asked.timeout);
            seen.last_trouble = trouble.what + ": " + trouble.why;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - steady::now());
        if (left.count() <= 0) return seen;
        std::this_thread::sleep_for(std::min(pause, left));
        pause = std::min(pause * 3 / 2, longest_pause);
    }
}

}  // namespace

failure look_at_ports(connection& daemon, change_records& into) {
    failure error = read_whole(daemon, into.all);
    if (succeeded(error)) error = take(get_communication_counters(daemon), into.counters);
    return error;
}

failure carry_out(const command& asked, connection& daemon, const planned_change& change, const change_records& before,
                  picture& seen) {
    const sight first = change.judge(before, before);
    told_change told{.ended = outcome::would_be_sent,
                     .words = change.words,
                     .ports = change.ports,
                     .request = change.request,
                     .seen = first,
                     .notes = change.notes,
                     .left_out = change.left_out};
    if (asked.dry_run) {
        depict_change(told, seen);
        return {};
    }
    const auto begin = steady::now();
    const failure error = change.send(daemon);
    if (!succeeded(error)) {
        if (may_have_been_taken(error))
            seen.error = unanswered(problem_of(error, daemon.socket_path(), asked.timeout), change.look_with);
        return error;
    }
    if (!asked.wait_for_effect) {
        told.ended = outcome::accepted;
        depict_change(told, seen);
        return {};
    }
    const auto patience = asked.effect_timeout.value_or(change.patience);
    const awaited ended = await_effect(asked, daemon, change, before, begin + patience);
    told_change result{.ended = ended.ended,
                       .words = change.words,
                       .ports = change.ports,
                       .request = change.request,
                       .seen = ended.last,
                       .notes = change.notes,
                       .left_out = change.left_out,
                       .was_so = ended.was_so,
                       .waited = std::chrono::round<std::chrono::milliseconds>(steady::now() - begin),
                       .failed_transactions = 0,
                       .last_trouble = ended.last_trouble};
    if (result.ended == outcome::done) {
        result.failed_transactions = doubtful_transactions(ended.last.aims, before, ended.records);
        if (result.failed_transactions > 0) result.ended = outcome::doubtful;
    }
    depict_change(result, seen);
    return {};
}

failure carry_out(const command& asked, connection& daemon, const planned_change& change, picture& seen) {
    change_records before;
    const failure error = change.look(daemon, before);
    return succeeded(error) ? carry_out(asked, daemon, change, before, seen) : error;
}

void add_waiting(command_line& line, CLI::App& app, const std::string& usual) {
    auto& asked = line.asked;
    auto* timeout = line.add_value(app, "--timeout", asked.effect_timeout, parse_seconds,
                                   "how long to wait for the effect; usually " + usual, "SECONDS");
    auto* no_wait = app.add_flag_callback(
        "--no-wait", [&asked] { asked.wait_for_effect = false; }, "done when poe_drv has accepted it");
    auto* dry_run = app.add_flag("--dry-run", asked.dry_run, "show what would be sent and changed; send nothing");
    no_wait->excludes(timeout);
    dry_run->excludes(timeout)->excludes(no_wait);
}

}  // namespace poectl
