#include "platform/system.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <memory>
#include <semaphore>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "kernel_refusals.h"
#include "temporary_folder.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ALLOCATOR_IS_REPLACED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ALLOCATOR_IS_REPLACED
#endif

namespace {

// What reached the medium, in order, seen where the C library would hand it to the kernel.
std::vector<std::string> medium_story;
bool fsync_of_files_fails = false;
bool rename_fails = false;

std::string kind_of(int descriptor) {
    struct stat found {};
    fstat(descriptor, &found);
    return S_ISDIR(found.st_mode) ? "folder" : "file of " + std::to_string(found.st_size) + " bytes";
}

}  // namespace

extern "C" int fsync(int descriptor) {
    const std::string kind = kind_of(descriptor);
    medium_story.push_back("sync " + kind);
    if (fsync_of_files_fails && kind != "folder") {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int rename(const char* from, const char* to) noexcept {
    medium_story.push_back("rename");
    if (rename_fails) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

namespace {

class system_door : public temporary_folder_test {
  protected:
    std::string path = in_folder("file");
    mode_t former_umask = umask(022);

    system_door() {
        medium_story.clear();
        fsync_of_files_fails = rename_fails = false;
    }
    ~system_door() override { umask(former_umask); }

    static bool closes_on_exec(int descriptor) { return (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0; }
    static bool is_open(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

    // What system_read_file gives with room for `capacity` bytes: the text, or "-1".
    static std::string read_by_door(const std::string& file, std::size_t capacity = 100) {
        const std::unique_ptr<char[]> buffer(new char[capacity]);
        const std::ptrdiff_t length = system_read_file(file.c_str(), buffer.get(), capacity);
        return length < 0 ? "-1" : std::string(buffer.get(), static_cast<std::size_t>(length));
    }
    static bool replace(const std::string& file, const std::string& text) {
        return system_replace_durably(file.c_str(), text.data(), text.size());
    }
    std::size_t names_in_folder() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
    }
    void expect_old_file_alone() const {
        EXPECT_EQ(contents_of(path), "old");
        EXPECT_EQ(names_in_folder(), 1u) << "a draft was left behind";
    }
};

// --- device files ---

TEST_F(system_door, a_device_is_opened_for_reading_and_writing_and_closed_on_exec) {
    const int device = system_open_device("/dev/null");
    ASSERT_GE(device, 0);
    EXPECT_EQ(fcntl(device, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_TRUE(closes_on_exec(device));
    system_close(device);
    EXPECT_FALSE(is_open(device));
}

TEST_F(system_door, a_device_that_is_missing_gives_minus_1) {
    EXPECT_EQ(system_open_device(in_folder("no_device").c_str()), -1);
}

TEST_F(system_door, an_ioctl_fills_the_record_in_place_and_gives_the_kernels_result) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "seven b", 7), 7);
    int waiting = 0;
    EXPECT_EQ(system_ioctl(ends[0], FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 7);
    system_close(ends[0]);
    system_close(ends[1]);
    EXPECT_EQ(system_ioctl(ends[0], FIONREAD, &waiting), -1);
}

// --- time ---

std::int64_t nanoseconds(const system_time& time) {
    return time.seconds * 1000000000 + time.nanoseconds;
}

TEST_F(system_door, the_monotonic_clock_is_the_kernels) {
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const system_time now = system_monotonic_now();
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE(nanoseconds(now), nanoseconds({before.tv_sec, before.tv_nsec}));
    EXPECT_LE(nanoseconds(now), nanoseconds({after.tv_sec, after.tv_nsec}));
    EXPECT_LT(now.nanoseconds, 1000000000);
}

TEST_F(system_door, a_sleep_in_microseconds_lasts_at_least_that_long) {
    const system_time before = system_monotonic_now();
    system_sleep_us(3000);
    EXPECT_GE(nanoseconds(system_monotonic_now()) - nanoseconds(before), 3000000);
}

TEST_F(system_door, a_sleep_that_nothing_interrupts_lasts_its_span_and_leaves_nothing) {
    const system_time before = system_monotonic_now();
    system_time left{.seconds = 7, .nanoseconds = 7};
    EXPECT_EQ(system_sleep_for({.seconds = 0, .nanoseconds = 3000000}, left), 0);
    EXPECT_GE(nanoseconds(system_monotonic_now()) - nanoseconds(before), 3000000);
    EXPECT_EQ(nanoseconds(left), 0);
}

TEST_F(system_door, a_signal_ends_the_sleep_with_its_errno_and_the_rest_of_the_span) {
    struct sigaction handler {};
    struct sigaction former {};
    handler.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGALRM, &handler, &former), 0);
    const itimerval soon{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = 5000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &soon, nullptr), 0);
    system_time left{};
    EXPECT_EQ(system_sleep_for({.seconds = 100, .nanoseconds = 500}, left), EINTR);
    ASSERT_EQ(sigaction(SIGALRM, &former, nullptr), 0);
    EXPECT_GT(left.seconds, 50);
    EXPECT_LT(nanoseconds(left), nanoseconds({.seconds = 100, .nanoseconds = 500}));
}

TEST_F(system_door, a_span_that_is_none_gives_its_errno) {
    system_time left{};
    EXPECT_EQ(system_sleep_for({.seconds = 0, .nanoseconds = 1000000000}, left), EINVAL);
}

TEST_F(system_door, the_uptime_is_in_seconds_since_boot) {
    timespec since_boot{};
    clock_gettime(CLOCK_BOOTTIME, &since_boot);
    EXPECT_NEAR(static_cast<double>(system_uptime_s()), static_cast<double>(since_boot.tv_sec), 1.0);
}

TEST_F(system_door, the_wall_clock_is_in_seconds_since_1970) {
    const auto before = static_cast<std::int32_t>(time(nullptr));
    const std::int32_t now = system_wall_clock_s();
    EXPECT_GE(now, before);
    EXPECT_LE(now, before + 1);
}

// --- reading files ---

TEST_F(system_door, a_file_a_folder_and_a_link_to_one_exist) {
    EXPECT_FALSE(system_file_exists(path.c_str()));
    write_file(path, "");
    ASSERT_EQ(symlink("file", in_folder("link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", in_folder("dangling").c_str()), 0);
    EXPECT_TRUE(system_file_exists(path.c_str()));
    EXPECT_TRUE(system_file_exists(folder.c_str()));
    EXPECT_TRUE(system_file_exists(in_folder("link").c_str()));
    EXPECT_FALSE(system_file_exists(in_folder("dangling").c_str()));
}

TEST_F(system_door, a_file_is_read_from_its_start_up_to_the_capacity) {
    write_file(path, "0123456789");
    EXPECT_EQ(read_by_door(path, 100), "0123456789");
    EXPECT_EQ(read_by_door(path, 10), "0123456789");
    EXPECT_EQ(read_by_door(path, 4), "0123");
    EXPECT_EQ(read_by_door(path, 0), "");
    write_file(path, "");
    EXPECT_EQ(read_by_door(path), "");
}

TEST_F(system_door, what_cannot_be_opened_or_read_gives_minus_1_and_leaves_no_descriptor) {
    const int before = open_descriptors();
    EXPECT_EQ(read_by_door(path), "-1");
    EXPECT_EQ(read_by_door(folder), "-1");
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(system_door, reading_never_waits_for_a_pipes_writer) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(read_by_door(path), "");
    const int silent_writer = open(path.c_str(), O_RDWR);
    EXPECT_EQ(read_by_door(path), "-1");
    close(silent_writer);
}

TEST_F(system_door, a_file_whose_reading_a_signal_interrupts_is_read_whole) {
    write_file(path, "0123456789");
    next_calls_end(kernel_call::read, {EINTR, 0, EINTR});
    EXPECT_EQ(read_by_door(path, 100), "0123456789");
    EXPECT_TRUE(everything_was_handed_out());
}

TEST_F(system_door, a_file_that_comes_in_pieces_is_read_up_to_the_capacity_and_no_further) {
    write_file(path, "0123456789");
    for (const std::size_t capacity : {4U, 10U, 100U}) {
        next_read_gives_at_most(3);
        EXPECT_EQ(read_by_door(path, capacity), std::string("0123456789").substr(0, capacity));
        EXPECT_TRUE(everything_was_handed_out());
    }
}

TEST_F(system_door, a_medium_that_fails_while_a_file_is_read_gives_minus_1) {
    write_file(path, "0123456789");
    const int before = open_descriptors();
    next_calls_end(kernel_call::read, {0, EIO});
    EXPECT_EQ(read_by_door(path, 100), "-1");
    EXPECT_TRUE(everything_was_handed_out());
    EXPECT_EQ(open_descriptors(), before);
}

// --- appending ---

TEST_F(system_door, text_is_appended_to_a_file_that_is_created_under_the_umask) {
    umask(027);
    system_append_durably(path.c_str(), "one\n");
    EXPECT_EQ(permissions_of(path), 0640u);
    system_append_durably(path.c_str(), "two\n");
    system_append_durably(path.c_str(), "");
    EXPECT_EQ(contents_of(path), "one\ntwo\n");
}

TEST_F(system_door, appended_text_is_on_the_medium_before_the_call_returns) {
    system_append_durably(path.c_str(), "one\n");
    EXPECT_EQ(medium_story, (std::vector<std::string>{"sync file of 4 bytes", "sync folder"}));
}

TEST_F(system_door, appending_where_it_cannot_be_done_is_silent) {
    const int before = open_descriptors();
    system_append_durably(in_folder("no/where").c_str(), "lost");
    system_append_durably(folder.c_str(), "lost");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    system_append_durably(path.c_str(), "nobody reads");
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(names_in_folder(), 1u);
}

TEST_F(system_door, appending_to_what_is_full_and_no_file_is_silent) {
    const int before = open_descriptors();
    system_append_durably("/dev/full", "lost");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int pipe = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    while (write(pipe, "x", 1) == 1)
        continue;
    system_append_durably(path.c_str(), "lost");
    close(pipe);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(system_door, a_text_that_fits_in_part_leaves_nothing_of_itself_behind) {
    write_file(path, "one\n");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto signal_before = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit room_for_a_byte{.rlim_cur = 5, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &room_for_a_byte), 0);
    system_append_durably(path.c_str(), "10\n");
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, signal_before);
    EXPECT_EQ(contents_of(path), "one\n");
    system_append_durably(path.c_str(), "100\n");
    EXPECT_EQ(contents_of(path), "one\n100\n");
}

// --- replacing ---

TEST_F(system_door, replacing_creates_a_file_under_the_umask) {
    umask(027);
    EXPECT_TRUE(replace(path, std::string("new\0text", 8)));
    EXPECT_EQ(contents_of(path), std::string("new\0text", 8));
    EXPECT_EQ(permissions_of(path), 0640u);
    EXPECT_EQ(names_in_folder(), 1u);
}

TEST_F(system_door, a_reader_of_the_old_file_keeps_it_whole_while_it_is_replaced) {
    write_file(path, "old");
    const int reader = open(path.c_str(), O_RDONLY);
    ASSERT_TRUE(replace(path, "longer than before"));
    char text[100];
    EXPECT_EQ(read(reader, text, sizeof text), 3);
    close(reader);
    EXPECT_EQ(contents_of(path), "longer than before");
    EXPECT_EQ(names_in_folder(), 1u);
}

TEST_F(system_door, a_replaced_file_keeps_its_permissions) {
    for (const mode_t mode : {0600u, 0664u, 0444u}) {
        write_file(path, "old");
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        ASSERT_TRUE(replace(path, "new"));
        EXPECT_EQ(permissions_of(path), mode);
        EXPECT_EQ(contents_of(path), "new");
        unlink(path.c_str());
    }
}

TEST_F(system_door, the_new_contents_are_on_the_medium_before_they_take_the_name_and_the_name_before_the_return) {
    write_file(path, "old");
    ASSERT_TRUE(replace(path, "newer"));
    EXPECT_EQ(medium_story, (std::vector<std::string>{"sync file of 5 bytes", "rename", "sync folder"}));
}

TEST_F(system_door, a_path_without_a_folder_is_replaced_in_the_current_one) {
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    const bool replaced = replace("file", "new");
    std::filesystem::current_path(former);
    EXPECT_TRUE(replaced);
    EXPECT_EQ(contents_of(path), "new");
    EXPECT_EQ(medium_story.back(), "sync folder");
}

TEST_F(system_door, a_draft_that_a_power_cut_left_does_not_matter) {
    write_file(path + ".new", "torn and much longer than what follows");
    EXPECT_TRUE(replace(path, "new"));
    EXPECT_EQ(contents_of(path), "new");
    EXPECT_EQ(names_in_folder(), 1u);
}

TEST_F(system_door, a_link_or_a_pipe_in_the_drafts_place_is_neither_followed_nor_waited_for) {
    write_file(in_folder("target"), "somebody's data");
    ASSERT_EQ(symlink("target", (path + ".new").c_str()), 0);
    EXPECT_TRUE(replace(path, "new"));
    EXPECT_EQ(contents_of(in_folder("target")), "somebody's data");
    EXPECT_EQ(contents_of(path), "new");

    ASSERT_EQ(mkfifo((path + ".new").c_str(), 0600), 0);
    EXPECT_TRUE(replace(path, "newer"));
    EXPECT_EQ(contents_of(path), "newer");
}

TEST_F(system_door, a_folder_in_the_drafts_place_leaves_the_old_file) {
    write_file(path, "old");
    ASSERT_EQ(mkdir((path + ".new").c_str(), 0700), 0);
    EXPECT_FALSE(replace(path, "new"));
    EXPECT_EQ(contents_of(path), "old");
}

TEST_F(system_door, a_write_that_fails_leaves_the_old_file_and_no_draft) {
    write_file(path, "old");
    const auto former_handler = signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
    const rlimit two_bytes{.rlim_cur = 2, .rlim_max = former.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &two_bytes), 0);
    const bool replaced = replace(path, "new");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &former), 0);
    signal(SIGXFSZ, former_handler);
    EXPECT_FALSE(replaced);
    expect_old_file_alone();
}

