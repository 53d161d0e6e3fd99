// The virtual switch under a kernel of its own: the models behind /dev/poe_kernel_drv and /dev/cpld_rtl819x, a control
// socket and, when asked for, the trap pipe's reader, on one event loop. Who runs the daemon is not its business, and
// time is the machine's own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "kernel_devices/cuse_device.h"
#include "models/switch_model.h"
#include "server/control_service.h"
#include "server/device_answers.h"
#include "server/event_loop.h"
#include "server/trap_pipe.h"
#include "unique_fd.h"

namespace vswitch {

struct device_server_settings {
    std::filesystem::path control;
    std::filesystem::path trap_pipe;  // empty: somebody else reads it
    std::uint32_t latency_us;
    std::uint32_t seed;
};

class device_server {
  public:
    explicit device_server(const device_server_settings& settings);

    // Opens everything but the devices. Returns what went wrong, or nothing.
    std::string open();

    // Takes the kernel's channels. Returns what went wrong, or nothing.
    std::string serve(unique_fd controller, unique_fd cpld);

    // Calls `ready` once both device files are there, serves until quit, a signal or the kernel's own end. Returns the
    // exit status of `vswitch serve`.
    int run(std::function<void()> ready);

  private:
    void answer_verb(const control_request& request);
    void drain_traps();
    void handle_signal();
    void device_appeared();
    void end(int exit_status);
    cuse_events events_of(device_file kind);
    std::uint64_t slept_us() const;

    device_server_settings settings_;
    event_loop loop_;
    switch_model model_;
    device_answers answers_;
    cuse_device controller_;
    cuse_device cpld_;
    trap_pipe traps_;
    control_service control_;
    unique_fd signals_;
    event_loop::clock::time_point started_ = event_loop::clock::now();
    unsigned devices_there_ = 0;
    unsigned openings_of_controller_ = 0;  // the kernel tells of a closing only after its opening
    std::function<void()> ready_;
    int exit_status_ = 0;
};

}  // namespace vswitch
