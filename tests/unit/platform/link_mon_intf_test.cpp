// Against real interfaces, in a network of the test's own. Our library is loaded twice under the name that the linker
// does not see: built for lan1 to lan4, and built for other names.
#include "platform/link_mon_intf.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/resource.h>

#include "kernel_refusals.h"
#include "own_network.h"
#include "temporary_folder.h"

namespace {

using record_bytes = std::array<unsigned char, link_mon_record_size>;
using link_query = int (*)(void*);

link_query query_of(const char* library) {
    void* loaded = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (loaded == nullptr) return nullptr;
    return reinterpret_cast<link_query>(dlsym(loaded, "link_mon_intf_param_get"));
}

class link_monitor : public temporary_folder_test {
  protected:
    own_network network;
    link_query ask_about_lan = query_of(LINK_MON_INTF_LAN);
    record_bytes record;

    link_monitor() { record.fill(0xAA); }

    void SetUp() override {
        ASSERT_TRUE(network.entered) << network.trouble;
        ASSERT_NE(ask_about_lan, nullptr);
    }

    static bool ip(const std::string& arguments) { return std::system(("ip " + arguments).c_str()) == 0; }

    // Makes the interface with one of the names, both ends of its cable down.
    static void make_cable(const std::string& name, const std::string& far_end) {
        ASSERT_TRUE(ip("link add " + name + " type veth peer name " + far_end)) << "the ip command failed";
    }
    static void bring_up(const std::string& name) { ASSERT_TRUE(ip("link set " + name + " up")); }
    static void take_down(const std::string& name) { ASSERT_TRUE(ip("link set " + name + " down")); }

    // The link of each port as the record tells it, for example "up down down up", or why it cannot be told.
    std::string links() { return links_by(ask_about_lan); }
    std::string links_by(link_query ask) {
        record.fill(0xAA);
        const int result = ask(record.data());
        if (result != 0) return "failed with " + std::to_string(result);
        std::string text;
        for (std::size_t port = 0; port < 4; port++) {
            std::uint16_t word;
            std::memcpy(&word, &record[4 + 2 * port], sizeof word);
            text += port == 0 ? "" : " ";
            text += word == 0x100 ? "up" : word == 0 ? "down" : "word " + std::to_string(word);
        }
        return text;
    }
};

TEST_F(link_monitor, interfaces_that_do_not_exist_are_link_down) {
    EXPECT_EQ(links(), "down down down down");
}

TEST_F(link_monitor, an_interface_whose_both_cable_ends_are_up_is_link_up) {
    make_cable("lan1", "far1");
    bring_up("lan1");
    bring_up("far1");
    EXPECT_EQ(links(), "up down down down");
}

TEST_F(link_monitor, an_interface_without_carrier_is_link_down) {
    make_cable("lan1", "far1");
    bring_up("lan1");
    EXPECT_EQ(links(), "down down down down");
}

TEST_F(link_monitor, an_interface_that_is_switched_off_is_link_down) {
    make_cable("lan1", "far1");
    bring_up("far1");
    EXPECT_EQ(links(), "down down down down");
}

TEST_F(link_monitor, the_record_follows_the_carrier_at_once) {
    make_cable("lan2", "far2");
    bring_up("lan2");
    for (int i = 0; i < 5; i++) {
        bring_up("far2");
        ASSERT_EQ(links(), "down up down down");
        take_down("far2");
        ASSERT_EQ(links(), "down down down down");
    }
    bring_up("far2");
    ASSERT_EQ(links(), "down up down down");
    ASSERT_TRUE(ip("link del lan2"));
    EXPECT_EQ(links(), "down down down down");
}

TEST_F(link_monitor, each_port_has_its_own_word_in_port_order) {
    const std::array<std::string, 4> only{"up down down down", "down up down down", "down down up down",
                                          "down down down up"};
    for (std::size_t port = 0; port < 4; port++) {
        const std::string name = "lan" + std::to_string(port + 1);
        make_cable(name, "far");
        bring_up(name);
        bring_up("far");
        ASSERT_EQ(links(), only[port]);
        ASSERT_TRUE(ip("link del far"));
    }
}

TEST_F(link_monitor, all_four_ports_may_be_up) {
    make_cable("lan1", "lan2");
    make_cable("lan3", "lan4");
    for (const char* name : {"lan1", "lan2", "lan3", "lan4"})
        bring_up(name);
    EXPECT_EQ(links(), "up up up up");
}

TEST_F(link_monitor, an_interface_without_a_far_end_is_link_up_exactly_while_it_is_switched_on) {
    // A kernel without the dummy interface has another kind that needs no far end either.
    ASSERT_TRUE(ip("link add lan3 type dummy 2>/dev/null") || ip("link add lan3 type ifb 2>/dev/null"))
        << "the kernel makes neither a dummy nor an ifb interface";
    EXPECT_EQ(links(), "down down down down");
    bring_up("lan3");
    EXPECT_EQ(links(), "down down up down");
    take_down("lan3");
    EXPECT_EQ(links(), "down down down down");
}

TEST_F(link_monitor, an_interface_with_a_longer_name_is_another_one) {
    make_cable("lan10", "lan");
    bring_up("lan10");
    bring_up("lan");
    EXPECT_EQ(links(), "down down down down");
}

TEST_F(link_monitor, everything_but_the_four_words_is_zero) {
    make_cable("lan1", "far1");
    bring_up("lan1");
    bring_up("far1");
    ASSERT_EQ(links(), "up down down down");
    record_bytes expected{};
    const std::uint16_t up = 0x100;
    std::memcpy(&expected[4], &up, sizeof up);
    EXPECT_EQ(record, expected);
}

TEST_F(link_monitor, the_interfaces_are_those_named_at_build_time) {
    const link_query ask_about_others = query_of(LINK_MON_INTF_OTHER);
    ASSERT_NE(ask_about_others, nullptr);
    make_cable("lan1", "eth0123456789ab");
    bring_up("lan1");
    bring_up("eth0123456789ab");
    EXPECT_EQ(links_by(ask_about_others), "down down up down");
    bring_up("lo");
    EXPECT_EQ(links_by(ask_about_others), "down up up up");
    EXPECT_EQ(links(), "up down down down");
}

TEST_F(link_monitor, the_query_leaves_no_descriptor_open) {
    const int before = open_descriptors();
    for (int i = 0; i < 10; i++)
        ASSERT_EQ(links(), "down down down down");
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(link_monitor, the_query_fails_when_the_system_cannot_be_asked_and_recovers) {
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = former.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const int result = ask_about_lan(record.data());
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &former), 0);
    EXPECT_NE(result, 0);
    EXPECT_EQ(links(), "down down down down");
}

