#include "world/world.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/time.h>
#include <unistd.h>

#include "platform/link_mon_intf.h"
#include "platform/poe_ipc.h"

test_world the_world;

namespace {

constexpr int controller_descriptor = 1001;
constexpr int cpld_descriptor = 1002;
constexpr int pipe_descriptor = 1003;

std::string pipe_path;

struct driver_record {
    std::uint32_t wait;
    frame_bytes frame;
};
static_assert(sizeof(driver_record) == 16);

void tell(const std::string& line) {
    if (!the_world.keeps_story) return;
    the_world.story.push_back(line);
    if (the_world.witness) the_world.witness(line);
}

std::string hex(const frame_bytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char two[4];
        std::snprintf(two, sizeof two, " %02x", byte);
        text += two;
    }
    return text;
}

int plain_answer(std::uint32_t, frame_bytes& frame) {
    for (std::size_t i = 2; i < 11; i++)
        frame[i] = 0;
    seal(frame);
    return 0;
}

}  // namespace

void seal(frame_bytes& frame) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < 11; i++)
        sum += frame[i];
    frame[11] = static_cast<std::uint8_t>(sum % 256);
}

frame_bytes request_frame(std::vector<std::uint8_t> head) {
    frame_bytes frame;
    frame.fill(0xFF);
    std::copy(head.begin(), head.end(), frame.begin());
    seal(frame);
    return frame;
}

frame_bytes answer_frame(std::vector<std::uint8_t> head) {
    frame_bytes frame{};
    std::copy(head.begin(), head.end(), frame.begin());
    seal(frame);
    return frame;
}

std::vector<int> keys_sent() {
    std::vector<int> keys;
    for (const auto& frame : the_world.frames)
        keys.push_back(frame.bytes[0]);
    return keys;
}

std::array<std::uint8_t, 110> peer_named(const std::string& path) {
    std::array<std::uint8_t, 110> peer{};
    const std::uint16_t family = 1;
    std::memcpy(peer.data(), &family, sizeof family);
    std::memcpy(peer.data() + 2, path.data(), std::min<std::size_t>(path.size(), 108));
    return peer;
}

world_test::world_test() {
    the_world = test_world{};
}

// --- platform/system.h ---

int system_open_device(const char* path) {
    tell(std::string("open ") + path);
    const std::string device = path;
    if (device == "/dev/poe_kernel_drv" && !the_world.controller_device_missing) {
        the_world.open_descriptors++;
        return controller_descriptor;
    }
    if (device == "/dev/cpld_rtl819x" && !the_world.cpld_device_missing) {
        the_world.open_descriptors++;
        return cpld_descriptor;
    }
    errno = ENOENT;
    return -1;
}

int system_ioctl(int descriptor, unsigned long request, void* record) {
    if (descriptor == controller_descriptor && request == 0xC010DD03) {
        driver_record transaction;
        std::memcpy(&transaction, record, sizeof transaction);
        the_world.frames.push_back({transaction.wait, transaction.frame});
        if (the_world.keeps_story) tell("frame" + hex(transaction.frame));
        const int result = the_world.controller ? the_world.controller(transaction.wait, transaction.frame)
                                                : plain_answer(transaction.wait, transaction.frame);
        std::memcpy(record, &transaction, sizeof transaction);
        return result;
    }
    auto* bytes = static_cast<std::uint8_t*>(record);
    if (descriptor == cpld_descriptor && request == 0x8003D203) {
        the_world.cpld_writes.push_back({bytes[0], bytes[1], bytes[2]});
        tell("cpld " + std::to_string(bytes[0]) + " " + std::to_string(bytes[1]) + " " + std::to_string(bytes[2]));
        if (the_world.cpld_ioctl_fails) return -1;
        auto& cell = the_world.cpld_registers[bytes[0]];
        cell = static_cast<std::uint8_t>((cell & ~bytes[2]) | (bytes[1] & bytes[2]));
        return 0;
    }
    if (descriptor == cpld_descriptor && request == 0x4002D201) {
        if (the_world.cpld_ioctl_fails) return -1;
        bytes[1] = the_world.cpld_registers[bytes[0]];
        return 0;
    }
    errno = EBADF;
    return -1;
}

void system_close(int descriptor) {
    if (descriptor >= controller_descriptor) the_world.open_descriptors--;
}

