#include "poectl/bad_usage.h"

#include <algorithm>

#include "poectl/exit_status.h"

namespace poectl {

namespace {

// Letters that were left out, put in, mistaken or swapped with the next.
std::size_t mistakes_between(const std::string& one, const std::string& other) {
    std::vector<std::vector<std::size_t>> to(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
    for (std::size_t i = 0; i <= one.size(); i++) {
        for (std::size_t j = 0; j <= other.size(); j++) {
            if (i == 0 || j == 0) {
                to[i][j] = i + j;
                continue;
            }
            to[i][j] =
                std::min({to[i - 1][j] + 1, to[i][j - 1] + 1, to[i - 1][j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1)});
            const bool swapped = i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1];
            if (swapped) to[i][j] = std::min(to[i][j], to[i - 2][j - 2] + 1);
        }
    }
    return to[one.size()][other.size()];
}

template <typename kind>
bool is(const CLI::ParseError& error) {
    return dynamic_cast<const kind*>(&error) != nullptr;
}

bool is_option(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

// "poectl port set", without what must stand between.
std::string name_of(const CLI::App& app) {
    return app.get_parent() == nullptr ? app.get_name() : name_of(*app.get_parent()) + " " + app.get_name();
}

std::vector<std::string> commands_below(const CLI::App& app) {
    std::vector<std::string> names;
    for (const auto* one : app.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); }))
        names.push_back(one->get_name());
    return names;
}

// Those of the commands that it stands below are taken, too.
std::vector<std::string> options_of(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* one = &app; one != nullptr; one = one->get_parent()) {
        for (const auto* option : one->get_options()) {
            for (const auto& name : option->get_lnames())
                names.push_back("--" + name);
        }
    }
    return names;
}

// Words that a positional may be, where that is a short list of names.
std::vector<std::string> values_of(const command_line& line, const CLI::App& app) {
    std::vector<std::string> all;
    for (const auto* option : app.get_options([](const CLI::Option* one) { return one->get_positional(); })) {
        const auto found = line.values.find(option);
        if (found != line.values.end()) all.insert(all.end(), found->second.begin(), found->second.end());
    }
    return all;
}

std::string meant(const std::string& word, const std::vector<std::string>& words) {
    const std::string near = nearest(word, words);
    return near.empty() ? "" : "; did you mean '" + near + "'?";
}

// Behind a command with a place that must be filled, the name of the next command would be taken to fill it.
bool stands_behind_a_place(const CLI::App& app) {
    const CLI::App* parent = app.get_parent();
    if (parent == nullptr) return false;
    const auto places =
        parent->get_options([](const CLI::Option* one) { return one->get_positional() && one->get_required(); });
    return !places.empty() || stands_behind_a_place(*parent);
}

std::string way_to_help(const CLI::App& app) {
    const std::string name = name_of(app), program = "poectl";
    return stands_behind_a_place(app) ? program + " help" + name.substr(program.size()) : name + " --help";
}

problem usage(std::string why, const CLI::App& app) {
    return {.exit_status = exit_usage, .what = "bad usage", .why = std::move(why), .advice = way_to_help(app)};
}

// "energy PORT" can be named in two ways; the parser knows the option, people type the place.
std::string place_or_option(const CLI::App& app, const std::string& name) {
    for (const CLI::App* one = &app; one != nullptr; one = one->get_parent()) {
        for (const auto* option : one->get_options()) {
            if (option->get_name() == name) return option->get_positional() ? option->get_name(true) : name;
        }
    }
    return name;
}

// The parser says "A excludes B".
std::string exclusion_words(const CLI::App& app, const std::string& told) {
    constexpr std::string_view between = " excludes ";
    const std::size_t at = told.find(between);
    if (at == std::string::npos) return told;
    return place_or_option(app, told.substr(0, at)) + " and " + place_or_option(app, told.substr(at + between.size())) +
           " do not go together";
}

