#include "poectl/verbs/completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "poectl/command_line.h"

namespace {

using namespace poectl;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

std::vector<std::string> after(const std::vector<std::string>& words) {
    std::vector<std::string> found;
    for (const auto& one : suggestions_for(words))
        found.push_back(one.word);
    return found;
}

TEST(suggestions, begin_with_every_command_and_none_that_is_hidden) {
    EXPECT_THAT(after({""}), IsSupersetOf({"status", "port", "system", "bank", "cycle", "schedule", "energy",
                                           "counters", "check", "doctor", "watch", "top", "completion"}));
    EXPECT_THAT(after({"completion", ""}), ElementsAre("bash", "zsh", "fish"));
    EXPECT_EQ(after({}), after({""}));
    EXPECT_THAT(after({"st"}), ElementsAre("status"));
    EXPECT_THAT(after({"x"}), IsEmpty());
}

TEST(suggestions, go_on_with_what_must_stand_next) {
    EXPECT_THAT(after({"port", ""}), ElementsAre("1", "2", "3", "4"));
    EXPECT_THAT(after({"port", "2", ""}), ElementsAre("show", "set"));
    EXPECT_THAT(after({"cycle", ""}), ElementsAre("1", "2", "3", "4", "all"));
    EXPECT_THAT(after({"cycle", "1", "3", ""}), ElementsAre("1", "2", "3", "4", "all"));
    EXPECT_THAT(after({"schedule", "1", ""}), ElementsAre("on", "off"));
    EXPECT_THAT(after({"energy", ""}), ElementsAre("1", "2", "3", "4", "reset", "on", "off", "inject"));
    EXPECT_THAT(after({"energy", "reset", ""}), ElementsAre("1", "2", "3", "4", "all"));
    EXPECT_THAT(after({"status", ""}), IsEmpty());
}

TEST(suggestions, behind_help_are_the_commands_on_the_way) {
    EXPECT_EQ(after({"help", ""}), after({""}));
    EXPECT_THAT(after({"help", "port", ""}), ElementsAre("show", "set"));
    EXPECT_THAT(after({"help", "port", "se"}), ElementsAre("set"));
    EXPECT_THAT(after({"help", "port", "set", ""}), IsEmpty());
    EXPECT_THAT(after({"help", "bogus", ""}), IsEmpty());
    EXPECT_THAT(after({"help", "bogus", "port", ""}), IsEmpty());
}

TEST(suggestions, are_the_values_of_an_option) {
    EXPECT_THAT(after({"--format", ""}), ElementsAre("table", "json", "jsonl", "csv", "kv"));
    EXPECT_THAT(after({"port", "2", "set", "--priority", ""}), ElementsAre("critical", "high", "low"));
    EXPECT_THAT(after({"port", "2", "set", "--priority", "c"}), ElementsAre("critical"));
    EXPECT_THAT(after({"port", "2", "set", "--priority=h"}), ElementsAre("--priority=high"));
    EXPECT_THAT(after({"port", "2", "set", "--limit", ""}), IsEmpty());
    EXPECT_THAT(after({"status", "--socket", "/t"}), ElementsAre("<PATH>"));
    EXPECT_THAT(after({"check", "--delivering", "a"}), ElementsAre("all"));
}

TEST(suggestions, know_that_a_value_is_no_command) {
    EXPECT_THAT(after({"--socket", "port", "st"}), ElementsAre("status"));
    EXPECT_THAT(after({"--json", "st"}), ElementsAre("status"));
    EXPECT_THAT(after({"--format", "csv", "st"}), ElementsAre("status"));
}

TEST(suggestions, are_the_options_of_a_command_and_of_those_above_it) {
    EXPECT_THAT(after({"port", "2", "set", "--"}),
                IsSupersetOf({"--limit", "--enable", "--format", "--color", "--help"}));
    EXPECT_THAT(after({"status", "--w"}), ElementsAre("--why"));
    EXPECT_THAT(after({"status", "--"}), Not(Contains("--limit")));
}

TEST(suggestions, have_their_help_on_one_line) {
    for (const auto& words : {std::vector<std::string>{""}, {"--"}, {"check", "--"}}) {
        for (const auto& one : suggestions_for(words)) {
            EXPECT_FALSE(one.help.empty()) << one.word;
            EXPECT_EQ(one.help.find('\n'), std::string::npos) << one.word;
        }
    }
}

// Whatever is added to the command line is suggested without more ado.
void expect_all_suggested(const CLI::App& app, const std::vector<std::string>& way) {
    auto words = way;
    words.emplace_back("--");
    for (const auto* option : app.get_options([](const CLI::Option* one) { return one->nonpositional(); }))
        EXPECT_THAT(after(words), Contains("--" + option->get_lnames().front())) << app.get_name();
    words = way;
    for (const auto* option : app.get_options([](const CLI::Option* one) { return one->get_positional(); })) {
        if (option->get_required()) words.emplace_back("1");
    }
    for (const auto* inner : app.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); })) {
        auto begun = words;
        begun.push_back(inner->get_name().substr(0, 1));
        EXPECT_THAT(after(begun), Contains(inner->get_name()));
        begun.back() = inner->get_name();
        expect_all_suggested(*inner, begun);
    }
}

TEST(suggestions, lack_nothing_that_the_command_line_has) {
    command nobody;
    const command_line line(nobody);
    expect_all_suggested(line.app, {});
}

TEST(completion, is_different_for_each_shell) {
    EXPECT_NE(completion_script(shell::bash).find("complete -F _poectl poectl"), std::string::npos);
    EXPECT_NE(completion_script(shell::zsh).find("#compdef poectl"), std::string::npos);
    EXPECT_NE(completion_script(shell::fish).find("complete -c poectl"), std::string::npos);
}

}  // namespace
