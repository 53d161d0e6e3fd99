// From a received datagram to its handler. Main thread only; never replies itself.
#pragma once

// Hands a request to the handler of its type. A request of a type that is not served is dropped in silence, one of the
// wrong length with a line to standard error; neither gets a reply. Returns 0 always.
int poe_rx_ipc_content_process(int socket, const void* peer, unsigned char* message, int length);
