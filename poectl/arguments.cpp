#include "poectl/arguments.h"

#include <algorithm>

#include "poectl/command_line.h"
#include "poectl/exit_status.h"
#include "poectl/verbs/check.h"

namespace poectl {

namespace {

constexpr const char* advice = "\nTry: poectl --help, or poectl COMMAND --help.";

// `poectl port 2 bogus` is told by the parser as an argument too many; say which words would do.
std::string complaint_of(const command_line& line, const CLI::ParseError& error) {
    if (line.app.get_subcommands().empty() && error.get_name() == "RequiredError") {
        return "give one of these commands: " + command_names(line.app) + advice;
    }
    return std::string(error.what()) + advice;
}

}  // namespace

parsed_arguments parse_arguments(std::vector<std::string> arguments) {
    parsed_arguments result;
    command_line line(result.asked);
    if (arguments.empty()) {  // the first thing that a person types: shows all that there is
        result.status = exit_usage;
        result.complaint = "give a command.\n\n" + line.app.help();
        return result;
    }
    std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
    try {
        line.app.parse(std::move(arguments));
    } catch (const CLI::CallForAllHelp&) {
        result.help = help_of_all(line.app);
        return result;
    } catch (const CLI::CallForHelp&) {
        result.help = line.app.help();
        return result;
    } catch (const CLI::CallForVersion& version) {
        result.help = std::string(version.what()) + "\n";
        return result;
    } catch (const CLI::ParseError& error) {
        result.status = exit_usage;
        result.complaint = complaint_of(line, error);
        if (line.app.get_subcommand("check")->parsed()) {  // a plugin's words and status
            result.status = static_cast<int>(plugin_state::unknown);
            result.help = unknown_line(error.what());
        }
        return result;
    }
    if (line.json) result.asked.format = output_format::json;
    result.asked.timeout = std::chrono::milliseconds(line.timeout_ms);
    result.go_on = true;
    return result;
}

}  // namespace poectl
