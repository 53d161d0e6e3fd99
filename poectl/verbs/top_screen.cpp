#include "poectl/verbs/top_screen.h"

#include <algorithm>

#include "poectl/page_parts.h"
#include "poectl/verbs/bar_plot.h"
#include "poectl/verbs/energy_rings.h"
#include "poectl/words.h"
#include "poectl/wrap.h"

namespace poectl {

namespace {

constexpr std::size_t least_lines = 7, least_columns = 30;
constexpr std::size_t least_bar = 8, greatest_bar = 50;
constexpr std::uint8_t blinking_sub_status = 1;
constexpr std::array<std::string_view, 3> led_words{"dark", "lit", "blinks"};

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

std::string to_the_right(const std::string& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

void cut(screen_line& line, std::size_t columns) {
    for (auto& one : line) {
        one.text.resize(std::min(one.text.size(), columns));
        columns -= one.text.size();
    }
}

std::size_t bar_width(std::size_t columns, std::size_t beside) {
    return std::clamp(columns > beside ? columns - beside : 0, least_bar, greatest_bar);
}

// What has no room is left out, from the right.
screen_line title(const top_picture& seen, std::size_t columns) {
    const auto& [status, settings] = seen.all.system;
    screen_line line{cell("poectl top", tone::heading)};
    const auto add = [&line, columns](const screen_line& more) {
        if (width_of(line) + width_of(more) <= columns) line.insert(line.end(), more.begin(), more.end());
    };
    add({"  " + seen.time});
    if (seen.known) {
        const auto temperature_mc = known_temperature_mc(status);
        add({"  PoE ", cell(enabled_word(settings.enable), settings.enable != 0 ? tone::good : tone::bad)});
        if (temperature_mc) add({"  controller " + thousandths_as_tenths(*temperature_mc) + " C"});
    }
    const std::string keys = "q quit  ? help";
    const std::size_t taken = width_of(line) + keys.size();
    if (taken < columns) add({std::string(columns - taken, ' ') + keys});
    return line;
}

screen_line trouble_line(const top_picture& seen) {
    constexpr const char* old = "; what follows is old";
    if (!seen.trouble && seen.known && !seen.controller_answers) return {cell(controller_is_silent, tone::bad), old};
    if (!seen.trouble) return {};
    return {cell(seen.trouble->what, tone::bad), ": " + seen.trouble->why + (seen.known ? old : "")};
}

screen_line budget_line(const system_reading& system, std::size_t columns) {
    const auto& [status, settings] = system;
    constexpr std::uint64_t percent = 100;
    const std::string words = " " + thousandths_as_tenths(status.consumed_mw) + " of " +
                              thousandths_as_tenths(status.total_mw) + " W, alarm at " +
                              std::to_string(settings.threshold_percent) + " %";
    const std::string name = "Budget ";
    const std::string raised = status.alarm_raised ? ": RAISED" : "";
    const std::size_t width = bar_width(columns, name.size() + words.size() + std::string(": RAISED").size());
    const auto threshold = static_cast<std::uint64_t>(std::max<int>(settings.threshold_percent, 0));
    return {name,
            cell(power_bar(status.consumed_mw, status.total_mw, width, status.total_mw * threshold / percent),
                 status.alarm_raised ? tone::bad : tone::good),
            words, cell(raised, tone::bad)};
}

constexpr std::size_t number_width = 7, interface_width = 10, led_width = 7, status_width = 18, power_width = 15;

// What there is room for beside number, status and power.
struct port_columns {
    bool interface, led;
    std::size_t bar = 0;  // 0: none
};

port_columns port_columns_in(std::size_t columns) {
    constexpr std::size_t least = number_width + status_width + power_width;
    constexpr std::size_t with_led = least + led_width, with_both = with_led + interface_width;
    constexpr std::size_t beside_the_bar = with_both + 1;
    port_columns chosen{.interface = columns >= with_both, .led = columns >= with_led};
    if (columns >= beside_the_bar + least_bar) chosen.bar = bar_width(columns, beside_the_bar);
    return chosen;
}

screen_line port_headings(const port_columns& shown) {
    return {cell(padded("  PORT ", number_width) + (shown.interface ? padded("INTERFACE", interface_width) : "") +
                     (shown.led ? padded("LED", led_width) : "") + padded("STATUS", status_width) +
                     to_the_right("POWER/LIMIT W", power_width),
                 tone::heading)};
}

screen_line port_line(const port_reading& port, bool selected, const port_columns& shown) {
    const auto& [status, settings, cycle_pending, on_again_s] = port;
    const led_state led = led_of(status);
    const bool known = is_measured(status);
    const std::string number = std::to_string(panel_number(status.port));
    const std::uint64_t limit_mw = std::uint64_t{settings.power_limit_dw} * mw_a_dw;
    const std::string on_again = "on again in " + std::to_string(on_again_s) + " s";
    screen_line line{cell(padded(selected ? "> " + number : "  " + number, number_width))};
    if (shown.interface) line.emplace_back(padded(std::string(interface_name(status.port)), interface_width));
    if (shown.led) {
        line.emplace_back(padded(std::string(led_words[static_cast<std::size_t>(led)]), led_width),
                          led == led_state::dark ? tone::plain : tone::good);
    }
    if (cycle_pending && shown.bar == 0) {
        line.emplace_back(padded(on_again, status_width), tone::attention);
    } else {
        line.emplace_back(padded(status_words(status.status), status_width), tone_of_status(status.status));
    }
    line.emplace_back(
        to_the_right(known_tenths(known, status.power_mw) + "/" + tenths(settings.power_limit_dw), power_width));
    if (shown.bar == 0) return line;
    line.emplace_back(" ");
    line.push_back(cycle_pending ? cell(on_again, tone::attention)
                                 : cell(power_bar(known ? status.power_mw : 0, limit_mw, shown.bar), tone::good));
    return line;
}

void add_details(const port_reading& port, std::vector<screen_line>& lines) {
    const auto& [status, settings, cycle_pending, on_again_s] = port;
    const bool known = is_measured(status);
    std::string who = port_words(status.port);
    who.front() = 'P';
    lines.push_back({cell(who, tone::heading), ": class " + class_words(status.status, status.detected_class) + ", " +
                                                   known_tenths(known, status.voltage_mv) + " V, " +
                                                   (known ? std::to_string(status.current_ma) : unknown_cell) +
                                                   " mA, " + known_tenths(known, status.temperature_mc) + " C; off " +
                                                   std::to_string(settings.re_enable_s) + " s in a power-cycle"});
    lines.push_back({"  " + std::string(enabled_word(settings.enable)) + ", priority " +
                     std::string(priority_name(settings.priority)) + ", mode " + mode_words(settings.mode) +
                     ", schedule " + schedule_words(settings.schedule_enable, status.schedule_on)});
    lines.push_back({"  " + std::string(poe_client::status_code_of(status.status).meaning)});
    const auto& totals = status.event_totals;
    lines.push_back({"  overloads " + std::to_string(totals[0]) + ", short circuits " + std::to_string(totals[1]) +
                     ", denials " + std::to_string(totals[2]) + ", disconnections " + std::to_string(totals[3]) +
                     ", bad signatures " + std::to_string(totals[4])});
}

std::vector<screen_line> plot_lines(const top_picture& seen, std::size_t columns) {
    std::size_t minutes_a_bar = 1;
    std::string plot = bar_plot(seen.hour);
    while (width_of_plot(plot) > columns && minutes_a_bar < hour_minutes)
        plot = bar_plot(condensed(seen.hour, ++minutes_a_bar));
    const std::string each = minutes_a_bar == 1 ? "W a minute" : "W in " + std::to_string(minutes_a_bar) + " minutes";
    auto lines = wrapped({cell("Power of the last hour, " + each, tone::heading),
                          seen.hour_is_recorded ? " (poe_drv's record)" : " (as seen here)"},
                         columns);
    const block drawn = paragraph(plot);
    lines.insert(lines.end(), drawn.rows.begin(), drawn.rows.end());
    return lines;
}

std::vector<screen_line> help_lines() {
    return {{cell("Keys", tone::heading)},
            {"  up, down, 1 to 4   choose the port whose details are shown"},
            {"  ?                  this help, and back"},
            {"  q                  quit"},
            {""},
            {"In the plot ? is a time of which nothing is known, _ power too low to draw."},
            {"A bar is power against the port's limit, or against the budget, where | marks "
             "the usage alarm. LEDs are told from the statuses, as poe_drv drives the panel."}};
}

std::vector<screen_line> broken(const std::vector<screen_line>& lines, std::size_t columns, std::size_t hang) {
    std::vector<screen_line> all;
    for (const auto& line : lines) {
        auto parts = wrapped(line, columns, hang);
        std::move(parts.begin(), parts.end(), std::back_inserter(all));
    }
    return all;
}

// Empty lines go first; whatever else goes is told.
void leave_out_what_does_not_fit(std::vector<screen_line>& lines, std::size_t room) {
    const auto empty = [](const screen_line& line) {
        return std::ranges::all_of(line, [](const cell& one) { return one.text.empty(); });
    };
    for (auto line = lines.begin(); line != lines.end() && lines.size() > room;)
        line = empty(*line) ? lines.erase(line) : line + 1;
    if (lines.size() <= room) return;
    lines.resize(room);
    if (room > 0) lines.back() = {cell("and more, on a higher terminal", tone::attention)};
}

}  // namespace

std::optional<hour_of_power> recorded_hour(const std::array<poe_client::port_energy, poe_client::port_count>& ports) {
    hour_of_power hour{};
    bool any = false;
    for (const auto& port : ports) {
        for (std::size_t i = 0; i < hour_minutes; i++) {
            const auto mw = known_mw(port.minutes[i]);
            if (!mw) continue;
            hour[i] = hour[i].value_or(0) + *mw;
            any = true;
        }
    }
    if (!any) return std::nullopt;
    return hour;
}

void seen_hour::add(std::int64_t time_s, std::uint32_t consumed_mw) {
    const std::int64_t number = std::max<std::int64_t>(time_s, 0) / minute_s;
    auto& place = ring_[static_cast<std::size_t>(number) % hour_minutes];
    if (place.number != number) place = {.number = number, .sum_mw = 0, .count = 0};
    place.sum_mw += consumed_mw;
    place.count++;
    latest_ = number;
}

hour_of_power seen_hour::minutes() const {
    hour_of_power hour{};
    for (std::size_t i = 0; i < hour_minutes; i++) {
        const std::int64_t number = latest_ - static_cast<std::int64_t>(hour_minutes - 1 - i);
        if (number < 0) continue;
        const auto& place = ring_[static_cast<std::size_t>(number) % hour_minutes];
        if (place.number == number) hour[i] = static_cast<std::int64_t>(place.sum_mw / place.count);
    }
    return hour;
}

led_state led_of(const poe_client::port_status& port) {
    if (port.port_type == dual_signature) {
        const bool blinks =
            std::ranges::any_of(port.pair_set, [](const auto& one) { return one.sub_status == blinking_sub_status; });
        return blinks ? led_state::blinking : led_state::lit;
    }
    constexpr std::array<std::uint32_t, 5> dark_statuses{0, 2, poe_client::status_not_read_yet, 12, 13};
    return std::ranges::find(dark_statuses, port.status) != dark_statuses.end() ? led_state::dark : led_state::lit;
}

std::string power_bar(std::uint64_t value, std::uint64_t whole, std::size_t width, std::optional<std::uint64_t> mark) {
    if (width < 3) return std::string(width, '.');
    const std::size_t inside = width - 2;
    const auto place = [&](std::uint64_t amount) {
        if (whole == 0) return std::size_t{0};
        return static_cast<std::size_t>(std::min<std::uint64_t>(amount, whole) * inside / whole);
    };
    // What is not nothing is seen.
    const std::size_t filled = value > 0 ? std::max<std::size_t>(place(value), whole > 0 ? 1 : 0) : 0;
    std::string bar(inside, '.');
    std::fill_n(bar.begin(), filled, '#');
    if (mark) bar[std::min(place(*mark), inside - 1)] = '|';
    return "[" + bar + "]";
}

std::vector<screen_line> top_screen(const top_picture& seen, const top_view& view, screen_size size) {
    std::vector<screen_line> lines;
    if (size.lines < least_lines || size.columns < least_columns) {
        lines = {{"no room; q quits"}};
    } else {
        const auto add = [&lines](const std::vector<screen_line>& more) {
            lines.insert(lines.end(), more.begin(), more.end());
        };
        add({title(seen, size.columns)});
        add(wrapped(trouble_line(seen), size.columns));
        if (view.help) {
            add(broken(help_lines(), size.columns, 0));
        } else if (seen.known) {
            const auto shown = port_columns_in(size.columns);
            add(wrapped(budget_line(seen.all.system, size.columns), size.columns, 2));
            add({port_headings(shown)});
            for (const auto& port : seen.all.ports)
                add({port_line(port, port.status.port == view.selected, shown)});
            std::vector<screen_line> details{{}};
            add_details(seen.all.ports[view.selected % poe_client::port_count], details);
            details = broken(details, size.columns, 2);
            if (lines.size() + details.size() <= size.lines) add(details);
            auto plot = plot_lines(seen, size.columns);
            if (lines.size() + 1 + plot.size() <= size.lines) plot.insert(plot.begin(), screen_line{});
            if (lines.size() + plot.size() <= size.lines) add(plot);
        }
    }
    leave_out_what_does_not_fit(lines, size.lines);
    for (auto& line : lines)
        cut(line, size.columns);
    return lines;
}

}  // namespace poectl
