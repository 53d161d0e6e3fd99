// A world's view of the file system: the host's root with private /tmp, /flash and /dev, in a mount namespace of its
// own. Nothing of it shows on the host, whose root folder is not touched.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "unique_fd.h"
#include "world/folders.h"

namespace vswitch {

// Open descriptors keep the namespaces alive; both closed: the plain file system.
struct world_namespaces {
    unique_fd user;  // only when the mounts needed a user namespace
    unique_fd mount;
};

// As root, or through a user namespace that maps the caller to itself. Returns what the kernel refused, or nothing.
std::string make_namespaces(const world_folders& folders, const std::vector<std::filesystem::path>& kept,
                            world_namespaces& made);

// Like fork, from a process with one thread, but its child has one thread whatever the program is built with: a
// checker's run-time library starts one of its own after a fork, and then the kernel refuses to change the user
// namespace.
pid_t fork_alone();

// Moves the calling process, which has one thread, into the namespaces. False with errno. Makes only system calls, so a
// fresh child of any process may call it.
bool join(int user_namespace, int mount_namespace);

}  // namespace vswitch
