#include "server/device_service.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include "own_folder.h"
#include "sockets.h"

namespace {

using namespace vswitch;

TEST(model_latency, is_the_real_one_in_the_daemons_time) {
    EXPECT_EQ(model_latency_us({.speed = 1, .latency_us = 2400}), 2400u);
    EXPECT_EQ(model_latency_us({.speed = 20, .latency_us = 2400}), 48000u);
    EXPECT_EQ(model_latency_us({.speed = 100000, .latency_us = 4000000000}), UINT32_MAX);
}

TEST(model_latency, is_never_nothing_so_that_the_models_time_goes_on) {
    EXPECT_EQ(model_latency_us({.speed = 1, .latency_us = 0}), 2400u);
}

class device_service_test : public own_folder_test {
  protected:
    device_service_test() {
        EXPECT_EQ(service.open_at(folder), "");
        answers.before_each_transaction([this] { looked_before++; });
    }

    device_reply ask(const char* device, const device_request& request) {
        const unique_fd client = connect_to(folder / device, SOCK_SEQPACKET);
        EXPECT_EQ(send(client.get(), &request, sizeof request, MSG_NOSIGNAL), static_cast<ssize_t>(sizeof request));
        loop.watch(client.get(), [&] { loop.end(); });
        loop.run();
        device_reply reply{};
        EXPECT_EQ(recv(client.get(), &reply, sizeof reply, 0), static_cast<ssize_t>(sizeof reply));
        return reply;
    }

    static device_request request_of(device_call call) {
        device_request request{};
        request.call = wire_order(static_cast<std::uint32_t>(call));
        return request;
    }

    event_loop loop;
    switch_model model;
    device_answers answers{model, {.speed = 10, .latency_us = 0}};
    device_service service{loop, answers};
    int looked_before = 0;
};

TEST_F(device_service_test, a_transaction_reaches_the_models_with_what_the_daemon_slept) {
    device_request request = request_of(device_call::controller_transaction);
    request.slept_us = wire_order(std::uint64_t{550000});
    const device_reply reply = ask(controller_device, request);
    EXPECT_EQ(wire_order(reply.result), 0);
    EXPECT_EQ(model.now_us(), 550000u + 2400u);
    EXPECT_EQ(looked_before, 1);
}

TEST_F(device_service_test, an_unknown_call_is_refused) {
    const device_reply reply = ask(cpld_device, request_of(device_call{99}));
    EXPECT_EQ(wire_order(reply.result), -1);
    EXPECT_EQ(wire_order(reply.error), ENOTTY);
}

TEST_F(device_service_test, a_message_of_another_size_ends_the_connection) {
    const unique_fd client = connect_to(folder / controller_device, SOCK_SEQPACKET);
    ASSERT_EQ(send(client.get(), "short", 5, MSG_NOSIGNAL), 5);
    loop.watch(client.get(), [&] { loop.end(); });
    loop.run();
    char byte = 0;
    EXPECT_EQ(recv(client.get(), &byte, 1, 0), 0);
}

TEST_F(device_service_test, every_device_has_its_socket_for_its_owner_alone) {
    for (const char* device : {controller_device, cpld_device, link_monitor_device}) {
        EXPECT_TRUE(std::filesystem::is_socket(folder / device)) << device;
        EXPECT_EQ(std::filesystem::status(folder / device).permissions(),
                  std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    }
}

}  // namespace
