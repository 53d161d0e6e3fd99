#include "poectl/verbs/completion.h"

#include <algorithm>

#include "poectl/command_line.h"
#include "poectl/verbs/verbs.h"

namespace poectl {

namespace {

// In bash a word ends at "=", too; it is put together again before the program is asked.
constexpr const char* bash_script = R"sh(# bash completion for poectl
_poectl() {
    local line=${COMP_LINE:0:COMP_POINT} word
    local -a words
    read -ra words <<<"$line"
    [[ $line == *[[:space:]] ]] && words+=("")
    local current=${words[-1]}
    local before=${current%"${COMP_WORDS[COMP_CWORD]}"}
    [[ ${COMP_WORDS[COMP_CWORD]} == = ]] && before=$current
    COMPREPLY=()
    while IFS=$'\t' read -r word _; do
        COMPREPLY+=("${word#"$before"}")
    done < <("${words[0]}" completion suggest -- "${words[@]:1}" 2>/dev/null)
    if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *[=/] ]]; then compopt -o nospace; fi
    if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == "<PATH>" ]]; then
        COMPREPLY=()
        compopt -o default
    fi
}
complete -F _poectl poectl
)sh";

constexpr const char* zsh_script = R"sh(#compdef poectl
# zsh completion for poectl
_poectl() {
    local word help
    local -a found
    while IFS=$'\t' read -r word help; do
        if [[ $word == "<PATH>" ]]; then
            _files
            return
        fi
        found+=("${word//:/\\:}:$help")
    done < <("${words[1]}" completion suggest -- "${(@)words[2,CURRENT]}" 2>/dev/null)
    _describe -V poectl found
}
if [[ $zsh_eval_context[-1] == loadautofunc ]]; then
    _poectl "$@"
else
    compdef _poectl poectl
fi
)sh";

constexpr const char* fish_script = R"sh(# fish completion for poectl
function __poectl_suggestions
    set -l words (commandline -opc) (commandline -ct)
    for line in ($words[1] completion suggest -- $words[2..-1] 2>/dev/null)
        if test "$line" = "<PATH>"
            __fish_complete_path (commandline -ct)
        else
            echo $line
        end
    end
end
complete -c poectl -f -a '(__poectl_suggestions)'
)sh";

// A place where any file may stand.
constexpr const char* any_path = "<PATH>";

std::string one_line(std::string help) {
    std::replace(help.begin(), help.end(), '\n', ' ');
    return help;
}

bool is_hidden(const CLI::App* app) {
    return app->get_group().empty();
}

// Walks the words that are complete down the tree, and then knows what may come.
class walk {
  public:
    walk(const command_line& line, const std::vector<std::string>& words)
        : line_(line), here_(&line.app), helped_(&line.app) {
        for (std::size_t i = 0; i + 1 < words.size(); i++)
            step(words[i]);
        if (words.empty()) return;
        const std::string& last = words.back();
        const std::size_t equals = last.find('=');
        if (awaiting_ != nullptr) {
            offer_values(*awaiting_, "", last);
        } else if (last.starts_with("--") && equals != std::string::npos) {
            const auto* option = option_named(last.substr(0, equals));
            if (option != nullptr) offer_values(*option, last.substr(0, equals + 1), last);
        } else {
            offer_words(last);
        }
    }

    std::vector<suggestion> found() const { return found_; }

  private:
    void step(const std::string& word) {
        if (awaiting_ != nullptr) {
            awaiting_ = nullptr;
        } else if (word.starts_with('-') && word.size() > 1) {
            const auto* option = option_named(word);
            if (option != nullptr && option->get_items_expected_max() > 0) awaiting_ = option;
        } else if (here_ == line_.help_command) {
            if (helped_ != nullptr) helped_ = command_named(*helped_, word);
        } else if (const auto* inner = command_named(*here_, word)) {
            here_ = inner;
            positionals_ = 0;
        } else {
            positionals_++;
        }
    }

    static const CLI::App* command_named(const CLI::App& above, const std::string& word) {
        for (const auto* one : above.get_subcommands([](const CLI::App*) { return true; })) {
            if (one->get_name() == word) return one;
        }
        return nullptr;
    }

