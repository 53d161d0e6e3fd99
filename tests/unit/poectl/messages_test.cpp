#include "poectl/messages.h"

#include <cerrno>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace poectl;
using poe_client::failure;
using poe_client::failure_kind;
using testing::HasSubstr;

TEST(exit_status, is_distinct_for_each_thing_that_a_script_can_act_on) {
    EXPECT_EQ(exit_status_of({failure_kind::none}), 0);
    EXPECT_EQ(exit_status_of({failure_kind::own_socket}), 1);
    EXPECT_EQ(exit_status_of({failure_kind::no_daemon}), 3);
    EXPECT_EQ(exit_status_of({failure_kind::timeout}), 4);
    EXPECT_EQ(exit_status_of({failure_kind::malformed}), 4);
    EXPECT_EQ(exit_status_of({failure_kind::refused}), 5);
    EXPECT_EQ(exit_status_of({failure_kind::not_permitted}), 6);
}

std::string message(failure_kind kind, int why = 0) {
    return message_of({kind, why}, "/the/socket", std::chrono::milliseconds(250));
}

TEST(message, tells_a_missing_socket_from_nobody_behind_it_and_from_a_refused_permission) {
    EXPECT_THAT(message(failure_kind::no_daemon, ENOENT), HasSubstr("there is no socket at /the/socket"));
    EXPECT_THAT(message(failure_kind::no_daemon, ECONNREFUSED), HasSubstr("nobody answers at /the/socket"));
    EXPECT_THAT(message(failure_kind::no_daemon, ENAMETOOLONG), HasSubstr("File name too long"));
    EXPECT_THAT(message(failure_kind::not_permitted, EACCES), HasSubstr("this user may not talk to poe_drv"));
}

TEST(message, names_the_time_that_was_waited) {
    EXPECT_THAT(message(failure_kind::timeout), HasSubstr("within 250 ms"));
}

TEST(message, is_different_for_every_failure) {
    std::set<std::string> messages;
    for (const auto kind : {failure_kind::no_daemon, failure_kind::not_permitted, failure_kind::timeout,
                            failure_kind::refused, failure_kind::malformed, failure_kind::own_socket}) {
        EXPECT_TRUE(messages.insert(message(kind, EACCES)).second);
    }
}

}  // namespace
