// What an ioctl on one of the device files means: pure. The kernel brings the call's number, its argument's address
// and, where the number says how much to copy, the bytes behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "wire.h"

namespace vswitch {

enum class device_file { controller, cpld };

struct ioctl_call {
    device_file device;
    unsigned int number;
    std::span<const std::uint8_t> input;  // what the kernel brought from behind the argument
    std::size_t room;                     // bytes that the kernel will take back there
    bool may_fetch;                       // the kernel lets us say ourselves how much it is to copy
};

enum class ioctl_verdict {
    refuse,  // fail with `error`
    fetch,   // let the kernel call again with `input_size` bytes from the argument and room for `output_size`
    ask,     // `request` is for the models
};

struct ioctl_decision {
    ioctl_verdict verdict;
    int error;
    std::size_t input_size;
    std::size_t output_size;
    device_request request;
};

ioctl_decision decide(const ioctl_call& call);

// What the call returns to the daemon: 0 or more, or a negative errno, and the bytes that go behind its argument, on a
// failed transaction too.
struct ioctl_result {
    int result;
    std::vector<std::uint8_t> output;
};

ioctl_result result_of(const ioctl_call& call, const device_reply& reply);

// What a clock of microseconds that stands at `model_us` has to catch up with when `elapsed_us` have gone by.
constexpr std::uint64_t catch_up_us(std::uint64_t elapsed_us, std::uint64_t model_us) {
    return elapsed_us > model_us ? elapsed_us - model_us : 0;
}

}  // namespace vswitch
