// What a kernel does once in years, at the test's will: a system call that fails with a given errno, a read that
// gives less than there is, and netlink messages that nobody waits for. Seen where the C library would ask the kernel;
// everything else reaches the kernel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include <sys/types.h>

enum class kernel_call : std::uint8_t { bind, getsockopt, lstat, read, recvfrom, sendto, socket, unlink };

// How the next calls end, one after the other: 0 is what the kernel says, anything else a failure with that errno.
void next_calls_end(kernel_call call, std::initializer_list<int> errors);

// The next read that is not refused gives no more than so many bytes, however many are there.
void next_read_gives_at_most(std::size_t bytes);

// How often the call was made so far.
int calls_made(kernel_call call);

// A message that the next recvfrom receives before those that the kernel has.
struct netlink_message {
    std::uint32_t sender;
    std::uint32_t sequence;
    std::uint16_t type;
    std::uint32_t flags;  // of the link, in a message about one
    int error;            // in a message about a failure
};
void next_message_is(const netlink_message& message);

// Whether every failure and message was handed out; what was not is forgotten.
bool everything_was_handed_out();
