#include "models/faults.h"

#include <cerrno>

#include "switch_bench.h"

namespace vswitch {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

using faulty_switch = switch_bench;

TEST_F(faulty_switch, no_answer_fails_the_ioctl_and_leaves_the_request) {
    say("fault no-answer --times 1");
    const frame request = request_of(0x10, {2});
    const device_answer answer = model.transact(9, request, 0);
    EXPECT_LT(answer.result, 0);
    EXPECT_EQ(answer.error, ETIMEDOUT);
    EXPECT_EQ(answer.bytes, request);
    EXPECT_NE(answer.bytes[1], 'a');
    EXPECT_NE(answer.bytes[1], 'b');
    EXPECT_EQ(ask(0x4B)[2], 0) << "the command must not have been heard";
}

TEST_F(faulty_switch, an_ioctl_error_has_the_errno_that_was_asked_for) {
    say("fault ioctl --times 1");
    say("fault ioctl --times 1 --errno 19");
    EXPECT_EQ(model.transact(9, request_of(0x40), 0).error, EIO);
    EXPECT_EQ(model.transact(9, request_of(0x40), 0).error, ENODEV);
    EXPECT_EQ(model.transact(9, request_of(0x40), 0).result, 0);
}

TEST_F(faulty_switch, report_keys_come_in_a_sealed_answer_and_nothing_is_done) {
    for (const char* name : {"key-a", "a", "key-b", "b"}) {
        say(std::string("fault ") + name + " --times 1");
        const device_answer answer = model.transact(9, request_of(0x10, {2}), 0);
        const char key = name[std::string(name).size() - 1];
        EXPECT_EQ(answer.result, 0);
        EXPECT_EQ(answer.bytes[1], key);
        EXPECT_EQ(answer.bytes[11], static_cast<std::uint8_t>(0x10 + key + 9 * 0xFF));
    }
    EXPECT_EQ(ask(0x4B)[2], 0);
}

TEST_F(faulty_switch, a_report_key_with_an_errno_stands_in_the_record_of_a_failed_ioctl) {
    say("fault key-a --errno 5 --times 1");
    say("fault key-b --errno 19 --times 1");
    for (const auto& [key, error] : {std::pair{'a', EIO}, std::pair{'b', ENODEV}}) {
        const device_answer answer = model.transact(9, request_of(0x10, {2}), 0);
        EXPECT_EQ(answer.result, -1);
        EXPECT_EQ(answer.error, error);
        EXPECT_EQ(answer.bytes[1], key);
    }
    EXPECT_EQ(ask(0x4B)[2], 0) << "the command must not have been done";
}

TEST_F(faulty_switch, a_damaged_answer_is_wrong_by_its_checksum_only_and_the_command_is_done) {
    const frame good = ask(0x40);
    say("fault checksum --times 2");
    frame damaged = ask(0x40);
    EXPECT_NE(damaged[11], good[11]);
    damaged[11] = good[11];
    EXPECT_EQ(damaged, good);
    ask(0x10, {2});
    EXPECT_EQ(ask(0x4B)[2], 2);
}

TEST_F(faulty_switch, a_delay_lengthens_the_answer_and_moves_model_time) {
    model.set_latency_us(1000);
    say("fault delay --ms 250 --times 1");
    const std::uint64_t before = model.now_us();
    EXPECT_EQ(model.transact(9, request_of(0x40), 0).delay_us, 251000U);
    EXPECT_EQ(model.now_us() - before, 251000U);
    EXPECT_EQ(model.transact(9, request_of(0x40), 0).delay_us, 1000U);
}

TEST_F(faulty_switch, a_delay_and_another_fault_strike_together) {
    model.set_latency_us(0);
    say("fault delay --ms 1 --times 1");
    say("fault key-a --times 1");
    say("fault delay --ms 2 --times 1");
    const device_answer answer = model.transact(9, request_of(0x40), 0);
    EXPECT_EQ(answer.delay_us, 3000U);
    EXPECT_EQ(answer.bytes[1], 'a');
    EXPECT_EQ(say("show faults"), "no faults, no dictated answers");
}

TEST_F(faulty_switch, a_fault_for_one_key_leaves_others_alone_and_counts_only_its_own) {
    say("fault checksum --key 42 --times 3");
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(ask(0x40)[11], 0xAE);
        const frame damaged = ask(0x42, {0});
        EXPECT_EQ(damaged[11], static_cast<std::uint8_t>(1 + checksum_of(damaged)));
    }
    EXPECT_TRUE(is_sealed(ask(0x42, {0})));
}

TEST_F(faulty_switch, a_fault_without_times_lasts_until_it_is_cleared) {
    say("fault key-b");
    for (int round = 0; round < 100; round++)
        EXPECT_EQ(ask(0x40)[1], 'b');
    say("fault clear");
    EXPECT_EQ(ask(0x40)[1], 0);
}

