#include "poectl/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "poectl/exit_status.h"
#include "poectl/values.h"

namespace poectl {

namespace {

constexpr const char* description =
    "Looks at and changes Power over Ethernet through the daemon poe_drv. Ports are 1 to 4, as on the panel.";
constexpr const char* footer =
    "Exit status: 0 done, 1 internal failure, 2 bad usage, 3 no daemon, 4 no answer, 5 refused, 6 not permitted.\n"
    "The daemon's socket is --socket, else POE_DRV_SOCKET, else its usual path.";

// An option (or a positional) whose text goes through one of the strict readers, straight into its place.
template <typename place, typename number>
CLI::Option* add_value(CLI::App& app, const std::string& name, place& into, parsed<number> (*read)(std::string_view),
                       const std::string& help, const std::string& type_name) {
    return app
        .add_option_function<std::string>(
            name, [&into, read](const std::string& text) { into = static_cast<place>(read(text).value); }, help)
        ->check([read](const std::string& text) { return read(text).problem; }, "")
        ->type_name(type_name);
}

template <typename... value>
bool none_given(const std::optional<value>&... values) {
    return (!values && ...);
}

bool changes_nothing(const poe_client::port_settings_change& c) {
    return none_given(c.enable, c.power_limit_dw, c.priority, c.mode, c.schedule_enable, c.re_enable_s);
}

bool changes_nothing(const poe_client::system_settings_change& c) {
    return none_given(c.enable, c.threshold_percent, c.parameter_1, c.parameter_2, c.parameter_4, c.parameter_5);
}

template <typename change>
void demand_a_change(CLI::App& app, const change& asked) {
    app.callback([&app, &asked] {
        if (changes_nothing(asked)) throw CLI::ValidationError(app.get_name(), "give at least one setting");
    });
}

// `asked` outlives the parsing.
struct command_line {
    CLI::App app{description, "poectl"};
    command& asked;
    std::uint32_t timeout_ms = static_cast<std::uint32_t>(poe_client::default_timeout.count());

    explicit command_line(command& into) : asked(into) {
        app.footer(footer);
        app.require_subcommand(1);
        app.fallthrough();
        app.add_flag("--json", asked.json, "JSON for programs instead of tables for people");
        app.add_option("--socket", asked.socket_path, "the daemon's socket")->type_name("PATH");
        add_value(app, "--timeout", timeout_ms, parse_timeout_ms,
                  "how long to wait for each answer; a query is asked twice", "MS");
        add(app, "status", "the system and all ports", verb::status);
        add_port();
        add_system();
        add_bank();
        auto* cycle = add(app, "cycle", "switch ports off and, after their re-enable time, on again", verb::cycle);
        add_value(*cycle, "PORTS", asked.ports, parse_ports, "ports, such as 1,3", "LIST")->required();
        auto* schedule = add(app, "schedule", "begin an on or off period of a port's schedule", verb::schedule);
        add_value(*schedule, "PORT", asked.port, parse_port, "port 1 to 4", "N")->required();
        add_value(*schedule, "PERIOD", asked.schedule_on, parse_on_off, "on or off", "on|off")->required();
        add(app, "counters", "how the daemon's talk with the controller went", verb::counters);
        add(app, "queue", "how many changes ever waited at once", verb::queue);
        add_energy();
    }

    std::string command_names() {
        std::string names;
        for (const auto* subcommand : app.get_subcommands([](const CLI::App*) { return true; })) {
            names += (names.empty() ? "" : ", ") + subcommand->get_name();
        }
        return names;
    }

    // The innermost subcommand on the line decides the verb: CLI11 parses it last.
    CLI::App* add(CLI::App& parent, const std::string& name, const std::string& help, verb meant) {
        auto* subcommand = parent.add_subcommand(name, help);
        subcommand->preparse_callback([this, meant](std::size_t) { asked.verb = meant; });
        return subcommand;
    }

