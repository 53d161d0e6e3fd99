// A running virtual switch: models, devices, trap pipe, control socket and the daemon, on one event loop.
#pragma once

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "models/switch_model.h"
#include "server/control_service.h"
#include "server/daemon_process.h"
#include "server/device_service.h"
#include "server/event_loop.h"
#include "server/readiness.h"
#include "server/trap_pipe.h"
#include "world/folders.h"
#include "world/namespaces.h"

namespace vswitch {

struct server_settings {
    world_folders folders;  // on the host; in the plain file system /tmp and /flash are the host's own
    std::filesystem::path control;
    std::filesystem::path preload;  // the library
    std::filesystem::path devices;  // the device folder as an attached program sees it
    time_settings time;
    std::uint32_t seed;
    bool stays;               // after the daemon has ended by itself
    bool ready_when_started;  // rather than when the daemon answers
};

class server {
  public:
    server(const server_settings& settings, daemon_command command, const world_namespaces& world);

    // Opens everything. Returns what went wrong, or nothing.
    std::string open();

    // Starts the daemon when asked to, calls `ready` once, serves until quit, a signal or the daemon's own end. Returns
    // the exit status of `vswitch run`.
    int run(bool start_daemon, std::function<void()> ready);

  private:
    void serve(const control_request& request);
    bool serve_daemon_verb(const control_request& request);
    control_reply describe_daemon(bool json) const;
    control_reply describe_world(bool json) const;
    control_reply entrance() const;
    std::string start_daemon();
    void stop_daemon();
    void daemon_is_ready();
    void answer_waiting(control_result result, const std::string& text);
    void handle_signals();
    void end(int exit_status);
    void drain_traps();

    server_settings settings_;
    const world_namespaces& world_;
    event_loop loop_;
    switch_model model_;
    device_answers answers_;
    device_service devices_;
    trap_pipe traps_;
    readiness readiness_;
    control_service control_;
    daemon_process daemon_;
    unique_fd signals_;
    bool is_ready_ = false;  // the daemon that runs now
    std::function<void()> first_ready_;
    std::vector<control_request> waiting_;  // for the daemon to be ready
    int exit_status_ = 0;
};

// Signals that the server takes from a descriptor: block them before any thread is started.
sigset_t server_signals();

}  // namespace vswitch
