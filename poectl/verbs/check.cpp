#include "poectl/verbs/check.h"

#include <algorithm>

#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/messages.h"
#include "poectl/page_parts.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"

namespace poectl {

namespace {

std::string upper_name(plugin_state state) {
    std::string name(name_of(state));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? char(c - 32) : c; });
    return name;
}

facts watts(std::uint64_t mw) {
    return static_cast<double>(mw) / static_cast<double>(mw_a_w);
}

// One measured value with what it is held against; null where there is nothing.
struct performance {
    std::string label;
    facts value, warning, critical, minimum, maximum;
    bool counts_up = false;
};

std::string shown(const facts& value) {
    return value.is_null() ? "" : value.dump();
}

// 'label'=value[unit];warning;critical;minimum;maximum, without the empty ones at the end.
std::string plugin_words(const performance& one) {
    std::string text = one.label + "=" + (one.value.is_null() ? "U" : shown(one.value) + (one.counts_up ? "c" : "")) +
                       ";" + shown(one.warning) + ";" + shown(one.critical) + ";" + shown(one.minimum) + ";" +
                       shown(one.maximum);
    text.erase(text.find_last_not_of(';') + 1);
    return text;
}

facts facts_of(const performance& one) {
    return {{"label", one.label},     {"value", one.value},       {"counts_up", one.counts_up},
            {"warning", one.warning}, {"critical", one.critical}, {"minimum", one.minimum},
            {"maximum", one.maximum}};
}

template <typename limit, typename read>
facts limit_or_null(const std::optional<limit>& wanted, read as) {
    return wanted ? facts(as(*wanted)) : facts(nullptr);
}

std::vector<performance> performance_of(const checked_switch& seen, const check_thresholds& thresholds) {
    const auto& system = seen.all.system.status;
    const auto in_watts = [&](const power_threshold& one) { return watts(threshold_mw(one, system.total_mw)); };
    const auto as_it_is = [](std::uint32_t count) { return count; };
    const auto temperature_mc = known_temperature_mc(system);
    std::vector<performance> list{
        {.label = "consumed_w",
         .value = watts(system.consumed_mw),
         .warning = limit_or_null(thresholds.power_warning, in_watts),
         .critical = limit_or_null(thresholds.power_critical, in_watts),
         .minimum = 0,
         .maximum = watts(system.total_mw)},
        {.label = "temperature_c",
         .value = temperature_mc ? facts(static_cast<double>(*temperature_mc) / 1000.0) : facts(nullptr),
         .warning = {},
         .critical = {},
         .minimum = {},
         .maximum = {}}};
    for (const auto& port : seen.all.ports) {
        const bool known = is_measured(port.status);
        list.push_back({.label = "port" + std::to_string(panel_number(port.status.port)) + "_w",
                        .value = known ? watts(port.status.power_mw) : facts(nullptr),
                        .warning = {},
                        .critical = {},
                        .minimum = 0,
                        .maximum = watts(std::uint64_t{port.settings.power_limit_dw} * mw_a_dw)});
    }
    list.push_back({.label = "failed_transactions",
                    .value = failed_transactions(seen.controller.counters),
                    .warning = limit_or_null(thresholds.errors_warning, as_it_is),
                    .critical = limit_or_null(thresholds.errors_critical, as_it_is),
                    .minimum = 0,
                    .maximum = {},
                    .counts_up = true});
    return list;
}

std::string usage_words(const poe_client::system_status& system) {
    return thousandths_as_tenths(system.consumed_mw) + " W of " + thousandths_as_tenths(system.total_mw) + " W used";
}

std::string threshold_words(const poe_client::system_status& system, const power_threshold& reached) {
    const auto at_mw = static_cast<std::int64_t>(threshold_mw(reached, system.total_mw));
    return usage_words(system) + ", threshold " + thousandths_as_tenths(at_mw) + " W";
}

std::string delivering_words(const whole_reading& all) {
    poe_client::port_bitmap ports = 0;
    for (const auto& port : all.ports) {
        if (port.status.status == poe_client::status_delivering)
            ports = static_cast<poe_client::port_bitmap>(ports | poe_client::bit_of_port(port.status.port));
    }
    return ports == 0 ? "no port delivers" : ports_words(ports) + " delivering";
}

