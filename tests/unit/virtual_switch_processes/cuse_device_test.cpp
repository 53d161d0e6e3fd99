// The device files without a kernel that has them: a pair of sockets stands in for /dev/cuse, and the test for the
// kernel.
#include "kernel_devices/cuse_device.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/fuse.h>
#include <sys/socket.h>

#include "kernel_devices/device_server.h"
#include "models/trap.h"
#include "own_folder.h"
#include "request_numbers.h"
#include "sockets.h"

namespace {

using namespace vswitch;
using testing::ContainsRegex;
using testing::HasSubstr;

using bytes = std::vector<std::uint8_t>;

struct kernel_answer {
    std::uint64_t unique;
    int error;
    bytes body;

    fuse_ioctl_out ioctl() const {
        fuse_ioctl_out out{};
        EXPECT_GE(body.size(), sizeof out);
        if (body.size() >= sizeof out) std::memcpy(&out, body.data(), sizeof out);
        return out;
    }
    bytes output() const { return {body.begin() + sizeof(fuse_ioctl_out), body.end()}; }
};

// The kernel's end of one device.
class kernel_end {
  public:
    kernel_end() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
        own_.reset(ends[0]);
        channel_.reset(ends[1]);
    }
    unique_fd take_channel() { return std::move(channel_); }
    void end() { own_.reset(); }

    std::uint64_t send(std::uint32_t opcode, const void* body, std::size_t size, const bytes& more = {}) {
        fuse_in_header header{};
        header.len = static_cast<std::uint32_t>(sizeof header + size + more.size());
        header.opcode = opcode;
        header.unique = ++unique_;
        bytes message(sizeof header);
        std::memcpy(message.data(), &header, sizeof header);
        message.insert(message.end(), static_cast<const std::uint8_t*>(body),
                       static_cast<const std::uint8_t*>(body) + size);
        message.insert(message.end(), more.begin(), more.end());
        EXPECT_EQ(::send(own_.get(), message.data(), message.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(message.size()));
        return unique_;
    }

    kernel_answer hear() {
        bytes message(4096);
        const ssize_t got = recv(own_.get(), message.data(), message.size(), 0);
        fuse_out_header header{};
        if (got < static_cast<ssize_t>(sizeof header)) {
            ADD_FAILURE() << "no answer";
            return {};
        }
        std::memcpy(&header, message.data(), sizeof header);
        return {.unique = header.unique,
                .error = header.error,
                .body = {message.begin() + sizeof header, message.begin() + got}};
    }

    // What the device says of itself: flags, then its description.
    std::pair<cuse_init_out, std::string> initialise() {
        const cuse_init_in in{.major = 7, .minor = 36, .unused = 0, .flags = 1};
        send(CUSE_INIT, &in, sizeof in);
        const kernel_answer answer = hear();
        cuse_init_out out{};
        EXPECT_GT(answer.body.size(), sizeof out);
        std::memcpy(&out, answer.body.data(), std::min(answer.body.size(), sizeof out));
        return {out, std::string(answer.body.begin() + sizeof out, answer.body.end())};
    }

    std::uint64_t call(unsigned number, const bytes& input, std::uint32_t room, std::uint32_t flags,
                       std::uint64_t argument = 0x1000) {
        const fuse_ioctl_in in{.fh = 0,
                               .flags = flags,
                               .cmd = number,
                               .arg = argument,
                               .in_size = static_cast<std::uint32_t>(input.size()),
                               .out_size = room};
        return send(FUSE_IOCTL, &in, sizeof in, input);
    }

    void open_file() {
        const fuse_open_in in{};
        send(FUSE_OPEN, &in, sizeof in);
        EXPECT_EQ(hear().error, 0);
    }
    void close_file() {
        const fuse_release_in in{};
        send(FUSE_RELEASE, &in, sizeof in);
        EXPECT_EQ(hear().error, 0);
    }

  private:
    unique_fd own_;
    unique_fd channel_;
    std::uint64_t unique_ = 0;
};

bytes blank_transaction() {
    return bytes(16, 0xFF);
}

class cuse_device_test : public testing::Test {
  protected:
    void serve(device_file kind, std::uint32_t latency_us = 0) {
        answers.set_latency(latency_us);
        const char* name = kind == device_file::controller ? controller_device : cpld_device;
        ASSERT_EQ(device->serve(kernel.take_channel(), name, kind,
                                {.appeared = [this] { appeared++; },
                                 .opened = [this] { opened++; },
                                 .closed = [this] { closed++; },
                                 .ended = [this] { loop.end(); }}),
                  "");
        thread = std::thread([this] { loop.run(); });
    }
    void stop() {
        kernel.end();
        if (thread.joinable()) thread.join();
    }
    ~cuse_device_test() override { stop(); }

