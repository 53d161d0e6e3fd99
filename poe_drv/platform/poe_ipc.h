// libpoe_ipc: local datagram sockets named by a path. A switch's own copy of the library takes the place of ours
// without a rebuild, so the daemon relies on nothing but these two functions.
//
// One thread of a process makes all of these calls, whatever their sockets: what was sent is counted without a lock. In
// the daemon it is the main thread.
#pragma once

struct timeval;

extern "C" {

// Creates a local (AF_UNIX) datagram socket, close-on-exec, with `path` as its name, readable and writable by its owner
// and group only, and stores it in `*socket_out`. A socket file that nobody answers on is removed first; one that
// somebody answers on, or anything that is not a socket, is left alone. Returns 0, or -1 with `*socket_out` untouched.
int __poe_drv_ipc_socket_and_bind_init(int* socket_out, const char* path);

// Sends one datagram of `length` bytes to `peer`: a 16-bit address family followed by a path of at most 108 bytes,
// ended by a zero when it is shorter. The send goes out at once when the peer has room; otherwise it is tried again for
// at most `timeout` (null: not again). Refused at once for a client that is connected to `socket` while more than half
// of the send buffer holds what clients have not read. Never raises a signal. Returns the bytes sent, or -1.
int __poe_drv_ipc_send(int socket, const void* peer, const void* data, int length, struct timeval* timeout);

}  // extern "C"
