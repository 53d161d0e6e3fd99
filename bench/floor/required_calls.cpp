// A server of datagrams that does what the daemon must do for each, and nothing else: wait, receive, one lock around
// one copy, a send that never waits for longer than a millisecond.
//   required_calls ADDRESS [IDLE_THREADS]
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <pthread.h>
#include <unistd.h>

#include "clock.h"
#include "floor/datagram_server.h"
#include "floor/replies.h"

namespace {

constexpr std::int64_t longest_wait_ns = 1000000;
constexpr timespec between_attempts{.tv_sec = 0, .tv_nsec = 100000};

unsigned char record[longest_message];
pthread_mutex_t record_lock = PTHREAD_MUTEX_INITIALIZER;

void send_within_a_millisecond(int descriptor, const void* reply, std::size_t length, const sockaddr_un& peer,
                               socklen_t peer_length) {
    for (std::int64_t began_ns = 0;;) {
        if (sendto(descriptor, reply, length, MSG_DONTWAIT | MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&peer),
                   peer_length) >= 0 ||
            errno != EAGAIN) {
            return;
        }
        if (began_ns == 0) began_ns = monotonic_ns();
        if (monotonic_ns() - began_ns >= longest_wait_ns) return;
        nanosleep(&between_attempts, nullptr);
    }
}

void* wait_for_ever(void*) {
    for (;;)
        pause();
}

void start_idle_threads(unsigned long count) {
    for (unsigned long i = 0; i < count; i++) {
        pthread_t thread;
        pthread_create(&thread, nullptr, wait_for_ever, nullptr);
    }
}

}  // namespace

int main(int count_of_words, char** words) {
    if (count_of_words > 2) start_idle_threads(std::strtoul(words[2], nullptr, 10));
    const int descriptor = socket_named(words[1]);
    unsigned char message[longest_message];
    unsigned char reply[longest_message];
    for (;;) {
        sockaddr_un peer;
        socklen_t peer_length = sizeof peer;
        if (!wait_and_receive(descriptor, message, peer, peer_length)) continue;
        const std::size_t length = reply_length(message[0]);
        pthread_mutex_lock(&record_lock);
        std::memcpy(reply, record, length);
        pthread_mutex_unlock(&record_lock);
        send_within_a_millisecond(descriptor, reply, length, peer, peer_length);
    }
}
