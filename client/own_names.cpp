#include "poe_client/own_names.h"

#include <sys/random.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "poe_client/own_folder.h"

namespace poe_client {

namespace {

constexpr std::size_t longest_name = sizeof(sockaddr_un::sun_path) - 1;
constexpr std::size_t digits = 8;
constexpr const char* folder_prefix = "/poe_client.";
constexpr const char* last_resort = "/tmp";
constexpr int naming_attempts = 16;

using hex_digits = std::array<char, digits + 1>;

hex_digits hex(std::uint32_t number) {  // safe in a signal handler
    hex_digits text{};
    for (std::size_t i = 0; i < digits; i++)
        text[i] = "0123456789abcdef"[(number >> (4 * (digits - 1 - i))) & 0xF];
    return text;
}

// What the signal handler may look at: a folder's text stands still while its owner is not 0, and its one socket is
// named by a number.
struct slot {
    std::atomic<pid_t> owner;  // 0 = free, -1 = being written
    std::atomic<std::uint32_t> socket;
    char folder[longest_name + 1];
};
constexpr pid_t being_written = -1;
std::array<slot, 64> slots;
static_assert(std::atomic<pid_t>::is_always_lock_free && std::atomic<std::uint32_t>::is_always_lock_free);

int claim_slot(const std::string& folder) {
    [[maybe_unused]] static const int exit_is_watched = std::atexit(remove_own_names);
    for (std::size_t i = 0; i < slots.size(); i++) {
        pid_t free = 0;
        if (!slots[i].owner.compare_exchange_strong(free, being_written)) continue;
        std::memcpy(slots[i].folder, folder.c_str(), folder.size() + 1);
        slots[i].socket = 0;
        slots[i].owner = getpid();
        return static_cast<int>(i);
    }
    return -1;
}

void release_slot(int& index) {
    if (index >= 0) slots[static_cast<std::size_t>(index)].owner = 0;
    index = -1;
}

void remove_names_of(const slot& names) {
    char socket[sizeof names.folder + 1 + digits];
    const std::size_t length = strnlen(names.folder, longest_name);
    const auto number = hex(names.socket);
    std::memcpy(socket, names.folder, length);
    socket[length] = '/';
    std::memcpy(socket + length + 1, number.data(), number.size());
    unlink(socket);
    rmdir(names.folder);
}

extern "C" void remove_names_and_die(int signal_number) {
    remove_own_names();
    signal(signal_number, SIG_DFL);
    raise(signal_number);  // takes effect when this handler returns
}

}  // namespace

own_folder::own_folder(own_folder&& other) noexcept
    : path_(std::exchange(other.path_, {})),
      sockets_(std::exchange(other.sockets_, 0)),
      slot_(std::exchange(other.slot_, -1)),
      owner_(other.owner_) {}

own_folder& own_folder::operator=(own_folder&& other) noexcept {
    if (this == &other) return *this;
    remove();
    path_ = std::exchange(other.path_, {});
    sockets_ = std::exchange(other.sockets_, 0);
    slot_ = std::exchange(other.slot_, -1);
    owner_ = other.owner_;
    return *this;
}

bool own_folder::is_ours() const {
    return !path_.empty() && owner_ == getpid();
}

void own_folder::forget() {
    release_slot(slot_);
    path_.clear();
    sockets_ = 0;
}

std::string own_folder::socket_name() const {
    return path_ + "/" + hex(sockets_).data();
}

bool own_folder::make(const std::string& place) {
    if (place.size() + std::strlen(folder_prefix) + digits + 1 + digits > longest_name) {
        errno = ENAMETOOLONG;
        return false;
    }
    for (int attempt = 0; attempt < naming_attempts; attempt++) {
        std::uint32_t chance = 0;
        if (getrandom(&chance, sizeof chance, 0) != sizeof chance) return false;
        path_ = place + folder_prefix + hex(chance).data();
        owner_ = getpid();
        slot_ = claim_slot(path_);  // before the folder is there, so that no signal finds it unknown
        if (mkdir(path_.c_str(), S_IRWXU) == 0) return true;
        const int why = errno;
        release_slot(slot_);
        path_.clear();
        errno = why;
        if (why != EEXIST) return false;
    }
    return false;
}

std::string own_folder::new_socket_name(const std::string& daemon_socket) {
    if (!is_ours()) {
        forget();
        std::error_code unused;
        std::string beside = std::filesystem::absolute(daemon_socket, unused).parent_path().string();
        if (beside == "/") beside.clear();
        if (!make(beside) && !make(last_resort)) return {};
    }
    sockets_++;
    if (slot_ >= 0) slots[static_cast<std::size_t>(slot_)].socket = sockets_;
    return socket_name();
}

void own_folder::remove_socket() {
    if (is_ours()) unlink(socket_name().c_str());
}

void own_folder::remove() {
    remove_socket();
    if (is_ours()) rmdir(path_.c_str());
    forget();
}

void remove_own_names() {
    const int errno_before = errno;
    const pid_t self = getpid();  // a forked child leaves its parent's names alone
    for (auto& names : slots) {
        if (names.owner == self) remove_names_of(names);
    }
    errno = errno_before;
}

void remove_own_names_on_signals() {
    for (const int signal_number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction action {};
        if (sigaction(signal_number, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;
        action = {};
        action.sa_handler = remove_names_and_die;
        sigaction(signal_number, &action, nullptr);
    }
}

}  // namespace poe_client
