#include "kernel_devices/ioctl_calls.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include <gmock/gmock.h>

#include "request_numbers.h"

namespace {

using namespace vswitch;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using bytes = std::vector<std::uint8_t>;

ioctl_call call_of(device_file device, unsigned number, const bytes& input, std::size_t room, bool may_fetch) {
    return {.device = device, .number = number, .input = input, .room = room, .may_fetch = may_fetch};
}

bytes transaction_record(std::uint32_t wait) {
    bytes record(16);
    std::memcpy(record.data(), &wait, sizeof wait);
    for (std::size_t at = 4; at < record.size(); at++)
        record[at] = static_cast<std::uint8_t>(at);
    return record;
}

device_call call_in(const ioctl_decision& decision) {
    return static_cast<device_call>(wire_order(decision.request.call));
}

TEST(ioctl_call, a_transaction_brings_the_wait_and_the_frame) {
    const bytes record = transaction_record(0x01020304);
    const ioctl_decision decision = decide(call_of(device_file::controller, transact, record, 16, false));
    ASSERT_EQ(decision.verdict, ioctl_verdict::ask);
    EXPECT_EQ(call_in(decision), device_call::controller_transaction);
    EXPECT_EQ(wire_order(decision.request.wait), 0x01020304u);
    EXPECT_THAT(decision.request.bytes, ElementsAre(4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
}

TEST(ioctl_call, a_register_write_brings_register_value_and_mask) {
    const bytes record{10, 0x0F, 0x03};
    const ioctl_decision decision = decide(call_of(device_file::cpld, write_register, record, 0, true));
    ASSERT_EQ(decision.verdict, ioctl_verdict::ask);
    EXPECT_EQ(call_in(decision), device_call::cpld_write);
    EXPECT_THAT(bytes(decision.request.bytes, decision.request.bytes + 3), ElementsAre(10, 0x0F, 0x03));
}

TEST(ioctl_call, a_register_read_brings_the_register) {
    const bytes record{10, 0};
    const ioctl_decision decision = decide(call_of(device_file::cpld, read_register, record, 2, true));
    ASSERT_EQ(decision.verdict, ioctl_verdict::ask);
    EXPECT_EQ(call_in(decision), device_call::cpld_read);
    EXPECT_EQ(decision.request.bytes[0], 10);
}

TEST(ioctl_call, what_the_kernel_did_not_copy_is_fetched_both_ways_whatever_the_number_says) {
    const ioctl_decision writing = decide(call_of(device_file::cpld, write_register, {}, 0, true));
    EXPECT_EQ(writing.verdict, ioctl_verdict::fetch);
    EXPECT_EQ(writing.input_size, 3u);
    EXPECT_EQ(writing.output_size, 0u);
    const ioctl_decision reading = decide(call_of(device_file::cpld, read_register, {}, 0, true));
    EXPECT_EQ(reading.verdict, ioctl_verdict::fetch);
    EXPECT_EQ(reading.input_size, 2u);
    EXPECT_EQ(reading.output_size, 2u);
}

TEST(ioctl_call, a_record_that_was_copied_in_part_is_never_read) {
    for (std::size_t size = 0; size < 16; size++) {
        const bytes part(size);
        const ioctl_decision decision = decide(call_of(device_file::controller, transact, part, 16, false));
        EXPECT_EQ(decision.verdict, ioctl_verdict::refuse) << size;
        EXPECT_EQ(decision.error, EINVAL) << size;
    }
    const bytes whole(16);
    EXPECT_EQ(decide(call_of(device_file::controller, transact, whole, 15, false)).error, EINVAL);
    EXPECT_EQ(decide(call_of(device_file::controller, transact, whole, 15, true)).verdict, ioctl_verdict::fetch);
}

TEST(ioctl_call, an_unknown_number_and_one_of_the_other_device_are_no_such_call) {
    const bytes record(16);
    for (const auto& [device, number] :
         {std::pair{device_file::controller, 0xC010DD04u}, std::pair{device_file::controller, write_register},
          std::pair{device_file::controller, read_register}, std::pair{device_file::cpld, transact},
          std::pair{device_file::cpld, 0u}}) {
        const ioctl_decision decision = decide(call_of(device, number, record, 16, true));
        EXPECT_EQ(decision.verdict, ioctl_verdict::refuse) << std::hex << number;
        EXPECT_EQ(decision.error, ENOTTY) << std::hex << number;
    }
}

TEST(ioctl_result, of_a_transaction_is_the_record_with_its_wait_and_the_answer) {
    const bytes record = transaction_record(2);
    device_reply reply{};
    std::memset(reply.bytes, 0xA5, sizeof reply.bytes);
    const ioctl_result returned = result_of(call_of(device_file::controller, transact, record, 16, false), reply);
    bytes expected(16, 0xA5);
    std::memcpy(expected.data(), record.data(), 4);
    EXPECT_EQ(returned.result, 0);
    EXPECT_THAT(returned.output, ElementsAreArray(expected));
}

TEST(ioctl_result, of_a_failed_transaction_has_the_errno_and_still_what_the_driver_left_in_the_record) {
    const bytes record = transaction_record(2);
    device_reply reply{};
    reply.result = wire_order(std::int32_t{-1});
    reply.error = wire_order(std::int32_t{ETIMEDOUT});
    const ioctl_result returned = result_of(call_of(device_file::controller, transact, record, 16, false), reply);
    EXPECT_EQ(returned.result, -ETIMEDOUT);
    EXPECT_EQ(returned.output.size(), 16u);
}

TEST(ioctl_result, of_a_register_read_is_register_and_value_and_of_a_write_or_a_failure_nothing) {
    const bytes reading{10, 0};
    const bytes writing{10, 1, 1};
    device_reply reply{};
    reply.bytes[0] = 10;
    reply.bytes[1] = 0x0F;
    EXPECT_THAT(result_of(call_of(device_file::cpld, read_register, reading, 2, true), reply).output,
                ElementsAre(10, 0x0F));
    EXPECT_THAT(result_of(call_of(device_file::cpld, write_register, writing, 0, true), reply).output, IsEmpty());
    reply.result = wire_order(std::int32_t{-1});
    reply.error = wire_order(std::int32_t{EIO});
    const ioctl_result failed = result_of(call_of(device_file::cpld, read_register, reading, 2, true), reply);
    EXPECT_EQ(failed.result, -EIO);
    EXPECT_THAT(failed.output, IsEmpty());
}

TEST(models_clock, catches_up_with_the_machines_and_never_goes_back) {
    EXPECT_EQ(catch_up_us(1000, 400), 600u);
    EXPECT_EQ(catch_up_us(400, 400), 0u);
    EXPECT_EQ(catch_up_us(400, 1000), 0u);
}

}  // namespace
