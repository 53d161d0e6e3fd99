// watch: what happens, an event a line, until it is told to end. It asks the daemon again and again; the trap pipe,
// which has one reader, is none of its business.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "poectl/command_line.h"
#include "poectl/messages.h"
#include "poectl/verbs/event_lines.h"
#include "poectl/verbs/events.h"
#include "poectl/verbs/observe.h"
#include "poectl/verbs/verbs.h"

namespace poectl {

namespace {

using steady = std::chrono::steady_clock;
using std::chrono::milliseconds;

enum class written : std::uint8_t { all, reader_gone, failed };

// A line is one write where the system takes it in one, so that whoever reads beside an end by a signal sees whole
// lines.
written write_out(const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(STDOUT_FILENO, text.data() + done, text.size() - done);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno == EPIPE) {
            return written::reader_gone;
        } else if (errno != EINTR) {
            return written::failed;
        }
    }
    return written::all;
}

// Waits; true when whoever read standard output is gone.
bool reader_leaves_within(milliseconds time) {
    pollfd out{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    const int count = poll(&out, 1, static_cast<int>(time.count()));
    return count > 0 && (out.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
}

moment now() {
    const auto time = std::chrono::floor<milliseconds>(std::chrono::system_clock::now()).time_since_epoch();
    const auto seconds = static_cast<std::time_t>(std::chrono::floor<std::chrono::seconds>(time).count());
    std::tm local{};
    localtime_r(&seconds, &local);
    return {.time_ms = time.count(), .zone_s = std::int64_t{local.tm_gmtoff}};
}

// No daemon that starts makes these better.
bool is_hopeless(const problem& trouble) {
    return trouble.exit_status == exit_not_permitted || trouble.exit_status == exit_internal;
}

class watching {
  public:
    watching(const command& asked, const look& how)
        : asked_(asked), how_(how), daemon_(poe_client::daemon_socket_path(asked.socket_path), asked.timeout) {}

    int run() {
        const auto begin = steady::now();
        for (;;) {
            auto [events, told] = news_of(told_, daemon_.look(), asked_.power_step_mw);
            const bool first = told_.nothing;
            told_ = std::move(told);
            if (first && told_.trouble && goes_on_after(1)) events.front().words.emplace_back("; waiting for it");
            for (const auto& one : events) {
                const written result = write_out(event_text(one, ++sequence_, now(), how_));
                if (result == written::reader_gone) return exit_done;
                if (result == written::failed) return output_failed();
                if (sequence_ == asked_.watch_count) return end();
            }
            if (first && !goes_on_after(sequence_)) return end();
            milliseconds pause = asked_.interval;
            if (asked_.watch_for) {
                const auto left = std::chrono::ceil<milliseconds>(begin + *asked_.watch_for - steady::now());
                if (left.count() <= 0) return end();
                pause = std::min(pause, left);
            }
            if (reader_leaves_within(pause)) return exit_done;
        }
    }

  private:
    bool goes_on_after(std::uint64_t lines) const {
        return lines != asked_.watch_count && !(told_.trouble && is_hopeless(*told_.trouble));
    }

    int end() const { return told_.trouble ? complain(*told_.trouble) : exit_done; }

    static int output_failed() {
        return complain({.exit_status = exit_internal,
                         .what = "cannot write to standard output",
                         .why = std::strerror(errno),
                         .advice = "see that the disk is not full"});
    }

    const command& asked_;
    look how_;
    observer daemon_;
    told_state told_;
    std::uint64_t sequence_ = 0;
};

}  // namespace

void add_watch_options(command_line& line, CLI::App& app, const std::string& unit) {
    auto& asked = line.asked;
    auto* once = app.add_flag_callback(
        "--once", [&asked] { asked.watch_count = 1; }, "end after the first " + unit + ", which is the whole state");
    auto* count =
        line.add_value(app, "--count", asked.watch_count, parse_event_count, "end after so many " + unit + "s", "N");
    auto* time = line.add_value(app, "--for", asked.watch_for, parse_seconds, "end after this time", "SECONDS");
    once->excludes(count)->excludes(time);
    line.add_value(app, "--interval", line.asked.interval, parse_interval,
                   "how often to look, 0.1 s at least; usually 1 s", "SECONDS");
}

void add_watch(command_line& line) {
    auto& asked = line.asked;
    auto* watch =
        line.add(line.app, "watch", "what happens, an event a line; the first line is the whole state", verb::watch);
    watch->group(group_keep_watch);
    add_watch_options(line, *watch, "line");
    line.add_value(*watch, "--power-step", asked.power_step_mw, parse_power_step_mw,
                   "tell power that differs by so much from what was told; usually 1.0 W", "W");
}

int watch(const command& asked, const look& how) {
    return watching(asked, how).run();
}

}  // namespace poectl
