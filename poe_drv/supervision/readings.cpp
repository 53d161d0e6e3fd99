#include "supervision/readings.h"

#include "controller/operations.h"
#include "controller/queries.h"
#include "controller/status.h"

std::array<port_reading, port_count> llp_new;

int port_read_info(std::uint8_t port) {
    if (port >= port_count) return 0;
    port_reading& reading = llp_new[port];
    channel_reading& a = reading.channel[0];
    channel_reading& b = reading.channel[1];
    auto& counter = reading.event_counter;

    poe_get_port_measurements(port, &reading.voltage, &reading.current, &reading.power, nullptr, &reading.temperature);
    int counters_result = controller_ok;
    const int status_result =
        poe_get_new_port_status(port, nullptr, nullptr, &reading.codes.status, &reading.codes.error_code,
                                &reading.codes.sub_status, &reading.codes.power_class, &reading.port_type, &counter[0],
                                &counter[1], &counter[2], &counter[3], &counter[4], &counters_result);
    reading.status_is_old = status_result != controller_ok;
    reading.counters_are_old = counters_result != controller_ok;
    poe_get_channel_measurements(port, &a.voltage, &a.current, &b.voltage, &b.current);
    poe_get_new_channel_status(port, &a.codes.status, &a.codes.error_code, &a.codes.sub_status, &a.codes.power_class,
                               &b.codes.status, &b.codes.error_code, &b.codes.sub_status, &b.codes.power_class);
    return 0;
}

void read_temperature_only(std::uint8_t port) {
    if (port >= port_count) return;
    llp_new[port] = {};
    port_measurement measurement{};
    if (_rtl_port_measurement_get(port, measurement) == controller_ok) {
        llp_new[port].temperature = measurement.temperature;
    }
}
