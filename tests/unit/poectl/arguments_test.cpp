#include "poectl/arguments.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace poectl;
using testing::HasSubstr;

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
    EXPECT_EQ(good("energy inject 4294967295").history_minutes, 4294967295U);
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
                             "energy inject 4294967296",
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
                HasSubstr("give one of these commands: status, port, system, bank, cycle, "
                          "schedule, energy, counters, check, doctor, watch, top, completion"));
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
          "watch --power-step 0", "watch --power-step 5%", "watch 1", "top --once"})
        EXPECT_EQ(parse(line).status, 2) << line;
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

TEST(arguments, of_suggest_are_taken_as_they_are) {
    EXPECT_THAT(good("completion suggest -- --format x port 9").words,
                testing::ElementsAre("--format", "x", "port", "9"));
    EXPECT_EQ(good("completion fish").completion_for, shell::fish);
    EXPECT_EQ(parse("completion").status, 2);
    EXPECT_EQ(parse("completion csh").status, 2);
}

TEST(arguments, nothing_at_all_shows_what_there_is) {
    const auto parsed = parse("");
    EXPECT_THAT(parsed.complaint, HasSubstr("give a command."));
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
    EXPECT_THAT(parse("port --help").help, HasSubstr("those of every command"));
    EXPECT_THAT(parse("--help-all").help, HasSubstr("--re-enable"));
    EXPECT_THAT(parse("port 1 set --help").help, HasSubstr("--re-enable"));
}

TEST(arguments, help_names_the_made_up_history_as_a_test_aid_that_replaces_the_real_one) {
    for (const char* line : {"energy --help", "energy inject --help"})
        EXPECT_THAT(parse(line).help, HasSubstr("a test aid: replaces the history of all ports")) << line;
}

}  // namespace
