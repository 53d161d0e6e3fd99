// The barest server of datagrams that there can be: receive, send. echo ADDRESS
#include "floor/datagram_server.h"
#include "floor/replies.h"

int main(int, char** words) {
    const int descriptor = socket_named(words[1]);
    unsigned char message[longest_message];
    for (;;) {
        sockaddr_un peer;
        socklen_t peer_length = sizeof peer;
        if (recvfrom(descriptor, message, sizeof message, 0, reinterpret_cast<sockaddr*>(&peer), &peer_length) <= 0)
            continue;
        sendto(descriptor, message, reply_length(message[0]), 0, reinterpret_cast<const sockaddr*>(&peer), peer_length);
    }
}
