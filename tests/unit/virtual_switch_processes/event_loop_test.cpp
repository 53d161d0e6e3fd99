#include "server/event_loop.h"

#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "unique_fd.h"

namespace {

using namespace vswitch;

class event_loop_test : public testing::Test {
  protected:
    event_loop_test() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        near.reset(ends[0]);
        far.reset(ends[1]);
    }

    event_loop loop;
    unique_fd near, far;
    std::string story;
};

TEST_F(event_loop_test, times_are_kept_in_their_order) {
    const auto now = event_loop::clock::now();
    loop.at(now + std::chrono::microseconds(300), [&] {
        story += "late ";
        loop.end();
    });
    loop.at(now + std::chrono::microseconds(100), [&] { story += "early "; });
    loop.at(now - std::chrono::seconds(1), [&] { story += "overdue "; });
    loop.run();
    EXPECT_EQ(story, "overdue early late ");
}

TEST_F(event_loop_test, a_descriptor_calls_when_it_can_be_read) {
    loop.watch(near.get(), [&] {
        char byte = 0;
        EXPECT_EQ(read(near.get(), &byte, 1), 1);
        story += byte;
        if (byte == 'b') loop.end();
    });
    ASSERT_EQ(write(far.get(), "ab", 2), 2);
    loop.run();
    EXPECT_EQ(story, "ab");
}

TEST_F(event_loop_test, an_ended_descriptor_calls_too) {
    loop.watch(near.get(), [&] { loop.end(); });
    far.reset();
    loop.run();
}

TEST_F(event_loop_test, a_forgotten_descriptor_is_left_alone_even_when_both_were_ready) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const unique_fd other(ends[0]), other_far(ends[1]);
    loop.watch(near.get(), [&] {
        story += "one ";
        loop.forget(other.get());
        loop.forget(near.get());
    });
    loop.watch(other.get(), [&] {
        story += "one ";
        loop.forget(near.get());
        loop.forget(other.get());
    });
    ASSERT_EQ(write(far.get(), "a", 1), 1);
    ASSERT_EQ(write(other_far.get(), "a", 1), 1);
    loop.at(event_loop::clock::now() + std::chrono::milliseconds(2), [&] { loop.end(); });
    loop.run();
    EXPECT_EQ(story, "one ");
}

}  // namespace
