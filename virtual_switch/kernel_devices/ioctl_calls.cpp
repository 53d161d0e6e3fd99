#include "kernel_devices/ioctl_calls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "device_requests.h"

namespace vswitch {
namespace {

struct ioctl_row {
    device_file device;
    unsigned int number;
    device_call call;
    std::size_t input_size;
    std::size_t output_size;
};

// The sizes are the drivers' own. The directions in the numbers are no help: they differ between machines.
constexpr std::array ioctl_rows{
    ioctl_row{device_file::controller, transaction_request, device_call::controller_transaction, transaction_size,
              transaction_size},
    ioctl_row{device_file::cpld, cpld_write_request, device_call::cpld_write, cpld_write_size, 0},
    ioctl_row{device_file::cpld, cpld_read_request, device_call::cpld_read, cpld_read_size, cpld_read_size}};

constexpr ioctl_decision refusal(int error) {
    return {.verdict = ioctl_verdict::refuse, .error = error, .input_size = 0, .output_size = 0, .request = {}};
}

}  // namespace

ioctl_decision decide(const ioctl_call& call) {
    const auto* const row = std::ranges::find_if(
        ioctl_rows, [&](const ioctl_row& one) { return one.device == call.device && one.number == call.number; });
    if (row == ioctl_rows.end()) return refusal(ENOTTY);
    if (call.input.size() < row->input_size || call.room < row->output_size) {
        if (!call.may_fetch) return refusal(EINVAL);
        return {.verdict = ioctl_verdict::fetch,
                .error = 0,
                .input_size = row->input_size,
                .output_size = row->output_size,
                .request = {}};
    }
    ioctl_decision decision{.verdict = ioctl_verdict::ask,
                            .error = 0,
                            .input_size = row->input_size,
                            .output_size = row->output_size,
                            .request = {}};
    decision.request.call = wire_order(static_cast<std::uint32_t>(row->call));
    if (row->call == device_call::controller_transaction) {
        std::uint32_t wait = 0;
        std::memcpy(&wait, call.input.data(), sizeof wait);
        decision.request.wait = wire_order(wait);
        std::memcpy(decision.request.bytes, call.input.data() + transaction_frame_offset, frame_size);
    } else {
        std::memcpy(decision.request.bytes, call.input.data(), row->input_size);
    }
    return decision;
}

ioctl_result result_of(const ioctl_call& call, const device_reply& reply) {
    const std::int32_t result = wire_order(reply.result);
    ioctl_result returned{.result = result < 0 ? -wire_order(reply.error) : result, .output = {}};
    if (call.number == transaction_request) {
        returned.output.resize(transaction_size);
        std::memcpy(returned.output.data(), call.input.data(), transaction_frame_offset);
        std::memcpy(returned.output.data() + transaction_frame_offset, reply.bytes, frame_size);
    } else if (call.number == cpld_read_request && result >= 0) {
        returned.output.assign(reply.bytes, reply.bytes + cpld_read_size);
    }
    return returned;
}

}  // namespace vswitch
