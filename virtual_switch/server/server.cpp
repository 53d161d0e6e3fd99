#include "server/server.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include <sys/signalfd.h>

#include "server/json_text.h"
#include "server/replies.h"
#include "server/signal_status.h"

namespace vswitch {
namespace {

constexpr const char* ready_text = "the daemon is ready";
constexpr const char* trap_pipe_name = "snmp_proc_pipe";

constexpr const char* own_verbs_help = R"(start, stop, restart: the daemon
wait: until the daemon answers
daemon, world: how it is, where it is
latency MICROSECONDS
quit: end daemon and switch
)";

}  // namespace

sigset_t server_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int one : {SIGCHLD, SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, one);
    return signals;
}

server::server(const server_settings& settings, daemon_command command, const world_namespaces& world)
    : settings_(settings),
      world_(world),
      model_(settings.seed),
      answers_(model_, settings.time),
      devices_(loop_, answers_),
      readiness_(loop_, settings.folders.tmp),
      control_(loop_, [this](const control_request& request) { serve(request); }),
      daemon_(std::move(command), world) {}

std::string server::open() {
    const sigset_t signals = server_signals();
    // First: a world on which another switch answers is left alone.
    if (std::string problem = control_.open_at(settings_.control); !problem.empty()) return problem;
    signals_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals_.is_open()) return std::string("no signal descriptor: ") + std::strerror(errno);
    loop_.watch(signals_.get(), [this] { handle_signals(); });
    answers_.before_each_transaction([this] { drain_traps(); });
    if (std::string problem = devices_.open_at(settings_.folders.dev); !problem.empty()) return problem;
    if (std::string problem = traps_.open_at(settings_.folders.tmp / trap_pipe_name); !problem.empty()) {
        return problem;
    }
    loop_.watch(traps_.descriptor(), [this] { drain_traps(); });
    return {};
}

int server::run(bool start_daemon_now, std::function<void()> ready) {
    first_ready_ = std::move(ready);
    if (!start_daemon_now) {
        std::exchange(first_ready_, nullptr)();
    } else if (const std::string problem = start_daemon(); !problem.empty()) {
        std::fprintf(stderr, "vswitch: %s\n", problem.c_str());
        return EXIT_FAILURE;
    }
    loop_.run();
    stop_daemon();
    return exit_status_;
}

std::string server::start_daemon() {
    if (daemon_.is_running()) return "the daemon already runs as process " + std::to_string(daemon_.pid());
    model_.daemon_started();
    if (std::string problem = daemon_.start(); !problem.empty()) {
        model_.daemon_stopped();
        return problem;
    }
    is_ready_ = false;
    if (settings_.ready_when_started) {
        daemon_is_ready();
    } else {
        readiness_.ask([this] { daemon_is_ready(); });
    }
    return {};
}

void server::stop_daemon() {
    readiness_.stop_asking();
    is_ready_ = false;
    if (!daemon_.is_running()) return;
    daemon_.stop();
    drain_traps();
    model_.daemon_stopped();
    answer_waiting(control_result::refused, "the daemon was stopped");
}

void server::daemon_is_ready() {
    is_ready_ = true;
    if (first_ready_) std::exchange(first_ready_, nullptr)();
    answer_waiting(control_result::done, ready_text);
}

void server::answer_waiting(control_result result, const std::string& text) {
    for (const control_request& request : std::exchange(waiting_, {}))
        request.answer(say(result, text, request.json));
}

void server::drain_traps() {
    traps_.drain([this](std::span<const std::uint8_t> bytes) { model_.trap(bytes); });
}

void server::end(int exit_status) {
    exit_status_ = exit_status;
    loop_.end();
}

void server::handle_signals() {
    signalfd_siginfo one{};
    while (read(signals_.get(), &one, sizeof one) == sizeof one) {
        if (one.ssi_signo != SIGCHLD) return end(status_after_signal(static_cast<int>(one.ssi_signo)));
    }
    if (!daemon_.has_just_ended()) return;
    readiness_.stop_asking();
    is_ready_ = false;
    drain_traps();
    model_.daemon_stopped();
    answer_waiting(control_result::refused, "the daemon has ended");
    if (!settings_.stays) end(daemon_.exit_status().value_or(EXIT_FAILURE));
}

