#include "server/daemon_process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "server/signal_status.h"

namespace vswitch {
namespace {

constexpr std::chrono::milliseconds patience{3000};
constexpr std::chrono::microseconds between_looks{200};

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

struct launch {
    const char* program;
    char* const* arguments;
    char* const* environment;
    const char* folder;
    int log;
    int user_namespace;
    int mount_namespace;
    pid_t parent;
    int report_to;
};

// In the child: system calls only, up to the program. Never returns; on failure the errno goes to `report_to`.
[[noreturn]] void become(const launch& what) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    setpgid(0, 0);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (nothing >= 0) dup2(nothing, STDIN_FILENO);
    if (what.log >= 0) {
        dup2(what.log, STDOUT_FILENO);
        dup2(what.log, STDERR_FILENO);
    }
    if (join(what.user_namespace, what.mount_namespace)) {
        if (chdir(what.folder) != 0 && chdir("/") != 0) _exit(EXIT_FAILURE);
        // After the namespaces, which reset it.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != what.parent) _exit(EXIT_FAILURE);
        execve(what.program, what.arguments, what.environment);
    }
    const int error = errno;
    if (write(what.report_to, &error, sizeof error) < 0) _exit(EXIT_FAILURE);
    _exit(EXIT_FAILURE);
}

}  // namespace

std::string daemon_process::start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return std::string("no pipe: ") + std::strerror(errno);
    const unique_fd reading(ends[0]);
    unique_fd writing(ends[1]);
    const std::vector<char*> arguments = pointers_to(command_.arguments);
    const std::vector<char*> environment = pointers_to(command_.environment);
    const launch what{.program = command_.program.c_str(),
                      .arguments = arguments.data(),
                      .environment = environment.data(),
                      .folder = command_.folder.c_str(),
                      .log = command_.log,
                      .user_namespace = world_.user.get(),
                      .mount_namespace = world_.mount.get(),
                      .parent = getpid(),
                      .report_to = writing.get()};
    const pid_t child = fork_alone();
    if (child < 0) return std::string("no process: ") + std::strerror(errno);
    if (child == 0) become(what);
    setpgid(child, child);
    writing.reset();
    int error = 0;
    ssize_t got = 0;
    do {
        got = read(reading.get(), &error, sizeof error);
    } while (got < 0 && errno == EINTR);
    if (got == sizeof error) {
        waitpid(child, nullptr, 0);
        return "cannot run " + command_.program.native() + ": " + std::strerror(error);
    }
    pid_ = child;
    starts_++;
    return {};
}

void daemon_process::stop() {
    if (!is_running()) return;
    const pid_t group = pid_;
    kill(pid_, SIGTERM);
    const auto until = std::chrono::steady_clock::now() + patience;
    while (!has_just_ended()) {
        if (std::chrono::steady_clock::now() > until) kill(-group, SIGKILL);
        std::this_thread::sleep_for(between_looks);
    }
    kill(-group, SIGKILL);
}

bool daemon_process::has_just_ended() {
    int status = 0;
    if (!is_running() || waitpid(pid_, &status, WNOHANG) != pid_) return false;
    wait_status_ = status;
    pid_ = 0;
    return true;
}

std::optional<int> daemon_process::exit_status() const {
    if (!wait_status_) return std::nullopt;
    return WIFSIGNALED(*wait_status_) ? status_after_signal(WTERMSIG(*wait_status_)) : WEXITSTATUS(*wait_status_);
}

std::optional<int> daemon_process::ending_signal() const {
    if (!wait_status_ || !WIFSIGNALED(*wait_status_)) return std::nullopt;
    return WTERMSIG(*wait_status_);
}

}  // namespace vswitch
