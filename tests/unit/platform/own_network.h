// A network namespace of the test's own, in which it may do as it likes: as root directly, otherwise through a user
// namespace in which it is root.
#pragma once

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <gtest/gtest.h>

class own_network {
  public:
    own_network() {
        former = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
        entered = unshare(CLONE_NEWNET) == 0 || enter_as_root_of_a_user_namespace();
        if (!entered) {
            trouble = std::string("this test needs a network namespace of its own, and the kernel refuses one (") +
                      std::strerror(errno) + "): run it as root, or allow unprivileged user namespaces";
        }
    }
    ~own_network() {
        // A process that went through a user namespace cannot come back; it goes on in its own network.
        if (entered && former >= 0 && setns(former, CLONE_NEWNET) != 0) entered = false;
        if (former >= 0) close(former);
    }
    own_network(const own_network&) = delete;
    own_network& operator=(const own_network&) = delete;

    bool entered = false;
    std::string trouble;

  private:
    int former = -1;

    static bool enter_as_root_of_a_user_namespace() {
        const uid_t user = geteuid();
        const gid_t group = getegid();
        if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
        return true;
    }
};
