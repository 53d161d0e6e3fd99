// The C interface on the C++ one. No exception leaves here: what little there is, running out of memory, is an error.
#include "poe_client/poe_client.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>
#include <utility>

#include "poe_client/c_values.h"
#include "poe_client/requests.h"
#include "poe_client/status_codes.h"

static_assert(POE_CLIENT_VERSION_MAJOR == POE_PROJECT_VERSION_MAJOR);
static_assert(POE_CLIENT_VERSION_MINOR == POE_PROJECT_VERSION_MINOR);
static_assert(POE_CLIENT_VERSION_PATCH == POE_PROJECT_VERSION_PATCH);
static_assert(POE_CLIENT_DEFAULT_TIMEOUT_MS == poe_client::default_timeout.count());

namespace {

using namespace poe_client;

// A pending request with its type forgotten: only its take knows it.
class pending_answer {
  public:
    virtual ~pending_answer() = default;
    virtual bool is_of_size(const void* answer, std::size_t size) const = 0;
    // Nothing while the answer is still to come. Writes to `answer`, which is of the right size, when all is well.
    virtual std::optional<failure> take(void* answer, int& error) = 0;
};

constexpr std::array<std::pair<failure_kind, int>, 7> c_errors{{
    {failure_kind::none, POE_CLIENT_OK},
    {failure_kind::no_daemon, POE_CLIENT_NO_DAEMON},
    {failure_kind::not_permitted, POE_CLIENT_NOT_PERMITTED},
    {failure_kind::timeout, POE_CLIENT_TIMEOUT},
    {failure_kind::refused, POE_CLIENT_REFUSED},
    {failure_kind::malformed, POE_CLIENT_MALFORMED},
    {failure_kind::own_socket, POE_CLIENT_OWN_SOCKET},
}};

int c_error(failure_kind kind) {
    const auto* row = std::ranges::find(c_errors, kind, &std::pair<failure_kind, int>::first);
    return row != c_errors.end() ? row->second : POE_CLIENT_INTERNAL;
}

}  // namespace

struct poe_client_connection {
    connection daemon;
    int system_error = 0;
    std::unique_ptr<pending_answer> pending;

    int outcome(const failure& error) {
        system_error = error.system_error;
        return c_error(error.kind);
    }
    int usage() {
        system_error = 0;
        return POE_CLIENT_USAGE;
    }
};

namespace {

template <typename value, typename structure>
class pending_query : public pending_answer {
  public:
    pending_query(pending<value> request, std::size_t size) : request_(std::move(request)), size_(size) {}
    bool is_of_size(const void* answer, std::size_t size) const override { return answer != nullptr && size == size_; }
    std::optional<failure> take(void* answer, int& error) override {
        const auto done = request_.take();
        if (!done) return std::nullopt;
        error = done->ok() ? to_c(done->value, static_cast<structure*>(answer)) : c_error(done->error.kind);
        return done->error;
    }

  private:
    pending<value> request_;
    std::size_t size_;
};

class pending_setting : public pending_answer {
  public:
    explicit pending_setting(pending<acknowledgement> request) : request_(std::move(request)) {}
    bool is_of_size(const void* answer, std::size_t size) const override { return answer == nullptr && size == 0; }
    std::optional<failure> take(void*, int& error) override {
        const auto done = request_.take();
        if (!done) return std::nullopt;
        error = c_error(done->error.kind);
        return done->error;
    }

