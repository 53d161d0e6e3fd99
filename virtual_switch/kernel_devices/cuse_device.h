// One character device that the kernel carries to us through CUSE. Lives on the event loop's thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "kernel_devices/ioctl_calls.h"
#include "server/device_answers.h"
#include "server/event_loop.h"
#include "unique_fd.h"

namespace vswitch {

// The kernel's side of one device, or why there is none.
struct cuse_channel {
    unique_fd descriptor;
    std::string problem;
    bool has_no_cuse;  // the kernel, or this program, was built or started without it
};
cuse_channel open_cuse();

// What a device tells of its life.
struct cuse_events {
    std::function<void()> appeared;  // the device file is there
    std::function<void()> opened;
    std::function<void()> closed;  // by the last who had this opening of it
    std::function<void()> ended;   // the kernel has taken it away
};

class cuse_device {
  public:
    // `slept_us`: what the models' clock has to catch up with before a transaction.
    cuse_device(event_loop& loop, device_answers& answers, std::function<std::uint64_t()> slept_us);
    ~cuse_device();
    cuse_device(const cuse_device&) = delete;
    cuse_device& operator=(const cuse_device&) = delete;

    // Serves the device file /dev/`name`. Returns what went wrong, or nothing; `appeared` follows from the loop.
    std::string serve(unique_fd channel, const char* name, device_file kind, cuse_events events);

    class session;  // known to the one file that knows libfuse

  private:
    std::shared_ptr<session> session_;
};

}  // namespace vswitch