// The parser says "A: 1 required W missing", without W where it has no name, and "A: At Most 1 required but received
// 2".
std::string count_words(const std::string& told) {
    constexpr std::string_view none = ": 1 required ", missing = " missing", many = ": At Most 1 required";
    const std::size_t begin = told.find(none), end = told.rfind(missing);
    if (begin != std::string::npos && end != std::string::npos && end >= begin + none.size()) {
        const std::size_t at = begin + none.size();
        const std::string value = told.substr(at, end - at);
        return told.substr(0, begin) + ": " + (value.empty() ? "its value" : value) + " is missing";
    }
    const std::size_t at = told.find(many);
    return at == std::string::npos ? told : told.substr(0, at) + " is there more than once";
}

// A command is taken for a value where one may stand: when it is not spelt right, or when what must stand before it is
// left out.
std::string with_the_command_meant(const CLI::App& app, const std::string& told) {
    const auto commands = commands_below(app);
    for (const auto* option : app.get_options([](const CLI::Option* one) { return one->get_positional(); })) {
        for (const auto& word : option->results()) {
            if (told.find("'" + word + "'") == std::string::npos) continue;
            const bool is_command = std::ranges::find(commands, word) != commands.end();
            return told + (is_command ? "; it stands before '" + word + "'" : meant(word, commands));
        }
    }
    return told;
}

std::string not_taken(const command_line& line, const CLI::App& app, const std::string& word) {
    std::vector<std::string> words = options_of(app);
    if (!is_option(word)) {
        words = commands_below(app);
        const auto values = values_of(line, app);
        words.insert(words.end(), values.begin(), values.end());
    }
    // What stands behind "=" is a value.
    return "'" + word + "' is nothing that " + name_of(app) + " takes" + meant(word.substr(0, word.find('=')), words);
}

}  // namespace

const CLI::App& deepest(const CLI::App& app) {
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? app : deepest(*parsed.back());
}

std::string nearest(const std::string& typed, const std::vector<std::string>& words) {
    // Of a short word less can be wrong before it is another one.
    constexpr std::size_t letters_a_mistake = 3, least_beginning = 3;
    const std::size_t letters = typed.size() - std::min(typed.size(), typed.find_first_not_of('-'));
    std::string chosen;
    std::size_t fewest = std::max<std::size_t>(letters / letters_a_mistake, 1) + 1;
    for (const auto& word : words) {
        const bool is_begun = letters >= least_beginning && word.starts_with(typed);
        const std::size_t mistakes = is_begun ? 0 : mistakes_between(typed, word);
        if (mistakes >= fewest || mistakes >= letters) continue;
        fewest = mistakes;
        chosen = word;
    }
    return chosen;
}

problem no_such_command(const CLI::App& app, const std::string& word) {
    std::string why = "there is no command '" + word + "'";
    if (app.get_parent() != nullptr) why += " below " + name_of(app);
    const auto names = commands_below(app);
    const std::string near = nearest(word, names);
    if (!near.empty()) {
        why += "; did you mean '" + near + "'?";
    } else if (!names.empty()) {
        why += ": give one of these commands: " + command_names(app);
    }
    return usage(why, app);
}

problem bad_usage(const command_line& line, const CLI::ParseError& error) {
    const CLI::App& app = deepest(line.app);
    const auto left_over = line.app.remaining(true);
    const bool is_the_top = app.get_parent() == nullptr;
    const bool is_about_words = is<CLI::RequiredError>(error) || is<CLI::ExtrasError>(error);
    if (is<CLI::ExcludesError>(error)) return usage(exclusion_words(app, error.what()), app);
    if (is<CLI::ArgumentMismatch>(error)) return usage(count_words(error.what()), app);
    if (!is_about_words) return usage(with_the_command_meant(app, error.what()), app);
    if (left_over.empty()) {
        return usage(is_the_top ? "give one of these commands: " + command_names(line.app) : error.what(), app);
    }
    const std::string& word = left_over.front();
    if (is_the_top && !is_option(word)) return no_such_command(app, word);
    return usage(not_taken(line, app, word), app);
}

}  // namespace poectl
