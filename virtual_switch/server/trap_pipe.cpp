#include "server/trap_pipe.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace vswitch {
namespace {

constexpr std::size_t trap_size = 21;
constexpr mode_t owner_and_group = 0660;

}  // namespace

trap_pipe::~trap_pipe() {
    if (!made_.empty()) unlink(made_.c_str());
}

std::string trap_pipe::open_at(const std::filesystem::path& path) {
    if (mkfifo(path.c_str(), owner_and_group) == 0) {
        made_ = path;
    } else if (errno != EEXIST || !std::filesystem::is_fifo(path)) {
        return "cannot make the trap pipe " + path.native() + ": " + std::strerror(errno);
    }
    // Read-write, so that the pipe never ends while no daemon has it open.
    pipe_.reset(open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!pipe_.is_open()) return "cannot open the trap pipe " + path.native() + ": " + std::strerror(errno);
    return {};
}

void trap_pipe::drain(const reader& take) {
    std::array<std::uint8_t, trap_size> message;
    for (;;) {
        const ssize_t got = read(pipe_.get(), message.data(), message.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return;
        take(std::span(message).first(static_cast<std::size_t>(got)));
    }
}

}  // namespace vswitch
