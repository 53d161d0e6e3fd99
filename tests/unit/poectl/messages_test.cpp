#include "poectl/messages.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/fake_daemon.h"
#include "poectl/exit_status.h"

namespace {

using namespace poectl;
using poe_client::failure_kind;
using testing::HasSubstr;
using testing::Not;

problem problem_with(failure_kind kind, int why = 0) {
    return problem_of({kind, why}, "/the/socket", std::chrono::milliseconds(250));
}

TEST(exit_status, is_distinct_for_each_thing_that_a_script_can_act_on) {
    EXPECT_EQ(problem_with(failure_kind::own_socket).exit_status, 1);
    EXPECT_EQ(problem_with(failure_kind::no_daemon).exit_status, 3);
    EXPECT_EQ(problem_with(failure_kind::timeout).exit_status, 4);
    EXPECT_EQ(problem_with(failure_kind::malformed).exit_status, 4);
    EXPECT_EQ(problem_with(failure_kind::refused).exit_status, 5);
    EXPECT_EQ(problem_with(failure_kind::not_permitted).exit_status, 6);
}

TEST(exit_status, has_a_name_and_a_meaning_under_its_number) {
    EXPECT_EQ(exit_statuses.size(), 8U);
    EXPECT_EQ(exit_statuses[exit_done].name, "done");
    EXPECT_EQ(exit_statuses[exit_internal].name, "internal");
    EXPECT_EQ(exit_statuses[exit_usage].name, "usage");
    EXPECT_EQ(exit_statuses[exit_no_daemon].name, "daemon_not_reachable");
    EXPECT_EQ(exit_statuses[exit_no_answer].name, "no_answer");
    EXPECT_EQ(exit_statuses[exit_refused].name, "refused");
    EXPECT_EQ(exit_statuses[exit_not_permitted].name, "not_permitted");
    EXPECT_EQ(exit_statuses[exit_no_effect].name, "no_effect");
}

std::string message(failure_kind kind, int why = 0) {
    return sentence_of(problem_with(kind, why));
}

TEST(message, tells_a_missing_socket_from_nobody_behind_it_and_from_a_refused_permission) {
    EXPECT_THAT(message(failure_kind::no_daemon, ENOENT), HasSubstr("there is no socket at /the/socket"));
    EXPECT_THAT(message(failure_kind::no_daemon, ECONNREFUSED), HasSubstr("nobody is behind the socket /the/socket"));
    EXPECT_THAT(message(failure_kind::no_daemon, ENAMETOOLONG), HasSubstr("File name too long"));
    EXPECT_THAT(message(failure_kind::not_permitted, EACCES), HasSubstr("this user may not write to the socket"));
}

TEST(message, tells_a_folder_that_may_not_be_entered_from_a_socket_that_may_not_be_written) {
    const temporary_folder folder;
    const std::string closed = folder.path + "/closed", socket_path = closed + "/socket";
    std::filesystem::create_directory(closed);
    std::ofstream(socket_path) << "x";
    const bool is_root = geteuid() == 0;
    ASSERT_EQ(chmod(folder.path.c_str(), 0755), 0);
    ASSERT_EQ(chmod(closed.c_str(), 0), 0);
    if (is_root) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    const auto hidden = problem_of({failure_kind::not_permitted, EACCES}, socket_path, std::chrono::milliseconds(250));
    if (is_root) {
        ASSERT_EQ(seteuid(0), 0);
    }
    ASSERT_EQ(chmod(closed.c_str(), 0700), 0);
    const auto seen = problem_of({failure_kind::not_permitted, EACCES}, socket_path, std::chrono::milliseconds(250));
    EXPECT_EQ(hidden.why, "this user may not enter the folder of the socket " + socket_path);
    EXPECT_EQ(hidden.exit_status, exit_not_permitted);
    EXPECT_THAT(hidden.advice, Not(HasSubstr("join")));
    EXPECT_EQ(seen.why, "this user may not write to the socket " + socket_path);
}

TEST(message, tells_a_socket_that_nobody_is_behind_from_what_is_no_socket) {
    const temporary_folder folder;
    const auto refused_at = [](const std::string& path) {
        return problem_of({failure_kind::no_daemon, ECONNREFUSED}, path, std::chrono::milliseconds(250));
    };
    const std::string file = folder.path + "/file", link = folder.path + "/link", nothing = folder.path + "/nothing";
    std::ofstream(file) << "x";
    std::filesystem::create_symlink("file", link);
    for (const auto& [path, kind] :
         {std::pair(file, "a file"), std::pair(folder.path, "a folder"), std::pair(link, "a file")}) {
        const auto one = refused_at(path);
        EXPECT_EQ(one.exit_status, 3);
        EXPECT_EQ(one.why, path + " is " + kind + ", not a socket");
        EXPECT_THAT(one.advice, HasSubstr("--socket"));
    }
    EXPECT_THAT(refused_at(nothing).why, HasSubstr("nobody is behind the socket"));
}

TEST(message, names_the_time_that_was_waited) {
    EXPECT_THAT(message(failure_kind::timeout), HasSubstr("within 250 ms"));
}

TEST(message, is_different_for_every_failure_and_says_what_why_and_what_to_try) {
    std::set<std::string> messages;
    for (const auto kind : {failure_kind::no_daemon, failure_kind::not_permitted, failure_kind::timeout,
                            failure_kind::refused, failure_kind::malformed, failure_kind::own_socket}) {
        const auto one = problem_with(kind, EACCES);
        EXPECT_GT(one.what.size(), 5U);
        EXPECT_GT(one.why.size(), 10U);
        EXPECT_GT(one.advice.size(), 10U);
        EXPECT_EQ(sentence_of(one), one.what + ": " + one.why + ".\nTry: " + one.advice + ".");
        EXPECT_TRUE(messages.insert(sentence_of(one)).second);
    }
}

}  // namespace
