#include "poe_client/pending.h"

#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "client/fake_daemon.h"
#include "poe_client/requests.h"

namespace {

using namespace poe_client;
using testing::SizeIs;

constexpr std::chrono::milliseconds never_reached{60000};
constexpr std::chrono::milliseconds soon{2};
constexpr std::chrono::milliseconds first_unanswered{300};  // the second attempt is answered well within
constexpr int patience_ms = 20000;

const fake_daemon::script silent = [](const message&, std::size_t) { return std::vector<message>{}; };

// While one of these is there, this process can open nothing.
class no_descriptors_left {
  public:
    no_descriptors_left() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~no_descriptors_left() { setrlimit(RLIMIT_NOFILE, &before_); }
    no_descriptors_left(const no_descriptors_left&) = delete;
    no_descriptors_left& operator=(const no_descriptors_left&) = delete;

  private:
    rlimit before_{};
};

bool is_readable(int descriptor, int timeout_ms = 0) {
    pollfd watched{descriptor, POLLIN, 0};
    return poll(&watched, 1, timeout_ms) == 1;
}

// A loop as a caller has one: nothing but the descriptor wakes it.
template <typename answer>
result<answer> outcome_of(connection& daemon, pending<answer>& asked) {
    while (is_readable(daemon.descriptor(), patience_ms)) {
        if (const auto done = asked.take()) return *done;
    }
    ADD_FAILURE() << "nothing woke the loop";
    return {};
}

TEST(pending, an_answer_wakes_the_loop_and_is_taken) {
    fake_daemon daemon(healthy());
    connection to_it(daemon.socket_path(), never_reached);
    auto asked = begin_get_deepest_queue(to_it);
    const auto queue = outcome_of(to_it, asked);
    ASSERT_TRUE(queue.ok());
    EXPECT_EQ(queue.value, 3U);
    EXPECT_FALSE(is_readable(to_it.descriptor()));
}

TEST(pending, nothing_wakes_the_loop_while_the_answer_is_still_to_come) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), never_reached);
    auto asked = begin_get_deepest_queue(to_it);
    EXPECT_FALSE(asked.take().has_value());
    EXPECT_FALSE(is_readable(to_it.descriptor()));
    while (daemon.requests().empty())
        std::this_thread::yield();
    EXPECT_TRUE(daemon.send_to(daemon.requests()[0].client, message_bytes("deepest_queue")));
    EXPECT_TRUE(outcome_of(to_it, asked).ok());
}

TEST(pending, a_timeout_wakes_the_loop) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), soon);
    auto asked = begin_power_cycle(to_it, 1);
    EXPECT_EQ(outcome_of(to_it, asked).error, (failure{failure_kind::timeout, 0}));
    EXPECT_FALSE(is_readable(to_it.descriptor()));
}

TEST(pending, an_unanswered_query_is_asked_once_more_behind_the_same_descriptor) {
    fake_daemon daemon([](const message& request, std::size_t number) {
        return number == 0 ? std::vector<message>{} : healthy()(request, number);
    });
    connection to_it(daemon.socket_path(), first_unanswered);
    const int descriptor = to_it.descriptor();
    auto asked = begin_get_deepest_queue(to_it);
    EXPECT_TRUE(outcome_of(to_it, asked).ok());
    EXPECT_EQ(to_it.descriptor(), descriptor);
    const auto requests = daemon.requests();
    ASSERT_THAT(requests, SizeIs(2));
    EXPECT_NE(requests[0].client, requests[1].client);
}

TEST(pending, a_daemon_that_is_not_there_is_an_outcome_like_any_other) {
    const temporary_folder folder;
    connection to_it(folder.path + "/nothing", never_reached);
    auto asked = begin_get_deepest_queue(to_it);
    EXPECT_EQ(outcome_of(to_it, asked).error, (failure{failure_kind::no_daemon, ENOENT}));
    EXPECT_FALSE(is_readable(to_it.descriptor()));
}

TEST(pending, a_refusal_is_taken) {
    fake_daemon daemon(healthy(1));
    connection to_it(daemon.socket_path(), never_reached);
    auto asked = begin_set_port(to_it, 4, {});
    EXPECT_EQ(outcome_of(to_it, asked).error.kind, failure_kind::refused);
}

