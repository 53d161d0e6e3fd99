// A client at the daemon's door: the fixture for requests, with the shared records at their defaults and an empty
// queue.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ipc/handlers.h"
#include "ipc/set_queue.h"
#include "world/records.h"

using bytes = std::vector<std::uint8_t>;

inline constexpr int client_socket = 7;

// `length` bytes that begin with `head`, zeros behind it.
inline bytes padded(bytes head, std::size_t length) {
    head.resize(length);
    return head;
}

inline void put32(bytes& message, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; i++)
        message[offset + i] = static_cast<std::uint8_t>(value / (1U << (8 * i)));
}

// What a call writes to standard error.
template <typename action>
std::string stderr_of(action act) {
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}

class ipc_test : public records_test {
  protected:
    ipc_test() { poe_internal_set_queue_init(); }
    ~ipc_test() override {
        while (queue_has_records())
            pop();
    }

    static bool queue_has_records() {
        const set_queue_lock held;
        return __g_poe_set_data != nullptr;
    }

    // The oldest queued record; empty when there is none.
    static bytes pop() {
        bytes record(longest_set_record);
        int length = static_cast<int>(record.size());
        if (poe_internal_rx_queue_data(record.data(), &length) != 0) return {};
        record.resize(static_cast<std::size_t>(length));
        return record;
    }

    // Sends a request to a handler as dispatch would, and returns what the handler returned.
    int request(ipc_handler handler, bytes& message) {
        return handler(client_socket, peer.data(), message.data(), static_cast<int>(message.size()));
    }

    // The same with a request whose bytes the handler may change unseen.
    int request(ipc_handler handler, bytes&& message) { return request(handler, message); }

    // The one reply that was sent since the last look.
    static bytes the_reply() {
        EXPECT_EQ(the_world.replies.size(), 1U);
        const bytes reply = the_world.replies.empty() ? bytes{} : the_world.replies.back().bytes;
        the_world.replies.clear();
        return reply;
    }

    // Every lock is free while a reply is sent.
    static void expect_no_lock_while_sending() {
        the_world.on_send = [] {
            for (poe_mutex* mutex :
                 {&g_mutex_poe_tick_thread, &g_mutex_poe_share_data_thread, &g_mutex_poe_internal_set_queue}) {
                ASSERT_EQ(pthread_mutex_trylock(&mutex->native), 0);
                pthread_mutex_unlock(&mutex->native);
            }
        };
    }

    std::array<std::uint8_t, 110> peer = peer_named("/tmp/client");
};