  private:
    pending<acknowledgement> request_;
};

// Runs `body` unless the connection cannot take a request now.
template <typename function>
int guarded(poe_client_connection* connection, const function& body) noexcept {
    if (connection == nullptr) return POE_CLIENT_USAGE;
    if (connection->pending) return connection->usage();
    connection->system_error = 0;
    try {
        return body(connection->daemon);
    } catch (...) {
        return POE_CLIENT_INTERNAL;
    }
}

template <typename structure, typename function>
int ask(poe_client_connection* connection, structure* answer, const function& request) noexcept {
    if (answer == nullptr) return POE_CLIENT_USAGE;
    return guarded(connection, [&](poe_client::connection& daemon) {
        const auto outcome = request(daemon);
        return outcome.ok() ? to_c(outcome.value, answer) : connection->outcome(outcome.error);
    });
}

template <typename function>
int set(poe_client_connection* connection, const function& request) noexcept {
    return guarded(connection, [&](poe_client::connection& daemon) { return connection->outcome(request(daemon)); });
}

// Begins only where a loop can be woken.
template <typename function>
int begin(poe_client_connection* connection, const function& request) noexcept {
    return guarded(connection, [&](poe_client::connection& daemon) -> int {
        if (daemon.descriptor() < 0) return connection->outcome({failure_kind::own_socket, errno});
        connection->pending = request(daemon);
        return POE_CLIENT_OK;
    });
}

template <typename structure, std::size_t count = 1, typename value>
std::unique_ptr<pending_answer> as_pending(pending<value> request) {
    return std::make_unique<pending_query<value, structure>>(std::move(request), count * sizeof(structure));
}

std::unique_ptr<pending_answer> as_pending(pending<acknowledgement> request) {
    return std::make_unique<pending_setting>(std::move(request));
}

// The change that a caller means, or POE_CLIENT_USAGE before anything is sent.
template <typename change, typename structure, typename function>
int with(const structure* given, const function& go_on) noexcept {
    change meant{};
    if (given == nullptr || from_c(*given, &meant) != POE_CLIENT_OK) return POE_CLIENT_USAGE;
    return go_on(meant);
}

template <typename function>
int with_each(const poe_client_port_settings_change* given, const function& go_on) noexcept {
    std::array<port_settings_change, port_count> meant;
    if (given == nullptr) return POE_CLIENT_USAGE;
    for (std::size_t port = 0; port < port_count; port++) {
        if (from_c(given[port], &meant[port]) != POE_CLIENT_OK) return POE_CLIENT_USAGE;
    }
    return go_on(meant);
}

template <typename function>
int with_each(const int* given, const function& go_on) noexcept {
    std::array<schedule_state, port_count> meant;
    if (given == nullptr) return POE_CLIENT_USAGE;
    for (std::size_t port = 0; port < port_count; port++) {
        if (from_c(given[port], &meant[port]) != POE_CLIENT_OK) return POE_CLIENT_USAGE;
    }
    return go_on(meant);
}

struct error_row {
    std::string_view name;
    std::string_view text;
};

// Each view is a whole literal: its data ends with a zero, as C wants it.
error_row row_of(int error) {
    switch (error) {
        case POE_CLIENT_PENDING:
            return {"pending", "The answer is still to come."};
        case POE_CLIENT_USAGE:
            return {"usage", "The library was called in a way that it does not take: nothing was sent."};
        case POE_CLIENT_INTERNAL:
            return {"internal", "Out of memory."};
        default:
            break;
    }
    const auto* row = std::ranges::find(c_errors, error, &std::pair<failure_kind, int>::second);
    if (row == c_errors.end()) return {"unknown", "This is no error of this library."};
    return {failure_name(row->first), failure_text(row->first)};
}

}  // namespace

uint32_t poe_client_version(void) {
    return POE_CLIENT_VERSION;
}

const char* poe_client_error_name(int error) {
    return row_of(error).name.data();
}

const char* poe_client_error_text(int error) {
    return row_of(error).text.data();
}

int poe_client_open(const char* socket_path, poe_client_connection** connection) {
    if (connection == nullptr) return POE_CLIENT_USAGE;
    try {
        auto made = std::make_unique<poe_client_connection>();
        made->daemon = poe_client::connection(daemon_socket_path(socket_path != nullptr ? socket_path : ""));
        *connection = made.release();
        return POE_CLIENT_OK;
    } catch (...) {
        return POE_CLIENT_INTERNAL;
    }
}

void poe_client_close(poe_client_connection* connection) {
    delete connection;
}

int poe_client_set_timeout_ms(poe_client_connection* connection, uint32_t timeout_ms) {
    if (connection == nullptr || timeout_ms < 1 || timeout_ms > POE_CLIENT_LONGEST_TIMEOUT_MS) return POE_CLIENT_USAGE;
    connection->daemon.set_timeout(std::chrono::milliseconds(timeout_ms));
    return POE_CLIENT_OK;
}

uint32_t poe_client_timeout_ms(const poe_client_connection* connection) {
    return connection != nullptr ? static_cast<uint32_t>(connection->daemon.timeout().count()) : 0;
}

const char* poe_client_socket_path(const poe_client_connection* connection) {
    return connection != nullptr ? connection->daemon.socket_path().c_str() : "";
}

int poe_client_system_error(const poe_client_connection* connection) {
    return connection != nullptr ? connection->system_error : 0;
}

void poe_client_remove_names_on_signals(void) {
    remove_own_names_on_signals();
}

void poe_client_remove_names(void) {
    remove_own_names();
}