TEST(pending, foreign_replies_wake_the_loop_for_nothing) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), never_reached);
    auto asked = begin_get_deepest_queue(to_it);
    while (daemon.requests().empty())
        std::this_thread::yield();
    const std::string client = daemon.requests()[0].client;
    EXPECT_TRUE(daemon.send_to(client, message_bytes("power_bank")));
    EXPECT_TRUE(is_readable(to_it.descriptor(), patience_ms));
    EXPECT_FALSE(asked.take().has_value());
    EXPECT_FALSE(is_readable(to_it.descriptor()));
    EXPECT_TRUE(daemon.send_to(client, message_bytes("deepest_queue")));
    EXPECT_TRUE(outcome_of(to_it, asked).ok());
}

TEST(pending, an_outcome_is_given_again) {
    fake_daemon daemon(healthy());
    connection to_it(daemon.socket_path(), never_reached);
    auto asked = begin_get_deepest_queue(to_it);
    outcome_of(to_it, asked);
    ASSERT_TRUE(asked.take().has_value());
    EXPECT_EQ(asked.take()->value, 3U);
}

TEST(pending, a_connection_takes_one_request_at_a_time) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), never_reached);
    const auto first = begin_get_deepest_queue(to_it);
    constexpr failure busy{failure_kind::own_socket, EBUSY};
    auto second = begin_get_power_bank(to_it);
    ASSERT_TRUE(second.take().has_value());
    EXPECT_EQ(second.take()->error, busy);
    EXPECT_EQ(get_power_bank(to_it).error, busy);
}

TEST(pending, the_next_request_begins_when_the_one_before_was_taken) {
    fake_daemon daemon(healthy());
    connection to_it(daemon.socket_path(), never_reached);
    for (int i = 0; i < 3; i++) {
        auto asked = begin_get_deepest_queue(to_it);
        EXPECT_TRUE(outcome_of(to_it, asked).ok());
        EXPECT_EQ(get_power_bank(to_it).value.limit_w, 300);
    }
}

TEST(pending, what_was_cancelled_leaves_no_name_and_no_answer) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), never_reached);
    auto asked = begin_get_deepest_queue(to_it);
    while (daemon.requests().empty())
        std::this_thread::yield();
    const std::string name = daemon.requests()[0].client;
    EXPECT_TRUE(std::filesystem::exists(name));
    asked.cancel();
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_FALSE(is_readable(to_it.descriptor()));
    ASSERT_TRUE(asked.take().has_value());
    EXPECT_EQ(asked.take()->error, (failure{failure_kind::timeout, ECANCELED}));
    EXPECT_FALSE(begin_get_deepest_queue(to_it).take().has_value()) << "the next may begin";
}

TEST(pending, what_is_destroyed_is_cancelled_also_behind_a_newer_one) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), never_reached);
    { const auto asked = begin_get_deepest_queue(to_it); }
    auto asked = begin_get_power_bank(to_it);
    asked = begin_get_power_bank(to_it);  // begins while the old one still stands in its way
    EXPECT_EQ(asked.take()->error.system_error, EBUSY);
    asked = begin_get_power_bank(to_it);
    EXPECT_FALSE(asked.take().has_value());
}

TEST(pending, a_request_that_was_not_sent_is_cancelled_too) {
    const temporary_folder folder;
    connection to_it(folder.path + "/nothing", never_reached);
    auto asked = begin_get_deepest_queue(to_it);
    EXPECT_EQ(get_deepest_queue(to_it).error.system_error, EBUSY);
    asked.cancel();
    EXPECT_FALSE(is_readable(to_it.descriptor()));
    EXPECT_EQ(get_deepest_queue(to_it).error.kind, failure_kind::no_daemon);
}

TEST(pending, it_outlives_its_connection) {
    fake_daemon daemon(healthy());
    auto to_it = std::make_unique<connection>(daemon.socket_path(), never_reached);
    auto asked = begin_get_deepest_queue(*to_it);
    connection moved = std::move(*to_it);
    to_it.reset();
    EXPECT_TRUE(outcome_of(moved, asked).ok());
    auto last = begin_get_deepest_queue(moved);
    { const connection gone = std::move(moved); }
    while (!last.take().has_value())
        std::this_thread::yield();
    EXPECT_TRUE(last.take()->ok());
}

