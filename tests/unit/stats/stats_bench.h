// The bench of the statistics room: fresh shared records, an empty energy record, statistics off, no file.
#pragma once

#include <algorithm>
#include <string>

#include "core/locks.h"
#include "stats/record.h"
#include "world/records.h"

class stats_bench : public records_test {
  protected:
    stats_bench() {
        nobody_else_is_running();
        g_port_stats = {};
        g_port_stats_cfg = {};
    }

    // What the daemon guards by the tick lock; the test is alone when it looks.
    static port_stats& record(std::size_t port) {
        nobody_else_is_running();
        return g_port_stats[port];
    }
    static port_stats_cfg& configuration() {
        nobody_else_is_running();
        return g_port_stats_cfg;
    }
    static port_stu& status(std::size_t port) {
        nobody_else_is_running();
        return g_port_stu[port];
    }

    static void deliver(std::size_t port, std::uint32_t pair_a_mw, std::uint32_t pair_b_mw) {
        status(port).status = 1;
        status(port).channel[0].power_mw = pair_a_mw;
        status(port).channel[1].power_mw = pair_b_mw;
    }

    static bool tick_lock_is_held() {
        if (pthread_mutex_trylock(&g_mutex_poe_tick_thread.native) != 0) return true;
        pthread_mutex_unlock(&g_mutex_poe_tick_thread.native);
        return false;
    }

    static constexpr const char* file_path = "/flash/poe_statistics.txt";
    static bool file_exists() { return the_world.files.contains(file_path); }
    static std::string& file() { return the_world.files[file_path]; }
    static std::size_t count_of(const std::string& line) {
        return static_cast<std::size_t>(std::count(the_world.story.begin(), the_world.story.end(), line));
    }
    static std::size_t saves() { return count_of(std::string("replace ") + file_path); }
    static std::size_t removals() { return count_of(std::string("remove ") + file_path); }
};
