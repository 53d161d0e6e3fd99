// The door to the kernel: everything the daemon asks of Linux, apart from the three platform libraries and the wait for
// a datagram, goes through these functions. Thin on purpose: nothing here decides anything.
//
// Any thread may call any of them; none takes a lock. Unit tests link another implementation of this header, in which
// the device files are models and sleeping costs nothing.
#pragma once

#include <cstddef>
#include <cstdint>

// --- device files ---

// Opens a device read-write and close-on-exec. Returns the descriptor, or -1.
int system_open_device(const char* path);

// One ioctl on `descriptor`; `record` is read and written in place. Returns ioctl's result: negative on failure.
int system_ioctl(int descriptor, unsigned long request, void* record);

void system_close(int descriptor);

// --- time ---

// A point or a span of time on the monotonic clock: seconds and nanoseconds (0..999999999).
struct system_time {
    std::int64_t seconds;
    std::int64_t nanoseconds;
};

void system_sleep_us(std::uint32_t microseconds);

system_time system_monotonic_now();

// Sleeps for `span`; returns 0, or the errno of the interruption with what is left of the span in `left`.
int system_sleep_for(const system_time& span, system_time& left);

std::uint32_t system_uptime_s();     // seconds since the machine booted
std::int32_t system_wall_clock_s();  // seconds since 1970, as a signed 32-bit number

// --- files ---

bool system_file_exists(const char* path);

// Reads at most `capacity` bytes from the start of a file, never waiting for a writer. Returns the bytes read, -1 when
// it cannot be opened or read.
std::ptrdiff_t system_read_file(const char* path, char* buffer, std::size_t capacity);

// Appends `text` to a file, creating it, and returns once it is on the medium. Failures lose the text silently: all of
// it, so that no half of it stands before what is appended next.
void system_append_durably(const char* path, const char* text);

// Puts `text` in the place of a file's contents so that a power cut leaves the old file or the new one, never a torn
// one; the file keeps its permissions. Returns false, with the old file untouched, when that cannot be done. The draft
// stands beside the file under its name with ".new" behind it, and is gone on return.
bool system_replace_durably(const char* path, const char* text, std::size_t length);

void system_remove_file(const char* path);

// Removes what stands at `path` unless it is a regular file: a link itself, not what it points to. A folder that is not
// empty stays.
void system_remove_unless_regular(const char* path);

// Opens a named pipe read-write, without blocking, without following a link, close-on-exec. Descriptor or -1.
int system_open_pipe(const char* path);

// One write. Returns the bytes written, or -1. Whether a broken pipe raises a signal is the process's setting.
std::ptrdiff_t system_write(int descriptor, const void* data, std::size_t length);

// --- process ---

// Makes the process safe to run for years under any parent: a broken pipe never ends it, and standard input, output and
// error are open (on /dev/null where the parent left them closed), so that no socket or device takes their numbers.
// Called first of all.
void system_prepare_process();

// Runs a command with the system's shell; its result is nobody's business.
void system_shell(const char* command);

// Starts a thread with default attributes that nobody joins. Returns 0, or the error number.
int system_start_thread(void* (*entry)(void*));

// Gives memory that a burst left in the allocator back to the system.
void system_return_free_memory();
