// A client of dbus_service, one request after the other: dbus_round_trips BUS_ADDRESS COUNT. Prints one JSON object.
#include <cstdint>
#include <vector>

#include "alternatives/dbus_names.h"
#include "clock.h"
#include "load/percentiles.h"

namespace {

constexpr int longest_wait_ms = 5000;

}  // namespace

int main(int, char** words) {
    DBusConnection* const bus = connected_to_bus(words[1]);
    const std::size_t count = std::strtoul(words[2], nullptr, 10);
    std::vector<std::int64_t> taken_ns;
    taken_ns.reserve(count);
    const std::int64_t all_began_ns = monotonic_ns();
    while (taken_ns.size() < count) {
        DBusError error = DBUS_ERROR_INIT;
        const std::int64_t began_ns = monotonic_ns();
        DBusMessage* const request = dbus_message_new_method_call(bus_name, object_path, interface_name, method_name);
        DBusMessage* const reply = dbus_connection_send_with_reply_and_block(bus, request, longest_wait_ms, &error);
        const std::int64_t ended_ns = monotonic_ns();
        dbus_message_unref(request);
        if (reply == nullptr) {
            std::fprintf(stderr, "%s\n", error.message);
            return 1;
        }
        dbus_message_unref(reply);
        taken_ns.push_back(ended_ns - began_ns);
    }
    print_latencies(taken_ns, monotonic_ns() - all_began_ns);
}
