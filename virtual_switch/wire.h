// What passes between the preload library inside the daemon and the virtual switch's server. Each device is a Unix
// SOCK_SEQPACKET socket that stands where the device file would stand, so a descriptor of the device is a connection:
// one request message, one reply message, as often as the daemon likes.
//
// Numbers are little-endian, so that a daemon for another machine under an emulator talks to the same server. The
// preload library has no C++ library at run time: nothing here may need one.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vswitch {

// The names of the devices' sockets in the world's device folder. The daemon knows the first two as device files; the
// third carries the link monitor library's one call.
inline constexpr char controller_device[] = "poe_kernel_drv";
inline constexpr char cpld_device[] = "cpld_rtl819x";
inline constexpr char link_monitor_device[] = "link_monitor";

// The environment that attaches a program. The preload library takes all of it away again when it has read it.
inline constexpr char devices_variable[] = "VSWITCH_DEVICES";  // the folder of the devices' sockets
inline constexpr char speed_variable[] = "VSWITCH_SPEED";      // sleeps are divided by this whole number
inline constexpr char preload_variable[] = "LD_PRELOAD";

inline constexpr std::size_t frame_size = 12;
inline constexpr std::size_t link_record_size = 40;
inline constexpr std::size_t link_words_offset = 4;  // four 16-bit port words, little-endian on the wire
inline constexpr std::size_t link_words = 4;

enum class device_call : std::uint32_t { controller_transaction = 1, cpld_write = 2, cpld_read = 3, link_monitor = 4 };

struct device_request {
    std::uint32_t call;              //  0  a device_call
    std::uint32_t wait;              //  4  controller: the driver's wait
    std::uint64_t slept_us;          //  8  controller: the calling thread's unscaled sleep since its last call
    std::uint8_t bytes[frame_size];  // 16  controller: the frame; CPLD: register, value, mask
    std::uint8_t unused[4];          // 28
};
static_assert(sizeof(device_request) == 32 && offsetof(device_request, bytes) == 16);

struct device_reply {
    std::int32_t result;                   // 0  what the call returns
    std::int32_t error;                    // 4  errno when result is negative
    std::uint8_t bytes[link_record_size];  // 8  controller: the frame; CPLD: register, value; link monitor: the record
};
static_assert(sizeof(device_reply) == 48 && offsetof(device_reply, bytes) == 8);

// From the machine's order to the wire's, and back.
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
constexpr std::uint16_t wire_order(std::uint16_t value) {
    return value;
}
constexpr std::uint32_t wire_order(std::uint32_t value) {
    return value;
}
constexpr std::uint64_t wire_order(std::uint64_t value) {
    return value;
}
#else
constexpr std::uint16_t wire_order(std::uint16_t value) {
    return __builtin_bswap16(value);
}
constexpr std::uint32_t wire_order(std::uint32_t value) {
    return __builtin_bswap32(value);
}
constexpr std::uint64_t wire_order(std::uint64_t value) {
    return __builtin_bswap64(value);
}
#endif
constexpr std::int32_t wire_order(std::int32_t value) {
    return static_cast<std::int32_t>(wire_order(static_cast<std::uint32_t>(value)));
}

// The port words of a link record, from the machine's order to the wire's, and back.
inline void wire_order_link_words(std::uint8_t* record) {
    for (std::size_t word = 0; word < link_words; word++) {
        std::uint8_t* at = record + link_words_offset + word * sizeof(std::uint16_t);
        std::uint16_t value;
        __builtin_memcpy(&value, at, sizeof value);
        value = wire_order(value);
        __builtin_memcpy(at, &value, sizeof value);
    }
}

}  // namespace vswitch