TEST_F(faulty_switch, the_oldest_fault_strikes_first) {
    say("fault key-a --times 1");
    say("fault key-b --times 1");
    EXPECT_EQ(ask(0x40)[1], 'a');
    EXPECT_EQ(ask(0x40)[1], 'b');
    EXPECT_EQ(ask(0x40)[1], 0);
}

TEST_F(faulty_switch, a_cpld_fault_fails_accesses_and_leaves_the_register) {
    std::uint8_t value = 0;
    say("fault cpld --times 2");
    EXPECT_EQ(model.cpld_write(10, 0, 15), -1);
    EXPECT_EQ(model.cpld_read(10, value), -1);
    EXPECT_EQ(model.cpld_read(10, value), 0);
    EXPECT_EQ(value, 0x0F);
}

TEST_F(faulty_switch, a_link_monitor_fault_fails_the_query) {
    std::array<std::uint8_t, 40> record{};
    say("fault link --times 1");
    EXPECT_NE(model.link_monitor(record), 0);
    EXPECT_EQ(model.link_monitor(record), 0);
}

TEST_F(faulty_switch, faults_elsewhere_do_not_touch_the_controllers_line) {
    say("fault cpld");
    say("fault link");
    EXPECT_EQ(ask(0x40)[11], 0xAE);
}

TEST_F(faulty_switch, a_dictated_answer_replaces_the_data_and_is_sealed) {
    say("answer 42 01 04 21 00 00 02 00 00 00");
    EXPECT_THAT(ask(0x42, {3}), ElementsAre(0x42, 0, 1, 4, 0x21, 0, 0, 2, 0, 0, 0, 0x6A));
    say("clear-answers");
    EXPECT_EQ(ask(0x42, {3})[2], 3);
}

TEST_F(faulty_switch, a_dictated_answer_may_be_for_one_port_only) {
    say("answer 0x42 2 01 02 30 00 00 00 00 00 00");
    EXPECT_EQ(ask(0x42, {1})[3], 2);
    EXPECT_EQ(ask(0x42, {0})[3], 0);
}

TEST_F(faulty_switch, a_dictated_answer_may_be_for_one_selector_only) {
    say("answer C0/1 01 ff ff ff ff ff ff ff ff");
    EXPECT_EQ(ask(0xC0, {}, 1)[2], 1);
    EXPECT_EQ(ask(0xC0, {}, 2)[2], 0);
}

TEST_F(faulty_switch, the_newest_dictated_answer_counts) {
    say("answer 40 01 01 01 01 01 01 01 01 01");
    say("answer 40 02 02 02 02 02 02 02 02 02");
    const frame answer = ask(0x40);
    EXPECT_THAT(std::vector<unsigned>(answer.begin() + 2, answer.begin() + 11), Each(2U));
}

TEST_F(faulty_switch, the_command_is_done_although_its_answer_is_dictated) {
    say("answer 10 01 ff ff ff ff ff ff ff ff");
    EXPECT_EQ(ask(0x10, {2})[2], 1);
    EXPECT_EQ(ask(0x4B)[2], 2);
}

TEST_F(faulty_switch, shows_what_is_in_force) {
    say("fault checksum --key 42 --times 3");
    say("answer 42 2 01 02 30 00 00 00 00 00 00");
    EXPECT_EQ(say("show faults"),
              "fault: checksum of key 0x42, 3 times\nanswer of key 0x42, port 2: 01 02 30 00 00 00 00 00 00");
    EXPECT_THAT(say("show faults", true), HasSubstr(R"("key":66,"times":3)"));
    EXPECT_EQ(say("fault key-a --errno 5 --times 2"), "fault: key-a with errno 5, 2 times");
}

TEST_F(faulty_switch, refuses_faults_that_it_does_not_understand) {
    EXPECT_THAT(refuse("fault"), HasSubstr("the kind of fault is missing"));
    EXPECT_THAT(refuse("fault gremlin"), HasSubstr("not 'gremlin'"));
    EXPECT_THAT(refuse("fault checksum --times 0"), HasSubstr("--times is a number from 1"));
    EXPECT_THAT(refuse("fault checksum --key 142"), HasSubstr("hexadecimal byte"));
    EXPECT_THAT(refuse("fault checksum --ms 5"), HasSubstr("only a delay"));
    for (const char* kind : {"checksum", "delay", "cpld", "link"})
        EXPECT_THAT(refuse(std::string("fault ") + kind + " --errno 5"), HasSubstr("take --errno"));
    EXPECT_THAT(refuse("answer 42 01 02"), HasSubstr("nine hexadecimal data bytes"));
    EXPECT_THAT(refuse("answer 42 9 01 02 30 00 00 00 00 00 00"), HasSubstr("a port"));
}

}  // namespace
}  // namespace vswitch
