#include "poectl/arguments.h"

#include <algorithm>

#include "poectl/bad_usage.h"
#include "poectl/command_line.h"
#include "poectl/exit_status.h"
#include "poectl/render.h"
#include "poectl/verbs/check.h"
#include "poectl/verbs/verbs.h"

namespace poectl {

namespace {

// The format that the line asks for, however little of it the parser took; a table when that is not clear.
output_format format_asked_for(const std::vector<std::string>& words) {
    constexpr std::string_view with_value = "--format=";
    std::vector<std::string> asked;
    for (std::size_t i = 0; i < words.size() && words[i] != "--"; i++) {
        if (words[i] == "--json") asked.emplace_back("json");
        if (words[i] == "--format") asked.push_back(i + 1 < words.size() ? words[i + 1] : "");
        if (words[i].starts_with(with_value)) asked.push_back(words[i].substr(with_value.size()));
    }
    const auto format = asked.size() == 1 ? parse_format(asked.front()) : parsed<output_format>{.problem = "unclear"};
    return format.good() ? format.value : output_format::table;
}

// What programs are told: the document of the command, as far as it is known which one was meant.
std::string told_to_programs(const command_line& line, const problem& error, output_format format) {
    const bool has_command = !line.app.get_subcommands().empty() && !line.help_with;
    const bool is_stream = line.asked.verb == verb::watch || line.asked.verb == verb::top;
    const auto& entry = entry_of(is_stream ? verb::watch : line.asked.verb);
    const bool is_known = has_command && (is_stream || !entry.shape.empty());
    const picture nothing = empty_picture(is_known ? entry.shape : std::span<const section_shape>{});
    if (is_stream && format == output_format::json) format = output_format::jsonl;
    return rendered({.command = is_known ? entry.name : "", .seen = nothing, .error = error}, {.format = format});
}

// A monitoring system reads it, and has statuses of its own.
void tell_as_a_plugin(const problem& error, output_format format, parsed_arguments& result) {
    result.status = static_cast<int>(plugin_state::unknown);
    result.help = unknown_line(error.why);
    if (format == output_format::table || format == output_format::csv) return;
    picture seen = empty_picture(entry_of(verb::check).shape);
    depict_unknown(error, seen);
    result.help = rendered({.command = entry_of(verb::check).name, .seen = seen, .error = error}, {.format = format});
}

void complain(const command_line& line, const problem& error, output_format format, parsed_arguments& result) {
    result.status = exit_usage;
    result.complaint = error.why + "\nTry: " + error.advice + ".";
    if (line.app.get_subcommand("check")->parsed()) {
        tell_as_a_plugin(error, format, result);
    } else {
        result.help = told_to_programs(line, error, format);
    }
}

void help_with(const command_line& line, output_format format, parsed_arguments& result) {
    const CLI::App* app = &line.app;
    for (const auto& word : *line.help_with) {
        const auto below = app->get_subcommands([&word](const CLI::App* one) { return one->get_name() == word; });
        if (below.empty()) return complain(line, no_such_command(*app, word), format, result);
        app = below.front();
    }
    result.help = help_of(*app);
}

}  // namespace

parsed_arguments parse_arguments(std::vector<std::string> arguments) {
    parsed_arguments result;
    command_line line(result.asked);
    if (arguments.empty()) {  // the first thing that a person types: shows all that there is
        result.status = exit_usage;
        result.complaint = "what to do? 'poectl status' is a good beginning.\n\n" + help_of(line.app);
        return result;
    }
    const auto format = format_asked_for(arguments);
    std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
    try {
        line.app.parse(std::move(arguments));
    } catch (const CLI::CallForAllHelp&) {
        result.help = help_of_all(line.app);
        return result;
    } catch (const CLI::CallForHelp&) {
        result.help = help_of(deepest(line.app));
        return result;
    } catch (const CLI::CallForVersion& version) {
        result.help = std::string(version.what()) + "\n";
        return result;
    } catch (const CLI::ParseError& error) {
        complain(line, bad_usage(line, error), format, result);
        return result;
    }
    if (line.help_with) {
        help_with(line, format, result);
        return result;
    }
    if (line.json) result.asked.format = output_format::json;
    result.asked.timeout = std::chrono::milliseconds(line.timeout_ms);
    result.go_on = true;
    return result;
}

}  // namespace poectl
