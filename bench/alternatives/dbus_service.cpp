// A daemon that answers one query over D-Bus, with as many bytes as a port's status has: dbus_service BUS_ADDRESS
#include "alternatives/dbus_names.h"

namespace {

constexpr int status_length = 92;
const unsigned char status[status_length] = {};

}  // namespace

int main(int, char** words) {
    DBusConnection* const bus = connected_to_bus(words[1]);
    DBusError error = DBUS_ERROR_INIT;
    if (dbus_bus_request_name(bus, bus_name, 0, &error) != DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER) return 1;
    while (dbus_connection_read_write(bus, -1)) {
        while (DBusMessage* const request = dbus_connection_pop_message(bus)) {
            if (dbus_message_is_method_call(request, interface_name, method_name)) {
                DBusMessage* const reply = dbus_message_new_method_return(request);
                const unsigned char* bytes = status;
                dbus_message_append_args(reply, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes, status_length,
                                         DBUS_TYPE_INVALID);
                dbus_connection_send(bus, reply, nullptr);
                dbus_message_unref(reply);
            }
            dbus_message_unref(request);
        }
    }
}
