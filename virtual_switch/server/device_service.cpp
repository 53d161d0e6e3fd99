#include "server/device_service.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <sys/socket.h>

#include "sockets.h"

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

device_service::device_service(event_loop& loop, switch_model& model, time_settings time)
    : loop_(loop), model_(model), time_(time) {
    set_latency(time.latency_us);
}

device_service::~device_service() {
    for (const auto& [socket, held] : connections_)
        loop_.forget(socket);
    for (const auto& [path, listener] : listeners_) {
        loop_.forget(listener.get());
        unlink(path.c_str());
    }
}

void device_service::set_latency(std::uint32_t latency_us) {
    time_.latency_us = latency_us;
    model_.set_latency_us(model_latency_us(time_));
}

std::string device_service::open_at(const std::filesystem::path& device_folder) {
    for (const char* name : {controller_device, cpld_device, link_monitor_device}) {
        const std::filesystem::path path = device_folder / name;
        unique_fd listener = listen_at(path, SOCK_SEQPACKET);
        if (!listener.is_open()) return "cannot open the device socket " + path.native() + ": " + std::strerror(errno);
        const auto placed = listeners_.insert_or_assign(path.native(), std::move(listener)).first;
        loop_.watch(placed->second.get(), [this, placed] { accept_one(placed->second); });
    }
    return {};
}

void device_service::accept_one(const unique_fd& listener) {
    unique_fd socket = accept_from(listener, SOCK_NONBLOCK);
    if (!socket.is_open()) return;
    const int number = socket.get();
    connections_.insert_or_assign(number, connection{.socket = std::move(socket), .serial = next_serial_++});
    loop_.watch(number, [this, number] { serve(number); });
}

void device_service::drop(int socket) {
    loop_.forget(socket);
    connections_.erase(socket);
}

void device_service::serve(int socket) {
    device_request request{};
    const ssize_t got = recv(socket, &request, sizeof request, 0);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (got != sizeof request) return drop(socket);
    std::chrono::microseconds delay{0};
    const device_reply reply = answer(request, delay);
    if (delay.count() > 0) return answer_later(socket, reply, delay);
    send(socket, &reply, sizeof reply, MSG_NOSIGNAL);
}

void device_service::answer_later(int socket, const device_reply& reply, std::chrono::microseconds delay) {
    const auto asker = connections_.find(socket);
    if (asker == connections_.end()) return;
    loop_.at(event_loop::clock::now() + delay, [this, socket, serial = asker->second.serial, reply] {
        const auto found = connections_.find(socket);
        if (found == connections_.end() || found->second.serial != serial) return;
        send(socket, &reply, sizeof reply, MSG_NOSIGNAL);
    });
}

device_reply device_service::answer(const device_request& request, std::chrono::microseconds& delay) {
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
