#include "poectl/verbs/energy_page.h"

#include <algorithm>
#include <ctime>

#include "poectl/verbs/bar_plot.h"
#include "poectl/verbs/energy_rings.h"
#include "poectl/words.h"

namespace poectl {

namespace {

using row = std::vector<cell>;

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

row figures_row(const std::string& who, std::string_view interface, const poe_client::energy_figures& figures) {
    return {who,
            interface,
            hours_minutes_seconds(figures.powered_s),
            tenths_or_unknown(thousandths_of(figures.energy_wh)),
            tenths_or_unknown(known_mw(figures.minutes)),
            tenths_or_unknown(known_mw(figures.half_hours)),
            tenths_or_unknown(known_mw(figures.two_hours))};
}

bool is_empty(const poe_client::energy_figures& figures) {
    return figures.powered_s == 0 && !figures.minutes.valid && !figures.half_hours.valid && !figures.two_hours.valid;
}

block totals_line(const poe_client::port_energy& port) {
    std::string who = port_words(port.port);
    who.front() = 'P';
    return paragraph(who + ": powered for " + hours_minutes_seconds(port.powered_s) + ", " +
                     tenths_or_unknown(thousandths_of(port.energy_wh)) + " Wh");
}

void add_columns(std::vector<block>& page, const energy_ring& ring) {
    page.push_back(
        paragraph("Last " + std::string(ring.span) + ", each " + std::string(ring.period) + ":", shown_on::files));
    block table = table_of({{.heading = "ENDED"}, {.heading = "AVERAGE W", .to_the_right = true}});
    table.where = shown_on::files;
    table.follows_on = true;
    for (std::size_t i = 0; i < ring.slots.size(); i++)
        table.rows.push_back({local_time(slot_time_s(ring, i)), tenths_or_unknown(known_mw(ring.slots[i]))});
    page.push_back(std::move(table));
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

block plot_of(const energy_ring& ring) {
    constexpr std::size_t widest = 60;  // bars, so that the plot and its axis fit into 80 columns
    const std::size_t slots_a_bar = (ring.slots.size() + widest - 1) / widest;
    const std::string extent = extent_words(ring);
    const std::string heading = "Last " + std::string(ring.span) + " in W";
    if (extent.empty()) return paragraph(heading + ": " + unknown, shown_on::terminals);
    std::vector<std::optional<std::int64_t>> bars;
    for (std::size_t i = 0; i < ring.slots.size(); i += slots_a_bar)
        bars.push_back(mean_mw(ring.slots.subspan(i, std::min(slots_a_bar, ring.slots.size() - i))));
    return paragraph(heading + ", one bar per " + (slots_a_bar == 1 ? "" : std::to_string(slots_a_bar) + " x ") +
                         std::string(ring.period) + extent + ":\n" + bar_plot(bars),
                     shown_on::terminals);
}

}  // namespace

std::vector<block> energy_page(bool kept_in_flash, const poe_client::energy_summary& summary) {
    block table = table_of({{.heading = "PORT", .to_the_right = true},
                            {.heading = "INTERFACE"},
                            {.heading = "POWERED h:m:s", .to_the_right = true},
                            {.heading = "ENERGY Wh", .to_the_right = true},
                            {.heading = "HOUR AVG W", .to_the_right = true},
                            {.heading = "DAY AVG W", .to_the_right = true},
                            {.heading = "WEEK AVG W", .to_the_right = true}});
    for (std::size_t port = 0; port < summary.port.size(); port++)
        table.rows.push_back(figures_row(std::to_string(panel_number(port)), interface_name(port), summary.port[port]));
    table.rows.push_back(figures_row("all", "", summary.totals));
    std::vector<block> page{
        paragraph("Energy totals are " + std::string(kept_in_flash ? "" : "not ") + "kept in flash."), table};
    if (is_empty(summary.totals)) page.push_back(paragraph("Nothing is recorded."));
    return page;
}

std::vector<block> port_energy_page(const poe_client::port_energy& port) {
    std::vector<block> page{totals_line(port)};
    for (const auto& ring : rings_of(port)) {
        add_columns(page, ring);
        page.push_back(plot_of(ring));
    }
    return page;
}

}  // namespace poectl
