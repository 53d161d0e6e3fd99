// The only file that knows libfuse.
#define FUSE_USE_VERSION 35

#include "kernel_devices/cuse_device.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>

#include <cuse_lowlevel.h>
#include <fcntl.h>
#include <fuse_opt.h>
#include <sys/uio.h>

namespace vswitch {
namespace {

constexpr const char* cuse_path = "/dev/cuse";

}  // namespace

cuse_channel open_cuse() {
    cuse_channel channel{
        .descriptor = unique_fd(open(cuse_path, O_RDWR | O_CLOEXEC)), .problem = {}, .has_no_cuse = false};
    if (channel.descriptor.is_open()) return channel;
    channel.has_no_cuse = errno == ENOENT || errno == ENODEV || errno == ENXIO;
    channel.problem = channel.has_no_cuse ? std::string("this kernel has no CUSE: there is no ") + cuse_path +
                                                "; it comes with the kernel modules fuse and cuse"
                                          : std::string("cannot open ") + cuse_path + ": " + std::strerror(errno);
    return channel;
}

class cuse_device::session : public std::enable_shared_from_this<session> {
  public:
    session(event_loop& loop, device_answers& answers, std::function<std::uint64_t()> slept_us)
        : loop_(loop), answers_(answers), slept_us_(std::move(slept_us)) {}
    ~session() { end(); }
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    std::string start(unique_fd channel, const char* name, device_file kind, cuse_events events);

  private:
    static session& of(fuse_req_t request) { return *static_cast<session*>(fuse_req_userdata(request)); }
    static void when_initialised(void* user) { static_cast<session*>(user)->events_.appeared(); }
    static void when_opened(fuse_req_t request, fuse_file_info* file);
    static void when_released(fuse_req_t request, fuse_file_info* file);
    static void when_called(fuse_req_t request, int number, void* argument, fuse_file_info* file, unsigned flags,
                            const void* input, std::size_t input_size, std::size_t room);

    void receive();
    void call(fuse_req_t request, const ioctl_call& what, void* argument);
    void finish(unsigned long serial, const ioctl_result& returned);
    void end();

    event_loop& loop_;
    device_answers& answers_;
    std::function<std::uint64_t()> slept_us_;
    device_file kind_ = device_file::controller;
    cuse_events events_;
    fuse_session* fuse_ = nullptr;
    fuse_buf buffer_{};                            // libfuse makes it large enough
    std::map<unsigned long, fuse_req_t> waiting_;  // for their answer's time
    unsigned long next_serial_ = 0;
};

std::string cuse_device::session::start(unique_fd channel, const char* name, device_file kind, cuse_events events) {
    kind_ = kind;
    events_ = std::move(events);
    cuse_lowlevel_ops calls{};
    calls.init_done = when_initialised;
    calls.open = when_opened;
    calls.release = when_released;
    calls.ioctl = when_called;
    const std::string named = std::string("DEVNAME=") + name;
    std::array<const char*, 1> description{named.c_str()};
    cuse_info information{};
    information.dev_info_argc = description.size();
    information.dev_info_argv = description.data();
    // The controller's one number says on every machine how much goes in and out, so the kernel copies by itself.
    if (kind == device_file::cpld) information.flags = CUSE_UNRESTRICTED_IOCTL;
    std::string program = "vswitch";
    std::array<char*, 2> words{program.data(), nullptr};
    fuse_args arguments = FUSE_ARGS_INIT(1, words.data());
    fuse_ = cuse_lowlevel_new(&arguments, &information, &calls, this);
    fuse_opt_free_args(&arguments);
    if (fuse_ == nullptr) return std::string("libfuse makes no session for ") + name;
    // A channel of our own in the place of a mount point. The session owns it from here on.
    const std::string place = "/dev/fd/" + std::to_string(channel.get());
    if (fuse_session_mount(fuse_, place.c_str()) != 0) return std::string("libfuse takes no channel for ") + name;
    channel.release();
    loop_.watch(fuse_session_fd(fuse_), [this] { receive(); });
    return {};
}

void cuse_device::session::receive() {
    // What is called may end with the device.
    const std::shared_ptr<session> alive = shared_from_this();
    const int got = fuse_session_receive_buf(fuse_, &buffer_);
    if (got == -EINTR || got == -EAGAIN) return;
    if (got > 0) fuse_session_process_buf(fuse_, &buffer_);
    if (got > 0 && fuse_session_exited(fuse_) == 0) return;
    end();
    events_.ended();
}

void cuse_device::session::when_opened(fuse_req_t request, fuse_file_info* file) {
    session& own = of(request);
    // Nobody who gave up while asking has it open.
    if (fuse_reply_open(request, file) == 0) own.events_.opened();
}

void cuse_device::session::when_released(fuse_req_t request, fuse_file_info*) {
    session& own = of(request);
    fuse_reply_err(request, 0);
    own.events_.closed();
}

void cuse_device::session::when_called(fuse_req_t request, int number, void* argument, fuse_file_info*, unsigned flags,
                                       const void* input, std::size_t input_size, std::size_t room) {
    session& own = of(request);
    own.call(request,
             {.device = own.kind_,
              .number = static_cast<unsigned>(number),
              .input = {static_cast<const std::uint8_t*>(input), input_size},
              .room = room,
              .may_fetch = (flags & FUSE_IOCTL_UNRESTRICTED) != 0},
             argument);
}

void cuse_device::session::call(fuse_req_t request, const ioctl_call& what, void* argument) {
    ioctl_decision decision = decide(what);
    if (decision.verdict == ioctl_verdict::refuse) {
        fuse_reply_err(request, decision.error);
        return;
    }
    if (decision.verdict == ioctl_verdict::fetch) {
        const iovec input{.iov_base = argument, .iov_len = decision.input_size};
        const iovec output{.iov_base = argument, .iov_len = decision.output_size};
        fuse_reply_ioctl_retry(request, &input, 1, &output, decision.output_size > 0 ? 1 : 0);
        return;
    }
    decision.request.slept_us = wire_order(slept_us_());
    std::chrono::microseconds delay{0};
    const ioctl_result returned = result_of(what, answers_.answer(decision.request, delay));
    const unsigned long serial = next_serial_++;
    waiting_.emplace(serial, request);
    if (delay.count() <= 0) return finish(serial, returned);
    loop_.at(event_loop::clock::now() + delay, [self = weak_from_this(), serial, returned] {
        if (const std::shared_ptr<session> alive = self.lock()) alive->finish(serial, returned);
    });
}

void cuse_device::session::finish(unsigned long serial, const ioctl_result& returned) {
    const auto found = waiting_.find(serial);
    if (found == waiting_.end()) return;
    const fuse_req_t request = found->second;
    waiting_.erase(found);
    fuse_reply_ioctl(request, returned.result, returned.output.data(), returned.output.size());
}

void cuse_device::session::end() {
    if (fuse_ == nullptr) return;
    for (const auto& [serial, request] : waiting_)
        fuse_reply_err(request, EIO);
    waiting_.clear();
    loop_.forget(fuse_session_fd(fuse_));
    fuse_session_destroy(fuse_);
    fuse_ = nullptr;
    std::free(buffer_.mem);
    buffer_ = {};
}

cuse_device::cuse_device(event_loop& loop, device_answers& answers, std::function<std::uint64_t()> slept_us)
    : session_(std::make_shared<session>(loop, answers, std::move(slept_us))) {}

cuse_device::~cuse_device() = default;

std::string cuse_device::serve(unique_fd channel, const char* name, device_file kind, cuse_events events) {
    return session_->start(std::move(channel), name, kind, std::move(events));
}

}  // namespace vswitch
