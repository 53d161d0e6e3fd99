// In the place of cuse_device.cpp where there is no libfuse to build with.
#include "kernel_devices/cuse_device.h"

namespace vswitch {

class cuse_device::session {};

cuse_channel open_cuse() {
    return {
        .descriptor = {}, .problem = "this vswitch was built without libfuse3, so it has no CUSE", .has_no_cuse = true};
}

cuse_device::cuse_device(event_loop&, device_answers&, std::function<std::uint64_t()>) {}

cuse_device::~cuse_device() = default;

std::string cuse_device::serve(unique_fd, const char*, device_file, cuse_events) {
    return "there is no CUSE";
}

}  // namespace vswitch
