// top: the whole switch on a full screen, again and again; without a terminal, watch.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>

#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/verbs/full_screen.h"
#include "poectl/verbs/observe.h"
#include "poectl/verbs/verbs.h"

namespace poectl {

namespace {

using steady = std::chrono::steady_clock;
using std::chrono::milliseconds;

volatile std::sig_atomic_t ended_by = 0;

void remember_signal(int which) {
    ended_by = which;
}

constexpr std::array ending_signals{SIGINT, SIGTERM, SIGHUP};

// While the screen is open a signal may not end the process: the terminal is given back first. Afterwards what was in
// force before ends it.
class signals_held {
  public:
    signals_held() {
        struct sigaction held {};
        held.sa_handler = remember_signal;
        for (std::size_t i = 0; i < ending_signals.size(); i++) {
            sigaction(ending_signals[i], nullptr, &before_[i]);
            if (before_[i].sa_handler != SIG_IGN) sigaction(ending_signals[i], &held, nullptr);
        }
    }
    ~signals_held() {
        for (std::size_t i = 0; i < ending_signals.size(); i++)
            sigaction(ending_signals[i], &before_[i], nullptr);
        if (ended_by != 0) std::raise(ended_by);
    }
    signals_held(const signals_held&) = delete;
    signals_held& operator=(const signals_held&) = delete;

  private:
    std::array<struct sigaction, ending_signals.size()> before_{};
};

struct open_full_screen {
    ~open_full_screen() { close_screen(); }
};

std::string local_time(std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    std::array<char, 16> text{};
    const std::size_t size = std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return {text.data(), size};
}

// The energy record changes once a minute and is long.
constexpr std::chrono::seconds record_interval{10};

class live_picture {
  public:
    explicit live_picture(const command& asked)
        : daemon_(poe_client::daemon_socket_path(asked.socket_path), asked.timeout) {}

    void look() {
        const std::time_t now = std::time(nullptr);
        observation one = daemon_.look();
        picture_.trouble = one.trouble;
        if (!one.trouble) {
            picture_.known = true;
            picture_.all = one.all;
            picture_.controller_answers = one.controller_answers;
            seen_.add(now, one.all.system.status.consumed_mw);
            look_at_record();
        }
        if (!one.trouble || !picture_.known) picture_.time = local_time(now);
        picture_.hour_is_recorded = recorded_.has_value();
        picture_.hour = recorded_ ? *recorded_ : seen_.minutes();
    }

    const top_picture& seen() const { return picture_; }

  private:
    void look_at_record() {
        if (read_record_ && steady::now() - *read_record_ < record_interval) return;
        read_record_ = steady::now();
        std::array<poe_client::port_energy, poe_client::port_count> ports{};
        for (std::uint8_t port = 0; port < poe_client::port_count; port++) {
            if (!succeeded(take(get_port_energy(daemon_.daemon(), port), ports[port]))) return;
        }
        recorded_ = recorded_hour(ports);
    }

    observer daemon_;
    top_picture picture_;
    seen_hour seen_;
    std::optional<hour_of_power> recorded_;
    std::optional<steady::time_point> read_record_;
};

void act_on(key pressed, top_view& view) {
    constexpr auto ports = static_cast<std::uint8_t>(poe_client::port_count);
    if (pressed == key::help) view.help = !view.help;
    if (pressed == key::up) view.selected = static_cast<std::uint8_t>((view.selected + ports - 1) % ports);
    if (pressed == key::down) view.selected = static_cast<std::uint8_t>((view.selected + 1) % ports);
    if (pressed >= key::port_1 && pressed <= key::port_4)
        view.selected = static_cast<std::uint8_t>(static_cast<int>(pressed) - static_cast<int>(key::port_1));
}

// Until a key, a signal, the count of looks or the time ends it: what kept the last look from being one, if that ended
// it.
std::optional<problem> show(const command& asked) {
    live_picture live(asked);
    top_view view;
    const auto begin = steady::now();
    const auto last = asked.watch_for ? begin + *asked.watch_for : steady::time_point::max();
    for (std::uint64_t looks = 1; ended_by == 0; looks++) {
        live.look();
        const bool is_last_look = looks == asked.watch_count;
        const auto next = std::min(steady::now() + asked.interval, last);
        draw(top_screen(live.seen(), view, size_of_screen()));
        if (is_last_look) return live.seen().trouble;
        for (auto left = std::chrono::ceil<milliseconds>(next - steady::now()); left.count() > 0 && ended_by == 0;
             left = std::chrono::ceil<milliseconds>(next - steady::now())) {
            const key pressed = wait_for_key(left);
            if (pressed == key::quit) return std::nullopt;
            act_on(pressed, view);
            draw(top_screen(live.seen(), view, size_of_screen()));
        }
        if (steady::now() >= last) return live.seen().trouble;
    }
    return std::nullopt;
}

std::string why_not(const command& asked) {
    if (asked.format != output_format::table) return "a full screen is for people";
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
        return "standard input and output are not both a terminal";
    return {};
}

}  // namespace

void add_top(command_line& line) {
    auto* top = line.add(line.app, "top", "the whole switch on a full screen; without a terminal, watch", verb::top);
    top->group(group_keep_watch);
    add_watch_options(line, *top, "look");
}

int top(const command& asked, const look& how) {
    std::string reason = why_not(asked);
    if (reason.empty()) {
        std::optional<problem> trouble;
        {
            const signals_held held;
            const open_full_screen screen;
            reason = open_screen(how.colour);
            if (reason.empty()) trouble = show(asked);
        }
        if (reason.empty()) return trouble ? complain(*trouble) : exit_done;
    }
    std::fputs(("poectl: no full screen: " + reason + "; watching instead.\n").c_str(), stderr);
    return watch(asked, how);
}

}  // namespace poectl
