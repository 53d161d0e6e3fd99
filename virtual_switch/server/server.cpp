#include "server/server.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include <sys/signalfd.h>

#include "server/json_text.h"

namespace vswitch {
namespace {

constexpr int signal_base = 128;

control_reply done(std::string text) {
    return {.result = control_result::done, .text = std::move(text)};
}

control_reply refused(std::string text) {
    return {.result = control_result::refused, .text = std::move(text)};
}

// What went wrong, or how the daemon is now.
control_reply outcome(const std::string& problem, const control_reply& otherwise) {
    return problem.empty() ? otherwise : refused(problem);
}

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
      devices_(loop_, model_, settings.time),
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
    devices_.before_each_transaction([this] { drain_traps(); });
    if (std::string problem = devices_.open_at(settings_.folders.dev); !problem.empty()) return problem;
    if (std::string problem = traps_.open_at(settings_.folders.tmp / "snmp_proc_pipe"); !problem.empty()) {
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
    for (const control_answer& answer : std::exchange(waiting_, {}))
        answer(refused("the daemon was stopped"));
}

void server::daemon_is_ready() {
    is_ready_ = true;
    if (first_ready_) std::exchange(first_ready_, nullptr)();
    for (const control_answer& answer : std::exchange(waiting_, {}))
        answer(done("the daemon is ready"));
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
        if (one.ssi_signo != SIGCHLD) return end(signal_base + static_cast<int>(one.ssi_signo));
    }
    if (!daemon_.has_just_ended()) return;
    readiness_.stop_asking();
    is_ready_ = false;
    drain_traps();
    model_.daemon_stopped();
    for (const control_answer& answer : std::exchange(waiting_, {}))
        answer(refused("the daemon has ended"));
    if (!settings_.stays) end(daemon_.exit_status().value_or(EXIT_FAILURE));
}

void server::serve(const control_request& request) {
    drain_traps();
    if (serve_daemon_verb(request)) return;
    const verb_result result = model_.verb(request.words, request.json);
    request.answer(result.ok ? done(result.text) : refused(result.text));
}

bool server::serve_daemon_verb(const control_request& request) {
    const std::string& verb = request.words.front();
    if (verb == "daemon") {
        request.answer(describe_daemon(request.json));
    } else if (verb == "world") {
        request.answer(describe_world(request.json));
    } else if (verb == enter_verb) {
        request.answer(entrance());
    } else if (verb == "start") {
        const std::string problem = start_daemon();
        request.answer(outcome(problem, describe_daemon(request.json)));
    } else if (verb == "stop") {
        stop_daemon();
        request.answer(describe_daemon(request.json));
    } else if (verb == "restart") {
        stop_daemon();
        const std::string problem = start_daemon();
        request.answer(outcome(problem, describe_daemon(request.json)));
    } else if (verb == "wait") {
        if (is_ready_) {
            request.answer(done("the daemon is ready"));
        } else if (!daemon_.is_running()) {
            request.answer(refused("the daemon does not run"));
        } else {
            waiting_.push_back(request.answer);
        }
    } else if (verb == "quit") {
        stop_daemon();
        request.answer(done("the virtual switch has ended"));
        end(EXIT_SUCCESS);
    } else {
        return false;
    }
    return true;
}

control_reply server::describe_daemon(bool json) const {
    std::ostringstream text;
    if (json) {
        text << "{\"running\": " << (daemon_.is_running() ? "true" : "false")
             << ", \"ready\": " << (is_ready_ ? "true" : "false")
             << ", \"pid\": " << (daemon_.is_running() ? json_number(daemon_.pid()) : json_number(std::nullopt))
             << ", \"starts\": " << daemon_.starts() << ", \"exit_status\": " << json_number(daemon_.exit_status())
             << ", \"signal\": " << json_number(daemon_.ending_signal()) << "}";
        return done(text.str());
    }
    if (daemon_.is_running()) {
        text << "the daemon runs as process " << daemon_.pid() << (is_ready_ ? "" : ", not yet ready");
    } else if (const std::optional<int> signal = daemon_.ending_signal()) {
        text << "the daemon does not run; it was ended by signal " << *signal;
    } else if (const std::optional<int> status = daemon_.exit_status()) {
        text << "the daemon does not run; it ended with status " << *status;
    } else {
        text << "the daemon does not run";
    }
    return done(text.str());
}

control_reply server::describe_world(bool json) const {
    const bool is_private = world_.mount.is_open();
    std::ostringstream text;
    if (json) {
        text << "{\"world\": " << json_string(settings_.folders.root.native())
             << ", \"control\": " << json_string(settings_.control.native())
             << ", \"private\": " << (is_private ? "true" : "false") << ", \"speed\": " << settings_.time.speed
             << ", \"latency_us\": " << settings_.time.latency_us << ", \"seed\": " << settings_.seed << "}";
    } else {
        text << "world " << settings_.folders.root.native() << (is_private ? "" : " (plain file system)")
             << "\ncontrol " << settings_.control.native() << "\nspeed " << settings_.time.speed << ", latency "
             << settings_.time.latency_us << " us, seed " << settings_.seed;
    }
    return done(text.str());
}

control_reply server::entrance() const {
    std::ostringstream text;
    text << enter_preload << '=' << settings_.preload.native() << '\n'
         << enter_devices << '=' << settings_.devices.native() << '\n'
         << enter_speed << '=' << settings_.time.speed << '\n';
    control_reply reply = done(text.str());
    if (world_.mount.is_open()) reply.descriptors.push_back(world_.mount.get());
    if (world_.user.is_open()) reply.descriptors.push_back(world_.user.get());
    return reply;
}

}  // namespace vswitch