int poe_client_descriptor(poe_client_connection* connection) {
    if (connection != nullptr) return connection->daemon.descriptor();
    errno = EINVAL;
    return -1;
}

int poe_client_take(poe_client_connection* connection, void* answer, size_t size) {
    if (connection == nullptr) return POE_CLIENT_USAGE;
    if (!connection->pending || !connection->pending->is_of_size(answer, size)) return connection->usage();
    int error = POE_CLIENT_INTERNAL;
    std::optional<failure> done;
    try {
        done = connection->pending->take(answer, error);
        if (!done) return POE_CLIENT_PENDING;
    } catch (...) {
        done = failure{};
    }
    connection->pending = nullptr;
    connection->system_error = done->system_error;
    return error;
}

void poe_client_cancel(poe_client_connection* connection) {
    if (connection != nullptr) connection->pending = nullptr;
}

const char* poe_client_status_name(uint32_t status) {
    return status_name(status).data();
}

const char* poe_client_status_meaning(uint32_t status) {
    return status_meaning(status).data();
}

const char* poe_client_status_cause(uint32_t status) {
    return status_code_of(status).cause.data();
}

const char* poe_client_status_remedy(uint32_t status) {
    return status_code_of(status).remedy.data();
}

uint32_t poe_client_seconds_until_on(const poe_client_power_cycles* cycles, uint8_t port, int8_t re_enable_s) {
    if (cycles == nullptr || port >= POE_CLIENT_PORT_COUNT) return 0;
    const power_cycle_state state{.pending = cycles->port[port].pending != 0, .tick = cycles->port[port].tick};
    return seconds_until_on(cycles->now_tick, state, re_enable_s);
}

// --- queries ---

int poe_client_get_system_settings(poe_client_connection* connection, poe_client_system_settings* settings) {
    return ask(connection, settings, [](auto& daemon) { return get_system_settings(daemon); });
}

int poe_client_get_port_settings(poe_client_connection* connection, uint8_t port, poe_client_port_settings* settings) {
    return ask(connection, settings, [port](auto& daemon) { return get_port_settings(daemon, port); });
}

int poe_client_get_all_port_settings(poe_client_connection* connection,
                                     poe_client_port_settings settings[POE_CLIENT_PORT_COUNT]) {
    return ask(connection, settings, [](auto& daemon) { return get_all_port_settings(daemon); });
}

int poe_client_get_system_status(poe_client_connection* connection, poe_client_system_status* status) {
    return ask(connection, status, [](auto& daemon) { return get_system_status(daemon); });
}

int poe_client_get_port_status(poe_client_connection* connection, uint8_t port, poe_client_port_status* status) {
    return ask(connection, status, [port](auto& daemon) { return get_port_status(daemon, port); });
}

int poe_client_get_all_port_status(poe_client_connection* connection,
                                   poe_client_port_status status[POE_CLIENT_PORT_COUNT]) {
    return ask(connection, status, [](auto& daemon) { return get_all_port_status(daemon); });
}

int poe_client_get_whole_status(poe_client_connection* connection, poe_client_whole_status* status) {
    return ask(connection, status, [](auto& daemon) { return get_whole_status(daemon); });
}

int poe_client_get_communication_counters(poe_client_connection* connection,
                                          poe_client_communication_counters* counters) {
    return ask(connection, counters, [](auto& daemon) { return get_communication_counters(daemon); });
}

int poe_client_get_deepest_queue(poe_client_connection* connection, uint32_t* requests) {
    return ask(connection, requests, [](auto& daemon) { return get_deepest_queue(daemon); });
}

int poe_client_get_power_bank(poe_client_connection* connection, poe_client_power_bank* bank) {
    return ask(connection, bank, [](auto& daemon) { return get_power_bank(daemon); });
}

int poe_client_get_power_cycles(poe_client_connection* connection, poe_client_power_cycles* cycles) {
    return ask(connection, cycles, [](auto& daemon) { return get_power_cycles(daemon); });
}

int poe_client_get_energy_recording(poe_client_connection* connection, uint8_t* is_recorded) {
    return ask(connection, is_recorded, [](auto& daemon) { return get_energy_recording(daemon); });
}

int poe_client_get_port_energy(poe_client_connection* connection, uint8_t port, poe_client_port_energy* energy) {
    return ask(connection, energy, [port](auto& daemon) { return get_port_energy(daemon, port); });
}

int poe_client_get_energy_summary(poe_client_connection* connection, poe_client_energy_summary* summary) {
    return ask(connection, summary, [](auto& daemon) { return get_energy_summary(daemon); });
}

