#include "poe_client/result.h"

namespace poe_client {

namespace {

struct failure_words {
    std::string_view name;
    std::string_view text;
};

failure_words words_of(failure_kind kind) {
    switch (kind) {
        case failure_kind::none:
            return {"ok", "Done."};
        case failure_kind::no_daemon:
            return {"no-daemon", "Nobody answers at the daemon's socket: is poe_drv running, and is the path right?"};
        case failure_kind::not_permitted:
            return {"not-permitted", "This user may not talk to poe_drv: be root, or join the group of its socket."};
        case failure_kind::timeout:
            return {"timeout", "poe_drv did not answer in time: it may hang, or the timeout is too short."};
        case failure_kind::refused:
            return {"refused", "poe_drv does not take this port or value: nothing was changed."};
        case failure_kind::malformed:
            return {"malformed", "The answer makes no sense: are the library and poe_drv of the same release?"};
        case failure_kind::own_socket:
            return {"own-socket", "This process could not make a socket to be answered on: errno says why."};
    }
    return {"unknown", "This is no failure of this library."};
}

}  // namespace

std::string_view failure_name(failure_kind kind) {
    return words_of(kind).name;
}

std::string_view failure_text(failure_kind kind) {
    return words_of(kind).text;
}

}  // namespace poe_client
