// Connections to the virtual switch that the program holds as descriptors of its device files. Any thread may call any
// of these; calls on one descriptor take turns.
#pragma once

#include "wire.h"

namespace vswitch {

// The device's name behind a path, or null when the path is none of the switch's devices or the program is not
// attached.
const char* device_at(const char* path);

// Connects to a device. Returns a descriptor, or -1 with errno: ENOENT without a device, ENXIO when nobody answers.
int connect_device(const char* device, bool close_on_exec);

// One request, one reply. False with errno EIO when the switch is gone.
bool exchange(int descriptor, const device_request& request, device_reply& reply);

// Which descriptors are devices.
enum class device_kind : unsigned char { none, controller, cpld };
device_kind kind_of(int descriptor);
void forget(int descriptor);

}  // namespace vswitch
