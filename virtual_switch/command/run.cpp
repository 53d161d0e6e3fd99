#include "command/run.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "command/exit_status.h"
#include "command/give_up.h"
#include "command/ready.h"
#include "command/registry.h"
#include "server/server.h"
#include "world/emulator.h"
#include "world/folders.h"
#include "world/namespaces.h"
#include "world/programs.h"

namespace vswitch {
namespace {

using std::filesystem::path;

constexpr mode_t log_mode = 0644;

// A folder that goes with its owner, unless it was given by the user.
struct world_root {
    path folder;
    bool is_fresh;

    ~world_root() {
        std::error_code ignored;
        if (is_fresh && !folder.empty()) std::filesystem::remove_all(folder, ignored);
    }
};

path normal(const path& some) {
    return std::filesystem::absolute(some).lexically_normal();
}

// What the daemon, its libraries and its reports need under their own path.
std::vector<path> needed_folders(const run_options& options, const path& root, const path& program) {
    const path own = own_folder();
    std::error_code ignored;
    std::vector<path> needed = output_folders(environ);
    for (const path& folder :
         {root, own, own / "..", own / "../lib", own / "../sbin", program.parent_path(),
          std::filesystem::canonical(program, ignored).parent_path(), std::filesystem::current_path(ignored)}) {
        if (!folder.empty()) needed.push_back(normal(folder));
    }
    for (const std::string& folder : options.kept)
        needed.push_back(normal(folder));
    for (path& folder : needed) {
        if (!folder.has_filename()) folder = folder.parent_path();
    }
    return kept_folders(std::move(needed));
}

// A private world, or the plain file system with the reason on standard error.
std::string make_world(const run_options& options, const path& program, world_folders& folders,
                       world_namespaces& world) {
    if (std::string problem = make_folders(folders); !problem.empty()) return problem;
    const unique_fd kernel_log(open((folders.dev / "kmsg").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, log_mode));
    if (!kernel_log.is_open()) return "cannot make the kernel log: " + std::string(std::strerror(errno));
    const std::string refused = options.plain_files
                                    ? "it was asked to do without namespaces"
                                    : make_namespaces(folders, needed_folders(options, folders.root, program), world);
    if (refused.empty()) return {};
    std::fprintf(stderr,
                 "vswitch: this daemon has no world of its own (%s); it uses this machine's own /tmp and /flash\n",
                 refused.c_str());
    folders.tmp = "/tmp";
    folders.flash = "/flash";
    return {};
}

}  // namespace

int run(const run_options& options) {
    // Before anything that may start a thread; the daemon starts with none of them blocked.
    const sigset_t signals = server_signals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    prctl(PR_SET_TIMERSLACK, 1UL);  // answers on time to the microsecond
    if (options.ready_descriptor >= 0) fcntl(options.ready_descriptor, F_SETFD, FD_CLOEXEC);

    const path own = own_folder();
    const char* search_path = std::getenv("PATH");
    const path program = find_program(options.command.front(), own, search_path != nullptr ? search_path : "");
    if (program.empty()) return give_up("there is no program " + options.command.front(), exit_no_program);
    const std::string emulator = named_emulator();
    const program_start start = start_of(program, options.command, emulator, search_path != nullptr ? search_path : "");
    if (start.program.empty()) return give_up("there is no emulator " + emulator, exit_no_program);
    const path preload = find_preload_library(own);
    if (preload.empty()) return give_up("there is no preload library beside " + own.native());

    const path registry = registry_folder();
    if (options.world.empty() && registry.empty())
        return give_up("there is no folder for a world; name one with --world");
    const world_root root{.folder = options.world.empty() ? make_fresh_world(registry) : normal(options.world),
                          .is_fresh = options.world.empty()};
    if (root.folder.empty())
        return give_up("cannot make a world in " + registry.native() + ": " + std::strerror(errno));
    if (root.folder.native().size() > longest_root) {
        return give_up("the world's folder " + root.folder.native() +
                           " has too long a name for local sockets (at most " + std::to_string(longest_root) +
                           " bytes)",
                       exit_usage);
    }

    world_folders folders = folders_at(root.folder);
    world_namespaces world;
    if (const std::string problem = make_world(options, program, folders, world); !problem.empty()) {
        return give_up(problem);
    }
    unique_fd log;
    if (!options.daemon_log.empty()) {
        log.reset(open(options.daemon_log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, log_mode));
        if (!log.is_open()) return give_up("cannot open " + options.daemon_log + ": " + std::strerror(errno));
    }

    const path devices = world.mount.is_open() ? path("/dev") : folders.dev;
    const server_settings settings{
        .folders = folders,
        .control = options.control.empty() ? root.folder / "control" : normal(options.control),
        .preload = loadable_library(preload, folders.dev, devices),
        .devices = devices,
        .time = {.speed = options.speed, .latency_us = options.latency_us},
        .seed = options.seed,
        .stays = options.stays,
        .ready_when_started = options.ready_when_started};
    daemon_command command{.program = start.program,
                           .arguments = start.arguments,
                           .environment = attached_environment(environ, settings.preload, settings.devices,
                                                               options.speed, !emulator.empty()),
                           .folder = std::filesystem::current_path(),
                           .log = log.get()};
    server serving(settings, std::move(command), world);
    if (const std::string problem = serving.open(); !problem.empty()) return give_up(problem);
    const registration entry(registry, settings.control);
    return serving.run(!options.stopped, [&] {
        say_ready(options.ready_descriptor,
                  "control " + settings.control.native() + ", world " + settings.folders.root.native());
    });
}

}  // namespace vswitch