int poe_client_begin_get_system_settings(poe_client_connection* connection) {
    return begin(connection, [](auto& daemon) {
        return as_pending<poe_client_system_settings>(begin_get_system_settings(daemon));
    });
}

int poe_client_begin_get_port_settings(poe_client_connection* connection, uint8_t port) {
    return begin(connection, [port](auto& daemon) {
        return as_pending<poe_client_port_settings>(begin_get_port_settings(daemon, port));
    });
}

int poe_client_begin_get_all_port_settings(poe_client_connection* connection) {
    return begin(connection, [](auto& daemon) {
        return as_pending<poe_client_port_settings, port_count>(begin_get_all_port_settings(daemon));
    });
}

int poe_client_begin_get_system_status(poe_client_connection* connection) {
    return begin(connection,
                 [](auto& daemon) { return as_pending<poe_client_system_status>(begin_get_system_status(daemon)); });
}

int poe_client_begin_get_port_status(poe_client_connection* connection, uint8_t port) {
    return begin(connection, [port](auto& daemon) {
        return as_pending<poe_client_port_status>(begin_get_port_status(daemon, port));
    });
}

int poe_client_begin_get_all_port_status(poe_client_connection* connection) {
    return begin(connection, [](auto& daemon) {
        return as_pending<poe_client_port_status, port_count>(begin_get_all_port_status(daemon));
    });
}

int poe_client_begin_get_whole_status(poe_client_connection* connection) {
    return begin(connection,
                 [](auto& daemon) { return as_pending<poe_client_whole_status>(begin_get_whole_status(daemon)); });
}

int poe_client_begin_get_communication_counters(poe_client_connection* connection) {
    return begin(connection, [](auto& daemon) {
        return as_pending<poe_client_communication_counters>(begin_get_communication_counters(daemon));
    });
}

int poe_client_begin_get_deepest_queue(poe_client_connection* connection) {
    return begin(connection, [](auto& daemon) { return as_pending<uint32_t>(begin_get_deepest_queue(daemon)); });
}

int poe_client_begin_get_power_bank(poe_client_connection* connection) {
    return begin(connection,
                 [](auto& daemon) { return as_pending<poe_client_power_bank>(begin_get_power_bank(daemon)); });
}

int poe_client_begin_get_power_cycles(poe_client_connection* connection) {
    return begin(connection,
                 [](auto& daemon) { return as_pending<poe_client_power_cycles>(begin_get_power_cycles(daemon)); });
}

int poe_client_begin_get_energy_recording(poe_client_connection* connection) {
    return begin(connection, [](auto& daemon) { return as_pending<uint8_t>(begin_get_energy_recording(daemon)); });
}

int poe_client_begin_get_port_energy(poe_client_connection* connection, uint8_t port) {
    return begin(connection, [port](auto& daemon) {
        return as_pending<poe_client_port_energy>(begin_get_port_energy(daemon, port));
    });
}

int poe_client_begin_get_energy_summary(poe_client_connection* connection) {
    return begin(connection,
                 [](auto& daemon) { return as_pending<poe_client_energy_summary>(begin_get_energy_summary(daemon)); });
}

// --- settings ---

int poe_client_set_system(poe_client_connection* connection, const poe_client_system_settings_change* change) {
    return with<system_settings_change>(change, [=](const auto& meant) {
        return set(connection, [&](auto& daemon) { return set_system(daemon, meant); });
    });
}

int poe_client_set_port(poe_client_connection* connection, uint8_t port,
                        const poe_client_port_settings_change* change) {
    return with<port_settings_change>(change, [=](const auto& meant) {
        return set(connection, [&](auto& daemon) { return set_port(daemon, port, meant); });
    });
}

int poe_client_set_all_ports(poe_client_connection* connection,
                             const poe_client_port_settings_change changes[POE_CLIENT_PORT_COUNT]) {
    return with_each(changes, [=](const auto& meant) {
        return set(connection, [&](auto& daemon) { return set_all_ports(daemon, meant); });
    });
}

int poe_client_set_all_ports_same(poe_client_connection* connection, const poe_client_port_settings_change* change) {
    return with<port_settings_change>(change, [=](const auto& meant) {
        return set(connection, [&](auto& daemon) { return set_all_ports_same(daemon, meant); });
    });
}

int poe_client_set_schedule(poe_client_connection* connection, uint8_t port, int state) {
    return with<schedule_state>(&state, [=](const auto& meant) {
        return set(connection, [&](auto& daemon) { return set_schedule(daemon, port, meant); });
    });
}

