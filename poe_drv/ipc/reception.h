// Receiving one client datagram. Main thread only, no lock.
#pragma once

struct timeval;

// Waits at most `timeout` (null: for ever) for a datagram on `socket` and stores it in `buffer`. `*length` is the
// buffer's capacity on entry and the datagram's length on a return of 0; otherwise it is left as it was. A longer
// datagram is cut to the capacity. `peer_out` (110 bytes, may be null) becomes the sender's address, zero behind it,
// and all zeros for a sender without a name: never the sender before.
//   0 received   -1 timed out   -2 the wait failed   -3 the receive failed, or the datagram was empty
int poe_drv_ipc_recv(int socket, void* peer_out, void* buffer, int* length, timeval* timeout);
