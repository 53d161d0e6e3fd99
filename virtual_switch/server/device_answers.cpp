#include "server/device_answers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>

namespace vswitch {
namespace {

constexpr std::uint32_t usual_latency_us = 2400;  // a controller's bus at its usual pace

void fail(device_reply& reply, int error) {
    reply.result = wire_order(std::int32_t{-1});
    reply.error = wire_order(static_cast<std::int32_t>(error));
}

}  // namespace

std::uint32_t model_latency_us(const time_settings& time) {
    if (time.latency_us == 0) return usual_latency_us;
    const std::uint64_t scaled = std::uint64_t{time.latency_us} * time.speed;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(scaled, std::numeric_limits<std::uint32_t>::max()));
}

device_answers::device_answers(switch_model& model, time_settings time) : model_(model), time_(time) {
    set_latency(time.latency_us);
}

void device_answers::set_latency(std::uint32_t latency_us) {
    time_.latency_us = latency_us;
    model_.set_latency_us(model_latency_us(time_));
}

device_reply device_answers::answer(const device_request& request, std::chrono::microseconds& delay) {
    device_reply reply{};
    switch (static_cast<device_call>(wire_order(request.call))) {
        case device_call::controller_transaction: {
            before_transaction_();
            frame asked{};
            std::memcpy(asked.data(), request.bytes, asked.size());
            const device_answer answered =
                model_.transact(wire_order(request.wait), asked, wire_order(request.slept_us));
            std::memcpy(reply.bytes, answered.bytes.data(), answered.bytes.size());
            reply.result = wire_order(static_cast<std::int32_t>(answered.result));
            reply.error = wire_order(static_cast<std::int32_t>(answered.error));
            const std::uint32_t usual = model_latency_us(time_);
            const std::uint32_t extra = answered.delay_us > usual ? answered.delay_us - usual : 0;
            delay = std::chrono::microseconds{time_.latency_us + std::uint64_t{extra / time_.speed}};
            break;
        }
        case device_call::cpld_write:
            if (model_.cpld_write(request.bytes[0], request.bytes[1], request.bytes[2]) != 0) fail(reply, EIO);
            break;
        case device_call::cpld_read: {
            std::uint8_t value = 0;
            if (model_.cpld_read(request.bytes[0], value) != 0) {
                fail(reply, EIO);
                break;
            }
            reply.bytes[0] = request.bytes[0];
            reply.bytes[1] = value;
            break;
        }
        case device_call::link_monitor: {
            std::array<std::uint8_t, link_record_size> record{};
            reply.result = wire_order(static_cast<std::int32_t>(model_.link_monitor(record)));
            std::memcpy(reply.bytes, record.data(), record.size());
            wire_order_link_words(reply.bytes);
            break;
        }
        default:
            fail(reply, ENOTTY);
    }
    return reply;
}

}  // namespace vswitch