    kernel_end kernel;
    event_loop loop;
    switch_model model{1};
    device_answers answers{model, {.speed = 1, .latency_us = 0}};
    std::optional<cuse_device> device{std::in_place, loop, answers, [] { return std::uint64_t{7000}; }};
    std::atomic<int> appeared{0};
    std::atomic<int> opened{0};
    std::atomic<int> closed{0};
    std::thread thread;
};

TEST_F(cuse_device_test, the_controller_appears_under_its_name_and_the_kernel_copies_by_itself) {
    serve(device_file::controller);
    const auto [flags, description] = kernel.initialise();
    EXPECT_EQ(flags.flags & CUSE_UNRESTRICTED_IOCTL, 0u);
    EXPECT_EQ(description, std::string("DEVNAME=poe_kernel_drv") + '\0');
    stop();
    EXPECT_EQ(appeared, 1);
}

TEST_F(cuse_device_test, the_cpld_says_itself_what_the_kernel_copies) {
    serve(device_file::cpld);
    const auto [flags, description] = kernel.initialise();
    EXPECT_NE(flags.flags & CUSE_UNRESTRICTED_IOCTL, 0u);
    EXPECT_EQ(description, std::string("DEVNAME=cpld_rtl819x") + '\0');
}

TEST_F(cuse_device_test, a_transaction_reaches_the_models_on_their_caught_up_clock) {
    serve(device_file::controller);
    kernel.initialise();
    kernel.call(transact, blank_transaction(), 16, 0);
    const kernel_answer answer = kernel.hear();
    EXPECT_EQ(answer.error, 0);
    EXPECT_EQ(answer.ioctl().result, 0);
    EXPECT_EQ(answer.output().size(), 16u);
    stop();
    EXPECT_EQ(model.now_us(), 7000u + 2400u);
}

TEST_F(cuse_device_test, a_caller_is_served_while_another_waits_for_the_controller) {
    serve(device_file::controller, 20000);
    kernel.initialise();
    const std::uint64_t slow = kernel.call(transact, blank_transaction(), 16, 0);
    const std::uint64_t quick = kernel.call(0xC010DD04, blank_transaction(), 16, 0);
    const kernel_answer first = kernel.hear();
    EXPECT_EQ(first.unique, quick);
    EXPECT_EQ(first.error, -ENOTTY);
    EXPECT_EQ(kernel.hear().unique, slow);
}

TEST_F(cuse_device_test, a_failed_transaction_gives_the_errno_and_the_record) {
    model.verb({"fault", "no-answer"}, false);
    serve(device_file::controller);
    kernel.initialise();
    kernel.call(transact, blank_transaction(), 16, 0);
    const kernel_answer answer = kernel.hear();
    EXPECT_EQ(answer.ioctl().result, -ETIMEDOUT);
    EXPECT_EQ(answer.output(), blank_transaction());
}

TEST_F(cuse_device_test, a_register_is_written_and_read_back_with_bytes_that_are_asked_for) {
    serve(device_file::cpld);
    kernel.initialise();
    for (const auto& [number, input, room] :
         {std::tuple{write_register, bytes{9, 0x05, 0x0F}, 0u}, std::tuple{read_register, bytes{9, 0}, 2u}}) {
        kernel.call(number, {}, 0, FUSE_IOCTL_UNRESTRICTED, 0xBEEF);
        const kernel_answer asks = kernel.hear();
        EXPECT_NE(asks.ioctl().flags & FUSE_IOCTL_RETRY, 0u);
        EXPECT_EQ(asks.ioctl().in_iovs, 1u);
        EXPECT_EQ(asks.ioctl().out_iovs, room > 0 ? 1u : 0u);
        fuse_ioctl_iovec wanted{};
        ASSERT_GE(asks.output().size(), sizeof wanted);
        std::memcpy(&wanted, asks.output().data(), sizeof wanted);
        EXPECT_EQ(wanted.base, 0xBEEFu);
        EXPECT_EQ(wanted.len, input.size());
        kernel.call(number, input, room, FUSE_IOCTL_UNRESTRICTED, 0xBEEF);
        const kernel_answer answer = kernel.hear();
        EXPECT_EQ(answer.ioctl().result, 0);
        const bytes value = room > 0 ? bytes{9, 0x05} : bytes{};
        EXPECT_EQ(answer.output(), value);
    }
}

TEST_F(cuse_device_test, who_opens_and_closes_it_is_told) {
    serve(device_file::controller);
    kernel.initialise();
    kernel.open_file();
    kernel.close_file();
    stop();
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(closed, 1);
}

TEST_F(cuse_device_test, a_device_that_goes_while_a_caller_waits_leaves_nothing_behind) {
    serve(device_file::controller, 100000);
    kernel.initialise();
    kernel.call(transact, blank_transaction(), 16, 0);
    kernel.call(0, {}, 0, 0);
    EXPECT_EQ(kernel.hear().error, -ENOTTY);
    stop();
    device.reset();
}

class device_server_test : public own_folder_test {
  protected:
    void serve() {
        ASSERT_EQ(server->open(), "");
        ASSERT_EQ(server->serve(controller.take_channel(), cpld.take_channel()), "");
        thread = std::thread([this] { status = server->run([this] { ready++; }); });
    }
    ~device_server_test() override {
        controller.end();
        if (thread.joinable()) thread.join();
    }

