#include "ipc/reception.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "ipc_test.h"

namespace {

constexpr std::size_t capacity = 2352;
constexpr std::size_t address_size = 110;

// Real sockets in a folder of their own.
class reception : public world_test {
  protected:
    reception() {
        char pattern[] = "/tmp/poe-reception-XXXXXX";
        EXPECT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
        server = socket_named(folder + "/server");
        buffer.assign(capacity, 0xEE);
        peer.assign(address_size + 1, 0xEE);
    }
    ~reception() override {
        for (const int descriptor : descriptors)
            close(descriptor);
        for (const auto& name : names)
            unlink(name.c_str());
        rmdir(folder.c_str());
    }

    int remember(int descriptor) {
        EXPECT_GE(descriptor, 0);
        descriptors.push_back(descriptor);
        return descriptor;
    }

    static std::pair<sockaddr_un, socklen_t> address_of(const std::string& name) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        const std::size_t used = offsetof(sockaddr_un, sun_path) + name.size();
        const bool ends_with_zero = name.size() < sizeof address.sun_path && name[0] != '\0';
        return {address, static_cast<socklen_t>(used + (ends_with_zero ? 1 : 0))};
    }

    int socket_unnamed() { return remember(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)); }

    int socket_named(const std::string& name) {
        const int descriptor = socket_unnamed();
        const auto [address, address_length] = address_of(name);
        EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), address_length), 0) << name;
        names.push_back(name);
        return descriptor;
    }

    // A path of exactly `size` bytes.
    std::string path_of_length(std::size_t size) const {
        std::string path = folder + "/";
        path.append(size - path.size(), 'n');
        return path;
    }

    void send_from(int client, const bytes& datagram) {
        const auto [address, address_length] = address_of(folder + "/server");
        ASSERT_EQ(sendto(client, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                         address_length),
                  static_cast<ssize_t>(datagram.size()));
    }

    // Receives without waiting.
    int receive() { return receive_on(server); }
    int receive_on(int descriptor) {
        timeval now{};
        length = static_cast<int>(capacity);
        return poe_drv_ipc_recv(descriptor, peer.data(), buffer.data(), &length, &now);
    }

    bytes received() const { return {buffer.begin(), buffer.begin() + length}; }

    static bytes peer_bytes(const std::string& name) {
        const auto address = peer_named(name);
        bytes expected(address.begin(), address.end());
        expected.push_back(0xEE);  // the byte behind the address, which is nobody's
        return expected;
    }

    std::string folder;
    int server = -1;
    int length = 0;
    bytes buffer, peer;
    std::vector<int> descriptors;
    std::vector<std::string> names;
};

TEST_F(reception, a_datagram_comes_with_its_length_and_its_senders_address) {
    send_from(socket_named(folder + "/client"), {129, 1, 2, 3});

    EXPECT_EQ(receive(), 0);

    EXPECT_EQ(received(), (bytes{129, 1, 2, 3}));
    EXPECT_EQ(buffer[4], 0xEE);
    EXPECT_EQ(peer, peer_bytes(folder + "/client"));
}

TEST_F(reception, datagrams_come_one_at_a_time_in_the_order_of_arrival) {
    const int client = socket_named(folder + "/client");
    send_from(client, {1});
    send_from(client, {2, 2});

    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(received(), bytes{1});
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(received(), (bytes{2, 2}));
    EXPECT_EQ(receive(), -1);
}

TEST_F(reception, a_sender_without_a_name_has_an_all_zero_address_and_not_the_last_senders) {
    send_from(socket_named(folder + "/client"), {1});
    ASSERT_EQ(receive(), 0);

    send_from(socket_unnamed(), {2});
    EXPECT_EQ(receive(), 0);

    EXPECT_EQ(received(), bytes{2});
    for (std::size_t i = 2; i < address_size; i++)
        EXPECT_EQ(peer[i], 0) << "offset " << i;
    EXPECT_EQ(peer[address_size], 0xEE);
}

TEST_F(reception, a_shorter_name_leaves_nothing_of_a_longer_one_behind) {
    send_from(socket_named(path_of_length(100)), {1});
    ASSERT_EQ(receive(), 0);

    send_from(socket_named(folder + "/b"), {2});
    EXPECT_EQ(receive(), 0);

    EXPECT_EQ(peer, peer_bytes(folder + "/b"));
}

TEST_F(reception, an_abstract_name_keeps_its_leading_zero) {
    const std::string name = std::string(1, '\0') + folder;
    send_from(socket_named(name), {1});

    EXPECT_EQ(receive(), 0);

    EXPECT_EQ(peer, peer_bytes(name));
}

TEST_F(reception, names_of_107_and_108_bytes_are_delivered_whole_and_nothing_behind_them) {
    for (const std::size_t size : {107U, 108U}) {
        const std::string name = path_of_length(size);
        send_from(socket_named(name), {1});

        EXPECT_EQ(receive(), 0);

        EXPECT_EQ(peer, peer_bytes(name)) << size;
    }
}

