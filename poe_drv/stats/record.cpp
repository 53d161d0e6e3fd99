#include "stats/record.h"

port_stats_records g_port_stats;
port_stats_cfg g_port_stats_cfg;

void clear_port_stats(std::size_t port) {
    if (port < g_port_stats.size()) g_port_stats[port] = {};
}