// Bars and line feeds have a meaning of their own there.
std::string for_a_plugin(std::string text) {
    std::replace(text.begin(), text.end(), '|', '/');
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// A monitoring system reads it.
block whole_lines(const std::string& text) {
    block lines = paragraph(text);
    lines.is_whole = true;
    return lines;
}

void put_state(plugin_state state, const std::string& text, picture& into) {
    into.exit_status = static_cast<int>(state);
    into.add("state", {{"code", static_cast<int>(state)}, {"name", name_of(state)}, {"text", text}});
}

void put_finding(const check_finding& one, picture& into) {
    into.add("findings", {{"code", static_cast<int>(one.state)}, {"name", name_of(one.state)}, {"text", one.text}});
}

void check_controller(const checked_switch& seen, std::vector<check_finding>& found) {
    if (seen.controller.answers) return;
    found.push_back({plugin_state::critical, std::string(controller_is_silent) + all_is_old});
}

// A daemon that met a silent controller when it started has programmed nothing, and does not try again.
constexpr const char* no_budget = "the power budget is 0.0 W: no port gets power; restart poe_drv if nobody set it";

void check_power(const checked_switch& seen, const check_thresholds& thresholds, std::vector<check_finding>& found) {
    const auto& system = seen.all.system;
    if (system.status.total_mw == 0) found.push_back({plugin_state::critical, no_budget});
    const auto reached = [&](const std::optional<power_threshold>& threshold) {
        return threshold && system.status.consumed_mw >= threshold_mw(*threshold, system.status.total_mw);
    };
    if (reached(thresholds.power_critical)) {
        found.push_back({plugin_state::critical, threshold_words(system.status, *thresholds.power_critical)});
    } else if (reached(thresholds.power_warning)) {
        found.push_back({plugin_state::warning, threshold_words(system.status, *thresholds.power_warning)});
    }
    if (system.status.alarm_raised) {
        found.push_back(
            {plugin_state::warning,
             "the usage alarm at " + std::to_string(system.settings.threshold_percent) + " % of the budget is raised"});
    }
}

void check_ports(const checked_switch& seen, const check_thresholds& thresholds, std::vector<check_finding>& found) {
    for (const auto& port : seen.all.ports) {
        const auto status = port.status.status;
        const bool must = (thresholds.must_deliver & poe_client::bit_of_port(port.status.port)) != 0;
        if (must && status != poe_client::status_delivering) {
            found.push_back(
                {plugin_state::critical, port_words(port.status.port) + " does not deliver: " + status_words(status)});
        } else if (tone_of_status(status) == tone::bad) {
            found.push_back({plugin_state::warning, port_words(port.status.port) + ": " + status_words(status)});
        }
    }
}

void check_errors(const checked_switch& seen, const check_thresholds& thresholds, std::vector<check_finding>& found) {
    const std::uint64_t errors = failed_transactions(seen.controller.counters);
    const auto reached = [&](const std::optional<std::uint32_t>& threshold) {
        return threshold && errors >= *threshold;
    };
    if (!reached(thresholds.errors_critical) && !reached(thresholds.errors_warning)) return;
    found.push_back({reached(thresholds.errors_critical) ? plugin_state::critical : plugin_state::warning,
                     std::to_string(errors) + " transactions with the controller failed"});
}

// Watts and shares of the budget are not compared: the budget may change.
bool is_never_seen(const std::optional<power_threshold>& warning, const std::optional<power_threshold>& critical) {
    return warning && critical && warning->is_percent == critical->is_percent && warning->amount > critical->amount;
}

bool is_never_seen(const std::optional<std::uint32_t>& warning, const std::optional<std::uint32_t>& critical) {
    return warning && critical && *warning > *critical;
}

}  // namespace

std::string_view name_of(plugin_state state) {
    constexpr std::array<std::string_view, 4> names{"ok", "warning", "critical", "unknown"};
    return names[static_cast<std::size_t>(state)];
}

std::uint64_t failed_transactions(const poe_client::communication_counters& counters) {
    return counters.rx_timeout + counters.rx_chksum_error + counters.tx_chksum_error + counters.undefined_key_value;
}

std::uint64_t threshold_mw(const power_threshold& threshold, std::uint32_t total_mw) {
    constexpr std::uint64_t whole = 100'000;  // thousandths of a percent
    return threshold.is_percent ? std::uint64_t{threshold.amount} * total_mw / whole : threshold.amount;
}

