#include "poectl/arguments.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "poectl/bad_usage.h"

namespace {

using namespace poectl;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

parsed_arguments parse(const std::string& line) {
    std::istringstream words(line);
    return parse_arguments({std::istream_iterator<std::string>(words), {}});
}

command good(const std::string& line) {
    const auto parsed = parse(line);
    EXPECT_TRUE(parsed.go_on) << line << ": " << parsed.complaint;
    return parsed.asked;
}

TEST(arguments, each_command_has_its_verb) {
    EXPECT_EQ(good("status").verb, verb::status);
    EXPECT_EQ(good("port 2").verb, verb::port_show);
    EXPECT_EQ(good("port 2 show").verb, verb::port_show);
    EXPECT_EQ(good("port 2 set --enable on").verb, verb::port_set);
    EXPECT_EQ(good("system").verb, verb::system_show);
    EXPECT_EQ(good("system show").verb, verb::system_show);
    EXPECT_EQ(good("system set --enable off").verb, verb::system_set);
    EXPECT_EQ(good("bank").verb, verb::bank_show);
    EXPECT_EQ(good("bank show").verb, verb::bank_show);
    EXPECT_EQ(good("bank set 240").verb, verb::bank_set);
    EXPECT_EQ(good("cycle 1,3").verb, verb::cycle);
    EXPECT_EQ(good("schedule").verb, verb::schedule_show);
    EXPECT_EQ(good("schedule 2 on").verb, verb::schedule_set);
    EXPECT_EQ(good("counters").verb, verb::counters);
    EXPECT_EQ(good("check").verb, verb::check);
    EXPECT_EQ(good("doctor").verb, verb::doctor);
    EXPECT_EQ(good("completion zsh").verb, verb::completion);
    EXPECT_EQ(good("completion suggest -- port 2").verb, verb::suggest);
    EXPECT_EQ(good("energy").verb, verb::energy_show);
    EXPECT_EQ(good("energy 2").verb, verb::energy_port);
    EXPECT_EQ(good("energy --port 2").verb, verb::energy_port);
    EXPECT_EQ(good("energy reset 1,3").verb, verb::energy_reset);
    EXPECT_EQ(good("energy on").verb, verb::energy_keep);
    EXPECT_EQ(good("energy off").verb, verb::energy_keep);
    EXPECT_EQ(good("energy inject 90").verb, verb::energy_inject);
}

TEST(arguments, port_settings_are_gathered) {
    const auto asked =
        good("port 2 set --enable on --limit 15.4 --priority high --mode 3 --schedule off --re-enable 20");
    EXPECT_EQ(asked.port, 1);
    EXPECT_EQ(asked.port_change, (poe_client::port_settings_change{1, 2, 0, 3, 20, 154}));
}

TEST(arguments, what_is_not_named_stays) {
    EXPECT_EQ(good("port 4 set --limit 30").port_change, (poe_client::port_settings_change{{}, {}, {}, {}, {}, 300}));
    EXPECT_EQ(good("system set --threshold 80").system_change,
              (poe_client::system_settings_change{{}, {}, {}, 80, {}, {}}));
}

TEST(arguments, all_six_system_settings_are_gathered) {
    EXPECT_EQ(
        good("system set --enable off --parameter-1 1 --parameter-2 0 --threshold 80 --parameter-4 1 --parameter-5 0")
            .system_change,
        (poe_client::system_settings_change{0, 1, 0, 80, 1, 0}));
}

TEST(arguments, positionals_are_gathered) {
    EXPECT_EQ(good("bank set 240").bank_limit_w, 240);
    EXPECT_EQ(good("cycle 4,1").ports, 0b1001);
    EXPECT_EQ(good("cycle all").ports, 0b1111);
    EXPECT_EQ(good("port lan3").port, 2);
    EXPECT_EQ(good("schedule 3 on").ports, 0b0100);
    EXPECT_EQ(good("schedule 1-3 off").ports, 0b0111);
    EXPECT_TRUE(good("schedule 3 on").schedule_on);
    EXPECT_FALSE(good("schedule 3 off").schedule_on);
}

TEST(arguments, those_of_energy_are_gathered) {
    EXPECT_EQ(good("energy 4").port, 3);
    EXPECT_EQ(good("energy --port 3").port, 2);
    EXPECT_EQ(good("energy reset 1,3").ports, 0b0101);
    EXPECT_TRUE(good("energy on").keep_in_flash);
    EXPECT_FALSE(good("energy off").keep_in_flash);
    EXPECT_EQ(good("energy inject 90").history_minutes, 90U);
    EXPECT_EQ(good("energy inject 10080").history_minutes, 10080U);  // a week
    EXPECT_EQ(good("energy 2 --json").format, output_format::json);
    EXPECT_EQ(good("energy inject 90 --json").format, output_format::json);
}

TEST(arguments, common_options_stand_anywhere) {
    for (const char* line :
         {"--json --socket /s --answer-timeout 250 port 1 show", "port 1 --json --socket /s --answer-timeout 250",
          "port 1 show --json --socket /s --answer-timeout 250"}) {
        const auto asked = good(line);
        EXPECT_EQ(asked.format, output_format::json) << line;
        EXPECT_EQ(asked.socket_path, "/s") << line;
        EXPECT_EQ(asked.timeout.count(), 250) << line;
    }
    EXPECT_EQ(good("status").format, output_format::table);
    EXPECT_EQ(good("status --format csv").format, output_format::csv);
    EXPECT_EQ(good("--format=jsonl port 2 show").format, output_format::jsonl);
    EXPECT_EQ(good("status").colour, colour_choice::automatic);
    EXPECT_EQ(good("status --color=always").colour, colour_choice::always);
    EXPECT_EQ(good("status --color never").colour, colour_choice::never);
    EXPECT_EQ(good("status").timeout, poe_client::default_timeout);
}

TEST(arguments, why_is_for_the_status_of_ports) {
    EXPECT_TRUE(good("status --why").why);
    EXPECT_TRUE(good("port 2 --why").why);
    EXPECT_TRUE(good("port 2 show --why").why);
    EXPECT_FALSE(good("status").why);
    EXPECT_FALSE(parse("counters --why").go_on);
    EXPECT_FALSE(parse("port 2 set --limit 5 --why").go_on);
}

TEST(arguments, bad_usage_is_status_2_with_a_reason_and_no_command) {
    for (const char* line : {"",
                             "bogus",
                             "--bogus",
                             "port",
                             "port 0",
                             "port 5",
                             "port x show",
                             "port 2 set",
                             "port 2 bogus",
                             "port 2 show extra",
                             "port 2 set --limit",
                             "port 2 set --limit 12.34",
                             "port 2 set --limit 0.9",
                             "port 2 set --limit 90.1",
                             "port 2 set --enable maybe",
                             "port 2 set --priority 4",
                             "port 2 set --mode 5",
                             "port 2 set --schedule 2",
                             "port 2 set --re-enable 4",
                             "port 2 set --re-enable 61",
                             "port 2 set --limit 5 --limit 6",
                             "system set",
                             "system set --threshold 0",
                             "system set --threshold 100",
                             "system set --parameter-2 2",
                             "bank set",
                             "bank set -1",
                             "bank set 65536",
                             "bank 5",
                             "cycle",
                             "cycle 1,5",
                             "schedule 1",
                             "schedule 5 on",
                             "schedule 1 2",
                             "energy 0",
                             "energy 5",
                             "energy x",
                             "energy 1 2",
                             "energy 2 --port 3",
                             "energy --port",
                             "energy reset",
                             "energy reset 5",
                             "energy reset 1 3",
                             "energy 2 reset 1",
                             "energy --port 2 off",
                             "energy 2 inject 90",
                             "energy on off",
                             "energy on 1",
                             "energy inject",
                             "energy inject -1",
                             "energy inject 1.5",
                             "energy inject 10081",
                             "status extra",
                             "status --answer-timeout 0",
                             "status --answer-timeout x",
                             "status port 1",
                             "status --json --format json",
                             "status --format xml",
                             "status --color on",
                             "queue",
                             "status --socket"}) {
        const auto parsed = parse(line);
        EXPECT_FALSE(parsed.go_on) << line;
        EXPECT_EQ(parsed.status, 2) << line;
        EXPECT_FALSE(parsed.complaint.empty()) << line;
        EXPECT_TRUE(parsed.help.empty()) << line;
    }
}

TEST(arguments, the_reason_names_the_option_and_what_it_takes) {
    EXPECT_THAT(parse("port 2 set --limit 12.34").complaint,
                HasSubstr("--limit: '12.34' is not a whole number of tenths"));
    EXPECT_THAT(parse("port 2 set --re-enable 61").complaint, HasSubstr("a number of seconds from 5 to 60"));
    EXPECT_THAT(parse("system set --threshold 100").complaint, HasSubstr("a percentage from 1 to 99"));
    EXPECT_THAT(parse("port 9").complaint, HasSubstr("a port from 1 to 4"));
    EXPECT_THAT(parse("port 1 set").complaint, HasSubstr("at least one setting"));
    EXPECT_THAT(parse("bogus").complaint,
                HasSubstr("there is no command 'bogus': give one of these commands: status, port, system, bank, cycle, "
                          "schedule, energy, counters, check, doctor, watch, top, completion, help\nTry: "));
    EXPECT_THAT(parse("--color never").complaint, StartsWith("give one of these commands: status, port, "));
}

TEST(arguments, of_a_change_say_how_long_to_wait_for_its_effect) {
    for (const char* line : {"port 2 set --mode 1", "system set --enable on", "bank set 5", "cycle 1", "schedule 1 on",
                             "energy on", "energy off", "energy reset 1", "energy inject 5"}) {
        const std::string change(line);
        EXPECT_TRUE(good(line).wait_for_effect) << line;
        EXPECT_FALSE(good(line).effect_timeout.has_value()) << line;
        EXPECT_EQ(good((change + " --timeout 2.5").c_str()).effect_timeout, std::chrono::milliseconds(2500)) << line;
        EXPECT_FALSE(good((change + " --no-wait").c_str()).wait_for_effect) << line;
        EXPECT_TRUE(good((change + " --dry-run").c_str()).dry_run) << line;
        for (const char* bad : {" --timeout 0", " --timeout x", " --timeout 1.2345", " --timeout 86401",
                                " --timeout 5 --no-wait", " --dry-run --no-wait", " --dry-run --timeout 5"})
            EXPECT_EQ(parse((change + bad).c_str()).status, 2) << line << bad;
    }
    for (const char* line :
         {"status --timeout 5", "schedule --no-wait", "schedule --dry-run", "port 2 --dry-run", "energy --no-wait"})
        EXPECT_EQ(parse(line).status, 2) << line;
}

TEST(arguments, of_cycle_are_several_lists_of_ports) {
    EXPECT_EQ(good("cycle 1 3").ports, 0b0101);
    EXPECT_EQ(good("cycle 1,2 lan4").ports, 0b1011);
    EXPECT_EQ(good("cycle all --only-powered").ports, 0b1111);
    EXPECT_TRUE(good("cycle --only-powered 1 2").only_powered);
    EXPECT_EQ(good("cycle --only-powered 1 2").ports, 0b0011);
    EXPECT_EQ(parse("cycle 1 5").status, 2);
}

TEST(arguments, of_cycle_tell_ports_that_are_named_from_those_that_are_there_by_all) {
    EXPECT_EQ(good("cycle all").named_ports, 0);
    EXPECT_EQ(good("cycle 1-2 lan4").named_ports, 0b1011);
    EXPECT_EQ(good("cycle all 4").named_ports, 0b1000);
    EXPECT_EQ(good("cycle all 4").ports, 0b1111);
}

TEST(arguments, of_watch_say_when_it_ends) {
    EXPECT_EQ(good("watch").watch_count, 0U);
    EXPECT_EQ(good("watch --once").watch_count, 1U);
    EXPECT_EQ(good("watch --count 5").watch_count, 5U);
    EXPECT_EQ(good("watch --for 1.5").watch_for, std::chrono::milliseconds(1500));
    EXPECT_EQ(good("watch --interval 0.1").interval, std::chrono::milliseconds(100));
    EXPECT_EQ(good("watch --power-step 0.5").power_step_mw, 500U);
    EXPECT_EQ(good("top --interval 3").interval, std::chrono::seconds(3));
    for (const char* line :
         {"watch --count 0", "watch --once --count 2", "watch --once --for 1", "watch --interval 0.09",
          "watch --power-step 0", "watch --power-step 5%", "watch 1", "top --count 0", "top --once --for 1", "top 1"})
        EXPECT_EQ(parse(line).status, 2) << line;
}

TEST(arguments, of_top_say_when_it_ends_as_those_of_watch_do) {
    EXPECT_EQ(good("top").watch_count, 0U);
    EXPECT_EQ(good("top --once").watch_count, 1U);
    EXPECT_EQ(good("top --count 5").watch_count, 5U);
    EXPECT_EQ(good("top --for 1.5").watch_for, std::chrono::milliseconds(1500));
}

TEST(arguments, those_of_check_are_gathered) {
    const auto asked =
        good("check -w 80% --critical 270.5 --delivering 1,3 --errors-warning 5 --errors-critical 10").thresholds;
    EXPECT_EQ(asked.power_warning, (power_threshold{80000, true}));
    EXPECT_EQ(asked.power_critical, (power_threshold{270500, false}));
    EXPECT_EQ(asked.must_deliver, 0b0101);
    EXPECT_EQ(asked.errors_warning, 5U);
    EXPECT_EQ(asked.errors_critical, 10U);
    EXPECT_FALSE(good("check").thresholds.power_warning.has_value());
}

TEST(arguments, bad_usage_of_check_is_unknown_to_a_monitoring_system) {
    for (const char* line :
         {"check -w x", "check --delivering 5", "check extra", "check --errors-warning", "--format xml check"}) {
        const auto parsed = parse(line);
        EXPECT_EQ(parsed.status, 3) << line;
        EXPECT_THAT(parsed.help, testing::StartsWith("POE UNKNOWN - ")) << line;
        EXPECT_FALSE(parsed.complaint.empty()) << line;
    }
    EXPECT_EQ(parse("--socket check bogus").status, 2) << "a value is no command";
}

TEST(arguments, of_check_that_would_never_warn_are_bad_usage) {
    for (const char* line : {"check -w 95 -c 80", "check -w 95% -c 80%", "check -w 80.1 -c 80",
                             "check --errors-warning 6 --errors-critical 5"}) {
        const auto parsed = parse(line);
        EXPECT_EQ(parsed.status, 3) << line;
        EXPECT_THAT(parsed.help,
                    testing::MatchesRegex("POE UNKNOWN - --[a-z-]*warning is above --[a-z-]*critical: .*\n"));
    }
    for (const char* line : {"check -w 80 -c 95", "check -w 80 -c 80", "check -w 95% -c 80", "check -w 95",
                             "check -c 5", "check --errors-warning 5 --errors-critical 5"})
        EXPECT_TRUE(parse(line).go_on) << line;
}

TEST(arguments, of_suggest_are_taken_as_they_are) {
    EXPECT_THAT(good("completion suggest -- --format x port 9").words,
                testing::ElementsAre("--format", "x", "port", "9"));
    EXPECT_EQ(good("completion fish").completion_for, shell::fish);
    EXPECT_EQ(parse("completion").status, 2);
    EXPECT_EQ(parse("completion csh").status, 2);
}

TEST(arguments, nothing_at_all_shows_what_there_is) {
    const auto parsed = parse("");
    EXPECT_THAT(parsed.complaint, StartsWith("what to do? 'poectl status' is a good beginning.\n"));
    for (const char* word :
         {"Looks at and changes", "Look:", "Change:", "status ", "cycle ", "Examples:", "Exit status:"})
        EXPECT_THAT(parsed.complaint, HasSubstr(word));
}

TEST(arguments, the_version_goes_to_standard_output) {
    const auto parsed = parse("--version");
    EXPECT_FALSE(parsed.go_on);
    EXPECT_EQ(parsed.status, 0);
    EXPECT_THAT(parsed.help, testing::MatchesRegex("poectl [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(arguments, help_goes_to_standard_output_with_status_0) {
    for (const char* line : {"--help", "-h", "port --help", "port 1 set --help"}) {
        const auto parsed = parse(line);
        EXPECT_FALSE(parsed.go_on) << line;
        EXPECT_EQ(parsed.status, 0) << line;
        EXPECT_TRUE(parsed.complaint.empty()) << line;
        EXPECT_THAT(parsed.help, HasSubstr("Usage: poectl")) << line;
        EXPECT_THAT(parsed.help, testing::EndsWith(".\n")) << line;
    }
    EXPECT_THAT(parse("--help").help, HasSubstr("Exit status: 0 done, 1 internal failure, 2 bad usage"));
    EXPECT_THAT(parse("port --help").help, HasSubstr("those of every\ncommand."));
    EXPECT_THAT(parse("check --help").help, HasSubstr("The exit\nstatuses are these, in place of those"));
    EXPECT_THAT(parse("check --help").help, testing::Not(HasSubstr("the exit statuses that poectl --help lists")));
    EXPECT_THAT(parse("energy --help").help, HasSubstr("\n  --port PORT "));
    EXPECT_THAT(parse("--help-all").help, HasSubstr("--re-enable"));
    EXPECT_THAT(parse("port 1 set --help").help, HasSubstr("--re-enable"));
}

TEST(bad_usage, names_the_wrong_word_the_nearest_one_and_the_help_of_the_command_that_is_known) {
    const std::vector<std::pair<const char*, const char*>> complaints{
        {"prt 2", "there is no command 'prt'; did you mean 'port'?\nTry: poectl --help."},
        {"cylce 2", "there is no command 'cylce'; did you mean 'cycle'?\nTry: poectl --help."},
        {"stat", "there is no command 'stat'; did you mean 'status'?\nTry: poectl --help."},
        {"--jsn status",
         "'--jsn' is nothing that poectl status takes; did you mean '--json'?\nTry: poectl status --help."},
        {"--bogus", "'--bogus' is nothing that poectl takes\nTry: poectl --help."},
        {"port 2 shw", "'shw' is nothing that poectl port takes; did you mean 'show'?\nTry: poectl port --help."},
        {"port 2 set --limt 5",
         "'--limt' is nothing that poectl port set takes; did you mean '--limit'?\n"
         "Try: poectl help port set."},
        {"port 2 set --limt=5",
         "'--limt=5' is nothing that poectl port set takes; did you mean '--limit'?\n"
         "Try: poectl help port set."},
        {"status --fro 1", "'--fro' is nothing that poectl status takes\nTry: poectl status --help."},
        {"watch --fro 1",
         "'--fro' is nothing that poectl watch takes; did you mean '--for'?\nTry: poectl watch --help."},
        {"energy 2 on", "on and PORT do not go together\nTry: poectl energy on --help."},
        {"energy rest 2",
         "--port: 'rest' is not a port from 1 to 4 (or its interface, lan1 to lan4); did you mean 'reset'?\n"},
        {"watch --once --count 2", "--once and --count do not go together\nTry: poectl watch --help."},
        {"completion bsh", "SHELL: "},
        {"port", "PORT is required\nTry: poectl port --help."},
        {"port set --enable on",
         "PORT: 'set' is not a port from 1 to 4 (or its interface, lan1 to lan4); it stands before 'set'\n"},
        {"port 2 set --limit", "--limit: W is missing\nTry: poectl help port set."},
        {"energy --port", "--port: its value is missing\nTry: poectl energy --help."},
        {"status --socket", "--socket: PATH is missing\nTry: poectl status --help."},
        {"port 2 set --enable on --enable off", "--enable is there more than once\nTry: poectl help port set."},
    };
    for (const auto& [line, wanted] : complaints)
        EXPECT_THAT(parse(line).complaint, StartsWith(wanted)) << line;
}

TEST(bad_usage, advises_a_help_that_is_there) {
    for (const char* line : {"prt", "port 9", "port 2 set --limit x", "system set", "bank set x", "energy inject x",
                             "energy 2 on", "completion csh", "check -w x", "help bogus", "help port bogus"}) {
        const std::string complaint = parse(line).complaint;
        const std::size_t begin = complaint.find("\nTry: poectl ") + std::string("\nTry: poectl ").size();
        const auto help = parse(complaint.substr(begin, complaint.rfind('.') - begin));
        EXPECT_EQ(help.status, 0) << complaint;
        EXPECT_THAT(help.help, HasSubstr("Usage: poectl")) << complaint;
    }
}

TEST(nearest_word, is_one_with_few_mistakes_or_one_that_is_begun) {
    const std::vector<std::string> words{"status", "port", "system", "show", "set", "--enable"};
    EXPECT_EQ(nearest("status", words), "status");
    EXPECT_EQ(nearest("sttus", words), "status");
    EXPECT_EQ(nearest("statsu", words), "status");
    EXPECT_EQ(nearest("sys", words), "system");
    EXPECT_EQ(nearest("prot", words), "port");
    EXPECT_EQ(nearest("hsow", words), "show");
    EXPECT_EQ(nearest("--enabel", words), "--enable");
    for (const char* far : {"", "-", "x", "xy", "2", "bogus", "sxxxxs", "--limit"})
        EXPECT_EQ(nearest(far, words), "") << far;
}

json told(const std::string& line) {
    return json::parse(parse(line).help);
}

TEST(bad_usage, is_told_to_programs_in_their_format) {
    const auto document = told("port 9 --json");
    EXPECT_EQ(document, json::parse(R"json({"schema_version": 1, "command": "port show", "error": {"name": "usage",
        "exit_status": 2, "message": "bad usage", "reason": "PORT: '9' is not a port from 1 to 4 (or its interface, lan1 to lan4)",
        "advice": "poectl port --help"}, "controller": null, "ports": [], "explanations": []})json"))
        << document;
    EXPECT_EQ(told("prt --format json")["command"], nullptr);
    EXPECT_EQ(told("prt --format json").size(), 3U);
    EXPECT_EQ(told("port 2 set --limit --json")["command"], "port set");
    EXPECT_EQ(told("help bogus --json")["command"], nullptr);
    EXPECT_EQ(told("completion csh --json")["command"], nullptr);
    EXPECT_EQ(told("status --bogus --format=jsonl")["record"], "error");
    for (const char* line : {"watch --bogus --json", "top --bogus --format jsonl"}) {
        EXPECT_EQ(told(line)["record"], "error") << line;
        EXPECT_EQ(told(line)["command"], "watch") << line;
        EXPECT_EQ(std::ranges::count(parse(line).help, '\n'), 1) << line;
    }
    EXPECT_THAT(parse("bank 5 --format kv").help,
                StartsWith("schema_version=1\ncommand=bank show\nerror.name=usage\nerror.exit_status=2\n"));
    EXPECT_EQ(told("check -w x --json")["state"]["name"], "unknown");
    EXPECT_EQ(told("check -w x --json")["error"]["exit_status"], 2);
    EXPECT_EQ(parse("check -w x --json").status, 3);
}

TEST(bad_usage, is_told_to_people_only_where_there_is_no_place_for_it_or_the_format_is_unclear) {
    for (const char* line :
         {"port 9", "port 9 --format csv", "port 9 --format table", "port 9 --format xml", "port 9 --format",
          "status --json --format json", "completion suggest --bogus -- --json"}) {
        EXPECT_EQ(parse(line).help, "") << line;
        EXPECT_EQ(parse(line).status, 2) << line;
        EXPECT_NE(parse(line).complaint, "") << line;
    }
    EXPECT_THAT(parse("check -w x --format xml").help, StartsWith("POE UNKNOWN - "));
}

TEST(the_command_help, is_the_help_of_the_command_that_is_named) {
    EXPECT_EQ(parse("help").help, parse("--help").help);
    EXPECT_EQ(parse("help port").help, parse("port --help").help);
    EXPECT_EQ(parse("help port set").help, parse("port 1 set --help").help);
    EXPECT_EQ(parse("help port set").status, 0);
    EXPECT_EQ(parse("help port set").complaint, "");
    EXPECT_EQ(parse("help prt").status, 2);
    EXPECT_THAT(parse("help prt").complaint, StartsWith("there is no command 'prt'; did you mean 'port'?\n"));
    EXPECT_THAT(
        parse("help port sett").complaint,
        StartsWith("there is no command 'sett' below poectl port; did you mean 'set'?\nTry: poectl port --help."));
    EXPECT_THAT(parse("help status more").complaint, StartsWith("there is no command 'more' below poectl status\n"));
}

TEST(the_first_screen, says_which_commands_show_and_set) {
    const auto text = parse("").complaint;
    EXPECT_THAT(text, HasSubstr("one port: show all about it, or set how it works"));
    EXPECT_THAT(text, HasSubstr("PoE as a whole: show budget and alarm, or set them"));
    EXPECT_THAT(text, HasSubstr("what all ports may draw together: show or set it"));
}

TEST(every_help, fits_into_80_columns) {
    for (const char* all : {"", "--help", "--help-all", "check --help", "help doctor"}) {
        const auto parsed = parse(all);
        std::istringstream lines(parsed.help.empty() ? parsed.complaint : parsed.help);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), 80U) << line;
    }
    EXPECT_THAT(parse("check --help").help,
                HasSubstr("\n  --errors-warning N          WARNING when that many transactions with the\n"
                          "                              controller failed\n"));
}

TEST(arguments, help_names_the_made_up_history_as_a_test_aid_that_replaces_the_real_one) {
    for (const char* line : {"energy --help", "energy inject --help"})
        EXPECT_THAT(parse(line).help, HasSubstr("a test aid: replaces the history of all ports")) << line;
}

}  // namespace
