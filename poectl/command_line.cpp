#include "poectl/command_line.h"

#include <sstream>

#include "poectl/exit_status.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"
#include "poectl/wrap.h"

namespace poectl {

namespace {

constexpr const char* description =
    "Looks at and changes Power over Ethernet on this switch, through the daemon\n"
    "poe_drv. Ports are 1 to 4, as on the panel; the name of a port's interface does\n"
    "as well.";

constexpr const char* examples =
    "Examples:\n"
    "  poectl status --why              all ports, and what their statuses mean\n"
    "  poectl port 2 set --enable on --limit 30\n"
    "  poectl cycle 1,3                 off and on again\n"
    "  poectl status --format csv       for programs; see also --help-all\n"
    "  poectl doctor                    when nothing works\n";

constexpr const char* footer_of_commands =
    "The options and the exit statuses that poectl --help lists are those of every\n"
    "command.";

std::string footer() {
    std::string text = std::string(examples) + "\nExit status:";
    for (std::size_t i = 0; i < exit_statuses.size(); i++) {
        text += (i == 0   ? " "
                 : i == 4 ? ",\n             "
                          : ", ") +
                std::to_string(i) + " " + std::string(exit_statuses[i].meaning);
    }
    return text + ".\nThe daemon's socket is --socket, else POE_DRV_SOCKET, else its usual path.";
}

// "poectl port PORT set": the way to a command, with what must stand on it.
std::string way_to(const CLI::App& app) {
    const CLI::App* parent = app.get_parent();
    std::string words = parent == nullptr ? app.get_name() : way_to(*parent) + " " + app.get_name();
    for (const auto* option : app.get_options([](const CLI::Option* one) { return one->get_positional(); })) {
        const bool on_the_way = option->get_required();
        if (on_the_way) words += " " + option->get_name(true);
    }
    return words;
}

// As the parser's own, but with whole ways in the usage and without its remarks on what excludes what.
class help_format : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App* app, std::string) const override {
        std::string words = way_to(*app);
        for (const auto* option : app->get_options([](const CLI::Option* one) { return one->get_positional(); })) {
            if (!option->get_required()) words += " [" + option->get_name(true) + "]";
        }
        const bool has_commands =
            !app->get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); }).empty();
        if (has_commands) words += app->get_require_subcommand_min() > 0 ? " COMMAND" : " [COMMAND]";
        return "Usage: " + words + " [OPTIONS]\n";
    }

    // A place that can be named as an option, too, is called the same there.
    std::string make_option_name(const CLI::Option* option, bool is_place) const override {
        const std::string name = CLI::Formatter::make_option_name(option, is_place);
        const bool lacks_its_value = !is_place && option->get_positional() && option->get_type_name().empty();
        return lacks_its_value ? name + " " + option->get_name(true) : name;
    }

    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string type = option->get_type_name();
        return type.empty() ? "" : " " + type;
    }
};

choices port_choices() {
    choices words;
    for (std::size_t port = 0; port < poe_client::port_count; port++)
        words.push_back(std::to_string(panel_number(port)));
    return words;
}

}  // namespace

const choices& on_or_off() {
    static const choices words{"on", "off"};
    return words;
}

command_line::command_line(command& into) : app(description, "poectl"), asked(into) {
    app.formatter(std::make_shared<help_format>());
    app.footer(footer());
    app.require_subcommand(1);
    app.fallthrough();
    app.set_help_flag("-h,--help", "this help, or that of a command, and exit");
    app.set_version_flag("--version", "poectl " POE_VERSION, "the release, and exit");
    auto* format = add_choice(app, "--format", asked.format, parse_format, "how to show what is seen",
                              {"table", "json", "jsonl", "csv", "kv"});
    app.add_flag("--json", json, "the same as --format json")->excludes(format);
    add_choice(app, "--color", asked.colour, parse_colour, "colours; auto: on a terminal, unless NO_COLOR is set",
               {"auto", "always", "never"});
    app.add_option("--socket", asked.socket_path, "the daemon's socket")->type_name("PATH");
    add_value(app, "--answer-timeout", timeout_ms, parse_timeout_ms,
              "how long to wait for each answer; a query is asked twice", "MS");
    add_status(*this);
    add_port(*this);
    add_system(*this);
    add_bank(*this);
    add_cycle(*this);
    add_schedule(*this);
    add_energy(*this);
    add_counters(*this);
    add_check(*this);
    add_doctor(*this);
    add_watch(*this);
    add_top(*this);
    add_completion(*this);
    add_help(*this);
    // Last, so that it stands at the top only.
    app.set_help_all_flag("--help-all", "the help of every command, and exit");
}