void system_sleep_us(std::uint32_t microseconds) {
    the_world.sleeps_us.push_back(microseconds);
    tell("sleep " + std::to_string(microseconds));
}

system_time system_monotonic_now() {
    return the_world.monotonic;
}

int system_sleep_for(const system_time& span, system_time& left) {
    if (the_world.sleep_for) return the_world.sleep_for(span, left);
    left = {};
    the_world.monotonic.seconds += span.seconds;
    the_world.monotonic.nanoseconds += span.nanoseconds;
    if (the_world.monotonic.nanoseconds >= 1000000000) {
        the_world.monotonic.nanoseconds -= 1000000000;
        the_world.monotonic.seconds++;
    }
    return 0;
}

std::uint32_t system_uptime_s() {
    return the_world.uptime_s;
}
std::int32_t system_wall_clock_s() {
    return the_world.wall_clock_s;
}

bool system_file_exists(const char* path) {
    return the_world.files.contains(path);
}

std::ptrdiff_t system_read_file(const char* path, char* buffer, std::size_t capacity) {
    const auto file = the_world.files.find(path);
    if (file == the_world.files.end()) return -1;
    const std::size_t length = std::min(capacity, file->second.size());
    std::memcpy(buffer, file->second.data(), length);
    return static_cast<std::ptrdiff_t>(length);
}

void system_append_durably(const char* path, const char* text) {
    tell(std::string("append ") + path + " " + text);
    if (!the_world.files_cannot_be_written) the_world.files[path] += text;
}

bool system_replace_durably(const char* path, const char* text, std::size_t length) {
    tell(std::string("replace ") + path);
    if (the_world.files_cannot_be_written) return false;
    the_world.files[path] = std::string(text, length);
    return true;
}

void system_remove_file(const char* path) {
    tell(std::string("remove ") + path);
    the_world.files.erase(path);
}

void system_remove_unless_regular(const char* path) {
    tell(std::string("remove unless regular ") + path);
}

int system_open_pipe(const char* path) {
    tell(std::string("pipe ") + path);
    if (the_world.pipe_missing) return -1;
    the_world.open_descriptors++;
    pipe_path = path;
    return pipe_descriptor;
}

std::ptrdiff_t system_write(int descriptor, const void* data, std::size_t length) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    if (descriptor != pipe_descriptor) {
        if (!the_world.on_line) return write(descriptor, data, length);
        the_world.on_line(descriptor, {reinterpret_cast<const char*>(bytes), length});
        return static_cast<std::ptrdiff_t>(length);
    }
    the_world.pipe_writes.push_back({pipe_path, {bytes, bytes + length}});
    return static_cast<std::ptrdiff_t>(length);
}

void system_shell(const char* command) {
    the_world.shell_commands.push_back(command);
    tell(std::string("shell ") + command);
}

int system_start_thread(void* (*entry)(void*)) {
    the_world.started_threads.push_back(entry);
    return the_world.start_thread_result;
}

void system_return_free_memory() {
    the_world.memory_returns++;
    if (the_world.on_memory_return) the_world.on_memory_return();
}

// --- the libraries that a switch may replace ---

int link_mon_intf_param_get(void* record) {
    the_world.link_queries++;
    tell("link");
    if (the_world.link_monitor_fails) return -1;
    auto* bytes = static_cast<std::uint8_t*>(record);
    for (std::size_t port = 0; port < the_world.link_up.size(); port++) {
        const std::uint16_t word = the_world.link_up[port] ? 0x100 : 0xFEFF;  // the link's bit alone, or all others
        std::memcpy(bytes + 4 + 2 * port, &word, sizeof word);
    }
    return 0;
}

int __poe_drv_ipc_socket_and_bind_init(int*, const char*) {
    return -1;
}

int __poe_drv_ipc_send(int socket, const void* peer, const void* data, int length, struct timeval* timeout) {
    if (the_world.witness) the_world.witness("send");
    char path[109]{};
    std::memcpy(path, static_cast<const char*>(peer) + 2, 108);
    std::array<std::uint8_t, 110> address;
    std::memcpy(address.data(), peer, address.size());
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    the_world.replies.push_back({socket,
                                 path,
                                 {bytes, bytes + length},
                                 timeout != nullptr ? timeout->tv_sec * 1000000 + timeout->tv_usec : -1,
                                 address});
    if (the_world.on_send) the_world.on_send();
    return the_world.send_result < 0 ? the_world.send_result : length;
}
