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
// Who sees an empty record would wait for it to fill.
constexpr const char* not_sampled = "poe_drv does not record what ports draw: it tells what was restored or made up.";

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

bool has_an_average(const poe_client::energy_figures& figures) {
    return figures.minutes.valid || figures.half_hours.valid || figures.two_hours.valid;
}

block totals_line(const poe_client::port_energy& port) {
    std::string who = port_words(port.port);
    who.front() = 'P';
    return paragraph(who + ": powered for " + hours_minutes_seconds(port.powered_s) + ", " +
                     tenths_or_unknown(thousandths_of(port.energy_wh)) + " Wh");
}

bool is_empty(const energy_ring& ring) {
    return std::ranges::none_of(ring.slots, [](const auto& slot) { return slot.valid; });
}

std::string last_words(const energy_ring& ring) {
    return "Last " + std::string(ring.span);
}

// A slot that was never written has neither a time nor a value, and no row.
void add_columns(std::vector<block>& page, const energy_ring& ring) {
    page.push_back(paragraph(last_words(ring) + ", each " + std::string(ring.period) + ":", shown_on::files));
    block table = table_of({{.heading = "ENDED"}, {.heading = "AVERAGE W", .to_the_right = true}});
    table.where = shown_on::files;
    table.follows_on = true;
    for (std::size_t i = 0; i < ring.slots.size(); i++) {
        if (ring.slots[i].valid)
            table.rows.push_back({local_time(slot_time_s(ring, i)), tenths_or_unknown(known_mw(ring.slots[i]))});
    }
    page.push_back(std::move(table));
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

block plot_of(const energy_ring& ring, std::size_t slots_a_bar) {
    std::vector<std::optional<std::int64_t>> values;
    for (const auto& slot : ring.slots)
        values.push_back(known_mw(slot));
    const std::string plot = bar_plot(condensed(values, slots_a_bar));
    block shown = paragraph(last_words(ring) + " in W, one bar per " +
                                (slots_a_bar == 1 ? "" : std::to_string(slots_a_bar) + " x ") +
                                std::string(ring.period) + extent_words(ring) + ":\n" + plot,
                            shown_on::terminals);
    shown.least_width = width_of_plot(plot);
    return shown;
}

// The first slots a bar with which the plot and its axis fit into 80 columns, and more for narrower screens.
block plots_of(const energy_ring& ring) {
    constexpr std::size_t widest = 60, narrowest = 10;  // bars
    const std::size_t count = ring.slots.size();
    const std::size_t first = (count + widest - 1) / widest;
    block shown = plot_of(ring, first);
    for (std::size_t slots_a_bar = first + 1; slots_a_bar * narrowest <= count; slots_a_bar++)
        shown.narrower.push_back(plot_of(ring, slots_a_bar));
    return shown;
}

}  // namespace

std::vector<block> energy_page(bool kept_in_flash, const poe_client::energy_summary& summary) {
    block table = table_of({{.heading = "PORT", .to_the_right = true},
                            {.heading = "INTERFACE", .leaves = 1},
                            {.heading = "POWERED h:m:s", .to_the_right = true, .leaves = 4},
                            {.heading = "ENERGY Wh", .to_the_right = true},
                            {.heading = "HOUR AVG W", .to_the_right = true, .leaves = 5},
                            {.heading = "DAY AVG W", .to_the_right = true, .leaves = 3},
                            {.heading = "WEEK AVG W", .to_the_right = true, .leaves = 2}});
    for (std::size_t port = 0; port < summary.port.size(); port++)
        table.rows.push_back(figures_row(std::to_string(panel_number(port)), interface_name(port), summary.port[port]));
    table.rows.push_back(figures_row("all", "", summary.totals));
    std::vector<block> page{
        paragraph("Energy totals are " + std::string(kept_in_flash ? "" : "not ") + "kept in flash."), table};
    if (summary.totals.powered_s == 0 && !has_an_average(summary.totals)) {
        page.push_back(paragraph(std::string("No average is known: nothing is recorded, or too little.\n"
                                             "'poectl energy PORT' shows what there is.\n") +
                                 not_sampled));
    }
    return page;
}

std::vector<block> port_energy_page(const poe_client::port_energy& port) {
    std::vector<block> page{totals_line(port)};
    const auto rings = rings_of(port);
    if (std::ranges::all_of(rings, is_empty)) {
        page.push_back(paragraph(std::string("Nothing is recorded.\n") + not_sampled));
        return page;
    }
    for (const auto& ring : rings) {
        if (is_empty(ring)) {
            page.push_back(paragraph(last_words(ring) + ": nothing is recorded."));
        } else {
            add_columns(page, ring);
            page.push_back(plots_of(ring));
        }
    }
    return page;
}

}  // namespace poectl
