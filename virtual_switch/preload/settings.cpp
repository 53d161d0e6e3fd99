#include "preload/settings.h"

#include <cstdlib>
#include <cstring>

#include "wire.h"

namespace vswitch {
namespace {

preload_settings current{.devices = "", .speed = 1};

[[gnu::constructor]] void take_settings_out_of_the_environment() {
    const char* devices = getenv(devices_variable);
    if (devices != nullptr && std::strlen(devices) < sizeof current.devices) std::strcpy(current.devices, devices);
    const char* speed = getenv(speed_variable);
    const std::uint64_t wanted = speed != nullptr ? std::strtoull(speed, nullptr, 10) : 1;
    current.speed = wanted > 0 ? wanted : 1;
    unsetenv(devices_variable);
    unsetenv(speed_variable);
    unsetenv(preload_variable);
}

}  // namespace

const preload_settings& settings() {
    return current;
}

}  // namespace vswitch
