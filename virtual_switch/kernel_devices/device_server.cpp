#include "kernel_devices/device_server.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/signalfd.h>
#include <unistd.h>

#include "server/replies.h"
#include "server/server.h"
#include "server/signal_status.h"

namespace vswitch {
namespace {

constexpr unsigned device_files = 2;
constexpr std::array verbs_about_the_daemon{"daemon", "start", "stop", "restart", "wait", "world", enter_verb};

// The daemon asks its machine's own interfaces, not a model.
bool is_about_links(const std::vector<std::string>& words) {
    return words[0] == "link" || (words[0] == "fault" && words.size() > 1 && words[1].starts_with("link"));
}

constexpr const char* own_verbs_help = R"(latency MICROSECONDS
quit: end the switch, and its device files
)";

}  // namespace

device_server::device_server(const device_server_settings& settings)
    : settings_(settings),
      model_(settings.seed),
      answers_(model_, {.speed = 1, .latency_us = settings.latency_us}),
      controller_(loop_, answers_, [this] { return slept_us(); }),
      cpld_(loop_, answers_, [this] { return slept_us(); }),
      control_(loop_, [this](const control_request& request) { answer_verb(request); }) {}

std::string device_server::open() {
    const sigset_t signals = server_signals();
    if (std::string problem = control_.open_at(settings_.control); !problem.empty()) return problem;
    signals_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals_.is_open()) return std::string("no signal descriptor: ") + std::strerror(errno);
    loop_.watch(signals_.get(), [this] { handle_signal(); });
    if (settings_.trap_pipe.empty()) return {};
    if (std::string problem = traps_.open_at(settings_.trap_pipe); !problem.empty()) return problem;
    loop_.watch(traps_.descriptor(), [this] { drain_traps(); });
    answers_.before_each_transaction([this] { drain_traps(); });
    return {};
}

std::string device_server::serve(unique_fd controller, unique_fd cpld) {
    if (std::string problem = controller_.serve(std::move(controller), controller_device, device_file::controller,
                                                events_of(device_file::controller));
        !problem.empty()) {
        return problem;
    }
    return cpld_.serve(std::move(cpld), cpld_device, device_file::cpld, events_of(device_file::cpld));
}

// The daemon runs for as long as anybody has the controller open: who comes to it beside the daemon, and goes again,
// has neither started nor ended it.
cuse_events device_server::events_of(device_file kind) {
    const bool is_controller = kind == device_file::controller;
    return {.appeared = [this] { device_appeared(); },
            .opened =
                [this, is_controller] {
                    if (is_controller && openings_of_controller_++ == 0) model_.daemon_started();
                },
            .closed =
                [this, is_controller] {
                    if (is_controller && --openings_of_controller_ == 0) model_.daemon_stopped();
                },
            .ended =
                [this] {
                    std::fprintf(stderr, "vswitch: the kernel has taken a device file away\n");
                    end(EXIT_FAILURE);
                }};
}

int device_server::run(std::function<void()> ready) {
    ready_ = std::move(ready);
    loop_.run();
    return exit_status_;
}

void device_server::device_appeared() {
    if (++devices_there_ == device_files && ready_) std::exchange(ready_, nullptr)();
}

std::uint64_t device_server::slept_us() const {
    const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(event_loop::clock::now() - started_);
    return catch_up_us(static_cast<std::uint64_t>(elapsed.count()), model_.now_us());
}

void device_server::drain_traps() {
    traps_.drain([this](std::span<const std::uint8_t> bytes) { model_.trap(bytes); });
}

void device_server::end(int exit_status) {
    exit_status_ = exit_status;
    loop_.end();
}

void device_server::handle_signal() {
    signalfd_siginfo one{};
    while (read(signals_.get(), &one, sizeof one) == sizeof one) {
        if (one.ssi_signo != SIGCHLD) return end(status_after_signal(static_cast<int>(one.ssi_signo)));
    }
}

void device_server::answer_verb(const control_request& request) {
    if (!settings_.trap_pipe.empty()) drain_traps();
    const std::string& verb = request.words.front();
    for (const char* other : verbs_about_the_daemon) {
        if (verb != other) continue;
        return request.answer(say(control_result::refused,
                                  "this switch only serves its devices: its machine runs the daemon", request.json));
    }
    if (is_about_links(request.words)) {
        return request.answer(say(control_result::refused,
                                  "this switch only serves its devices: links are its machine's interfaces",
                                  request.json));
    }
    if (verb == "latency") return request.answer(change_latency(answers_, request));
    if (verb == "quit") {
        request.answer(say(control_result::done, "the virtual switch has ended", request.json));
        return end(EXIT_SUCCESS);
    }
    verb_result result = model_.verb(request.words, request.json);
    if (verb == "help" && result.ok && !request.json) result.text = own_verbs_help + result.text;
    request.answer({.result = result.ok ? control_result::done : control_result::refused, .text = result.text});
}

}  // namespace vswitch
