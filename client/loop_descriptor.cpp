#include "poe_client/loop_descriptor.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace poe_client {

namespace {

bool watch(int loop, int descriptor, std::uint32_t events) {
    epoll_event event{};
    event.events = events;
    return epoll_ctl(loop, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void close_one(int& descriptor) {
    if (descriptor >= 0) close(std::exchange(descriptor, -1));
}

}  // namespace

void loop_descriptor::close_all() {
    close_one(timer_);
    close_one(loop_);
    socket_ = -1;
}

int loop_descriptor::number() {
    if (loop_ >= 0 && owner_ == getpid()) return loop_;
    close_all();
    owner_ = getpid();
    loop_ = epoll_create1(EPOLL_CLOEXEC);
    timer_ = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    if (loop_ >= 0 && timer_ >= 0 && watch(loop_, timer_, EPOLLIN)) return loop_;
    const int why = errno;
    close_all();
    errno = why;
    return -1;
}

void loop_descriptor::follow(int socket, short events, std::chrono::steady_clock::time_point deadline) {
    if (number() < 0) return;
    rest();
    if (socket >= 0 && watch(loop_, socket, events == POLLOUT ? EPOLLOUT : EPOLLIN)) socket_ = socket;
    // All zeros would stop the timer.
    const auto since_boot = std::max(deadline.time_since_epoch(), std::chrono::steady_clock::duration(1));
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since_boot);
    itimerspec at{};
    at.it_value.tv_sec = static_cast<time_t>(seconds.count());
    at.it_value.tv_nsec = static_cast<long>(std::chrono::nanoseconds(since_boot - seconds).count());
    timerfd_settime(timer_, TFD_TIMER_ABSTIME, &at, nullptr);
}

void loop_descriptor::rest() {
    if (loop_ < 0 || owner_ != getpid()) return;
    if (socket_ >= 0) epoll_ctl(loop_, EPOLL_CTL_DEL, std::exchange(socket_, -1), nullptr);
    const itimerspec never{};
    timerfd_settime(timer_, 0, &never, nullptr);
}

}  // namespace poe_client
