#include "platform/system.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

namespace {

constexpr mode_t new_file_mode = 0666;  // what a shell redirection asks for; the umask takes its part
constexpr std::size_t longest_path = 4096;

// Writes all of it, however the kernel portions it. False on the first error.
bool write_all(int descriptor, const char* data, std::size_t length) {
    while (length > 0) {
        const ssize_t written = write(descriptor, data, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        data += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

// A medium that is full takes what fits; that is taken back.
void append_all_or_nothing(int descriptor, const char* text) {
    const off_t end = lseek(descriptor, 0, SEEK_END);
    if (write_all(descriptor, text, std::strlen(text)) || end < 0) return;
    if (ftruncate(descriptor, end) != 0) return;
}

// Makes a new or changed name in the folder of `path` durable.
void sync_folder_of(const char* path) {
    const char* slash = std::strrchr(path, '/');
    const int length = slash == nullptr ? 1 : static_cast<int>(slash - path) + 1;
    char folder[longest_path];
    std::snprintf(folder, sizeof folder, "%.*s", length, slash == nullptr ? "." : path);
    const int descriptor = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);
    close(descriptor);
}

// Gives an open file the permissions of the file at `path`, when there is one.
bool keep_mode_of(const char* path, int descriptor) {
    struct stat found {};
    if (lstat(path, &found) != 0 || !S_ISREG(found.st_mode)) return true;
    return fchmod(descriptor, found.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) == 0;
}

}  // namespace

int system_open_device(const char* path) {
    return open(path, O_RDWR | O_CLOEXEC);
}

int system_ioctl(int descriptor, unsigned long request, void* record) {
    return ioctl(descriptor, request, record);
}

void system_close(int descriptor) {
    close(descriptor);
}

void system_sleep_us(std::uint32_t microseconds) {
    usleep(microseconds);
}

system_time system_monotonic_now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return {.seconds = now.tv_sec, .nanoseconds = now.tv_nsec};
}

int system_sleep_for(const system_time& span, system_time& left) {
    const timespec wanted{.tv_sec = static_cast<time_t>(span.seconds), .tv_nsec = static_cast<long>(span.nanoseconds)};
    timespec rest{};
    const int error = nanosleep(&wanted, &rest) == 0 ? 0 : errno;
    left = {.seconds = rest.tv_sec, .nanoseconds = rest.tv_nsec};
    return error;
}

std::uint32_t system_uptime_s() {
    struct sysinfo info {};
    sysinfo(&info);
    return static_cast<std::uint32_t>(info.uptime);
}

std::int32_t system_wall_clock_s() {
    return static_cast<std::int32_t>(time(nullptr));
}

bool system_file_exists(const char* path) {
    return access(path, F_OK) == 0;
}

std::ptrdiff_t system_read_file(const char* path, char* buffer, std::size_t capacity) {
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) return -1;
    std::size_t length = 0;
    while (length < capacity) {
        const ssize_t got = read(descriptor, buffer + length, capacity - length);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            close(descriptor);
            return -1;
        }
        if (got == 0) break;
        length += static_cast<std::size_t>(got);
    }
    close(descriptor);
    return static_cast<std::ptrdiff_t>(length);
}

void system_append_durably(const char* path, const char* text) {
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int descriptor = open(path, flags, new_file_mode);
    if (descriptor < 0) return;
    append_all_or_nothing(descriptor, text);
    fsync(descriptor);
    close(descriptor);
    sync_folder_of(path);
}

bool system_replace_durably(const char* path, const char* text, std::size_t length) {
    char draft[longest_path];
    if (std::snprintf(draft, sizeof draft, "%s.new", path) >= static_cast<int>(sizeof draft)) return false;
    unlink(draft);  // one that a power cut left, or whatever else took its name
    const int descriptor = open(draft, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, new_file_mode);
    if (descriptor < 0) return false;
    bool replaced = keep_mode_of(path, descriptor) && write_all(descriptor, text, length) && fsync(descriptor) == 0;
    close(descriptor);
    replaced = replaced && rename(draft, path) == 0;
    if (replaced) {
        sync_folder_of(path);
    } else {
        unlink(draft);
    }
    return replaced;
}

void system_remove_file(const char* path) {
    unlink(path);
}

void system_remove_unless_regular(const char* path) {
    struct stat found {};
    if (lstat(path, &found) == 0 && !S_ISREG(found.st_mode)) remove(path);
}

int system_open_pipe(const char* path) {
    return open(path, O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
}

std::ptrdiff_t system_write(int descriptor, const void* data, std::size_t length) {
    return write(descriptor, data, length);
}

void system_prepare_process() {
    std::signal(SIGPIPE, SIG_IGN);
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; standard++) {
        if (fcntl(standard, F_GETFD) == -1) open("/dev/null", O_RDWR);
    }
}

void system_shell(const char* command) {
    if (std::system(command) != 0) return;
}

int system_start_thread(void* (*entry)(void*)) {
    pthread_t thread;
    const int error = pthread_create(&thread, nullptr, entry, nullptr);
    if (error == 0) pthread_detach(thread);
    return error;
}

void system_return_free_memory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}