TEST_F(link_monitor, a_question_that_cannot_be_sent_fails_the_query_and_the_next_one_is_right_again) {
    make_cable("lan1", "lan2");
    bring_up("lan1");
    bring_up("lan2");
    const int before = open_descriptors();
    next_calls_end(kernel_call::sendto, {0, ENOBUFS});
    EXPECT_EQ(links(), "failed with -1");
    EXPECT_TRUE(everything_was_handed_out());
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(links(), "up up down down");
}

TEST_F(link_monitor, an_answer_that_a_signal_interrupts_is_heard_all_the_same) {
    make_cable("lan1", "lan2");
    bring_up("lan1");
    bring_up("lan2");
    next_calls_end(kernel_call::recvfrom, {EINTR, EINTR});
    EXPECT_EQ(links(), "up up down down");
    EXPECT_TRUE(everything_was_handed_out());
}

TEST_F(link_monitor, an_answer_that_does_not_come_fails_the_query_and_the_next_one_is_right_again) {
    next_calls_end(kernel_call::recvfrom, {EAGAIN});
    EXPECT_EQ(links(), "failed with -1");
    EXPECT_TRUE(everything_was_handed_out());
    EXPECT_EQ(links(), "down down down down");
}

constexpr std::uint32_t up_with_carrier = IFF_UP | 0x10000;

TEST_F(link_monitor, what_another_process_says_is_not_taken_for_the_kernels_answer) {
    next_message_is({.sender = 4711, .sequence = 1, .type = RTM_NEWLINK, .flags = up_with_carrier, .error = 0});
    EXPECT_EQ(links(), "down down down down");
    EXPECT_TRUE(everything_was_handed_out());
}

TEST_F(link_monitor, the_answer_to_another_question_is_not_taken_for_the_one_to_this) {
    next_message_is({.sender = 0, .sequence = 2, .type = RTM_NEWLINK, .flags = up_with_carrier, .error = 0});
    EXPECT_EQ(links(), "down down down down");
    EXPECT_TRUE(everything_was_handed_out());
}

TEST_F(link_monitor, an_answer_of_the_kernel_counts) {
    next_message_is({.sender = 0, .sequence = 1, .type = RTM_NEWLINK, .flags = up_with_carrier, .error = 0});
    EXPECT_EQ(links(), "up down down down");
    EXPECT_TRUE(everything_was_handed_out());
}

TEST_F(link_monitor, a_kernel_that_refuses_for_another_reason_than_a_missing_interface_fails_the_query) {
    next_message_is({.sender = 0, .sequence = 1, .type = NLMSG_ERROR, .flags = 0, .error = -EPERM});
    EXPECT_EQ(links(), "failed with -1");
    EXPECT_TRUE(everything_was_handed_out());
}

TEST_F(link_monitor, an_answer_of_another_kind_fails_the_query) {
    next_message_is({.sender = 0, .sequence = 1, .type = NLMSG_DONE, .flags = up_with_carrier, .error = 0});
    EXPECT_EQ(links(), "failed with -1");
    EXPECT_TRUE(everything_was_handed_out());
}

TEST_F(link_monitor, the_installed_library_answers_too) {
    EXPECT_EQ(links_by(&link_mon_intf_param_get), "down down down down");
}

}  // namespace
