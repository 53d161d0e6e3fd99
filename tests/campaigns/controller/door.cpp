#include "door.h"

#include <cerrno>
#include <cstring>

#include <sys/time.h>

#include "core/paths.h"
#include "platform/link_mon_intf.h"
#include "platform/poe_ipc.h"
#include "platform/system.h"

namespace campaign {

std::optional<far_side> the_far_side;

namespace {

constexpr int cpld_descriptor = 1002;
constexpr int pipe_descriptor = 1003;
constexpr unsigned long transact_request = 0xC010DD03;
constexpr unsigned long cpld_write_request = 0x8003D203;

struct driver_record {
    std::uint32_t wait;
    frame bytes;
};
static_assert(sizeof(driver_record) == 16);

frame record_after(const befalling& what, const frame& request) {
    far_side& there = *the_far_side;
    frame record{};
    switch (what.record) {
        case left_behind::answer:
            record = there.chip.answer(request);
            break;
        case left_behind::request:
            record = request;
            break;
        case left_behind::previous:
            record = there.previous_answer;
            break;
        case left_behind::zeros:
            break;
        case left_behind::ones:
            record.fill(0xFF);
            break;
        case left_behind::report:
            record = vswitch::blank_answer(request[vswitch::key_at], what.report_key);
            vswitch::seal(record);
            break;
    }
    if (what.record == left_behind::answer) there.previous_answer = record;
    if (what.set_at < record.size()) record[what.set_at] = what.set_to;
    if (what.resealed) vswitch::seal(record);
    for (std::size_t at = 0; at < record.size(); at++)
        record[at] = static_cast<std::uint8_t>(record[at] ^ what.flips[at]);
    record[vswitch::checksum_at] = static_cast<std::uint8_t>(record[vswitch::checksum_at] + what.checksum_off);
    return record;
}

int transact(driver_record& record) {
    far_side& there = *the_far_side;
    const befalling what = there.plan ? there.plan(record.bytes) : nothing;
    event& seen = there.events.emplace_back(event{.what = happening::attempt, .number = record.wait});
    seen.request = record.bytes;
    seen.was_damaged = what.is_fault;
    record.bytes = record_after(what, record.bytes);
    seen.answer = record.bytes;
    there.attempts++;
    if (what.is_fault) there.faults++;
    there.chip.advance(there.latency_us);
    if (what.error == 0) return 0;
    seen.result = -1;
    errno = what.error;
    return -1;
}

}  // namespace

}  // namespace campaign

using namespace campaign;

int system_open_device(const char* path) {
    return std::strcmp(path, "/dev/poe_kernel_drv") == 0 ? controller_descriptor : cpld_descriptor;
}

int system_ioctl(int descriptor, unsigned long request, void* record) {
    if (descriptor == controller_descriptor && request == transact_request) {
        driver_record transaction;
        std::memcpy(&transaction, record, sizeof transaction);
        const int result = transact(transaction);
        std::memcpy(record, &transaction, sizeof transaction);
        return result;
    }
    if (descriptor == cpld_descriptor && request == cpld_write_request) {
        std::uint8_t bytes[3];
        std::memcpy(bytes, record, sizeof bytes);
        const std::uint32_t number = std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 | bytes[2];
        the_far_side->events.push_back({.what = happening::cpld, .number = number});
        return 0;
    }
    errno = EBADF;
    return -1;
}

void system_close(int) {}

void system_sleep_us(std::uint32_t microseconds) {
    far_side& there = *the_far_side;
    there.events.push_back({.what = happening::pause, .number = microseconds});
    if (there.in_a_pause) there.in_a_pause();
    there.chip.advance(microseconds);
}

system_time system_monotonic_now() {
    return {};
}
int system_sleep_for(const system_time&, system_time& left) {
    left = {};
    return 0;
}
std::uint32_t system_uptime_s() {
    return static_cast<std::uint32_t>(the_far_side->chip.now_us() / 1000000);
}
std::int32_t system_wall_clock_s() {
    return 0;
}

bool system_file_exists(const char*) {
    return false;
}
std::ptrdiff_t system_read_file(const char*, char*, std::size_t) {
    return -1;
}
void system_append_durably(const char* path, const char* text) {
    if (std::strcmp(path, controller_programming_mark_path) == 0) return;  // no error's mark
    the_far_side->events.push_back({.what = happening::append, .text = std::string(path) + " " + text});
}
bool system_replace_durably(const char*, const char*, std::size_t) {
    return true;
}
void system_remove_file(const char*) {}
void system_remove_unless_regular(const char*) {}

int system_open_pipe(const char*) {
    return pipe_descriptor;
}

std::ptrdiff_t system_write(int descriptor, const void* data, std::size_t length) {
    far_side& there = *the_far_side;
    if (descriptor == 2) {
        there.events.push_back({.what = happening::said, .text = std::string(static_cast<const char*>(data), length)});
    }
    if (descriptor == pipe_descriptor) there.traps++;
    return static_cast<std::ptrdiff_t>(length);
}

void system_prepare_process() {}
void system_shell(const char*) {}
int system_start_thread(void* (*)(void*)) {
    return 0;
}
void system_return_free_memory() {}

int link_mon_intf_param_get(void* record) {
    far_side& there = *the_far_side;
    event& seen = there.events.emplace_back(event{.what = happening::link});
    if (there.link_monitor_fails) {
        seen.result = -1;
        return -1;
    }
    constexpr std::size_t first_word = 4;
    for (std::size_t port = 0; port < there.link_up.size(); port++) {
        const std::uint16_t word = there.link_up[port] ? 0x100 : 0;
        std::memcpy(static_cast<std::uint8_t*>(record) + first_word + port * sizeof word, &word, sizeof word);
        if (there.link_up[port]) seen.number |= 1U << port;
    }
    return 0;
}

int __poe_drv_ipc_socket_and_bind_init(int*, const char*) {
    return -1;
}

int __poe_drv_ipc_send(int, const void*, const void* data, int length, struct timeval*) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    the_far_side->reply.assign(bytes, bytes + length);
    the_far_side->replies++;
    return length;
}
