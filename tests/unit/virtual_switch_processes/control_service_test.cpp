#include "server/control_service.h"

#include <thread>

#include <gmock/gmock.h>
#include <sys/socket.h>

#include "own_folder.h"
#include "sockets.h"

namespace {

using namespace vswitch;
using testing::ElementsAre;

class control_service_test : public own_folder_test {
  protected:
    // What a client hears that sends `request` and has then finished.
    std::string hear(const std::string& request, std::vector<unique_fd>& descriptors) {
        const unique_fd client = connect_to(path, SOCK_STREAM);
        EXPECT_TRUE(client.is_open());
        EXPECT_TRUE(send_all(client.get(), request));
        shutdown(client.get(), SHUT_WR);
        loop.run();
        std::string heard;
        EXPECT_TRUE(receive_all(client.get(), heard, descriptors));
        return heard;
    }
    std::string hear(const std::string& request) {
        std::vector<unique_fd> none;
        return hear(request, none);
    }

    std::filesystem::path path = folder / "control";
    event_loop loop;
    control_request served;
    control_reply reply{.result = control_result::done, .text = "said"};
    control_service service{loop, [this](const control_request& request) {
                                served = request;
                                request.answer(reply);
                                loop.end();
                            }};
};

TEST_F(control_service_test, a_verb_arrives_word_by_word_and_its_answer_goes_back) {
    ASSERT_EQ(service.open_at(path), "");
    EXPECT_EQ(hear(std::string("text\0plug\0two words\0\0", 21)), "+said");
    EXPECT_THAT(served.words, ElementsAre("plug", "two words", ""));
    EXPECT_FALSE(served.json);
}

TEST_F(control_service_test, an_answer_in_json_is_asked_for_by_the_first_word) {
    ASSERT_EQ(service.open_at(path), "");
    reply.result = control_result::refused;
    EXPECT_EQ(hear(std::string("json\0show\0", 10)), "-said");
    EXPECT_TRUE(served.json);
}

TEST_F(control_service_test, descriptors_travel_with_the_answer) {
    ASSERT_EQ(service.open_at(path), "");
    const unique_fd one(dup(0)), two(dup(0));
    reply.descriptors = {one.get(), two.get()};
    std::vector<unique_fd> received;
    hear(std::string("text\0enter\0", 11), received);
    EXPECT_EQ(received.size(), 2u);
}

TEST_F(control_service_test, a_path_on_which_a_switch_answers_is_refused) {
    ASSERT_EQ(service.open_at(path), "");
    control_service second(loop, [](const control_request&) {});
    EXPECT_THAT(second.open_at(path), testing::HasSubstr("already answers"));
    EXPECT_TRUE(std::filesystem::is_socket(path));
}

TEST_F(control_service_test, a_socket_that_nobody_answers_on_is_taken_over) {
    { const unique_fd dead = listen_at(path, SOCK_STREAM); }
    EXPECT_EQ(service.open_at(path), "");
}

TEST_F(control_service_test, a_client_that_says_nothing_is_let_go) {
    ASSERT_EQ(service.open_at(path), "");
    loop.at(event_loop::clock::now() + std::chrono::milliseconds(2), [&] { loop.end(); });
    EXPECT_EQ(hear(""), "");
}

}  // namespace