    std::string ask(const std::vector<std::string>& words) {
        const unique_fd socket = connect_to(folder / "control", SOCK_STREAM);
        std::string request = std::string(answer_in_text) + '\0';
        for (const std::string& word : words)
            request += word + '\0';
        std::string reply;
        std::vector<unique_fd> none;
        EXPECT_TRUE(send_all(socket.get(), request));
        shutdown(socket.get(), SHUT_WR);
        EXPECT_TRUE(receive_all(socket.get(), reply, none));
        return reply;
    }

    kernel_end controller;
    kernel_end cpld;
    std::optional<device_server> server{
        std::in_place, device_server_settings{
                           .control = folder / "control", .trap_pipe = folder / "traps", .latency_us = 0, .seed = 1}};
    std::atomic<int> ready{0};
    std::atomic<int> status{-1};
    std::thread thread;
};

TEST_F(device_server_test, is_ready_when_both_device_files_are_there) {
    serve();
    controller.initialise();
    EXPECT_THAT(ask({"show", "faults"}), HasSubstr("no faults"));
    EXPECT_EQ(ready, 0);
    cpld.initialise();
    ask({"show", "faults"});
    EXPECT_EQ(ready, 1);
}

TEST_F(device_server_test, one_set_of_models_stands_behind_both_devices_and_the_verbs) {
    serve();
    controller.initialise();
    cpld.initialise();
    cpld.call(write_register, {10, 0x05, 0xFF}, 0, FUSE_IOCTL_UNRESTRICTED);
    EXPECT_EQ(cpld.hear().ioctl().result, 0);
    EXPECT_THAT(ask({"show", "registers"}), HasSubstr("0x05"));
    EXPECT_EQ(ask({"fault", "ioctl"}).front(), '+');
    controller.call(transact, blank_transaction(), 16, 0);
    EXPECT_EQ(controller.hear().ioctl().result, -EIO);
}

TEST_F(device_server_test, the_daemon_runs_while_it_has_the_controller_open) {
    serve();
    controller.initialise();
    cpld.initialise();
    controller.open_file();
    EXPECT_THAT(ask({"show", "ports"}), HasSubstr("Daemon running"));
    cpld.open_file();
    cpld.close_file();
    EXPECT_THAT(ask({"show", "ports"}), HasSubstr("Daemon running"));
    controller.close_file();
    EXPECT_THAT(ask({"show", "ports"}), HasSubstr("Daemon not running"));
}

TEST_F(device_server_test, another_opener_neither_starts_the_daemon_again_nor_ends_it) {
    serve();
    controller.initialise();
    cpld.initialise();
    controller.open_file();
    controller.open_file();
    controller.close_file();
    EXPECT_THAT(ask({"show", "ports"}), HasSubstr("Daemon running"));
    EXPECT_THAT(ask({"show", "counters"}), ContainsRegex("daemon starts +1$"));
    EXPECT_THAT(ask({"frames", "--notes"}), testing::Not(HasSubstr("daemon stopped")));
    controller.close_file();
    EXPECT_THAT(ask({"show", "ports"}), HasSubstr("Daemon not running"));
}

TEST_F(device_server_test, verbs_about_the_daemon_are_refused_and_its_own_are_served) {
    serve();
    for (const char* verb : {"daemon", "start", "stop", "restart", "wait", "world", "enter"})
        EXPECT_EQ(ask({verb}).front(), '-') << verb;
    EXPECT_EQ(ask({"latency", "soon"}).front(), '-');
    EXPECT_THAT(ask({"latency", "500"}), HasSubstr("500 us"));
    EXPECT_THAT(ask({"help"}), HasSubstr("latency MICROSECONDS"));
}

TEST_F(device_server_test, links_are_not_its_own_and_verbs_about_them_are_refused) {
    serve();
    const std::vector<std::vector<std::string>> refused{
        {"link", "2", "up"}, {"fault", "link"}, {"fault", "link-monitor", "--times", "1"}};
    for (const std::vector<std::string>& words : refused)
        EXPECT_THAT(ask(words), HasSubstr("links are its machine's interfaces")) << words[0];
    EXPECT_THAT(ask({"show", "faults"}), HasSubstr("no faults"));
    EXPECT_EQ(ask({"fault", "cpld"}).front(), '+');
    EXPECT_EQ(ask({"fault"}).front(), '-');
}

TEST_F(device_server_test, traps_are_read_out_of_the_pipe) {
    serve();
    controller.initialise();
    const unique_fd pipe(open((folder / "traps").c_str(), O_WRONLY | O_CLOEXEC));
    const trap_bytes nothing_reported{0xAB, 0x31, 0x12, 0x83, 0x07};
    EXPECT_EQ(write(pipe.get(), nothing_reported.data(), nothing_reported.size()), 21);
    controller.call(transact, blank_transaction(), 16, 0);
    EXPECT_EQ(controller.hear().error, 0);
    EXPECT_THAT(ask({"show", "counters"}), ContainsRegex("traps +1\n"));
}

TEST_F(device_server_test, ends_with_quit) {
    serve();
    EXPECT_EQ(ask({"quit"}), "+the virtual switch has ended");
    thread.join();
    EXPECT_EQ(status, 0);
}

TEST_F(device_server_test, ends_when_the_kernel_takes_a_device_away) {
    serve();
    controller.initialise();
    controller.end();
    thread.join();
    EXPECT_EQ(status, 1);
}

}  // namespace