CLI::App* command_line::add(CLI::App& parent, const std::string& name, const std::string& help, verb meant) {
    auto* subcommand = parent.add_subcommand(name, help);
    subcommand->group(group_commands);
    subcommand->footer(footer_of_commands);
    subcommand->preparse_callback([this, meant](std::size_t) { asked.verb = meant; });
    return subcommand;
}

CLI::Option* command_line::add_port_choice(CLI::App& owner, std::uint8_t& into, const std::string& name) {
    auto* option = add_value(owner, name, into, parse_port, "port 1 to 4, or its interface", "");
    values[option] = port_choices();
    return option;
}

CLI::Option* command_line::add_ports_choice(CLI::App& owner, poe_client::port_bitmap& into, const std::string& name) {
    auto* option = add_value(owner, name, into, parse_ports, "ports, such as 2 or 1,3 or 1-3 or all",
                             name.starts_with("-") ? "PORTS" : "");
    values[option] = port_choices();
    values[option].emplace_back(all_ports_word);
    return option;
}

CLI::Option* command_line::add_port_list(CLI::App& owner, poe_client::port_bitmap& into,
                                         poe_client::port_bitmap& named) {
    auto* option = owner.add_option_function<choices>(
        "PORTS",
        [&into, &named](const choices& lists) {
            for (const auto& list : lists) {
                const auto ports = parse_ports(list).value;
                into = static_cast<poe_client::port_bitmap>(into | ports);
                if (list != all_ports_word) named = static_cast<poe_client::port_bitmap>(named | ports);
            }
        },
        "ports, such as 2 or 1 3 or 1,3 or 1-3 or all");
    option->check([](const std::string& text) { return parse_ports(text).problem; }, "")->type_name("")->expected(-1);
    values[option] = port_choices();
    values[option].emplace_back(all_ports_word);
    return option;
}

void add_help(command_line& line) {
    auto* help = line.app.add_subcommand("help", "the help of a command, as --help behind it");
    help->group(group_help);
    help->footer(footer_of_commands);
    help->preparse_callback([&line](std::size_t) { line.help_with.emplace(); });
    auto* which = help->add_option_function<choices>(
        "COMMAND", [&line](const choices& words) { line.help_with = words; }, "a command, such as status or port set");
    which->type_name("")->expected(-1);
    line.help_command = help;
}

std::string help_of(const CLI::App& app) {
    constexpr std::size_t width = 80, column = 30, indent = 2;
    std::istringstream lines(app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        const bool is_entry = line.find_first_not_of(' ') == indent;
        for (const auto& part : wrapped({line}, width, is_entry ? column - indent : 0)) {
            for (const auto& one : part)
                text += one.text;
            text += '\n';
        }
    }
    return text;
}

std::string help_of_all(const CLI::App& app) {
    std::string text = help_of(app);
    for (const auto* subcommand : app.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); }))
        text += "\n----\n\n" + help_of_all(*subcommand);
    return text;
}

std::string command_names(const CLI::App& app) {
    std::string names;
    for (const auto* subcommand : app.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); })) {
        names += (names.empty() ? "" : ", ") + subcommand->get_name();
    }
    return names;
}

}  // namespace poectl