std::vector<check_finding> findings_of(const checked_switch& seen, const check_thresholds& thresholds) {
    std::vector<check_finding> found;
    check_controller(seen, found);
    check_power(seen, thresholds, found);
    check_ports(seen, thresholds, found);
    check_errors(seen, thresholds, found);
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& one, const auto& other) { return one.state > other.state; });
    return found;
}

plugin_state worst_of(const std::vector<check_finding>& findings) {
    plugin_state worst = plugin_state::ok;
    for (const auto& one : findings)
        worst = std::max(worst, one.state);
    return worst;
}

void depict_check(const checked_switch& seen, const check_thresholds& thresholds, picture& into) {
    const auto findings = findings_of(seen, thresholds);
    const plugin_state state = worst_of(findings);
    std::string text;
    for (const auto& one : findings) {
        text += (text.empty() ? "" : "; ") + one.text;
        put_finding(one, into);
    }
    if (findings.empty()) text = usage_words(seen.all.system.status) + ", " + delivering_words(seen.all);
    put_state(state, text, into);
    std::string line = "POE " + upper_name(state) + " - " + for_a_plugin(text) + " |";
    for (const auto& one : performance_of(seen, thresholds)) {
        line += " " + plugin_words(one);
        into.add("performance", facts_of(one));
    }
    into.page = {whole_lines(line)};
    block ports;
    ports.follows_on = true;
    for (const auto& port : seen.all.ports)
        ports.rows.push_back({port_words(port.status.port) + ": " + status_words(port.status.status)});
    into.page.push_back(std::move(ports));
}

void depict_unknown(const problem& why, picture& into) {
    const std::string text = why.what + ": " + why.why;
    put_state(plugin_state::unknown, text, into);
    put_finding({plugin_state::unknown, text}, into);
    into.error = why;
    into.page = {whole_lines(unknown_line(text + ". Try: " + why.advice))};
}

std::string unknown_line(const std::string& why) {
    return "POE UNKNOWN - " + for_a_plugin(why) + "\n";
}

void add_check(command_line& line) {
    auto& thresholds = line.asked.thresholds;
    auto* check =
        line.add(line.app, "check", "for monitoring: ends with 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN", verb::check);
    check->group(group_keep_watch);
    check->footer(
        "The options that poectl --help lists are those of every command. The exit\n"
        "statuses are these, in place of those that it lists.");
    const auto power = [&](const char* name, std::optional<power_threshold>& into, const char* help) {
        check
            ->add_option_function<std::string>(
                name, [&into](const std::string& text) { into = parse_power_threshold(text).value; }, help)
            ->check([](const std::string& text) { return parse_power_threshold(text).problem; }, "")
            ->type_name("W|%");
    };
    power("-w,--warning", thresholds.power_warning, "WARNING when that much power is consumed: 240, 240.5 or 80%");
    power("-c,--critical", thresholds.power_critical, "CRITICAL when that much power is consumed");
    line.add_ports_choice(*check, thresholds.must_deliver, "--delivering")
        ->description("CRITICAL when one of these ports does not deliver");
    line.add_value(*check, "--errors-warning", thresholds.errors_warning, parse_count,
                   "WARNING when that many transactions with the controller failed", "N");
    line.add_value(*check, "--errors-critical", thresholds.errors_critical, parse_count,
                   "CRITICAL when that many transactions with the controller failed", "N");
    check->callback([&thresholds] {
        if (is_never_seen(thresholds.power_warning, thresholds.power_critical))
            throw CLI::ValidationError("--warning is above --critical: nobody would ever be warned");
        if (is_never_seen(thresholds.errors_warning, thresholds.errors_critical))
            throw CLI::ValidationError("--errors-warning is above --errors-critical: nobody would ever be warned");
    });
}

poe_client::failure check(const command& asked, poe_client::connection& daemon, picture& seen) {
    checked_switch now{};
    const auto error = read_beside_controller(daemon, now.controller, [&] { return read_whole(daemon, now.all); });
    if (succeeded(error)) {
        depict_check(now, asked.thresholds, seen);
    } else {
        depict_unknown(problem_of(error, daemon.socket_path(), asked.timeout), seen);
    }
    return {};
}

}  // namespace poectl
