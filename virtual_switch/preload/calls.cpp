// The C library's file functions and the link monitor library's one function, as the program sees them: what concerns
// the switch's devices goes to the virtual switch, everything else to where it always went.
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "device_requests.h"
#include "preload/devices.h"
#include "preload/real_calls.h"
#include "preload/settings.h"

namespace vswitch {
namespace {

real_call<int(const char*, int, ...)> real_open{"open"};
real_call<int(const char*, int, ...)> real_open64{"open64"};
real_call<int(int, const char*, int, ...)> real_openat{"openat"};
real_call<int(int, const char*, int, ...)> real_openat64{"openat64"};
real_call<int(const char*, int)> real_open_2{"__open_2"};
real_call<int(const char*, int)> real_open64_2{"__open64_2"};
real_call<int(int)> real_close{"close"};
real_call<int(int, unsigned long, ...)> real_ioctl{"ioctl"};
#if __TIMESIZE == 32
real_call<int(int, unsigned long, ...)> real_ioctl_time64{"__ioctl_time64"};
#endif
real_call<int(void*)> real_link_monitor{"link_mon_intf_param_get"};

// The mode that follows the flags when the call may create a file.
mode_t mode_among(va_list rest, int flags) {
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? static_cast<mode_t>(va_arg(rest, unsigned int)) : 0;
}

int open_device(const char* device, int flags) {
    return connect_device(device, (flags & O_CLOEXEC) != 0);
}

int finish(const device_reply& reply) {
    const std::int32_t result = wire_order(reply.result);
    if (result < 0) errno = wire_order(reply.error);
    return result;
}

int controller_ioctl(int descriptor, unsigned int code, std::uint8_t* record) {
    if (code != transaction_request) {
        errno = ENOTTY;
        return -1;
    }
    std::uint32_t wait = 0;
    std::memcpy(&wait, record, sizeof wait);
    device_request request{};
    request.call = wire_order(static_cast<std::uint32_t>(device_call::controller_transaction));
    request.wait = wire_order(wait);
    request.slept_us = wire_order(take_slept_us());
    std::memcpy(request.bytes, record + transaction_frame_offset, frame_size);
    device_reply reply{};
    if (!exchange(descriptor, request, reply)) return -1;
    std::memcpy(record + transaction_frame_offset, reply.bytes, frame_size);
    return finish(reply);
}

int cpld_ioctl(int descriptor, unsigned int code, std::uint8_t* buffer) {
    if (code != cpld_write_request && code != cpld_read_request) {
        errno = ENOTTY;
        return -1;
    }
    const bool writes = code == cpld_write_request;
    device_request request{};
    request.call = wire_order(static_cast<std::uint32_t>(writes ? device_call::cpld_write : device_call::cpld_read));
    std::memcpy(request.bytes, buffer, writes ? cpld_write_size : cpld_read_size);
    device_reply reply{};
    if (!exchange(descriptor, request, reply)) return -1;
    if (!writes && wire_order(reply.result) >= 0) std::memcpy(buffer, reply.bytes, cpld_read_size);
    return finish(reply);
}

int device_ioctl(device_kind kind, int descriptor, unsigned long code, void* argument) {
    if (argument == nullptr) {
        errno = EFAULT;
        return -1;
    }
    // A 32-bit request number may arrive with its top bit carried up.
    const auto request = static_cast<unsigned int>(code);
    auto* const bytes = static_cast<std::uint8_t*>(argument);
    return kind == device_kind::controller ? controller_ioctl(descriptor, request, bytes)
                                           : cpld_ioctl(descriptor, request, bytes);
}

}  // namespace
}  // namespace vswitch

using namespace vswitch;

extern "C" {

int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = mode_among(rest, flags);
    va_end(rest);
    const char* device = device_at(path);
    return device != nullptr ? open_device(device, flags) : real_open.get()(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = mode_among(rest, flags);
    va_end(rest);
    const char* device = device_at(path);
    return device != nullptr ? open_device(device, flags) : real_open64.get()(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = mode_among(rest, flags);
    va_end(rest);
    const char* device = device_at(path);
    return device != nullptr ? open_device(device, flags) : real_openat.get()(folder, path, flags, mode);
}

int openat64(int folder, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = mode_among(rest, flags);
    va_end(rest);
    const char* device = device_at(path);
    return device != nullptr ? open_device(device, flags) : real_openat64.get()(folder, path, flags, mode);
}

int __open_2(const char* path, int flags) {
    const char* device = device_at(path);
    return device != nullptr ? open_device(device, flags) : real_open_2.get()(path, flags);
}

int __open64_2(const char* path, int flags) {
    const char* device = device_at(path);
    return device != nullptr ? open_device(device, flags) : real_open64_2.get()(path, flags);
}

int close(int descriptor) {
    forget(descriptor);
    return real_close.get()(descriptor);
}

int ioctl(int descriptor, unsigned long code, ...) noexcept {
    va_list rest;
    va_start(rest, code);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    const device_kind kind = kind_of(descriptor);
    return kind != device_kind::none ? device_ioctl(kind, descriptor, code, argument)
                                     : real_ioctl.get()(descriptor, code, argument);
}

#if __TIMESIZE == 32
// The name for programs whose time is 64 bits wide.
int __ioctl_time64(int descriptor, unsigned long code, ...) noexcept {
    va_list rest;
    va_start(rest, code);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    const device_kind kind = kind_of(descriptor);
    return kind != device_kind::none ? device_ioctl(kind, descriptor, code, argument)
                                     : real_ioctl_time64.get()(descriptor, code, argument);
}
#endif

int link_mon_intf_param_get(void* record) {
    if (settings().devices[0] == '\0') {
        return real_link_monitor.get() != nullptr ? real_link_monitor.get()(record) : -1;
    }
    const int descriptor = connect_device(link_monitor_device, true);
    if (descriptor < 0) return -1;
    device_request request{};
    request.call = wire_order(static_cast<std::uint32_t>(device_call::link_monitor));
    device_reply reply{};
    const bool answered = exchange(descriptor, request, reply);
    real_close.get()(descriptor);
    if (!answered) return -1;
    wire_order_link_words(reply.bytes);
    std::memcpy(record, reply.bytes, link_record_size);
    return wire_order(reply.result);
}

}  // extern "C"
