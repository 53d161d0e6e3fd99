// The barest start that ends where the daemon's does: the LEDs' register written, three names taken, so many calls of
// the controller, three threads, and an answer. start CALLS ADDRESS ADDRESS ADDRESS, the clients' address first
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/ioctl.h>

#include "floor/datagram_server.h"
#include "floor/replies.h"
#include "floor/threads.h"

namespace {

constexpr unsigned long write_register = 0x8003D203;
constexpr unsigned long transact = 0xC010DD03;

struct driver_record {
    std::uint32_t wait;
    std::array<std::uint8_t, 12> frame;
};
// The measurements of port 0.
constexpr driver_record question{.wait = 0, .frame = {0x44, 0, 0, 255, 255, 255, 255, 255, 255, 255, 255, 0x3C}};

void darken_the_leds() {
    const int registers = open("/dev/cpld_rtl819x", O_RDWR | O_CLOEXEC);
    std::array<std::uint8_t, 3> record{10, 0, 0x0F};
    ioctl(registers, write_register, record.data());
    close(registers);
}

void call_the_controller(int calls) {
    const int device = open("/dev/poe_kernel_drv", O_RDWR | O_CLOEXEC);
    for (int call = 0; call < calls; call++) {
        driver_record record = question;
        if (ioctl(device, transact, &record) != 0) std::exit(EXIT_FAILURE);
    }
}

[[noreturn]] void serve(int descriptor) {
    unsigned char message[longest_message];
    for (;;) {
        sockaddr_un peer;
        socklen_t peer_length = sizeof peer;
        if (!wait_and_receive(descriptor, message, peer, peer_length)) continue;
        sendto(descriptor, message, reply_length(message[0]), MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&peer),
               peer_length);
    }
}

}  // namespace

int main(int count, char** words) {
    if (count != 5) return EXIT_FAILURE;
    darken_the_leds();
    const int clients = socket_named(words[2]);
    socket_named(words[3]);
    socket_named(words[4]);
    call_the_controller(std::atoi(words[1]));
    start_two_threads();
    serve(clients);
}