TEST_F(reception, a_datagram_of_the_capacity_is_taken_whole_and_a_longer_one_is_cut) {
    const int client = socket_named(folder + "/client");
    bytes datagram(3000);
    for (std::size_t i = 0; i < datagram.size(); i++)
        datagram[i] = static_cast<std::uint8_t>(i * 7);
    for (const std::size_t sent : {2351U, 2352U, 2353U, 3000U}) {
        send_from(client, {datagram.begin(), datagram.begin() + static_cast<std::ptrdiff_t>(sent)});

        EXPECT_EQ(receive(), 0);

        const std::size_t kept = std::min<std::size_t>(sent, capacity);
        EXPECT_EQ(length, static_cast<int>(kept));
        EXPECT_EQ(received(), bytes(datagram.begin(), datagram.begin() + static_cast<std::ptrdiff_t>(kept)));
        EXPECT_EQ(receive(), -1) << "the rest of a datagram is not another one";
    }
}

TEST_F(reception, an_empty_datagram_is_a_failed_receive_that_leaves_the_length_alone) {
    send_from(socket_named(folder + "/client"), {});

    EXPECT_EQ(receive(), -3);

    EXPECT_EQ(length, static_cast<int>(capacity));
    EXPECT_EQ(receive(), -1);
}

TEST_F(reception, a_capacity_of_nothing_or_less_receives_nothing) {
    const int client = socket_named(folder + "/client");
    for (const int none : {0, -1}) {
        send_from(client, {1, 2, 3});
        timeval now{};
        length = none;

        EXPECT_EQ(poe_drv_ipc_recv(server, peer.data(), buffer.data(), &length, &now), -3);

        EXPECT_EQ(length, none);
        EXPECT_EQ(buffer, bytes(capacity, 0xEE));
    }
}

TEST_F(reception, a_descriptor_that_is_ready_but_no_socket_fails_to_receive) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    remember(ends[0]);
    remember(ends[1]);
    ASSERT_EQ(write(ends[1], "x", 1), 1);

    EXPECT_EQ(receive_on(ends[0]), -3);

    EXPECT_EQ(length, static_cast<int>(capacity));
}

TEST_F(reception, a_silent_socket_times_out_and_nothing_is_touched) {
    EXPECT_EQ(receive(), -1);

    EXPECT_EQ(length, static_cast<int>(capacity));
    EXPECT_EQ(buffer, bytes(capacity, 0xEE));
}

TEST_F(reception, the_given_timeout_is_waited_for) {
    timeval timeout{.tv_sec = 0, .tv_usec = 20000};
    length = static_cast<int>(capacity);
    timespec before{}, after{};
    clock_gettime(CLOCK_MONOTONIC, &before);

    EXPECT_EQ(poe_drv_ipc_recv(server, peer.data(), buffer.data(), &length, &timeout), -1);

    clock_gettime(CLOCK_MONOTONIC, &after);
    const std::int64_t waited_ns = (after.tv_sec - before.tv_sec) * 1000000000LL + after.tv_nsec - before.tv_nsec;
    EXPECT_GE(waited_ns, 20000000);
}

TEST_F(reception, without_a_timeout_a_waiting_datagram_is_taken) {
    send_from(socket_named(folder + "/client"), {5});
    length = static_cast<int>(capacity);

    EXPECT_EQ(poe_drv_ipc_recv(server, peer.data(), buffer.data(), &length, nullptr), 0);

    EXPECT_EQ(received(), bytes{5});
}

TEST_F(reception, the_address_may_be_of_no_interest) {
    send_from(socket_named(folder + "/client"), {5, 6});
    timeval now{};
    length = static_cast<int>(capacity);

    EXPECT_EQ(poe_drv_ipc_recv(server, nullptr, buffer.data(), &length, &now), 0);

    EXPECT_EQ(received(), (bytes{5, 6}));
}

TEST_F(reception, a_descriptor_that_is_not_open_is_an_error_of_the_wait) {
    const int closed = dup(server);
    close(closed);

    EXPECT_EQ(receive_on(closed), -2);

    EXPECT_EQ(length, static_cast<int>(capacity));
}

TEST_F(reception, a_descriptor_that_does_not_fit_a_select_set_is_an_error_of_the_wait) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit wider{.rlim_cur = std::max<rlim_t>(limit.rlim_cur, FD_SETSIZE + 16),
                       .rlim_max = std::max<rlim_t>(limit.rlim_max, FD_SETSIZE + 16)};
    const bool can_open_more = setrlimit(RLIMIT_NOFILE, &wider) == 0;
    send_from(socket_named(folder + "/client"), {1});

    for (const int descriptor : {-1, -1000, FD_SETSIZE, FD_SETSIZE + 1, 1 << 20, INT32_MAX}) {
        EXPECT_EQ(receive_on(descriptor), -2) << descriptor;
        EXPECT_EQ(length, static_cast<int>(capacity));
    }
    if (can_open_more) {
        EXPECT_EQ(receive_on(remember(fcntl(server, F_DUPFD_CLOEXEC, FD_SETSIZE))), -2);
        EXPECT_EQ(receive_on(remember(dup2(server, FD_SETSIZE - 1))), 0);
    }
    setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(reception, a_failed_receive_leaves_no_earlier_sender_behind) {
    const int client = socket_named(folder + "/client");
    send_from(client, {1});
    ASSERT_EQ(receive(), 0);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    remember(ends[0]);
    remember(ends[1]);
    ASSERT_EQ(write(ends[1], "x", 1), 1);

    ASSERT_EQ(receive_on(ends[0]), -3);

    EXPECT_EQ(bytes(peer.begin(), peer.begin() + address_size), bytes(address_size));
}

}  // namespace
