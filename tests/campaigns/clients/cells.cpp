// Every length of every type, one datagram a cell: each gets its reply, its rejection or silence. Started by `run`.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "datagrams/conversation.h"
#include "datagrams/random.h"

namespace {

using namespace campaign;

constexpr std::size_t types = 256;
constexpr std::size_t longest = longest_message + 1;
constexpr std::size_t lengths = longest + 1;  // 0 is one of them

enum class filling : std::uint8_t { zeros, ones, ascending, random };

// What follows the type byte.
std::uint8_t filler(filling how, std::size_t offset, random_stream& random) {
    switch (how) {
        case filling::zeros:
            return 0;
        case filling::ones:
            return 1;
        case filling::ascending:
            return static_cast<std::uint8_t>(offset - envelope);
        default:
            return random.byte();
    }
}

filling filling_named(const std::string& name) {
    if (name == "zeros") return filling::zeros;
    if (name == "ones") return filling::ones;
    if (name == "ascending") return filling::ascending;
    return filling::random;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: cells DAEMON-SOCKET FOLDER SEED zeros|ones|ascending|random\n");
        return 2;
    }
    conversation client(argv[1], std::string(argv[2]) + "/cells", replies_that_fit());
    random_stream random = stream_of(std::strtoull(argv[3], nullptr, 10), 0);
    const filling how = filling_named(argv[4]);
    std::size_t cells = 0;
    bytes datagram;
    for (std::size_t type = 0; type < types; type++) {
        for (std::size_t length = 0; length < lengths; length++) {
            datagram.resize(length);
            for (std::size_t i = 0; i < length; i++)
                datagram[i] = filler(how, i, random);
            if (length > 0) datagram[0] = static_cast<std::uint8_t>(type);
            if (!client.say(datagram)) return report(client.counts(), ", \"cells\": " + std::to_string(cells));
            cells++;
        }
    }
    client.settle();
    client.expect_nothing_more();
    return report(client.counts(), ", \"cells\": " + std::to_string(cells));
}
