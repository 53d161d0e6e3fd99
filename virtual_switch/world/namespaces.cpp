#include "world/namespaces.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "world/mounts.h"

namespace vswitch {
namespace {

bool write_file(const char* path, const std::string& text) {
    const unique_fd file(open(path, O_WRONLY | O_CLOEXEC));
    return file.is_open() && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::string refused(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

// In the child that the namespaces are made for. Returns what was refused, or nothing.
std::string unshare_mounts(bool& through_user_namespace) {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    through_user_namespace = false;
    if (unshare(CLONE_NEWNS) == 0) return {};
    through_user_namespace = true;
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return refused("a user namespace");
    if (!write_file("/proc/self/setgroups", "deny") && errno != ENOENT) return refused("closing the group list");
    if (!write_file("/proc/self/uid_map", std::to_string(uid) + " " + std::to_string(uid) + " 1\n")) {
        return refused("mapping the user");
    }
    if (!write_file("/proc/self/gid_map", std::to_string(gid) + " " + std::to_string(gid) + " 1\n")) {
        return refused("mapping the group");
    }
    return {};
}

enum class report : char { refused = 'r', root_made = 'm', user_made = 'u' };

[[noreturn]] void make_in_child(const world_folders& folders, const std::vector<std::filesystem::path>& kept,
                                int report_to) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    bool through_user_namespace = false;
    std::string problem = unshare_mounts(through_user_namespace);
    if (problem.empty()) problem = build_root(folders, kept);
    const report outcome = !problem.empty()         ? report::refused
                           : through_user_namespace ? report::user_made
                                                    : report::root_made;
    const std::string message = static_cast<char>(outcome) + problem;
    if (write(report_to, message.data(), message.size()) < 0) _exit(EXIT_FAILURE);
    close(report_to);
    for (;;)
        pause();  // the parent takes the namespaces out of /proc, then ends this process
}

}  // namespace

std::string make_namespaces(const world_folders& folders, const std::vector<std::filesystem::path>& kept,
                            world_namespaces& made) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return refused("a pipe");
    const unique_fd reading(ends[0]);
    unique_fd writing(ends[1]);
    const pid_t child = fork_alone();
    if (child < 0) return refused("a process");
    if (child == 0) make_in_child(folders, kept, writing.get());
    writing.reset();

    std::string message;
    char buffer[512];
    for (ssize_t got = 0; (got = read(reading.get(), buffer, sizeof buffer)) != 0;) {
        if (got > 0) message.append(buffer, static_cast<std::size_t>(got));
        if (got < 0 && errno != EINTR) break;
    }
    std::string problem = message.empty() ? "the process that makes the namespaces died" : message.substr(1);
    if (problem.empty()) {
        const std::string folder = "/proc/" + std::to_string(child) + "/ns/";
        made.mount.reset(open((folder + "mnt").c_str(), O_RDONLY | O_CLOEXEC));
        if (!made.mount.is_open()) problem = refused("opening the mount namespace");
        if (static_cast<report>(message[0]) == report::user_made) {
            made.user.reset(open((folder + "user").c_str(), O_RDONLY | O_CLOEXEC));
            if (!made.user.is_open()) problem = refused("opening the user namespace");
        }
    }
    kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (!problem.empty()) made = {};
    return problem;
}

pid_t fork_alone() {
    return static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr));
}

bool join(int user_namespace, int mount_namespace) {
    if (user_namespace >= 0 && setns(user_namespace, CLONE_NEWUSER) != 0) return false;
    if (mount_namespace < 0) return true;
    return unshare(CLONE_FS) == 0 && setns(mount_namespace, CLONE_NEWNS) == 0;
}

}  // namespace vswitch
