// The controller behind the daemon's real door, in this process: the program's own `ioctl` and `open` stand before
// the C library's, and everything from the door upwards is the daemon's, unchanged.
//
// Four ports deliver power. A request with a wrong checksum is refused as the controller would; an answer is as valid
// as the controller's. One user at a time, no lock.
#pragma once

#include <array>
#include <cstdint>

enum class device_kind {
    instant,      // answers in this process
    system_call,  // and makes one cheap call of the kernel's first
    bus,          // and takes as long as a slow two-wire bus
};

inline constexpr std::uint32_t bus_us = 2400;

struct bench_device {
    device_kind kind = device_kind::instant;
    std::uint64_t calls = 0;
    std::array<std::uint8_t, 4> state{2, 2, 2, 2};  // of each port, in the controller's codes: all deliver
};
extern bench_device the_device;

// The descriptor that the daemon knows the controller by.
int open_bench_device();

// What the daemon asks in a sweep over four powered ports, said to the device by nobody but the C library.
inline constexpr int calls_a_sweep = 23;
void bare_sweep(int descriptor);
