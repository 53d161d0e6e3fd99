#include "poe_client/connection.h"

#include <grp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "client/fake_daemon.h"
#include "poe_client/requests.h"

namespace {

using namespace poe_client;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::chrono::milliseconds never_reached{20000};   // an answer comes long before
constexpr std::chrono::milliseconds soon{2};                // no answer comes
constexpr std::chrono::milliseconds first_unanswered{300};  // the second attempt is answered well within

const fake_daemon::script silent = [](const message&, std::size_t) { return std::vector<message>{}; };

TEST(connection, an_answer_is_handed_over) {
    fake_daemon daemon(healthy());
    connection to_it(daemon.socket_path(), never_reached);
    const auto queue = get_deepest_queue(to_it);
    ASSERT_TRUE(queue.ok());
    EXPECT_EQ(queue.value, 3U);
}

TEST(connection, foreign_replies_before_the_answer_are_dropped) {
    fake_daemon daemon([](const message&, std::size_t) {
        message too_short = message_bytes("port_3_settings"), too_long = too_short;
        too_short.pop_back();
        too_long.push_back(0);
        message another_port = message_bytes("port_3_settings");
        another_port[8] = 1;
        return std::vector<message>{{},
                                    {1},
                                    message(8000, 1),
                                    too_short,
                                    too_long,
                                    another_port,
                                    message_bytes("system_settings"),
                                    message_bytes("all_port_status"),
                                    message_bytes("port_3_settings")};
    });
    connection to_it(daemon.socket_path(), never_reached);
    const auto settings = get_port_settings(to_it, 3);
    ASSERT_TRUE(settings.ok());
    EXPECT_EQ(settings.value.power_limit_dw, 154U);
}

TEST(connection, only_foreign_replies_are_a_timeout) {
    fake_daemon daemon([](const message&, std::size_t) { return std::vector<message>{{1, 2, 3}}; });
    connection to_it(daemon.socket_path(), soon);
    EXPECT_EQ(get_deepest_queue(to_it).error.kind, failure_kind::timeout);
}

TEST(connection, an_unanswered_query_is_asked_once_more) {
    fake_daemon daemon([](const message& request, std::size_t number) {
        return number == 0 ? std::vector<message>{} : healthy()(request, number);
    });
    connection to_it(daemon.socket_path(), first_unanswered);
    EXPECT_TRUE(get_deepest_queue(to_it).ok());
    EXPECT_THAT(daemon.requests(), SizeIs(2));
    EXPECT_EQ(daemon.requests()[0].bytes, daemon.requests()[1].bytes);
}

TEST(connection, a_query_is_not_asked_a_third_time) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), soon);
    EXPECT_EQ(get_whole_status(to_it).error.kind, failure_kind::timeout);
    // The daemon's socket hands datagrams on in order: when a later request is there, all earlier ones are.
    connection another(daemon.socket_path(), soon);
    EXPECT_EQ(get_power_bank(another).error.kind, failure_kind::timeout);
    while (daemon.requests().empty() || daemon.requests().back().bytes.front() != 14)
        std::this_thread::yield();
    EXPECT_EQ(std::ranges::count_if(daemon.requests(), [](const auto& r) { return r.bytes.front() == 11; }), 2);
}

TEST(connection, an_unanswered_setting_is_not_sent_again) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), soon);
    EXPECT_EQ(power_cycle(to_it, 1).kind, failure_kind::timeout);
    EXPECT_EQ(get_power_bank(to_it).error.kind, failure_kind::timeout);
    while (daemon.requests().empty() || daemon.requests().back().bytes.front() != 14)
        std::this_thread::yield();
    EXPECT_EQ(std::ranges::count_if(daemon.requests(), [](const auto& r) { return r.bytes.front() == 143; }), 1);
}

TEST(connection, a_refused_query_is_not_asked_again) {
    fake_daemon daemon(
        [](const message&, std::size_t) { return std::vector<message>{message_bytes("port_settings_refused")}; });
    connection to_it(daemon.socket_path(), never_reached);
    EXPECT_EQ(get_port_settings(to_it, 7).error.kind, failure_kind::refused);
    EXPECT_THAT(daemon.requests(), SizeIs(1));
}

