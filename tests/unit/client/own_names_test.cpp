#include "poe_client/own_folder.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "client/fake_daemon.h"
#include "poe_client/own_names.h"
#include "poe_client/requests.h"

namespace {

using namespace poe_client;
using testing::IsEmpty;
using testing::SizeIs;

// A child that runs `body` with a connection that has a folder and, while the daemon keeps silent, a socket.
template <typename function>
pid_t child_that(const function& body) {
    const pid_t child = fork();
    if (child == 0) {
        body();
        _exit(0);
    }
    return child;
}

int status_of(pid_t child) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

TEST(own_folder, names_are_different_and_lie_in_one_private_folder_beside_the_daemons_socket) {
    const temporary_folder place;
    own_folder names;
    const std::string first = names.new_socket_name(place.path + "/daemon");
    const std::string second = names.new_socket_name(place.path + "/daemon");
    EXPECT_NE(first, second);
    EXPECT_EQ(std::filesystem::path(first).parent_path(), names.path());
    EXPECT_EQ(std::filesystem::path(second).parent_path(), names.path());
    EXPECT_EQ(std::filesystem::path(names.path()).parent_path(), place.path);
    struct stat status {};
    ASSERT_EQ(stat(names.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

TEST(own_folder, two_connections_of_one_process_have_two_folders) {
    const temporary_folder place;
    own_folder one, other;
    EXPECT_NE(one.new_socket_name(place.path + "/daemon"), other.new_socket_name(place.path + "/daemon"));
    EXPECT_THAT(place.entries(), SizeIs(2));
}

TEST(own_folder, is_in_tmp_when_there_can_be_none_beside_the_daemons_socket) {
    for (const std::string& impossible : {std::string("/proc/daemon"), "/tmp/" + std::string(90, 'x') + "/daemon"}) {
        own_folder names;
        const std::string name = names.new_socket_name(impossible);
        EXPECT_EQ(std::filesystem::path(name).parent_path().parent_path(), "/tmp") << impossible;
    }
}

TEST(own_folder, of_a_relative_socket_path_is_absolute) {
    own_folder names;
    EXPECT_TRUE(std::filesystem::path(names.new_socket_name("daemon")).is_absolute());
}

TEST(own_folder, goes_away_with_its_owner_also_when_it_was_handed_on) {
    const temporary_folder place;
    {
        own_folder first;
        std::ofstream(first.new_socket_name(place.path + "/daemon"));
        own_folder second(std::move(first));
        own_folder third;
        third = std::move(second);
        EXPECT_THAT(place.entries(), SizeIs(1));
    }
    EXPECT_THAT(place.entries(), IsEmpty());
}

TEST(own_names, of_more_connections_than_the_table_holds_go_away_too) {
    const temporary_folder place;
    {
        std::vector<own_folder> many(100);
        for (auto& names : many)
            EXPECT_FALSE(names.new_socket_name(place.path + "/daemon").empty());
        EXPECT_THAT(place.entries(), SizeIs(100));
    }
    EXPECT_THAT(place.entries(), IsEmpty());
}

TEST(own_names, are_gone_after_exit_without_a_destructor) {
    const temporary_folder place;
    const int status = status_of(child_that([&] {
        own_folder never_destroyed;  // exit() leaves locals alone
        std::ofstream(never_destroyed.new_socket_name(place.path + "/daemon"));
        std::exit(place.entries().size() == 1 ? 0 : 1);
    }));
    EXPECT_EQ(status, 0);
    EXPECT_THAT(place.entries(), IsEmpty());
}

TEST(own_names, of_a_parent_survive_its_childs_exit) {
    const temporary_folder place;
    own_folder names;
    std::ofstream(names.new_socket_name(place.path + "/daemon"));
    status_of(child_that([] { remove_own_names(); }));
    EXPECT_THAT(place.entries(), SizeIs(1));
    EXPECT_FALSE(std::filesystem::is_empty(names.path()));
}

class own_names_on_a_signal : public testing::TestWithParam<int> {};

// No thread here beside the fork: the thread sanitizer leaves a child of several threads without its signals.
TEST_P(own_names_on_a_signal, are_removed_and_the_process_dies_of_it) {
    const temporary_folder place;
    const std::string path = place.path + "/daemon";
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int silent_daemon = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(silent_daemon, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const pid_t child = child_that([&] {
        signal(GetParam(), SIG_DFL);  // whoever started the tests may ignore it
        remove_own_names_on_signals();
        connection to_it(path, std::chrono::seconds(60));
        get_deepest_queue(to_it);
    });
    char request = 0;
    sockaddr_un client{};
    socklen_t client_length = sizeof client;
    // When the request is here, the child has its socket and waits.
    ASSERT_EQ(recvfrom(silent_daemon, &request, 1, 0, reinterpret_cast<sockaddr*>(&client), &client_length), 1);
    EXPECT_TRUE(std::filesystem::exists(client.sun_path));
    ASSERT_EQ(kill(child, GetParam()), 0);
    const int status = status_of(child);
    close(silent_daemon);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), GetParam());
    EXPECT_THAT(place.entries(), testing::ElementsAre("daemon"));
}

INSTANTIATE_TEST_SUITE_P(all, own_names_on_a_signal, testing::Values(SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE),
                         [](const auto& row) { return std::string(sigabbrev_np(row.param)); });

TEST(own_names, a_signal_that_was_ignored_stays_ignored) {
    const int status = status_of(child_that([] {
        signal(SIGHUP, SIG_IGN);
        remove_own_names_on_signals();
        raise(SIGHUP);
    }));
    EXPECT_EQ(status, 0);
}

TEST(own_names, a_programs_own_handler_stays) {
    const int status = status_of(child_that([] {
        signal(SIGTERM, [](int) { _exit(7); });
        remove_own_names_on_signals();
        raise(SIGTERM);
    }));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

}  // namespace