int poe_client_set_all_schedules(poe_client_connection* connection, const int states[POE_CLIENT_PORT_COUNT]) {
    return with_each(states, [=](const auto& meant) {
        return set(connection, [&](auto& daemon) { return set_all_schedules(daemon, meant); });
    });
}

int poe_client_set_power_bank(poe_client_connection* connection, const poe_client_power_bank* bank) {
    return with<power_bank>(bank, [=](const auto& meant) {
        return set(connection, [&](auto& daemon) { return set_power_bank(daemon, meant); });
    });
}

int poe_client_power_cycle(poe_client_connection* connection, uint8_t ports) {
    return set(connection, [ports](auto& daemon) { return power_cycle(daemon, ports); });
}

int poe_client_clear_energy(poe_client_connection* connection, uint8_t ports) {
    return set(connection, [ports](auto& daemon) { return clear_energy(daemon, ports); });
}

int poe_client_set_energy_recording(poe_client_connection* connection, uint8_t is_recorded) {
    if (is_recorded > 1) return POE_CLIENT_USAGE;
    return set(connection, [=](auto& daemon) { return set_energy_recording(daemon, is_recorded == 1); });
}

int poe_client_inject_energy_history(poe_client_connection* connection, uint32_t minutes) {
    return set(connection, [minutes](auto& daemon) { return inject_energy_history(daemon, minutes); });
}

int poe_client_begin_set_system(poe_client_connection* connection, const poe_client_system_settings_change* change) {
    return with<system_settings_change>(change, [=](const auto& meant) {
        return begin(connection, [&](auto& daemon) { return as_pending(begin_set_system(daemon, meant)); });
    });
}

int poe_client_begin_set_port(poe_client_connection* connection, uint8_t port,
                              const poe_client_port_settings_change* change) {
    return with<port_settings_change>(change, [=](const auto& meant) {
        return begin(connection, [&](auto& daemon) { return as_pending(begin_set_port(daemon, port, meant)); });
    });
}

int poe_client_begin_set_all_ports(poe_client_connection* connection,
                                   const poe_client_port_settings_change changes[POE_CLIENT_PORT_COUNT]) {
    return with_each(changes, [=](const auto& meant) {
        return begin(connection, [&](auto& daemon) { return as_pending(begin_set_all_ports(daemon, meant)); });
    });
}

int poe_client_begin_set_all_ports_same(poe_client_connection* connection,
                                        const poe_client_port_settings_change* change) {
    return with<port_settings_change>(change, [=](const auto& meant) {
        return begin(connection, [&](auto& daemon) { return as_pending(begin_set_all_ports_same(daemon, meant)); });
    });
}

int poe_client_begin_set_schedule(poe_client_connection* connection, uint8_t port, int state) {
    return with<schedule_state>(&state, [=](const auto& meant) {
        return begin(connection, [&](auto& daemon) { return as_pending(begin_set_schedule(daemon, port, meant)); });
    });
}

int poe_client_begin_set_all_schedules(poe_client_connection* connection, const int states[POE_CLIENT_PORT_COUNT]) {
    return with_each(states, [=](const auto& meant) {
        return begin(connection, [&](auto& daemon) { return as_pending(begin_set_all_schedules(daemon, meant)); });
    });
}

int poe_client_begin_set_power_bank(poe_client_connection* connection, const poe_client_power_bank* bank) {
    return with<power_bank>(bank, [=](const auto& meant) {
        return begin(connection, [&](auto& daemon) { return as_pending(begin_set_power_bank(daemon, meant)); });
    });
}

int poe_client_begin_power_cycle(poe_client_connection* connection, uint8_t ports) {
    return begin(connection, [ports](auto& daemon) { return as_pending(begin_power_cycle(daemon, ports)); });
}

int poe_client_begin_clear_energy(poe_client_connection* connection, uint8_t ports) {
    return begin(connection, [ports](auto& daemon) { return as_pending(begin_clear_energy(daemon, ports)); });
}

int poe_client_begin_set_energy_recording(poe_client_connection* connection, uint8_t is_recorded) {
    if (is_recorded > 1) return POE_CLIENT_USAGE;
    return begin(connection,
                 [=](auto& daemon) { return as_pending(begin_set_energy_recording(daemon, is_recorded == 1)); });
}

int poe_client_begin_inject_energy_history(poe_client_connection* connection, uint32_t minutes) {
    return begin(connection,
                 [minutes](auto& daemon) { return as_pending(begin_inject_energy_history(daemon, minutes)); });
}
