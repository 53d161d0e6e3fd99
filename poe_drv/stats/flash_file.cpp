#include "stats/flash_file.h"

#include "core/paths.h"
#include "platform/system.h"
#include "stats/statistics_text.h"

namespace {

// Far beyond four lines; what stands behind it is not ours.
constexpr std::size_t longest_file_read = 65536;

bool write_file() REQUIRES(g_mutex_poe_tick_thread) {
    const statistics_text text = compose_statistics_text(g_port_stats);
    return system_replace_durably(statistics_file_path, text.bytes.data(), text.length);
}

void add_file_to_records() REQUIRES(g_mutex_poe_tick_thread) {
    char text[longest_file_read];
    const std::ptrdiff_t length = system_read_file(statistics_file_path, text, sizeof text);
    if (length > 0) add_statistics_text(g_port_stats, {text, static_cast<std::size_t>(length)});
}

}  // namespace

bool hourly_save_is_due(const port_stats_cfg& configuration, std::uint32_t minute_uptime_s) {
    return configuration.enable == statistics_on && minute_uptime_s != 0 &&
           minute_uptime_s / seconds_per_hour != configuration.saved_hour;
}

void save_statistics_file(std::uint32_t uptime_s) {
    if (write_file()) g_port_stats_cfg.saved_hour = uptime_s / seconds_per_hour;
}

void statistics_file_when_enabled() {
    if (g_port_stats_cfg.file_restored != 0) {
        save_statistics_file(system_uptime_s());
        return;
    }
    add_file_to_records();
    g_port_stats_cfg.file_restored = 1;
}

void statistics_file_when_disabled() {
    if (system_file_exists(statistics_file_path)) system_remove_file(statistics_file_path);
}

void statistics_file_when_cleared() {
    if (g_port_stats_cfg.enable != statistics_on || !system_file_exists(statistics_file_path)) return;
    if (write_file()) return;
    system_remove_file(statistics_file_path);
    write_file();  // the old file's room may have been all there was
}