TEST_F(system_door, a_sync_that_fails_leaves_the_old_file_and_no_draft) {
    write_file(path, "old");
    fsync_of_files_fails = true;
    EXPECT_FALSE(replace(path, "new"));
    expect_old_file_alone();
}

TEST_F(system_door, a_rename_that_fails_leaves_the_old_file_and_no_draft) {
    write_file(path, "old");
    rename_fails = true;
    EXPECT_FALSE(replace(path, "new"));
    expect_old_file_alone();
}

TEST_F(system_door, a_folder_is_not_replaced_and_no_draft_stays) {
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_FALSE(replace(path, "new"));
    EXPECT_TRUE(S_ISDIR(status_of(path).st_mode));
    EXPECT_EQ(names_in_folder(), 1u);
}

TEST_F(system_door, replacing_in_a_folder_that_does_not_exist_or_under_an_endless_name_fails) {
    const int before = open_descriptors();
    EXPECT_FALSE(replace(in_folder("no/where"), "new"));
    EXPECT_FALSE(replace(in_folder(std::string(5000, 'n')), "new"));
    EXPECT_FALSE(replace("/" + std::string(4095, '/') + "tmp/x", "new"));
    EXPECT_EQ(open_descriptors(), before);
}

// --- removing ---

TEST_F(system_door, a_file_is_removed_and_a_missing_one_is_no_trouble) {
    write_file(path, "old");
    system_remove_file(path.c_str());
    EXPECT_FALSE(exists(path));
    system_remove_file(path.c_str());
}