    void add_port() {
        auto* port = add(app, "port", "one port", verb::port_show);
        add_value(*port, "PORT", asked.port, parse_port, "port 1 to 4", "N")->required();
        add(*port, "show", "settings and status", verb::port_show);
        auto* set = add(*port, "set", "change settings; what is not named stays", verb::port_set);
        auto& change = asked.port_change;
        add_value(*set, "--enable", change.enable, parse_on_off, "may the port deliver power?", "on|off");
        add_value(*set, "--limit", change.power_limit_dw, parse_limit_dw, "power limit, 1.0 to 90.0 watts", "W");
        add_value(*set, "--priority", change.priority, parse_priority, "when the budget is short",
                  "critical|high|low|1|2|3");
        add_value(*set, "--mode", change.mode, parse_mode, "controller's power mode, 0 to 4", "N");
        add_value(*set, "--schedule", change.schedule_enable, parse_on_off, "does the port obey its schedule?",
                  "on|off");
        add_value(*set, "--re-enable", change.re_enable_s, parse_re_enable_s, "off time of a power-cycle, 5 to 60 s",
                  "S");
        demand_a_change(*set, change);
        port->require_subcommand(0, 1);
    }

    void add_system() {
        auto* system = add(app, "system", "the system", verb::system_show);
        add(*system, "show", "settings and status", verb::system_show);
        auto* set = add(*system, "set", "change settings; what is not named stays", verb::system_set);
        auto& change = asked.system_change;
        add_value(*set, "--enable", change.enable, parse_on_off, "PoE as a whole", "on|off");
        add_value(*set, "--threshold", change.threshold_percent, parse_threshold_percent,
                  "usage alarm, 1 to 99 percent of the budget", "PERCENT");
        add_value(*set, "--parameter-1", change.parameter_1, parse_zero_or_one,
                  "accepted by the daemon, which keeps its own", "0|1");
        add_value(*set, "--parameter-2", change.parameter_2, parse_zero_or_one, "kept for other programs", "0|1");
        add_value(*set, "--parameter-4", change.parameter_4, parse_zero_or_one, "kept for other programs", "0|1");
        add_value(*set, "--parameter-5", change.parameter_5, parse_zero_or_one, "kept for other programs", "0|1");
        demand_a_change(*set, change);
        system->require_subcommand(0, 1);
    }

    void add_bank() {
        auto* bank = add(app, "bank", "the power bank limit", verb::bank_show);
        add(*bank, "show", "the limit", verb::bank_show);
        auto* set = add(*bank, "set", "change the limit", verb::bank_set);
        add_value(*set, "WATTS", asked.bank_limit_w, parse_bank_w, "whole watts", "W")->required();
        bank->require_subcommand(0, 1);
    }

    void add_energy() {
        auto* energy =
            add(app, "energy", "delivered energy and the power of the last hour, day and week", verb::energy_show);
        auto* port = add_value(*energy, "PORT,--port", asked.port, parse_port, "one port's history, port 1 to 4", "N");
        energy->callback([this, port] {
            if (port->count() > 0) asked.verb = verb::energy_port;
        });
        auto* reset = add(*energy, "reset", "forget the totals and the history of ports", verb::energy_reset);
        add_value(*reset, "PORTS", asked.ports, parse_ports, "ports, such as 1,3", "LIST")->required();
        auto* on = add(*energy, "on", "keep the totals in flash", verb::energy_keep);
        on->parse_complete_callback([this] { asked.keep_in_flash = true; });
        auto* off = add(*energy, "off", "no longer keep the totals in flash: removes their file", verb::energy_keep);
        auto* inject = add(*energy, "inject", "a test aid: replaces the history of all ports by a made-up one",
                           verb::energy_inject);
        add_value(*inject, "MINUTES", asked.history_minutes, parse_minutes, "how far back it goes", "N")->required();
        for (auto* other : {reset, on, off, inject})
            other->excludes(port);
        energy->require_subcommand(0, 1);
    }
};

}  // namespace

parsed_arguments parse_arguments(std::vector<std::string> arguments) {
    parsed_arguments result;
    command_line line(result.asked);
    std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
    try {
        line.app.parse(std::move(arguments));
    } catch (const CLI::CallForAllHelp&) {
        result.help = line.app.help(line.app.get_name(), CLI::AppFormatMode::All);
        return result;
    } catch (const CLI::CallForHelp&) {
        result.help = line.app.help();
        return result;
    } catch (const CLI::ParseError& error) {
        result.status = exit_usage;
        if (line.app.get_subcommands().empty() && error.get_name() == "RequiredError") {
            result.complaint = "give one of these commands: " + line.command_names() + "\nTry poectl --help.";
            return result;
        }
        result.complaint = std::string(error.what()) + "\nTry poectl --help.";
        return result;
    }
    result.asked.timeout = std::chrono::milliseconds(line.timeout_ms);
    result.go_on = true;
    return result;
}

}  // namespace poectl