TEST(pending, a_request_waits_for_room_in_the_daemons_queue) {
    const temporary_folder folder;
    const std::string path = folder.path + "/daemon";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int busy = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int filler = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ASSERT_EQ(bind(busy, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    while (sendto(filler, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 1)
        continue;
    connection to_it(path, never_reached);
    auto asked = begin_get_power_bank(to_it);
    EXPECT_FALSE(asked.take().has_value());
    EXPECT_FALSE(is_readable(to_it.descriptor())) << "no room yet";
    char request = 0;
    while (recv(busy, &request, 1, 0) == 1 && request == 'x')
        continue;
    EXPECT_TRUE(is_readable(to_it.descriptor(), patience_ms)) << "room";
    EXPECT_FALSE(asked.take().has_value());
    EXPECT_EQ(recv(busy, &request, 1, 0), 1);
    EXPECT_EQ(request, 14);
    EXPECT_FALSE(is_readable(to_it.descriptor())) << "sent: now the answer";
    close(busy);
    close(filler);
}

TEST(pending, a_loop_without_a_descriptor_to_watch_begins_nothing) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), never_reached);
    {
        // A sanitizer needs a descriptor for its first look at each type.
        connection before(daemon.socket_path(), never_reached);
        auto asked = begin_get_deepest_queue(before);
        before.descriptor();
        asked.take();
    }
    const no_descriptors_left limit;
    EXPECT_EQ(to_it.descriptor(), -1);
    auto asked = begin_get_deepest_queue(to_it);
    ASSERT_TRUE(asked.take().has_value());
    EXPECT_EQ(asked.take()->error, (failure{failure_kind::own_socket, EMFILE}));
}

// The child has a folder and a descriptor of its own, and its end leaves the parent's alone.
TEST(pending, a_child_process_asks_for_itself) {
    fake_daemon daemon(healthy());
    connection to_it(daemon.socket_path(), never_reached);
    EXPECT_TRUE(get_deepest_queue(to_it).ok());
    to_it.descriptor();
    const std::string folder = std::filesystem::path(daemon.requests()[0].client).parent_path();
    const pid_t child = fork();
    if (child == 0) {
        {
            connection of_the_child = std::move(to_it);
            const bool blocking = get_deepest_queue(of_the_child).ok();
            auto asked = begin_get_deepest_queue(of_the_child);
            if (!blocking || !outcome_of(of_the_child, asked).ok()) _exit(1);
        }
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder));
    EXPECT_NE(std::filesystem::path(daemon.requests()[1].client).parent_path(), folder);
    EXPECT_TRUE(get_deepest_queue(to_it).ok());
    EXPECT_EQ(std::filesystem::path(daemon.requests().back().client).parent_path(), folder);
    EXPECT_THAT(daemon.folder.entries(), SizeIs(2)) << "the daemon's socket and the parent's folder";
}

TEST(pending, what_a_child_process_waits_for_does_not_wake_its_parent) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), soon);
    to_it.descriptor();
    int to_parent[2], to_child[2];
    ASSERT_EQ(pipe(to_parent) + pipe(to_child), 0);
    const pid_t child = fork();
    if (child == 0) {
        close(to_child[1]);
        const auto asked = begin_power_cycle(to_it, 1);
        char byte = is_readable(to_it.descriptor(), patience_ms) ? 'y' : 'n';  // its time is up
        const bool told = write(to_parent[1], &byte, 1) == 1 && read(to_child[0], &byte, 1) == 0;
        _exit(told ? 0 : 1);
    }
    char is_up = 0;
    EXPECT_EQ(read(to_parent[0], &is_up, 1), 1);
    EXPECT_EQ(is_up, 'y');
    EXPECT_FALSE(is_readable(to_it.descriptor()));
    for (const int end : {to_parent[0], to_parent[1], to_child[0], to_child[1]})
        close(end);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(connection, a_folder_that_somebody_tidied_up_is_made_again) {
    fake_daemon daemon(healthy());
    connection to_it(daemon.socket_path(), never_reached);
    EXPECT_TRUE(get_deepest_queue(to_it).ok());
    std::filesystem::remove_all(std::filesystem::path(daemon.requests()[0].client).parent_path());
    EXPECT_TRUE(get_deepest_queue(to_it).ok());
}

TEST(connection, its_timeout_can_be_changed) {
    fake_daemon daemon(silent);
    connection to_it(daemon.socket_path(), never_reached);
    EXPECT_EQ(to_it.timeout(), never_reached);
    to_it.set_timeout(soon);
    EXPECT_EQ(get_deepest_queue(to_it).error.kind, failure_kind::timeout);
    to_it.set_timeout(std::chrono::milliseconds(-5));
    EXPECT_EQ(get_deepest_queue(to_it).error.kind, failure_kind::timeout);
    to_it.set_timeout(std::chrono::milliseconds::max());  // as long as there is, not a moment before now
    auto asked = begin_get_deepest_queue(to_it);
    for (int look = 0; look < 3; look++)
        EXPECT_FALSE(asked.take().has_value());
}

}  // namespace
