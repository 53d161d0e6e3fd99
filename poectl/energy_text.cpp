#include "poectl/energy_text.h"

#include <algorithm>
#include <ctime>

#include "poectl/bar_plot.h"
#include "poectl/energy_rings.h"
#include "poectl/text.h"
#include "poectl/words.h"

namespace poectl {

namespace {

using row = std::vector<std::string>;

constexpr const char* unknown = "unknown";

std::string tenths_or_unknown(const std::optional<std::int64_t>& thousandths) {
    return thousandths ? thousandths_as_tenths(*thousandths) : unknown;
}

std::string two_digits(std::uint32_t value) {
    return (value < 10 ? "0" : "") + std::to_string(value);
}

// 93784 → "26:03:04"
std::string hours_minutes_seconds(std::uint32_t seconds) {
    constexpr std::uint32_t minutes_an_hour = 60;
    const std::uint32_t minutes = seconds / minute_s;
    return std::to_string(minutes / minutes_an_hour) + ":" + two_digits(minutes % minutes_an_hour) + ":" +
           two_digits(seconds % minute_s);
}

std::string local_time(const std::optional<std::int64_t>& time_s) {
    if (!time_s) return unknown;
    const auto since_1970 = static_cast<std::time_t>(*time_s);
    std::tm parts{};
    char text[64];
    if (localtime_r(&since_1970, &parts) == nullptr) return unknown;
    return std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts) > 0 ? text : unknown;
}

row figures_row(const std::string& who, const poe_client::energy_figures& figures) {
    return {who,
            hours_minutes_seconds(figures.powered_s),
            tenths_or_unknown(thousandths_of(figures.energy_wh)),
            tenths_or_unknown(known_mw(figures.minutes)),
            tenths_or_unknown(known_mw(figures.half_hours)),
            tenths_or_unknown(known_mw(figures.two_hours))};
}

std::string totals_line(const poe_client::port_energy& port) {
    return "Port " + std::to_string(panel_number(port.port)) + ": powered for " +
           hours_minutes_seconds(port.powered_s) + ", " + tenths_or_unknown(thousandths_of(port.energy_wh)) + " Wh\n";
}

std::string columns_of(const energy_ring& ring) {
    std::vector<row> rows{{"ENDED", "AVERAGE W"}};
    for (std::size_t i = 0; i < ring.slots.size(); i++)
        rows.push_back({local_time(slot_time_s(ring, i)), tenths_or_unknown(known_mw(ring.slots[i]))});
    return "Last " + std::string(ring.span) + ", each " + std::string(ring.period) + ":\n" + table(rows);
}

// The mean of the known ones.
std::optional<std::int64_t> mean_mw(std::span<const poe_client::energy_slot> slots) {
    std::int64_t sum = 0, known = 0;
    for (const auto& slot : slots) {
        const auto mw = known_mw(slot);
        if (!mw) continue;
        sum += *mw;
        known++;
    }
    return known > 0 ? std::optional(sum / known) : std::nullopt;
}

// "from ... to ..." of the slots that were written, which are of one piece; empty when there are none.
std::string extent_words(const energy_ring& ring) {
    std::optional<std::int64_t> first, last;
    for (std::size_t i = 0; i < ring.slots.size(); i++) {
        const auto time_s = slot_time_s(ring, i);
        if (!first) first = time_s;
        if (time_s) last = time_s;
    }
    return first ? ", " + local_time(first) + " to " + local_time(last) : "";
}

std::string plot_of(const energy_ring& ring) {
    constexpr std::size_t widest = 60;  // bars, so that the plot and its axis fit into 80 columns
    const std::size_t slots_a_bar = (ring.slots.size() + widest - 1) / widest;
    const std::string extent = extent_words(ring);
    const std::string heading = "Last " + std::string(ring.span) + " in W";
    if (extent.empty()) return heading + ": " + unknown + "\n";
    std::vector<std::optional<std::int64_t>> bars;
    for (std::size_t i = 0; i < ring.slots.size(); i += slots_a_bar)
        bars.push_back(mean_mw(ring.slots.subspan(i, std::min(slots_a_bar, ring.slots.size() - i))));
    return heading + ", one bar per " + (slots_a_bar == 1 ? "" : std::to_string(slots_a_bar) + " x ") +
           std::string(ring.period) + extent + ":\n" + bar_plot(bars);
}

std::string with_each_ring(const poe_client::port_energy& port, std::string (*show)(const energy_ring&)) {
    std::string text = totals_line(port);
    for (const auto& ring : rings_of(port))
        text += "\n" + show(ring);
    return text;
}

}  // namespace

std::string energy_text(const energy_picture& energy) {
    std::vector<row> rows{{"PORT", "POWERED", "ENERGY Wh", "HOUR AVG W", "DAY AVG W", "WEEK AVG W"}};
    for (std::size_t port = 0; port < energy.summary.port.size(); port++)
        rows.push_back(figures_row(std::to_string(panel_number(port)), energy.summary.port[port]));
    rows.push_back(figures_row("all", energy.summary.totals));
    return "Energy totals are " + std::string(energy.kept_in_flash ? "" : "not ") + "kept in flash.\n\n" + table(rows);
}

std::string port_energy_columns(const poe_client::port_energy& port) {
    return with_each_ring(port, columns_of);
}

std::string port_energy_plots(const poe_client::port_energy& port) {
    return with_each_ring(port, plot_of);
}

}  // namespace poectl
