// Measures and asks inside the machine, where there is no other tool for it. Prints one number.
//   probe start STATUS-FILE COMMAND...   milliseconds from exec until the status file holds a whole line
//   probe round-trips N                  microseconds of a query to the daemon: the median of N
//   probe echo N                         the same against a process that only sends back what it gets
//   probe cpu PID                        microseconds of processor time that the process has used
//   probe register N                     the value of a register of the CPLD, read through its device file
//   probe refusal DEVICE REQUEST         the errno of a request with no record behind it
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr const char* daemon_socket = "/tmp/poe_driver_ipc_socket_server.txt";
constexpr const char* own_socket = "/tmp/probe";
constexpr const char* echo_socket = "/tmp/probe-echo";
constexpr const char* cpld_device = "/dev/cpld_rtl819x";
constexpr unsigned long cpld_read_request = 0x4002D201;
constexpr std::size_t query_size = 100;  // the state of one port: type 6
constexpr std::uint8_t query_type = 6;
constexpr std::size_t port_offset = 8;
constexpr std::size_t longest_reply = 4096;
constexpr std::int64_t second_us = 1000000;
constexpr std::int64_t millisecond_us = 1000;
constexpr std::int64_t microsecond_ns = 1000;

[[noreturn]] void give_up(const char* what) {
    std::fprintf(stderr, "probe: %s: %s\n", what, std::strerror(errno));
    std::exit(EXIT_FAILURE);
}

std::int64_t clock_us(clockid_t clock) {
    timespec now{};
    if (clock_gettime(clock, &now) != 0) give_up("clock");
    return now.tv_sec * second_us + now.tv_nsec / microsecond_ns;
}

sockaddr_un address_of(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    return address;
}

int bound_socket(const char* path) {
    unlink(path);
    const sockaddr_un own = address_of(path);
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0 || bind(descriptor, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) give_up(path);
    return descriptor;
}

bool holds_a_line(const char* file) {
    const int descriptor = open(file, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    std::array<char, 256> text{};
    const ssize_t length = read(descriptor, text.data(), text.size());
    close(descriptor);
    return length > 0 && text[static_cast<std::size_t>(length) - 1] == '\n';
}

void start(const char* status_file, char* const* command) {
    unlink(status_file);
    const std::string path = status_file;
    const int watcher = inotify_init1(IN_CLOEXEC);
    if (watcher < 0 || inotify_add_watch(watcher, path.substr(0, path.rfind('/')).c_str(), IN_CLOSE_WRITE) < 0) {
        give_up("inotify");
    }
    const std::int64_t began = clock_us(CLOCK_MONOTONIC);
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        execv(command[0], command);
        _exit(EXIT_FAILURE);
    }
    std::array<char, 4096> events;
    while (!holds_a_line(status_file)) {
        if (read(watcher, events.data(), events.size()) < 0) give_up("inotify");
    }
    const std::int64_t took_us = clock_us(CLOCK_MONOTONIC) - began;
    std::printf("%lld.%03lld\n", static_cast<long long>(took_us / millisecond_us),
                static_cast<long long>(took_us % millisecond_us));
}

void round_trips(const char* path, int times) {
    const int descriptor = bound_socket(own_socket);
    const sockaddr_un other = address_of(path);
    std::array<std::uint8_t, query_size> query{query_type};
    query[port_offset] = 1;
    std::array<std::uint8_t, longest_reply> reply;
    std::vector<std::int64_t> took;
    for (int time = 0; time < times; time++) {
        const std::int64_t began = clock_us(CLOCK_MONOTONIC);
        if (sendto(descriptor, query.data(), query.size(), 0, reinterpret_cast<const sockaddr*>(&other), sizeof other) <
                0 ||
            recv(descriptor, reply.data(), reply.size(), 0) < 0) {
            give_up(path);
        }
        took.push_back(clock_us(CLOCK_MONOTONIC) - began);
    }
    std::sort(took.begin(), took.end());
    std::printf("%lld\n", static_cast<long long>(took[took.size() / 2]));
    unlink(own_socket);
}

void echo(int times) {
    const int descriptor = bound_socket(echo_socket);
    const pid_t child = fork();
    if (child == 0) {
        std::array<std::uint8_t, longest_reply> data;
        for (;;) {
            sockaddr_un from{};
            socklen_t length = sizeof from;
            const ssize_t got =
                recvfrom(descriptor, data.data(), data.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
            if (got > 0) {
                sendto(descriptor, data.data(), static_cast<std::size_t>(got), 0, reinterpret_cast<sockaddr*>(&from),
                       length);
            }
        }
    }
    round_trips(echo_socket, times);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    unlink(echo_socket);
}

void cpu(int process) {
    clockid_t clock{};
    if (clock_getcpuclockid(process, &clock) != 0) give_up("process");
    std::printf("%lld\n", static_cast<long long>(clock_us(clock)));
}

int open_device(const char* device) {
    const int descriptor = open(device, O_RDWR | O_CLOEXEC);
    if (descriptor < 0) give_up(device);
    return descriptor;
}

void register_value(int number) {
    std::array<std::uint8_t, 2> record{static_cast<std::uint8_t>(number), 0};
    if (ioctl(open_device(cpld_device), cpld_read_request, record.data()) < 0) give_up("read");
    std::printf("%d\n", record[0] == number ? record[1] : -1);
}

void refusal(const char* device, const char* request) {
    constexpr int hexadecimal = 16;
    const int result = ioctl(open_device(device), std::strtoul(request, nullptr, hexadecimal), nullptr);
    std::printf("%d\n", result < 0 ? errno : 0);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view what = argc > 2 ? argv[1] : "";
    if (what == "start" && argc > 3) {
        start(argv[2], argv + 3);
    } else if (what == "round-trips") {
        round_trips(daemon_socket, std::atoi(argv[2]));
    } else if (what == "echo") {
        echo(std::atoi(argv[2]));
    } else if (what == "cpu") {
        cpu(std::atoi(argv[2]));
    } else if (what == "register") {
        register_value(std::atoi(argv[2]));
    } else if (what == "refusal" && argc > 3) {
        refusal(argv[2], argv[3]);
    } else {
        std::fprintf(stderr, "probe: see the first lines of its source\n");
        return 2;
    }
    return 0;
}