void server::serve(const control_request& request) {
    drain_traps();
    if (serve_daemon_verb(request)) return;
    verb_result result = model_.verb(request.words, request.json);
    if (request.words.front() == "help" && result.ok && !request.json) result.text = own_verbs_help + result.text;
    request.answer({.result = result.ok ? control_result::done : control_result::refused, .text = result.text});
}

bool server::serve_daemon_verb(const control_request& request) {
    const std::string& verb = request.words.front();
    const auto reply = [&](control_result result, const std::string& text) {
        request.answer(say(result, text, request.json));
    };
    const auto reply_with_daemon = [&](const std::string& problem) {
        if (problem.empty()) return request.answer(describe_daemon(request.json));
        reply(control_result::refused, problem);
    };
    if (verb == "daemon") {
        reply_with_daemon({});
    } else if (verb == "start") {
        reply_with_daemon(start_daemon());
    } else if (verb == "stop") {
        stop_daemon();
        reply_with_daemon({});
    } else if (verb == "restart") {
        stop_daemon();
        reply_with_daemon(start_daemon());
    } else if (verb == "wait") {
        if (is_ready_) {
            reply(control_result::done, ready_text);
        } else if (!daemon_.is_running()) {
            reply(control_result::refused, "the daemon does not run");
        } else {
            waiting_.push_back(request);
        }
    } else if (verb == "world") {
        request.answer(describe_world(request.json));
    } else if (verb == enter_verb) {
        request.answer(entrance());
    } else if (verb == "latency") {
        request.answer(change_latency(answers_, request));
    } else if (verb == "quit") {
        stop_daemon();
        reply(control_result::done, "the virtual switch has ended");
        end(EXIT_SUCCESS);
    } else {
        return false;
    }
    return true;
}

control_reply server::describe_daemon(bool json) const {
    std::ostringstream text;
    if (json) {
        text << "{\"ok\": true, \"running\": " << (daemon_.is_running() ? "true" : "false")
             << ", \"ready\": " << (is_ready_ ? "true" : "false")
             << ", \"pid\": " << (daemon_.is_running() ? json_number(daemon_.pid()) : json_number(std::nullopt))
             << ", \"starts\": " << daemon_.starts() << ", \"exit_status\": " << json_number(daemon_.exit_status())
             << ", \"signal\": " << json_number(daemon_.ending_signal()) << "}";
    } else if (daemon_.is_running()) {
        text << "the daemon runs as process " << daemon_.pid() << (is_ready_ ? "" : ", not yet ready");
    } else {
        text << "the daemon does not run";
        if (const std::optional<int> signal = daemon_.ending_signal()) {
            text << "; it was ended by signal " << *signal;
        } else if (const std::optional<int> status = daemon_.exit_status()) {
            text << "; it ended with status " << *status;
        }
    }
    return {.result = control_result::done, .text = text.str()};
}

control_reply server::describe_world(bool json) const {
    const bool is_private = world_.mount.is_open();
    std::ostringstream text;
    if (json) {
        text << "{\"ok\": true, \"world\": " << json_string(settings_.folders.root.native())
             << ", \"control\": " << json_string(settings_.control.native())
             << ", \"private\": " << (is_private ? "true" : "false") << ", \"speed\": " << settings_.time.speed
             << ", \"latency_us\": " << answers_.time().latency_us << ", \"seed\": " << settings_.seed << "}";
    } else {
        text << "world " << settings_.folders.root.native() << (is_private ? "" : " (plain file system)")
             << "\ncontrol " << settings_.control.native() << "\nspeed " << settings_.time.speed << ", latency "
             << answers_.time().latency_us << " us, seed " << settings_.seed;
    }
    return {.result = control_result::done, .text = text.str()};
}

control_reply server::entrance() const {
    std::ostringstream text;
    text << enter_preload << '=' << settings_.preload.native() << '\n'
         << enter_devices << '=' << settings_.devices.native() << '\n'
         << enter_speed << '=' << settings_.time.speed << '\n';
    control_reply reply{.result = control_result::done, .text = text.str()};
    if (world_.mount.is_open()) reply.descriptors.push_back(world_.mount.get());
    if (world_.user.is_open()) reply.descriptors.push_back(world_.user.get());
    return reply;
}

}  // namespace vswitch
