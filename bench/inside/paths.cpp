// The hot paths, each walked once under callgrind between two marks: what bench/instructions counts. Without callgrind
// it walks them all the same and says nothing.
//
// Requests come from a client's socket through the real receive and send; the controller answers at once.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include "controller/queries.h"
#include "core/records.h"
#include "inside/daemon.h"
#include "inside/device.h"
#include "inside/measuring.h"
#include "ipc/dispatch.h"
#include "ipc/peer.h"
#include "ipc/protocol.h"
#include "ipc/reception.h"
#include "ipc/set_queue.h"
#include "platform/poe_ipc.h"
#include "stats/made_up_history.h"
#include "supervision/translation.h"

namespace bench {

namespace {

// What callgrind writes down between two marks goes under the path's name.
template <typename work>
void walk(const char* path, work&& what) {
    CALLGRIND_ZERO_STATS;
    CALLGRIND_TOGGLE_COLLECT;
    what();
    CALLGRIND_TOGGLE_COLLECT;
    CALLGRIND_DUMP_STATS_AT(path);
}

// --- clients ---

using datagram = std::array<unsigned char, longest_message>;

struct folder {
    folder() {
        if (mkdtemp(name) == nullptr) give_up(name);
    }
    ~folder() {
        unlink(server().c_str());
        unlink(client().c_str());
        rmdir(name);
    }
    folder(const folder&) = delete;
    folder& operator=(const folder&) = delete;

    std::string server() const { return std::string(name) + "/server"; }
    std::string client() const { return std::string(name) + "/client"; }
    char name[32] = "/tmp/poe-bench-XXXXXX";
};

class exchange {
  public:
    exchange() {
        if (__poe_drv_ipc_socket_and_bind_init(&server_, place_.server().c_str()) != 0 ||
            __poe_drv_ipc_socket_and_bind_init(&client_, place_.client().c_str()) != 0) {
            give_up(place_.name);
        }
        sockaddr_un server{};
        server.sun_family = AF_UNIX;
        std::memcpy(server.sun_path, place_.server().c_str(), place_.server().size());
        if (connect(client_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) give_up("no connection");
    }

    void ask(const void* request, std::size_t length) const {
        if (send(client_, request, length, 0) != static_cast<ssize_t>(length)) give_up("not sent");
    }

    // One turn of the daemon's request loop.
    void serve() {
        int length = longest_message;
        if (poe_drv_ipc_recv(server_, &peer_, message_.data(), &length, nullptr) != 0) give_up("not received");
        poe_rx_ipc_content_process(server_, &peer_, message_.data(), length);
    }

    void expect_reply(const char* path) const {
        datagram reply;
        if (recv(client_, reply.data(), reply.size(), MSG_DONTWAIT) <= 0) give_up(path);
    }

  private:
    folder place_;
    int server_ = -1;
    int client_ = -1;
    ipc_peer peer_{};
    datagram message_{};
};

void serve_once(exchange& line, const char* path, const void* request, std::size_t length) {
    line.ask(request, length);
    walk(path, [&] { line.serve(); });
    line.expect_reply(path);
}

struct query_path {
    const char* path;
    ipc_type type;
    std::size_t length;
};
constexpr std::array query_paths{
    query_path{"request 0, system parameters", ipc_type::get_sys_pwr_pmt, sizeof(ipc_envelope)},
    query_path{"request 5, system status", ipc_type::get_sys_pwr_stu, sizeof(ipc_envelope)},
    query_path{"request 6, one port's status", ipc_type::get_one_port_stu, sizeof(one_port_status_message)},
    query_path{"request 11, system and port status", ipc_type::get_combine_sys_port_stu, sizeof(ipc_envelope)},
    query_path{"request 12, controller counters", ipc_type::get_dbg_communication_info, sizeof(ipc_envelope)},
    query_path{"request 17, one port's history", ipc_type::get_one_port_statistics,
               sizeof(one_port_statistics_message)},
    query_path{"request 18, all ports' energy", ipc_type::get_all_port_statistics, sizeof(ipc_envelope)},
};

void walk_queries(exchange& line) {
    for (const query_path& query : query_paths) {
        datagram request{};
        request[0] = static_cast<unsigned char>(query.type);
        serve_once(line, query.path, request.data(), query.length);
    }
}

// --- settings ---

constexpr std::uint8_t keep = 0xFF;
constexpr std::uint32_t first_limit = 300;

// Another limit each time, so that it is a change.
void walk_a_setting(exchange& line, daemon_inside& daemon, unsigned time) {
    one_port_parameters_message request{};
    request.envelope.type = static_cast<std::uint8_t>(ipc_type::set_one_port_pmt);
    std::memset(&request.block, keep, sizeof request.block);
    request.block.Port_Number = 1;
    request.block.Power_Limit_Val = first_limit + time;
    serve_once(line, "setting acknowledged and queued", &request, sizeof request);
    walk("setting taken out and applied", [&] { daemon.pass(); });

    std::array<unsigned char, longest_set_record> record;
    walk("record pushed and popped", [&] {
        poe_internal_tx_queue_data(&request, sizeof request);
        int length = longest_set_record;
        poe_internal_rx_queue_data(record.data(), &length);
    });
}

// --- the controller ---

void walk_the_controller(daemon_inside& daemon) {
    port_measurement measurement{};
    walk("transaction", [&] { _rtl_port_measurement_get(0, measurement); });
    walk("sweep over four powered ports", [&] { daemon.sweep(); });

    constexpr std::uint8_t searching = 1;
    const std::uint8_t delivering = the_device.state[2];
    the_device.state[2] = searching;
    walk("sweep in which a device is unplugged", [&] { daemon.sweep(); });
    the_device.state[2] = delivering;
    walk("sweep in which a device is plugged in", [&] { daemon.sweep(); });

    walk("translation of every code of the controller", [] {
        constexpr std::uint8_t last_state = 6;
        constexpr std::uint8_t last_error = 14;
        for (std::uint8_t state = 0; state <= last_state; state++) {
            for (std::uint8_t error = 0; error <= last_error; error++) {
                translate_status({.status = state, .error_code = error});
            }
        }
    });
}

// The same history on every machine and at every hour.
void fill_history() {
    constexpr slot_time now{.wall_clock_s = 1700000000, .uptime_s = 3000000};
    constexpr std::uint32_t a_week_of_minutes = week_s / minute_s;
    nobody_else_is_running();
    for (std::size_t port = 0; port < port_count; port++)
        make_up_history(g_port_stats[port], port, history_extent_of(a_week_of_minutes), now);
}

void keep_quiet() {
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nothing, STDOUT_FILENO);
}

}  // namespace

}  // namespace bench

int main() {
    bench::keep_quiet();
    const int device = open_bench_device();
    bench::daemon_inside daemon(device);
    bench::fill_history();
    bench::exchange line;
    daemon.sweep();
    // The first walk meets everything for the first time; the second is dumped over it.
    for (unsigned time = 0; time < 2; time++) {
        bench::walk_queries(line);
        bench::walk_a_setting(line, daemon, time);
        bench::walk_the_controller(daemon);
    }
    return EXIT_SUCCESS;
}
