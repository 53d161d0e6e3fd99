// A datagram to the socket that has a given path, for a sender that is not answering anybody. On the
// thread that sends replies (platform/poe_ipc.h), no lock.
#pragma once

struct timeval;

// Waits at most `timeout` for room (null: not at all). Returns the send's result; -1 also for a path that is empty or
// longer than an address can hold (108 bytes).
int poe_drv_ipc_send_to_path(int socket, const char* path, const void* data, int length, timeval* timeout);