    // A command's options may stand behind the commands below it, too.
    std::vector<const CLI::Option*> options() const {
        std::vector<const CLI::Option*> all;
        for (const auto* app = here_; app != nullptr; app = app->get_parent()) {
            for (const auto* one : app->get_options([](const CLI::Option* o) { return o->nonpositional(); })) {
                const bool known = std::any_of(all.begin(), all.end(), [one](const CLI::Option* other) {
                    return other->get_name() == one->get_name();
                });
                if (!known) all.push_back(one);
            }
        }
        return all;
    }

    const CLI::Option* option_named(const std::string& word) const {
        for (const auto* one : options()) {
            if (one->check_name(word)) return one;
        }
        return nullptr;
    }

    void offer(const std::string& word, const std::string& help, const std::string& begun) {
        if (word.starts_with(begun)) found_.push_back({.word = word, .help = one_line(help)});
    }

    void offer_values(const CLI::Option& option, const std::string& before, const std::string& begun) {
        const auto values = line_.values.find(&option);
        if (values != line_.values.end()) {
            for (const auto& value : values->second)
                offer(before + value, option.get_description(), begun);
        } else if (option.get_type_name() == "PATH") {
            found_.push_back({.word = any_path, .help = {}});
        }
    }

    void offer_words(const std::string& begun) {
        const auto positionals = here_->get_options([](const CLI::Option* one) { return one->get_positional(); });
        const bool one_is_due = positionals_ < positionals.size() && positionals[positionals_]->get_required();
        if (begun.starts_with('-')) {
            for (const auto* option : options()) {
                for (const auto& name : option->get_lnames())
                    offer("--" + name, option->get_description(), begun);
            }
            return;
        }
        if (here_ == line_.help_command) {
            if (helped_ != nullptr) offer_commands(*helped_, begun);
            return;
        }
        if (positionals_ < positionals.size()) {
            offer_values(*positionals[positionals_], "", begun);
        } else if (!positionals.empty() && positionals.back()->get_items_expected_max() > 1) {
            offer_values(*positionals.back(), "", begun);
        }
        if (one_is_due) return;
        offer_commands(*here_, begun);
    }

    void offer_commands(const CLI::App& above, const std::string& begun) {
        for (const auto* one : above.get_subcommands([](const CLI::App* app) { return !is_hidden(app); }))
            offer(one->get_name(), one->get_description(), begun);
    }

    const command_line& line_;
    const CLI::App* here_;
    const CLI::App* helped_;  // the command that the words behind help lead to; none when there is no such
    const CLI::Option* awaiting_ = nullptr;  // an option whose value comes next
    std::size_t positionals_ = 0;            // seen of the command that we are in
    std::vector<suggestion> found_;
};

}  // namespace

std::vector<suggestion> suggestions_for(const std::vector<std::string>& words) {
    command nobody;
    const command_line line(nobody);
    return walk(line, words.empty() ? std::vector<std::string>{""} : words).found();
}

std::string completion_script(shell wanted) {
    switch (wanted) {
        case shell::zsh:
            return zsh_script;
        case shell::fish:
            return fish_script;
        case shell::bash:
            break;
    }
    return bash_script;
}

void add_completion(command_line& line) {
    auto& asked = line.asked;
    auto* completion =
        line.add(line.app, "completion", "prints the completion of this command for a shell", verb::completion);
    completion->group(group_help);
    auto* wanted = line.add_choice(*completion, "SHELL", asked.completion_for, parse_shell, "bash, zsh or fish",
                                   {"bash", "zsh", "fish"});
    auto* suggest = line.add(*completion, "suggest", "what the last word may become", verb::suggest);
    suggest->group(group_hidden);
    suggest->add_option("WORDS", asked.words, "the words so far")->type_name("");
    completion->callback([&asked, wanted] {
        if (asked.verb == verb::completion && wanted->count() == 0) {
            throw CLI::RequiredError("SHELL, one of bash, zsh, fish,");
        }
    });
    completion->require_subcommand(0, 1);
}

poe_client::failure print_completion(const command& asked, poe_client::connection&, picture& seen) {
    seen.verbatim = completion_script(asked.completion_for);
    return {};
}

// A word and its help a line, with a tab between them.
poe_client::failure print_suggestions(const command& asked, poe_client::connection&, picture& seen) {
    for (const auto& [word, help] : suggestions_for(asked.words))
        seen.verbatim += word + (help.empty() ? "" : "\t" + help) + "\n";
    return {};
}

}  // namespace poectl
