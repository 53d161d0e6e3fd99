#include "stats/sampler.h"

#include <cerrno>

#include "stats/averages.h"
#include "stats/flash_file.h"
#include "stats/record.h"
#include "stats/time_arithmetic.h"

namespace {

constexpr system_time sampling_period{.seconds = 1, .nanoseconds = 0};

}  // namespace

power_sampler begin_power_sampling() {
    {
        const tick_lock held;
        for (std::size_t port = 0; port < port_count; port++)
            clear_port_stats(port);
        g_port_stats_cfg = {};
    }
    return {.start = system_monotonic_now(), .offset = {}, .minute_uptime_s = 0};
}

void sample_port(power_sampler& sampler, std::size_t port) {
    if (port >= port_count) return;
    const tick_lock held;
    port_stats& record = g_port_stats[port];
    count_second(record, sample_of(g_port_stu[port]));
    if (!ends_a_minute(record)) return;
    sampler.minute_uptime_s = system_uptime_s();
    condense(record, {.wall_clock_s = system_wall_clock_s(), .uptime_s = sampler.minute_uptime_s});
}

void save_once_an_hour(const power_sampler& sampler) {
    const tick_lock held;
    if (hourly_save_is_due(g_port_stats_cfg, sampler.minute_uptime_s)) save_statistics_file(sampler.minute_uptime_s);
}

void wait_for_next_second(power_sampler& sampler) {
    _nanoadd(sampler.offset, sampling_period, nullptr);
    system_time deadline;
    _nanoadd(sampler.start, sampler.offset, &deadline);
    system_time remaining;
    _nanodiff(system_monotonic_now(), deadline, remaining);
    for (system_time left{}; system_sleep_for(remaining, left) == EINTR; remaining = left) {
    }
}

void sample_one_second(power_sampler& sampler) {
    for (std::size_t port = 0; port < port_count; port++)
        sample_port(sampler, port);
    save_once_an_hour(sampler);
    wait_for_next_second(sampler);
}

void* poe_power_usage_with_thread(void*) {
    power_sampler sampler = begin_power_sampling();
    for (;;)
        sample_one_second(sampler);
}
