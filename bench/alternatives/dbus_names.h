// What the D-Bus service and its client call things.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <dbus/dbus.h>

inline constexpr const char* bus_name = "bench.Ports";
inline constexpr const char* object_path = "/bench/ports";
inline constexpr const char* interface_name = "bench.Ports";
inline constexpr const char* method_name = "Status";

inline DBusConnection* connected_to_bus(const char* address) {
    DBusError error = DBUS_ERROR_INIT;
    DBusConnection* const bus = dbus_connection_open_private(address, &error);
    if (bus == nullptr || !dbus_bus_register(bus, &error)) {
        std::fprintf(stderr, "%s: %s\n", address, error.message);
        std::exit(1);
    }
    return bus;
}
