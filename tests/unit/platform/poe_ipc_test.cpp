#include "platform/poe_ipc.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kernel_refusals.h"
#include "temporary_folder.h"

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Wide enough for a machine that is busy with something else; what is told apart is waiting from not waiting.
constexpr milliseconds promptly{900};

struct descriptor {
    int number = -1;
    descriptor() = default;
    explicit descriptor(int opened) : number(opened) {}
    descriptor(descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    descriptor& operator=(descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~descriptor() {
        if (number >= 0) close(number);
    }
};

// A socket address built here, not by the library.
std::pair<sockaddr_un, socklen_t> address(const std::string& path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path, path.data(), std::min(path.size(), sizeof name.sun_path));
    return {name,
            static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::min<std::size_t>(path.size() + 1, 108))};
}

descriptor bound(const std::string& path, int type = SOCK_DGRAM) {
    descriptor made(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    const auto [name, length] = address(path);
    if (bind(made.number, reinterpret_cast<const sockaddr*>(&name), length) != 0) ADD_FAILURE() << "bind " << path;
    if (type == SOCK_STREAM && listen(made.number, 1) != 0) ADD_FAILURE() << "listen " << path;
    return made;
}

// The bytes of a peer address as a receive hands them over, in memory of exactly that size.
std::vector<unsigned char> peer_bytes(std::uint16_t family, const std::string& path, bool ended_by_a_zero = true) {
    std::vector<unsigned char> peer(sizeof family + path.size() + (ended_by_a_zero ? 1 : 0));
    std::memcpy(peer.data(), &family, sizeof family);
    std::memcpy(peer.data() + sizeof family, path.data(), path.size());
    peer.shrink_to_fit();
    return peer;
}

std::optional<std::string> received_by(const descriptor& receiver) {
    std::array<char, 4096> buffer;
    const ssize_t length = recv(receiver.number, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (length < 0) return std::nullopt;
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

class ipc_library : public temporary_folder_test {
  protected:
    static constexpr int untouched = -77;
    std::string server_path = in_folder("server");
    mode_t former_umask = umask(022);

    ~ipc_library() override { umask(former_umask); }

    // The result of a bind; the socket it made, if any, in `made`.
    static int bind_to(const std::string& path, descriptor& made) {
        int number = untouched;
        const int result = __poe_drv_ipc_socket_and_bind_init(&number, path.c_str());
        if (result == 0) {
            made = descriptor(number);
        } else {
            EXPECT_EQ(number, untouched);
        }
        return result;
    }
    descriptor server() {
        descriptor made;
        EXPECT_EQ(bind_to(server_path, made), 0);
        return made;
    }
    static void expect_refused(const std::string& path) {
        const int before = open_descriptors();
        descriptor made;
        EXPECT_EQ(bind_to(path, made), -1) << path;
        EXPECT_EQ(open_descriptors(), before);
    }
    std::string name_of_length(std::size_t length) {
        const std::string prefix = folder + "/";
        return prefix + std::string(length - prefix.size(), 'n');
    }

    static int send_to(const descriptor& from, const std::vector<unsigned char>& peer, const std::string& data,
                       timeval* timeout) {
        return __poe_drv_ipc_send(from.number, peer.data(), data.data(), static_cast<int>(data.size()), timeout);
    }

    // Sends without waiting until the client has no room left.
    static int fill(const descriptor& from, const std::string& path) {
        int sent = 0;
        while (send_to(from, peer_bytes(AF_UNIX, path), "unread", nullptr) == 6)
            sent++;
        return sent;
    }
    template <typename work>
    static milliseconds time_of(work done) {
        const auto start = steady_clock::now();
        done();
        return duration_cast<milliseconds>(steady_clock::now() - start);
    }
};

// --- binding a name ---

TEST_F(ipc_library, a_bound_socket_receives_the_datagrams_that_are_sent_to_its_path) {
    const descriptor daemon = server();
    const descriptor client(socket(AF_UNIX, SOCK_DGRAM, 0));
    const auto [name, length] = address(server_path);
    ASSERT_EQ(sendto(client.number, "hello", 5, 0, reinterpret_cast<const sockaddr*>(&name), length), 5);
    EXPECT_EQ(received_by(daemon), "hello");
}

TEST_F(ipc_library, the_socket_file_is_for_owner_and_group_only_whatever_the_umask) {
    for (const mode_t mask : {0u, 022u, 077u, 0777u}) {
        umask(mask);
        const descriptor daemon = server();
        EXPECT_EQ(permissions_of(server_path), 0660u) << "umask " << std::oct << mask;
        EXPECT_EQ(umask(022), mask);
        unlink(server_path.c_str());
    }
}

TEST_F(ipc_library, the_socket_is_closed_on_exec) {
    const descriptor daemon = server();
    EXPECT_TRUE(fcntl(daemon.number, F_GETFD) & FD_CLOEXEC);
}

TEST_F(ipc_library, the_socket_is_a_local_datagram_socket) {
    const descriptor daemon = server();
    int type = 0;
    socklen_t length = sizeof type;
    ASSERT_EQ(getsockopt(daemon.number, SOL_SOCKET, SO_TYPE, &type, &length), 0);
    EXPECT_EQ(type, SOCK_DGRAM);
    ASSERT_EQ(getsockopt(daemon.number, SOL_SOCKET, SO_DOMAIN, &type, &length), 0);
    EXPECT_EQ(type, AF_UNIX);
}

TEST_F(ipc_library, a_socket_file_that_nobody_answers_on_is_replaced) {
    bound(server_path);
    ASSERT_TRUE(exists(server_path));
    const descriptor daemon = server();
    const descriptor client(socket(AF_UNIX, SOCK_DGRAM, 0));
    EXPECT_EQ(send_to(client, peer_bytes(AF_UNIX, server_path), "hello", nullptr), 5);
    EXPECT_EQ(received_by(daemon), "hello");
    EXPECT_EQ(permissions_of(server_path), 0660u);
}

TEST_F(ipc_library, a_stream_socket_file_that_nobody_listens_on_is_replaced) {
    bound(server_path, SOCK_STREAM);
    const descriptor daemon = server();
    EXPECT_GE(daemon.number, 0);
}

TEST_F(ipc_library, a_second_daemon_is_refused_and_the_first_one_goes_on_working) {
    const descriptor first = server();
    const ino_t file = status_of(server_path).st_ino;
    expect_refused(server_path);
    EXPECT_EQ(status_of(server_path).st_ino, file);
    const descriptor client(socket(AF_UNIX, SOCK_DGRAM, 0));
    EXPECT_EQ(send_to(client, peer_bytes(AF_UNIX, server_path), "still there", nullptr), 11);
    EXPECT_EQ(received_by(first), "still there");
}

TEST_F(ipc_library, a_first_daemon_whose_queue_is_full_is_still_left_alone) {
    const descriptor first = server();
    const descriptor client(socket(AF_UNIX, SOCK_DGRAM, 0));
    ASSERT_GT(fill(client, server_path), 0);
    expect_refused(server_path);
    EXPECT_EQ(received_by(first), "unread");
}

TEST_F(ipc_library, a_stream_socket_that_somebody_listens_on_is_left_alone) {
    const descriptor other = bound(server_path, SOCK_STREAM);
    expect_refused(server_path);
    EXPECT_TRUE(S_ISSOCK(status_of(server_path).st_mode));
}

TEST_F(ipc_library, a_regular_file_is_left_alone) {
    write_file(server_path, "somebody's data");
    expect_refused(server_path);
    EXPECT_EQ(contents_of(server_path), "somebody's data");
}

TEST_F(ipc_library, a_folder_a_pipe_and_links_are_left_alone) {
    ASSERT_EQ(mkdir(in_folder("folder").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo(in_folder("pipe").c_str(), 0600), 0);
    bound(in_folder("stale"));
    ASSERT_EQ(symlink("stale", in_folder("link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", in_folder("dangling").c_str()), 0);
    for (const char* name : {"folder", "pipe", "link", "dangling"}) {
        const mode_t before = status_of(in_folder(name)).st_mode;
        expect_refused(in_folder(name));
        EXPECT_EQ(status_of(in_folder(name)).st_mode, before) << name;
    }
    EXPECT_TRUE(exists(in_folder("stale")));
    EXPECT_FALSE(exists(in_folder("nowhere")));
}

TEST_F(ipc_library, a_name_in_a_folder_that_does_not_exist_is_refused) {
    expect_refused(in_folder("no/where"));
}

TEST_F(ipc_library, a_path_of_108_bytes_is_a_name) {
    const std::string path = name_of_length(108);
    descriptor daemon;
    ASSERT_EQ(bind_to(path, daemon), 0);
    EXPECT_TRUE(exists(path));
    EXPECT_EQ(permissions_of(path), 0660u);
    expect_refused(path);
}

TEST_F(ipc_library, a_stale_path_of_108_bytes_is_replaced) {
    const std::string path = name_of_length(108);
    bound(path);
    descriptor daemon;
    EXPECT_EQ(bind_to(path, daemon), 0);
}

TEST_F(ipc_library, a_path_of_109_bytes_is_refused) {
    expect_refused(name_of_length(109));
    EXPECT_FALSE(exists(name_of_length(108)));
    expect_refused(name_of_length(250));
}

TEST_F(ipc_library, an_empty_path_and_none_are_refused) {
    expect_refused("");
    int number = untouched;
    EXPECT_EQ(__poe_drv_ipc_socket_and_bind_init(&number, nullptr), -1);
    EXPECT_EQ(number, untouched);
}

TEST_F(ipc_library, a_path_without_a_folder_is_a_name_in_the_current_one) {
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    bound("here");
    descriptor daemon;
    const int result = bind_to("here", daemon);
    std::filesystem::current_path(former);
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(exists(in_folder("here")));
}

TEST_F(ipc_library, a_bind_waits_for_the_folders_lock_but_not_for_long) {
    const descriptor holder(open(folder.c_str(), O_RDONLY | O_DIRECTORY));
    ASSERT_EQ(flock(holder.number, LOCK_EX), 0);
    const milliseconds taken = time_of([&] { EXPECT_GE(server().number, 0); });
    EXPECT_GE(taken, milliseconds(200));
    EXPECT_LT(taken, milliseconds(200) + promptly);
}

TEST_F(ipc_library, of_daemons_that_start_over_a_stale_file_in_the_same_moment_exactly_one_gets_the_name) {
    constexpr int daemons = 6;
    for (int round = 0; round < 15; round++) {
        bound(server_path);
        int gate[2];
        int leave[2];
        ASSERT_EQ(pipe(gate), 0);
        ASSERT_EQ(pipe(leave), 0);
        int results[2];
        ASSERT_EQ(pipe(results), 0);
        std::vector<pid_t> children;
        for (int i = 0; i < daemons; i++) {
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                close(gate[1]);
                close(leave[1]);
                char byte;
                if (read(gate[0], &byte, 1) != 0) _exit(2);
                int number = -1;
                const char outcome = __poe_drv_ipc_socket_and_bind_init(&number, server_path.c_str()) == 0 ? 'y' : 'n';
                if (write(results[1], &outcome, 1) != 1) _exit(2);
                if (read(leave[0], &byte, 1) != 0) _exit(2);
                _exit(0);
            }
            children.push_back(child);
        }
        close(gate[1]);
        int winners = 0;
        for (int i = 0; i < daemons; i++) {
            char outcome = '?';
            ASSERT_EQ(read(results[0], &outcome, 1), 1);
            if (outcome == 'y') winners++;
        }
        EXPECT_EQ(winners, 1) << "round " << round;
        close(leave[1]);
        for (const pid_t child : children) {
            int status = 0;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0);
        }
        for (const int end : {gate[0], leave[0], results[0], results[1]})
            close(end);
        unlink(server_path.c_str());
    }
}

// --- binding a name where the kernel refuses ---

class refused_bind : public ipc_library {
  protected:
    // A socket file that nobody answers on, which a daemon would replace.
    void leave_a_stale_file() { bound(server_path); }
    void expect_refused_now() {
        expect_refused(server_path);
        EXPECT_TRUE(everything_was_handed_out());
    }
    void expect_refused_over_the_stale_file() {
        const ino_t file = status_of(server_path).st_ino;
        expect_refused_now();
        EXPECT_EQ(status_of(server_path).st_ino, file);
    }
};

TEST_F(refused_bind, without_a_socket_there_is_no_name) {
    next_calls_end(kernel_call::socket, {EMFILE});
    expect_refused_now();
    EXPECT_FALSE(exists(server_path));
}

TEST_F(refused_bind, a_name_that_is_gone_when_it_is_looked_at_is_not_tried_again) {
    next_calls_end(kernel_call::bind, {EADDRINUSE});
    expect_refused_now();
    EXPECT_FALSE(exists(server_path));
}

TEST_F(refused_bind, a_stale_file_stays_when_nobody_can_ask_whether_it_is_stale) {
    leave_a_stale_file();
    next_calls_end(kernel_call::socket, {0, EMFILE});
    expect_refused_over_the_stale_file();
}

TEST_F(refused_bind, a_stale_file_that_cannot_be_removed_stays) {
    leave_a_stale_file();
    next_calls_end(kernel_call::unlink, {EROFS});
    expect_refused_over_the_stale_file();
}

TEST_F(refused_bind, a_stale_name_that_somebody_else_takes_first_is_theirs) {
    leave_a_stale_file();
    next_calls_end(kernel_call::bind, {0, EADDRINUSE});
    expect_refused_now();
}

int send_buffer_of(int number) {
    int size = 0;
    socklen_t length = sizeof size;
    getsockopt(number, SOL_SOCKET, SO_SNDBUF, &size, &length);
    return size;  // the kernel keeps and reports twice what was asked for
}

bool may_exceed_the_limit() {
    const descriptor probe(socket(AF_UNIX, SOCK_DGRAM, 0));
    const int size = 8 * 1024 * 1024;
    return setsockopt(probe.number, SOL_SOCKET, SO_SNDBUFFORCE, &size, sizeof size) == 0;
}

// The system's own limit on a send buffer, which only root may exceed.
int send_buffer_limit() {
    std::ifstream file("/proc/sys/net/core/wmem_max");
    int limit = 0;
    file >> limit;
    return limit;
}

TEST_F(ipc_library, the_send_buffer_is_8_mib_where_the_process_may_exceed_the_limit_and_the_limit_elsewhere) {
    const int wanted = 8 * 1024 * 1024;
    const int allowed = may_exceed_the_limit() ? wanted : std::min(wanted, send_buffer_limit());
    EXPECT_EQ(send_buffer_of(server().number), 2 * allowed);
}

TEST_F(ipc_library, the_send_buffer_goes_up_to_the_limit_where_the_process_may_not_exceed_it) {
    const int limit = send_buffer_limit();
    ASSERT_GT(limit, 0);
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && setuid(65534) != 0) {
            // Root of a user namespace, who may not exceed the limit either.
        }
        int number = -1;
        if (__poe_drv_ipc_socket_and_bind_init(&number, server_path.c_str()) != 0) _exit(3);
        _exit(send_buffer_of(number) == 2 * std::min(limit, 8 * 1024 * 1024) ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// --- sending ---

class ipc_send : public ipc_library {
  protected:
    descriptor daemon = server();
    std::string client_path = in_folder("client");
    descriptor client = bound(client_path);
    std::vector<unsigned char> peer = peer_bytes(AF_UNIX, client_path);
    timeval one_ms{.tv_sec = 0, .tv_usec = 1000};
    timeval ten_s{.tv_sec = 10, .tv_usec = 0};
};

TEST_F(ipc_send, a_datagram_arrives_as_it_was_sent_from_the_servers_name) {
    const std::string data("\x06\0\0\xFFreply", 9);
    EXPECT_EQ(send_to(daemon, peer, data, &one_ms), 9);
    std::array<char, 100> buffer;
    sockaddr_un from{};
    socklen_t length = sizeof from;
    ASSERT_EQ(recvfrom(client.number, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &length), 9);
    EXPECT_EQ(std::string(buffer.data(), 9), data);
    EXPECT_EQ(from.sun_path, server_path);
}

TEST_F(ipc_send, a_send_without_a_timeout_goes_out_when_there_is_room) {
    EXPECT_EQ(send_to(daemon, peer, "reply", nullptr), 5);
    EXPECT_EQ(received_by(client), "reply");
}

TEST_F(ipc_send, what_stands_behind_the_paths_zero_is_not_looked_at) {
    auto longer = peer;
    longer.resize(112, 'x');
    EXPECT_EQ(send_to(daemon, longer, "reply", &one_ms), 5);
    EXPECT_EQ(received_by(client), "reply");
}

TEST_F(ipc_send, a_client_whose_name_fills_all_108_bytes_is_answered) {
    const std::string path = name_of_length(108);
    const descriptor long_client = bound(path);
    EXPECT_EQ(send_to(daemon, peer_bytes(AF_UNIX, path, false), "reply", &one_ms), 5);
    EXPECT_EQ(received_by(long_client), "reply");
}

TEST_F(ipc_send, no_more_than_108_bytes_of_the_path_are_looked_at) {
    const std::string path = name_of_length(108);
    const descriptor long_client = bound(path);
    EXPECT_EQ(send_to(daemon, peer_bytes(AF_UNIX, path + "more"), "reply", &one_ms), 5);
    EXPECT_EQ(received_by(long_client), "reply");
}

TEST_F(ipc_send, a_name_of_107_bytes_is_answered) {
    const std::string path = name_of_length(107);
    const descriptor long_client = bound(path);
    EXPECT_EQ(send_to(daemon, peer_bytes(AF_UNIX, path), "reply", &one_ms), 5);
    EXPECT_EQ(received_by(long_client), "reply");
}

TEST_F(ipc_send, other_families_than_the_local_one_are_refused) {
    for (int family = 0; family < 65536; family++) {
        if (family == AF_UNIX) continue;
        ASSERT_EQ(send_to(daemon, peer_bytes(static_cast<std::uint16_t>(family), client_path), "reply", &one_ms), -1);
    }
    EXPECT_EQ(received_by(client), std::nullopt);
}

TEST_F(ipc_send, a_client_without_a_name_is_refused) {
    // The shortest name outside the file system is what an empty path must not be taken for.
    const descriptor other(socket(AF_UNIX, SOCK_DGRAM, 0));
    const auto [name, length] = address("");
    ASSERT_EQ(bind(other.number, reinterpret_cast<const sockaddr*>(&name), length), 0);
    EXPECT_EQ(send_to(daemon, peer_bytes(AF_UNIX, ""), "reply", &ten_s), -1);
    EXPECT_EQ(received_by(other), std::nullopt);
    EXPECT_EQ(__poe_drv_ipc_send(daemon.number, nullptr, "reply", 5, &ten_s), -1);
}

TEST_F(ipc_send, a_client_named_outside_the_file_system_is_refused) {
    const descriptor abstract(socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path, "\0poe", 4);
    ASSERT_EQ(bind(abstract.number, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    std::vector<unsigned char> whole(sizeof name);
    std::memcpy(whole.data(), &name, sizeof name);
    EXPECT_EQ(send_to(daemon, whole, "reply", &one_ms), -1);
    EXPECT_EQ(received_by(abstract), std::nullopt);
}

TEST_F(ipc_send, a_negative_length_is_refused) {
    EXPECT_EQ(__poe_drv_ipc_send(daemon.number, peer.data(), "reply", -1, &one_ms), -1);
    EXPECT_EQ(received_by(client), std::nullopt);
}

TEST_F(ipc_send, a_datagram_of_no_bytes_is_sent) {
    EXPECT_EQ(send_to(daemon, peer, "", &one_ms), 0);
    EXPECT_EQ(received_by(client), "");
}

TEST_F(ipc_send, a_client_that_is_gone_fails_the_send_at_once) {
    client = descriptor();
    EXPECT_LT(time_of([&] { EXPECT_EQ(send_to(daemon, peer, "reply", &ten_s), -1); }), promptly);
    unlink(client_path.c_str());
    EXPECT_LT(time_of([&] { EXPECT_EQ(send_to(daemon, peer, "reply", &ten_s), -1); }), promptly);
}

TEST_F(ipc_send, a_descriptor_that_is_no_socket_fails_the_send_at_once) {
    EXPECT_EQ(__poe_drv_ipc_send(-1, peer.data(), "reply", 5, &ten_s), -1);
    const descriptor null(open("/dev/null", O_RDWR));
    EXPECT_LT(time_of([&] { EXPECT_EQ(send_to(null, peer, "reply", &ten_s), -1); }), promptly);
}

TEST_F(ipc_send, a_client_that_does_not_read_is_waited_for_as_long_as_the_timeout_and_no_longer) {
    ASSERT_GT(fill(daemon, client_path), 0);
    for (const int wait_ms : {1, 30, 60}) {
        timeval timeout{.tv_sec = 0, .tv_usec = wait_ms * 1000};
        const milliseconds taken = time_of([&] { EXPECT_EQ(send_to(daemon, peer, "reply", &timeout), -1); });
        EXPECT_GE(taken, milliseconds(wait_ms));
        EXPECT_LT(taken, milliseconds(wait_ms) + promptly);
    }
}

TEST_F(ipc_send, the_timeout_counts_its_seconds_too) {
    ASSERT_GT(fill(daemon, client_path), 0);
    timeval timeout{.tv_sec = 1, .tv_usec = 0};
    const milliseconds taken = time_of([&] { EXPECT_EQ(send_to(daemon, peer, "reply", &timeout), -1); });
    EXPECT_GE(taken, milliseconds(1000));
    EXPECT_LT(taken, milliseconds(1000) + promptly);
}

TEST_F(ipc_send, a_client_that_does_not_read_is_not_waited_for_without_a_timeout) {
    ASSERT_GT(fill(daemon, client_path), 0);
    timeval nothing{.tv_sec = 0, .tv_usec = 0};
    timeval negative{.tv_sec = -1, .tv_usec = 0};
    timeval negative_us{.tv_sec = 5, .tv_usec = -1};
    for (timeval* timeout : {static_cast<timeval*>(nullptr), &nothing, &negative, &negative_us}) {
        EXPECT_LT(time_of([&] { EXPECT_EQ(send_to(daemon, peer, "reply", timeout), -1); }), promptly);
    }
}

TEST_F(ipc_send, the_send_goes_out_as_soon_as_the_client_makes_room) {
    ASSERT_GT(fill(daemon, client_path), 0);
    timeval longest{.tv_sec = std::numeric_limits<decltype(timeval::tv_sec)>::max(), .tv_usec = 999999};
    for (timeval* timeout : {&ten_s, &longest}) {
        std::thread reader([&] {
            usleep(5000);  // the send is waiting by now; if it is not, the test proves less, but still holds
            EXPECT_EQ(received_by(client), "unread");
        });
        const milliseconds taken = time_of([&] { EXPECT_EQ(send_to(daemon, peer, "unread", timeout), 6); });
        reader.join();
        EXPECT_LT(taken, promptly);
    }
}

TEST_F(ipc_send, signals_neither_shorten_nor_end_the_wait) {
    ASSERT_GT(fill(daemon, client_path), 0);
    struct sigaction ignore {};
    struct sigaction former {};
    ignore.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGALRM, &ignore, &former), 0);
    const itimerval every_ms{.it_interval = {.tv_sec = 0, .tv_usec = 1000}, .it_value = {.tv_sec = 0, .tv_usec = 1000}};
    const itimerval never{};
    timeval timeout{.tv_sec = 0, .tv_usec = 40000};
    ASSERT_EQ(setitimer(ITIMER_REAL, &every_ms, nullptr), 0);
    const milliseconds taken = time_of([&] { EXPECT_EQ(send_to(daemon, peer, "reply", &timeout), -1); });
    ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
    ASSERT_EQ(sigaction(SIGALRM, &former, nullptr), 0);
    EXPECT_GE(taken, milliseconds(40));
    EXPECT_LT(taken, milliseconds(40) + promptly);
}

TEST_F(ipc_send, a_send_that_memory_or_a_signal_holds_up_goes_out_within_the_timeout) {
    for (const int error : {ENOBUFS, EINTR, EAGAIN}) {
        next_calls_end(kernel_call::sendto, {error, error});
        EXPECT_EQ(send_to(daemon, peer, "reply", &ten_s), 5) << std::strerror(error);
        EXPECT_EQ(received_by(client), "reply") << std::strerror(error);
        EXPECT_TRUE(everything_was_handed_out());
    }
}

TEST_F(ipc_send, a_send_that_would_go_out_later_fails_at_once_without_a_timeout) {
    for (const int error : {ENOBUFS, EINTR, EAGAIN}) {
        next_calls_end(kernel_call::sendto, {error});
        EXPECT_EQ(send_to(daemon, peer, "reply", nullptr), -1) << std::strerror(error);
        EXPECT_EQ(received_by(client), std::nullopt) << std::strerror(error);
        EXPECT_TRUE(everything_was_handed_out());
    }
}

TEST_F(ipc_send, the_timeout_is_left_as_it_was) {
    ASSERT_GT(fill(daemon, client_path), 0);
    EXPECT_EQ(send_to(daemon, peer, "reply", &one_ms), -1);
    EXPECT_EQ(one_ms.tv_sec, 0);
    EXPECT_EQ(one_ms.tv_usec, 1000);
}

TEST_F(ipc_send, a_broken_connection_raises_no_signal) {
    ASSERT_EQ(shutdown(daemon.number, SHUT_WR), 0);
    errno = 0;
    EXPECT_EQ(send_to(daemon, peer, "reply", &ten_s), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST_F(ipc_send, four_hundred_clients_that_never_read_leave_room_for_a_healthy_one) {
    const std::string reply(396, 'r');
    std::vector<descriptor> unread;
    // A smaller buffer, which is all that a user other than root may have, holds so many clients fewer.
    const int full_size = 2 * 8 * 1024 * 1024;
    const auto clients = static_cast<int>(std::int64_t{400} * send_buffer_of(daemon.number) / full_size);
    for (int i = 0; i < clients; i++) {
        const std::string path = in_folder("unread" + std::to_string(i));
        unread.push_back(bound(path));
        for (int request = 0; request < 12; request++)
            send_to(daemon, peer_bytes(AF_UNIX, path), reply, nullptr);
    }
    for (int i = 0; i < 20; i++) {
        ASSERT_EQ(send_to(daemon, peer, reply, nullptr), 396) << "reply " << i;
        ASSERT_EQ(received_by(client), reply);
    }
}

TEST_F(ipc_send, how_full_the_buffer_is_is_asked_once_in_many_sends) {
    constexpr int sends = 1000;
    const int before = calls_made(kernel_call::getsockopt);
    for (int i = 0; i < sends; i++) {
        ASSERT_EQ(send_to(daemon, peer, "reply", nullptr), 5);
        ASSERT_EQ(received_by(client), "reply");
    }
    const int asked = calls_made(kernel_call::getsockopt) - before;
    EXPECT_GE(asked, 1);
    EXPECT_LE(asked, sends / 20);  // as often as that only where the buffer is small
}

// Sends to a client that is connected to the daemon and does not read, until it gets nothing more.
class ipc_send_to_a_connected_client : public ipc_send {
  protected:
    static constexpr int more_than_fit = 1000000;
    const std::string reply = std::string(396, 'r');
    const std::string connected_path = in_folder("connected");
    descriptor connected = bound(connected_path);
    std::vector<unsigned char> connected_peer = peer_bytes(AF_UNIX, connected_path);

    ipc_send_to_a_connected_client() { connect_to(server_path); }
    void connect_to(const std::string& path) {
        const auto [name, length] = address(path);
        EXPECT_EQ(connect(connected.number, reinterpret_cast<const sockaddr*>(&name), length), 0);
    }
    int sent_without_a_read() {
        int sent = 0;
        while (sent < more_than_fit && send_to(daemon, connected_peer, reply, nullptr) > 0)
            sent++;
        return sent;
    }
    static void make_buffer_small(const descriptor& one) {
        const int size = 100 * 1024;
        ASSERT_EQ(setsockopt(one.number, SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
    }
    static void expect_about_half_unread(const descriptor& one) {
        int unread = 0;
        ASSERT_EQ(ioctl(one.number, SIOCOUTQ, &unread), 0);
        EXPECT_GT(unread, send_buffer_of(one.number) / 2);
        EXPECT_LT(unread, send_buffer_of(one.number) * 3 / 4);
    }
};

TEST_F(ipc_send_to_a_connected_client, one_that_never_reads_leaves_half_of_the_buffer_to_the_others) {
    EXPECT_GT(sent_without_a_read(), 12);
    const int before = open_descriptors();
    EXPECT_EQ(send_to(daemon, connected_peer, reply, &ten_s), -1);
    EXPECT_EQ(open_descriptors(), before);
    expect_about_half_unread(daemon);
    for (int i = 0; i < 20; i++) {
        ASSERT_EQ(send_to(daemon, peer, reply, nullptr), 396) << "reply " << i;
        ASSERT_EQ(received_by(client), reply);
    }
}

TEST_F(ipc_send_to_a_connected_client, another_sockets_room_is_not_taken_for_this_ones) {
    const std::string other_path = in_folder("other");
    descriptor other;
    ASSERT_EQ(bind_to(other_path, other), 0);
    make_buffer_small(other);
    connect_to(other_path);
    do {
        ASSERT_EQ(send_to(daemon, peer, reply, nullptr), 396);
        ASSERT_EQ(received_by(client), reply);
    } while (send_to(other, connected_peer, reply, nullptr) > 0);
    expect_about_half_unread(other);
}

TEST_F(ipc_send_to_a_connected_client, a_closed_sockets_room_is_not_taken_for_that_of_the_next_with_its_number) {
    ASSERT_EQ(send_to(daemon, peer, reply, nullptr), 396);
    const int number = daemon.number;
    { const descriptor closed = std::move(daemon); }
    daemon = server();
    ASSERT_EQ(daemon.number, number);
    make_buffer_small(daemon);
    connect_to(server_path);
    sent_without_a_read();
    expect_about_half_unread(daemon);
}

TEST_F(ipc_send_to_a_connected_client, one_that_reads_again_is_answered_again) {
    const int unread = sent_without_a_read();
    for (int i = 0; i < unread; i++)
        ASSERT_EQ(received_by(connected), reply);
    EXPECT_EQ(send_to(daemon, connected_peer, reply, nullptr), 396);
    EXPECT_EQ(received_by(connected), reply);
}

TEST_F(ipc_send_to_a_connected_client, one_that_never_reads_does_not_make_another_that_is_gone_look_connected) {
    ASSERT_GT(sent_without_a_read(), 12);
    client = descriptor();
    EXPECT_EQ(send_to(daemon, peer, reply, nullptr), -1);
    EXPECT_EQ(errno, ECONNREFUSED);  // what the kernel says about the send, so there was one
}

TEST_F(ipc_send_to_a_connected_client, where_nobody_can_tell_how_full_the_buffer_is_nothing_is_held_back_once) {
    ASSERT_GT(sent_without_a_read(), 12);
    next_calls_end(kernel_call::getsockopt, {ENOBUFS, ENOBUFS});
    EXPECT_EQ(send_to(daemon, connected_peer, reply, nullptr), 396);
    EXPECT_EQ(send_to(daemon, connected_peer, reply, nullptr), 396);
    EXPECT_TRUE(everything_was_handed_out());
    EXPECT_EQ(send_to(daemon, connected_peer, reply, nullptr), -1);
}

TEST_F(ipc_send_to_a_connected_client, nothing_is_held_back_either_where_there_is_no_socket_to_ask) {
    EXPECT_EQ(__poe_drv_ipc_send(-1, connected_peer.data(), "reply", 5, nullptr), -1);
    EXPECT_EQ(errno, EBADF);  // what the kernel says about the send, so there was one
}

TEST_F(ipc_send_to_a_connected_client, one_that_reads_is_always_answered) {
    for (int i = 0; i < 100; i++) {
        ASSERT_EQ(send_to(daemon, connected_peer, reply, nullptr), 396);
        ASSERT_EQ(received_by(connected), reply);
    }
}

}  // namespace
