#include "models/controller.h"

#include <algorithm>
#include <random>
#include <vector>

#include "models/power_budget.h"

namespace vswitch {

namespace {

constexpr unsigned idle_voltage_counts = 834;      // 53.7 V
constexpr std::uint32_t droop_step_mw = 30000;     // a count less for each
constexpr unsigned idle_temperature_counts = 192;  // 35 degrees Celsius; a count less is 1.25 degrees more
constexpr std::uint32_t warming_step_mw = 6250;
constexpr unsigned offsets = 4;

bool is_wired(const pair_mapping& pairs, std::size_t port) {
    return pairs.a / 2 == port && pairs.b / 2 == port && pairs.a != pairs.b;
}

}  // namespace

controller::controller(std::uint32_t seed) {
    std::minstd_rand chance(seed);
    for (std::size_t port = 0; port < port_count; port++) {
        voltage_offset_[port] = static_cast<unsigned>(chance() % offsets);
        temperature_offset_[port] = static_cast<unsigned>(chance() % offsets);
    }
    apply_running();
}

frame controller::answer(const frame& request) {
    if (!is_sealed(request)) {
        frame reply = blank_answer(request[key_at], report_wrong_checksum);
        seal(reply);
        return reply;
    }
    frame reply = blank_answer(request[key_at]);
    if (!answer_query(request, reply) && !answer_setting(request, reply)) {
        reply = blank_answer(request[key_at], report_undefined_key);
    }
    seal(reply);
    return reply;
}

void controller::advance(std::uint64_t microseconds) {
    const std::uint64_t end = now_us_ + microseconds;
    for (;;) {
        std::uint64_t next = never;
        for (const power_port& one : ports_)
            next = std::min(next, one.due_us());
        if (next > end) break;
        now_us_ = std::max(now_us_, next);
        for (power_port& one : ports_)
            one.run(now_us_);
        settle();
    }
    now_us_ = end;
}

void controller::settle() {
    struct place {
        std::size_t port;
        std::size_t unit;
    };
    std::vector<place> places;
    std::vector<power_demand> demands;
    const bool by_limit = running_.method == method_static;
    const bool by_priority = running_.method != method_dynamic;
    for (std::size_t port = 0; port < port_count; port++) {
        for (std::size_t unit = 0; unit < 2; unit++) {
            const power_port& one = ports_[port];
            if (!one.wants_power(unit)) continue;
            places.push_back({port, unit});
            demands.push_back({.priority = by_priority ? running_.ports[port].priority : 0U,
                               .port = static_cast<unsigned>(port),
                               .unit = static_cast<unsigned>(unit),
                               .milliwatts = by_limit ? one.limit_mw(unit) : one.demand_mw(unit)});
        }
    }
    const bool no_budget = running_.method == method_none;
    const std::vector<bool> granted = grant_power(demands, no_budget ? never : budget_mw());
    for (std::size_t at = 0; at < places.size(); at++) {
        power_port& one = ports_[places[at].port];
        if (granted[at]) {
            one.grant(places[at].unit, now_us_);
        } else {
            one.deny(places[at].unit);
        }
    }
}

void controller::apply_running() {
    for (std::size_t port = 0; port < port_count; port++) {
        ports_[port].configure(running_.ports[port], is_wired(running_.active_matrix[port], port), now_us_);
    }
    settle();
}

void controller::restart_ports() {
    for (power_port& one : ports_)
        one.switch_off();
    apply_running();
}

void controller::plug(std::size_t port, const powered_device& device) {
    ports_.at(port).plug(device, now_us_);
    settle();
}

void controller::unplug(std::size_t port) {
    ports_.at(port).unplug(now_us_);
    settle();
}

void controller::change(std::size_t port, const powered_device& device) {
    ports_.at(port).change(device, now_us_);
    settle();
}

void controller::count_event(std::size_t port, std::size_t counter, unsigned times) {
    ports_.at(port).count_event(counter, times);
}

void controller::power_cycle() {
    running_ = stored_.value_or(configuration{});
    temporary_matrix_ = port_matrix{};
    last_reset_ = reset_cause::power_up;
    for (power_port& one : ports_)
        one.take_events();
    restart_ports();
}

void controller::make_factory_fresh() {
    stored_.reset();
    version_.fill(0);
    power_cycle();
}

std::uint32_t controller::delivered_mw() const {
    std::uint32_t sum = 0;
    for (const power_port& one : ports_)
        sum += one.delivered_mw();
    return sum;
}

std::uint32_t controller::budget_mw() const {
    return running_.banks[0].counts * bank_step_mw;
}

unsigned controller::voltage_counts(std::size_t port) const {
    constexpr unsigned most_droop = 14;
    return idle_voltage_counts + voltage_offset_.at(port) - std::min(delivered_mw() / droop_step_mw, most_droop);
}

unsigned controller::temperature_counts(std::size_t port) const {
    constexpr unsigned most_warming = 60;
    return idle_temperature_counts - temperature_offset_.at(port) -
           std::min(ports_.at(port).delivered_mw() / warming_step_mw, most_warming);
}

}  // namespace vswitch
