/* Prints every port of the switch: its number on the panel, its state and what it delivers. */
#include <poe_client/poe_client.h>
#include <stdio.h>

int main(void) {
    poe_client_connection* daemon = NULL;
    poe_client_whole_status status;

    int error = poe_client_open(NULL, &daemon);
    if (error == POE_CLIENT_OK) error = poe_client_get_whole_status(daemon, &status);
    poe_client_close(daemon);
    if (error != POE_CLIENT_OK) {
        fprintf(stderr, "port_status: %s\n", poe_client_error_text(error));
        return 1;
    }

    printf("%.1f W of %.1f W used\n", status.system.consumed_mw / 1000.0, status.system.total_mw / 1000.0);
    for (int port = 0; port < POE_CLIENT_PORT_COUNT; port++) {
        const poe_client_port_status* one = &status.port[port];
        printf("port %d: %s, %.1f W\n", port + 1, poe_client_status_name(one->status), one->power_mw / 1000.0);
    }
    return 0;
}
