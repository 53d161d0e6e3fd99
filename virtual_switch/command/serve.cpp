#include "command/serve.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "command/exit_status.h"
#include "command/give_up.h"
#include "command/ready.h"
#include "command/registry.h"
#include "kernel_devices/device_server.h"
#include "server/server.h"

namespace vswitch {
namespace {

using std::filesystem::path;

path control_of(const serve_options& options, const path& registry) {
    const char* variable = std::getenv("VSWITCH_CONTROL");
    if (!options.control.empty()) return std::filesystem::absolute(options.control).lexically_normal();
    if (variable != nullptr && *variable != '\0') return std::filesystem::absolute(variable).lexically_normal();
    return registry.empty() ? path() : registry / ("devices-" + std::to_string(getpid()));
}

}  // namespace

int serve(const serve_options& options) {
    const sigset_t signals = server_signals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    prctl(PR_SET_TIMERSLACK, 1UL);  // answers on time to the microsecond
    if (options.ready_descriptor >= 0) fcntl(options.ready_descriptor, F_SETFD, FD_CLOEXEC);

    // One channel a device. Before anything else is opened: without CUSE nothing was touched.
    cuse_channel controller = open_cuse();
    if (!controller.descriptor.is_open()) {
        return give_up(controller.problem, controller.has_no_cuse ? exit_no_cuse : exit_refused);
    }
    cuse_channel cpld = open_cuse();
    if (!cpld.descriptor.is_open()) return give_up(cpld.problem);
    for (const char* device : {controller_device, cpld_device}) {
        const path file = path("/dev") / device;
        if (std::filesystem::exists(file)) return give_up(file.native() + " is there already");
    }
    const path registry = registry_folder();
    const device_server_settings settings{.control = control_of(options, registry),
                                          .trap_pipe = options.trap_pipe,
                                          .latency_us = options.latency_us,
                                          .seed = options.seed};
    if (settings.control.empty()) return give_up("there is no folder for a control socket; name one with --control");
    device_server serving(settings);
    if (const std::string problem = serving.open(); !problem.empty()) return give_up(problem);
    if (const std::string problem = serving.serve(std::move(controller.descriptor), std::move(cpld.descriptor));
        !problem.empty()) {
        return give_up(problem);
    }
    const registration entry(registry, settings.control);
    return serving.run([&] {
        say_ready(options.ready_descriptor, "control " + settings.control.native() + ", devices /dev/" +
                                                controller_device + " and /dev/" + cpld_device);
    });
}

}  // namespace vswitch
