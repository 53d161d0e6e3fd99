// The daemon as a child process: started in the world, ended by a verb or with the virtual switch, its end noticed.
// Started and waited for on the event loop's thread, which lives as long as the process: a daemon dies with the thread
// that started it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "world/namespaces.h"

namespace vswitch {

struct daemon_command {
    std::filesystem::path program;
    std::vector<std::string> arguments;  // the first is the name it is called by
    std::vector<std::string> environment;
    std::filesystem::path folder;  // its working folder, or / when that is not in the world
    int log;                       // where its output goes; -1: where the virtual switch's own goes
};

class daemon_process {
  public:
    daemon_process(daemon_command command, const world_namespaces& world)
        : command_(std::move(command)), world_(world) {}

    // Returns what went wrong, or nothing once the program runs.
    std::string start();

    // Ends it and everything that it started: asks first, insists when it takes too long.
    void stop();

    // Notices an end. True when the daemon has just ended by itself.
    bool has_just_ended();

    bool is_running() const { return pid_ > 0; }
    pid_t pid() const { return pid_; }
    unsigned starts() const { return starts_; }

    // How the last run ended, as a shell tells it: the exit status, or 128 and the signal. Nothing before the first
    // end.
    std::optional<int> exit_status() const;
    std::optional<int> ending_signal() const;

  private:
    daemon_command command_;
    const world_namespaces& world_;
    pid_t pid_ = 0;
    unsigned starts_ = 0;
    std::optional<int> wait_status_;
};

}  // namespace vswitch
