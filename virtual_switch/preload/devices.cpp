#include "preload/devices.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "preload/real_calls.h"
#include "preload/settings.h"

namespace vswitch {
namespace {

constexpr char device_folder[] = "/dev/";
constexpr int most_descriptors = 65536;

struct descriptor_entry {
    unsigned char kind;  // a device_kind
    unsigned char busy;  // 1 while a call is under way; waited for in short sleeps, so that a thread checker that
                         // watches the program sees no ordering that the device itself would not give
};
descriptor_entry descriptors[most_descriptors];

real_call<int(int)> real_close{"close"};

bool is_tracked(int descriptor) {
    return descriptor >= 0 && descriptor < most_descriptors;
}

struct turn {
    explicit turn(int descriptor) : entry(descriptors[descriptor]) {
        while (__atomic_exchange_n(&entry.busy, 1, __ATOMIC_ACQUIRE) != 0)
            wait_a_moment();
    }
    ~turn() { __atomic_store_n(&entry.busy, 0, __ATOMIC_RELEASE); }
    turn(const turn&) = delete;
    turn& operator=(const turn&) = delete;
    descriptor_entry& entry;
};

device_kind kind_named(const char* device) {
    if (std::strcmp(device, controller_device) == 0) return device_kind::controller;
    if (std::strcmp(device, cpld_device) == 0) return device_kind::cpld;
    return device_kind::none;
}

}  // namespace

const char* device_at(const char* path) {
    constexpr std::size_t folder_length = sizeof device_folder - 1;
    if (settings().devices[0] == '\0' || path == nullptr) return nullptr;
    if (std::strncmp(path, device_folder, folder_length) != 0) return nullptr;
    const char* name = path + folder_length;
    return kind_named(name) != device_kind::none ? name : nullptr;
}

int connect_device(const char* device, bool close_on_exec) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int length = std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%s", settings().devices, device);
    if (length >= static_cast<int>(sizeof address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | (close_on_exec ? SOCK_CLOEXEC : 0), 0);
    if (descriptor < 0) return -1;
    int result = 0;
    do {
        result = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    } while (result < 0 && errno == EINTR);
    int error = result < 0 ? errno : 0;
    if (error == 0 && !is_tracked(descriptor)) error = EMFILE;
    if (error != 0) {
        real_close.get()(descriptor);
        errno = error == ECONNREFUSED ? ENXIO : error;
        return -1;
    }
    __atomic_store_n(&descriptors[descriptor].kind, static_cast<unsigned char>(kind_named(device)), __ATOMIC_RELAXED);
    return descriptor;
}

bool exchange(int descriptor, const device_request& request, device_reply& reply) {
    const turn held(descriptor);
    ssize_t sent = 0;
    do {
        sent = send(descriptor, &request, sizeof request, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    ssize_t got = -1;
    while (sent == sizeof request) {
        got = recv(descriptor, &reply, sizeof reply, 0);
        if (got >= 0 || errno != EINTR) break;
    }
    if (got == sizeof reply) return true;
    errno = EIO;
    return false;
}

device_kind kind_of(int descriptor) {
    if (!is_tracked(descriptor)) return device_kind::none;
    return static_cast<device_kind>(__atomic_load_n(&descriptors[descriptor].kind, __ATOMIC_RELAXED));
}

void forget(int descriptor) {
    if (!is_tracked(descriptor)) return;
    __atomic_store_n(&descriptors[descriptor].kind, static_cast<unsigned char>(device_kind::none), __ATOMIC_RELAXED);
}

}  // namespace vswitch