TEST_F(system_door, a_regular_file_survives_the_removal_of_what_is_none) {
    write_file(path, "old");
    system_remove_unless_regular(path.c_str());
    EXPECT_EQ(contents_of(path), "old");
    system_remove_unless_regular(in_folder("missing").c_str());
}

TEST_F(system_door, links_go_and_what_they_point_to_stays) {
    write_file(path, "old");
    ASSERT_EQ(symlink("file", in_folder("link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", in_folder("dangling").c_str()), 0);
    system_remove_unless_regular(in_folder("link").c_str());
    system_remove_unless_regular(in_folder("dangling").c_str());
    EXPECT_FALSE(exists(in_folder("link")));
    EXPECT_FALSE(exists(in_folder("dangling")));
    EXPECT_EQ(contents_of(path), "old");
}

TEST_F(system_door, a_folder_a_pipe_and_a_socket_go) {
    ASSERT_EQ(mkdir(in_folder("folder").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo(in_folder("pipe").c_str(), 0600), 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::strcpy(name.sun_path, in_folder("socket").c_str());
    const int made = socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_EQ(bind(made, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    close(made);
    for (const char* what : {"folder", "pipe", "socket"}) {
        system_remove_unless_regular(in_folder(what).c_str());
        EXPECT_FALSE(exists(in_folder(what))) << what;
    }
}

TEST_F(system_door, a_folder_that_is_not_empty_stays) {
    ASSERT_EQ(mkdir(in_folder("folder").c_str(), 0700), 0);
    write_file(in_folder("folder/inside"), "somebody's data");
    system_remove_unless_regular(in_folder("folder").c_str());
    EXPECT_EQ(contents_of(in_folder("folder/inside")), "somebody's data");
}

// --- pipes and writing ---

TEST_F(system_door, a_pipe_is_opened_read_write_without_blocking_and_closed_on_exec) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int opened = system_open_pipe(path.c_str());
    ASSERT_GE(opened, 0);
    EXPECT_EQ(fcntl(opened, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_TRUE(fcntl(opened, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(closes_on_exec(opened));
    EXPECT_EQ(system_write(opened, "trap", 4), 4);
    char text[10];
    EXPECT_EQ(read(opened, text, sizeof text), 4);
    system_close(opened);
}

TEST_F(system_door, a_link_in_the_pipes_place_is_not_followed) {
    ASSERT_EQ(mkfifo(in_folder("pipe").c_str(), 0600), 0);
    ASSERT_EQ(symlink("pipe", path.c_str()), 0);
    EXPECT_EQ(system_open_pipe(path.c_str()), -1);
}

TEST_F(system_door, a_pipe_that_is_missing_is_not_created) {
    EXPECT_EQ(system_open_pipe(path.c_str()), -1);
    EXPECT_FALSE(exists(path));
}

TEST_F(system_door, a_full_pipe_fails_the_write_without_waiting) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int opened = system_open_pipe(path.c_str());
    ASSERT_GE(opened, 0);
    const std::string page(4096, 'x');
    while (system_write(opened, page.data(), page.size()) > 0) {
    }
    EXPECT_EQ(system_write(opened, "trap", 4), -1);
    system_close(opened);
}

TEST_F(system_door, a_broken_pipe_fails_the_write_of_a_process_that_ignores_the_signal) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const auto former = signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(system_write(ends[1], "trap", 4), -1);
    signal(SIGPIPE, former);
    close(ends[1]);
    EXPECT_EQ(system_write(-1, "trap", 4), -1);
}

// --- process ---

TEST_F(system_door, a_command_runs_with_the_shell_to_its_end) {
    system_shell(("echo \"it's $((20 + 22))\" > " + path + "; exit 3").c_str());
    EXPECT_EQ(contents_of(path), "it's 42\n");
}

std::binary_semaphore thread_ran{0};

TEST_F(system_door, a_started_thread_runs_beside_its_starter_without_an_argument) {
    const auto entry = [](void* argument) -> void* {
        if (argument == nullptr) thread_ran.release();
        return nullptr;
    };
    EXPECT_EQ(system_start_thread(entry), 0);
    EXPECT_TRUE(thread_ran.try_acquire_for(std::chrono::seconds(20)));
}

#ifndef ALLOCATOR_IS_REPLACED
long resident_kib() {
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

TEST_F(system_door, memory_of_a_burst_goes_back_to_the_system) {
    constexpr std::size_t records = 400000;
    std::vector<char*> burst;
    burst.reserve(records);
    for (std::size_t i = 0; i < records; i++) {
        burst.push_back(static_cast<char*>(std::malloc(56)));
        burst.back()[0] = 1;
    }
    char* const last = static_cast<char*>(std::malloc(56));  // keeps the heap's end where it is
    last[0] = 1;
    const long full = resident_kib();
    for (char* record : burst)
        std::free(record);
    system_return_free_memory();
    const long trimmed = resident_kib();
    std::free(last);
    EXPECT_LT(trimmed, full - 15 * 1024);
}
#endif

}  // namespace
