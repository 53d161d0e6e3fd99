// The command line under construction: each verb adds itself (verbs/verbs.h). The help, the completions and the tests
// of the manual walk the same tree, so that none of them can lag behind.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "poectl/command.h"
#include "poectl/values.h"

namespace poectl {

using choices = std::vector<std::string>;

// Groups of the help.
inline constexpr const char* group_look = "Look";
inline constexpr const char* group_change = "Change";
inline constexpr const char* group_keep_watch = "Keep watch";
inline constexpr const char* group_help = "Help";
inline constexpr const char* group_commands = "Commands";
inline constexpr const char* group_hidden = "";

// `asked` outlives the parsing.
struct command_line {
    CLI::App app;
    command& asked;
    std::map<const CLI::Option*, choices> values;  // what an option or a positional can be, where that is a short list
    std::uint32_t timeout_ms = static_cast<std::uint32_t>(poe_client::default_timeout.count());
    bool json = false;
    std::optional<choices> help_with;        // the way to a command whose help is asked for
    const CLI::App* help_command = nullptr;  // the one that is followed by such a way

    explicit command_line(command& into);

    // The innermost subcommand on the line decides the verb: the parser comes there last.
    CLI::App* add(CLI::App& parent, const std::string& name, const std::string& help, verb meant);

    // An option (or a positional) whose text goes through one of the strict readers, straight into its place.
    template <typename place, typename number>
    CLI::Option* add_value(CLI::App& owner, const std::string& name, place& into,
                           parsed<number> (*read)(std::string_view), const std::string& help,
                           const std::string& type_name) {
        return owner
            .add_option_function<std::string>(
                name, [&into, read](const std::string& text) { into = static_cast<place>(read(text).value); }, help)
            ->check([read](const std::string& text) { return read(text).problem; }, "")
            ->type_name(type_name);
    }

    // One of a short list of words.
    template <typename place, typename number>
    CLI::Option* add_choice(CLI::App& owner, const std::string& name, place& into,
                            parsed<number> (*read)(std::string_view), const std::string& help, const choices& words) {
        auto* option = add_value(owner, name, into, read, help, CLI::detail::join(words, "|"));
        values[option] = words;
        return option;
    }

    // A port or several: panel numbers or interfaces.
    CLI::Option* add_port_choice(CLI::App& owner, std::uint8_t& into, const std::string& name = "PORT");
    // Several of these; `named` gets those that "all" alone does not name.
    CLI::Option* add_port_list(CLI::App& owner, poe_client::port_bitmap& into, poe_client::port_bitmap& named);
    CLI::Option* add_ports_choice(CLI::App& owner, poe_client::port_bitmap& into, const std::string& name = "PORTS");
};

const choices& on_or_off();

// Commands of a line by their names, such as in `poectl help`.
void add_help(command_line& line);

// Options that watch and top share; `unit` is what they count.
void add_watch_options(command_line& line, CLI::App& app, const std::string& unit);

// The help of a command, in 80 columns, and that of every command below it, too.
std::string help_of(const CLI::App& app);
std::string help_of_all(const CLI::App& app);

// The names of all verbs of the first level, for a complaint.
std::string command_names(const CLI::App& app);

}  // namespace poectl