TEST(connection, a_malformed_answer_is_told_from_none) {
    fake_daemon daemon([](const message&, std::size_t) {
        return std::vector<message>{message_bytes("all_port_settings_out_of_order")};
    });
    connection to_it(daemon.socket_path(), never_reached);
    EXPECT_EQ(get_all_port_settings(to_it).error.kind, failure_kind::malformed);
}

TEST(connection, every_attempt_has_a_name_of_its_own_in_one_private_folder) {
    fake_daemon daemon([](const message& request, std::size_t number) {
        return number == 0 ? std::vector<message>{} : healthy()(request, number);
    });
    connection to_it(daemon.socket_path(), first_unanswered);
    EXPECT_TRUE(get_deepest_queue(to_it).ok());
    const auto requests = daemon.requests();
    ASSERT_THAT(requests, SizeIs(2));
    EXPECT_NE(requests[0].client, requests[1].client);
    const auto folder = std::filesystem::path(requests[0].client).parent_path();
    EXPECT_EQ(std::filesystem::path(requests[1].client).parent_path(), folder);
    EXPECT_EQ(folder.parent_path(), daemon.folder.path) << "beside the daemon's socket";
    struct stat status {};
    ASSERT_EQ(stat(folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

TEST(connection, a_late_answer_finds_nobody) {
    fake_daemon daemon([](const message& request, std::size_t number) {
        return number == 0 ? std::vector<message>{} : healthy()(request, number);
    });
    connection to_it(daemon.socket_path(), first_unanswered);
    EXPECT_EQ(set_power_bank(to_it, {100, 0}).kind, failure_kind::timeout);
    const std::string old_name = daemon.requests().at(0).client;
    EXPECT_FALSE(daemon.send_to(old_name, message_bytes("set_power_bank_accepted")));
    EXPECT_EQ(set_power_bank(to_it, {100, 0}).kind, failure_kind::none);
}

TEST(connection, a_stranger_cannot_answer_in_the_daemons_place) {
    int refused_with = 0;
    fake_daemon* self = nullptr;
    std::mutex ready;
    ready.lock();
    fake_daemon daemon([&](const message& request, std::size_t number) {
        const std::lock_guard held(ready);
        const std::string client = self->requests().at(number).client;
        const int stranger = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, client.c_str(), client.size());
        const message lie = message_bytes("set_port_refused");
        const auto sent =
            sendto(stranger, lie.data(), lie.size(), 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        refused_with = sent < 0 ? errno : 0;
        close(stranger);
        return healthy()(request, number);
    });
    self = &daemon;
    ready.unlock();
    connection to_it(daemon.socket_path(), never_reached);
    EXPECT_EQ(set_port(to_it, 0, {}).kind, failure_kind::none);
    EXPECT_EQ(refused_with, EPERM);
}

TEST(connection, names_are_gone_after_each_answer_and_the_folder_with_the_connection) {
    fake_daemon daemon(healthy());
    {
        connection to_it(daemon.socket_path(), never_reached);
        EXPECT_TRUE(get_deepest_queue(to_it).ok());
        const auto entries = daemon.folder.entries();
        ASSERT_THAT(entries, SizeIs(2)) << "the daemon's socket and the client's folder";
        EXPECT_FALSE(std::filesystem::exists(daemon.requests().at(0).client));
    }
    EXPECT_THAT(daemon.folder.entries(), ElementsAre("daemon"));
}

TEST(connection, a_daemon_that_was_started_again_is_found_by_the_same_connection) {
    const temporary_folder folder;
    fake_daemon first(healthy()), second(healthy());
    const std::string path = folder.path + "/daemon";
    std::filesystem::create_symlink(first.socket_path(), path);
    connection to_it(path, never_reached);
    EXPECT_TRUE(get_deepest_queue(to_it).ok());
    std::filesystem::remove(path);
    EXPECT_EQ(get_deepest_queue(to_it).error.kind, failure_kind::no_daemon);
    std::filesystem::create_symlink(second.socket_path(), path);
    EXPECT_TRUE(get_deepest_queue(to_it).ok());
    EXPECT_THAT(second.requests(), SizeIs(1));
}

TEST(connection, no_socket_at_the_path_is_no_daemon) {
    const temporary_folder folder;
    connection to_it(folder.path + "/nothing", soon);
    EXPECT_EQ(get_deepest_queue(to_it).error, (failure{failure_kind::no_daemon, ENOENT}));
    EXPECT_THAT(folder.entries(), IsEmpty()) << "nothing is left behind, and nothing was made";
}

TEST(connection, a_socket_that_nobody_has_open_is_no_daemon) {
    const temporary_folder folder;
    const std::string path = folder.path + "/stale";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int dead = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(dead, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(dead);
    connection to_it(path, soon);
    EXPECT_EQ(get_deepest_queue(to_it).error, (failure{failure_kind::no_daemon, ECONNREFUSED}));
}

TEST(connection, a_file_that_is_no_socket_is_no_daemon) {
    const temporary_folder folder;
    std::ofstream(folder.path + "/file") << "text";
    connection to_it(folder.path + "/file", soon);
    EXPECT_EQ(get_deepest_queue(to_it).error.kind, failure_kind::no_daemon);
}

TEST(connection, a_path_too_long_for_a_socket_is_no_daemon) {
    connection to_it("/tmp/" + std::string(200, 'x'), soon);
    EXPECT_EQ(get_deepest_queue(to_it).error, (failure{failure_kind::no_daemon, ENAMETOOLONG}));
    connection nowhere("", soon);
    EXPECT_EQ(get_deepest_queue(nowhere).error.kind, failure_kind::no_daemon);
}

// As nobody, in a child: root may do anything.
TEST(connection, a_socket_that_this_user_may_not_write_to_is_not_permitted) {
    fake_daemon daemon(healthy());
    ASSERT_EQ(chmod(daemon.folder.path.c_str(), 0755), 0);
    ASSERT_EQ(chmod(daemon.socket_path().c_str(), getuid() == 0 ? 0700 : 0), 0);
    const pid_t child = fork();
    if (child == 0) {
        constexpr uid_t nobody = 65534;
        if (getuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(99);
        connection to_it(daemon.socket_path(), soon);
        const auto outcome = get_deepest_queue(to_it).error;
        _exit(outcome == failure{failure_kind::not_permitted, EACCES} ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_THAT(daemon.requests(), IsEmpty());
}

TEST(connection, a_daemon_whose_queue_stays_full_is_a_timeout_and_is_not_waited_for_longer) {
    const temporary_folder folder;
    const std::string path = folder.path + "/full";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int deaf = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int filler = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ASSERT_EQ(bind(deaf, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    while (sendto(filler, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 1)
        continue;
    connection to_it(path, soon);
    EXPECT_EQ(get_deepest_queue(to_it).error.kind, failure_kind::timeout);
    close(filler);
    close(deaf);
}

TEST(daemon_socket_path, is_the_argument_before_the_environment_before_the_usual_path) {
    ASSERT_EQ(setenv("POE_DRV_SOCKET", "/named/by/environment", 1), 0);
    EXPECT_EQ(daemon_socket_path("/named/by/argument"), "/named/by/argument");
    EXPECT_EQ(daemon_socket_path(), "/named/by/environment");
    ASSERT_EQ(setenv("POE_DRV_SOCKET", "", 1), 0);
    EXPECT_EQ(daemon_socket_path(), "/tmp/poe_driver_ipc_socket_server.txt");
    ASSERT_EQ(unsetenv("POE_DRV_SOCKET"), 0);
    EXPECT_EQ(daemon_socket_path(), "/tmp/poe_driver_ipc_socket_server.txt");
}

}  // namespace
