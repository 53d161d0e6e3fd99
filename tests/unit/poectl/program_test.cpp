// The program itself, run against a scripted daemon.
#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "client/fake_daemon.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

struct ended {
    int status;
    std::string out, err;
};

std::string contents(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

[[noreturn]] void become_poectl(const std::vector<std::string>& arguments, bool as_nobody) {
    constexpr uid_t nobody = 65534;
    const int program = open(POECTL, O_PATH | O_CLOEXEC);  // before: nobody may not be let into the build folder
    if (as_nobody && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(99);
    std::vector<char*> words{const_cast<char*>("poectl")};
    for (const auto& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    fexecve(program, words.data(), environ);
    _exit(98);
}

ended poectl(const std::string& line, const std::string& socket, bool as_nobody = false) {
    const temporary_folder folder;
    std::istringstream words(line);
    std::vector<std::string> arguments{std::istream_iterator<std::string>(words), {}};
    if (!socket.empty()) arguments.insert(arguments.end(), {"--socket", socket});
    const std::string out = folder.path + "/out", err = folder.path + "/err";
    const pid_t child = fork();
    if (child == 0) {
        dup2(open(out.c_str(), O_CREAT | O_WRONLY, 0600), STDOUT_FILENO);
        dup2(open(err.c_str(), O_CREAT | O_WRONLY, 0600), STDERR_FILENO);
        become_poectl(arguments, as_nobody);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(out), contents(err)};
}

class program : public testing::Test {
  protected:
    fake_daemon daemon{with_controller()};
    ended poectl(const std::string& line) { return ::poectl(line, daemon.socket_path()); }
    json json_of(const std::string& line) {
        const auto run = poectl(line + " --json");
        EXPECT_EQ(run.status, 0) << run.err;
        return json::parse(run.out);
    }
};

TEST_F(program, status_prints_a_table_and_leaves_nothing_behind) {
    const auto run = poectl("status");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("   2  lan2       yes      delivering (1)      3      5.3"));
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(daemon.folder.entries(), ElementsAre("daemon"));
}

TEST_F(program, status_as_json_has_units_in_its_keys) {
    const auto status = json_of("status");
    EXPECT_EQ(status["schema_version"], 1);
    EXPECT_EQ(status["system"], json::parse(R"({"total_mw": 300000, "consumed_mw": 5320, "remaining_mw": 294680,
        "temperature_mc": 41000, "alarm_raised": false, "settings": {"enabled": true, "threshold_percent": 95,
        "parameter_1": 0, "parameter_2": 1, "parameter_4": 0, "parameter_5": -1}})"));
    EXPECT_EQ(status["command"], "status");
    EXPECT_TRUE(status["error"].is_null());
    ASSERT_EQ(status["ports"].size(), 4U);
    EXPECT_EQ(status["ports"][1],
              json::parse(R"({"port": 2, "interface": "lan2", "status": {"code": 1, "name": "delivering"}, "class": 3,
        "error_code": null, "sub_status": 0, "port_type": 1, "auto_off": false, "power_mw": 5320, "voltage_mv": 53200,
        "current_ma": 100, "temperature_mc": 1000,
        "pair_sets": [
            {"pair_set": "A", "status": {"code": 0, "name": "disabled"}, "class": null, "error_code": 0, "sub_status": 0,
             "power_mw": 0, "voltage_mv": 0, "current_ma": 0},
            {"pair_set": "B", "status": {"code": 0, "name": "disabled"}, "class": null, "error_code": 0, "sub_status": 0,
             "power_mw": 0, "voltage_mv": 0, "current_ma": 0}],
        "event_totals": {"overloads": 0, "short_circuits": 0, "power_denials": 0, "disconnections": 0,
                         "bad_signatures": 0},
        "settings": {"enabled": true, "limit_mw": 1000, "priority": {"code": 1, "name": "critical"}, "mode": 0,
                     "schedule_enabled": true, "re_enable_s": 5},
        "schedule_on": true, "power_cycle": {"pending": true, "on_again_s": 0}})"));
    EXPECT_TRUE(status["ports"][0]["class"].is_null());
    EXPECT_TRUE(status["ports"][0]["power_cycle"]["on_again_s"].is_null());
    EXPECT_EQ(status["ports"][2]["status"]["code"], 13);
    EXPECT_TRUE(status["ports"][2]["auto_off"]);
}

TEST_F(program, one_port_as_json_is_still_an_array_of_ports_with_the_same_keys) {
    const auto port = json_of("port 3 show");
    ASSERT_TRUE(port["ports"].is_array());
    ASSERT_EQ(port["ports"].size(), 1U);
    EXPECT_EQ(port["ports"][0]["port"], 3);
    EXPECT_EQ(port["ports"][0]["settings"]["limit_mw"], 15400);
    const auto status = json_of("status");
    for (const auto& [key, value] : status["ports"][0].items())
        EXPECT_TRUE(port["ports"][0].contains(key)) << key;
}

TEST_F(program, the_keys_of_json_stand_in_their_order) {
    const auto out = poectl("status --json").out;
    EXPECT_THAT(out, StartsWith("{\n  \"schema_version\": 1,\n  \"command\": \"status\",\n  \"error\": null,\n  "
                                "\"controller\": {\n    \"answers\": true\n  },\n  "
                                "\"system\": {\n    \"total_mw\": 300000,"));
}

TEST_F(program, the_other_queries_as_json) {
    EXPECT_EQ(json_of("system show")["system"]["consumed_mw"], 35000);
    EXPECT_EQ(json_of("bank"), json::parse(R"({"schema_version": 1, "command": "bank show", "error": null,
        "bank": {"limit_w": 300, "second": 7}})"));
    EXPECT_EQ(json_of("counters")["queue"], json::parse(R"({"deepest": 3})"));
    const auto counters = json_of("counters")["counters"];
    EXPECT_EQ(counters["total"], 4294967297U);
    EXPECT_EQ(counters["undefined_key_value"], 9223372036854775817U);
    EXPECT_EQ(counters.size(), 9U);
}

TEST_F(program, energy_as_json_has_null_for_what_is_unknown) {
    const auto energy = json_of("energy");
    EXPECT_EQ(energy["energy"], json::parse(R"({"kept_in_flash": true, "powered_s": 10, "energy_mwh": 3000,
        "averages": {"hour_mw": 1500, "day_mw": null, "week_mw": 3500}})"));
    ASSERT_EQ(energy["ports"].size(), 4U);
    EXPECT_EQ(energy["ports"][1], json::parse(R"({"port": 2, "interface": "lan2", "powered_s": 6, "energy_mwh": 1000,
        "averages": {"hour_mw": null, "day_mw": null, "week_mw": 3500}})"));
}

TEST_F(program, energy_of_a_port_is_in_columns_when_standard_output_is_no_terminal) {
    const auto run = poectl("energy 2");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, StartsWith("Port 2 (lan2): powered for 1:00:00, 12.5 Wh\n\nLast hour, each minute:\nENDED"));
    EXPECT_EQ(run.out, poectl("energy --port 2").out);
}

// What it shows on a terminal that is `columns` wide.
std::string on_a_terminal(const std::vector<std::string>& arguments, unsigned short columns = 0) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    const int other_end = open(ptsname(terminal), O_RDWR | O_NOCTTY);
    EXPECT_GE(other_end, 0);
    const winsize size{.ws_row = 25, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    EXPECT_EQ(ioctl(other_end, TIOCSWINSZ, &size), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(other_end, STDOUT_FILENO);
        become_poectl(arguments, false);
    }
    close(other_end);
    // What it wrote may come in pieces; after the last one the terminal's end that nobody holds any more is an error.
    std::string shown;
    std::array<char, 4096> piece;
    for (ssize_t length = 0; (length = read(terminal, piece.data(), piece.size())) > 0;)
        shown.append(piece.data(), static_cast<std::size_t>(length));
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    close(terminal);
    return shown;
}

// The environment of the programs that a test starts.
class set_variable {
  public:
    set_variable(const char* name, const char* value)
        : name_(name), before_(std::getenv(name) ? std::getenv(name) : "") {
        setenv(name, value, 1);
    }
    ~set_variable() { before_.empty() ? unsetenv(name_) : setenv(name_, before_.c_str(), 1); }
    set_variable(const set_variable&) = delete;
    set_variable& operator=(const set_variable&) = delete;

  private:
    const char* name_;
    std::string before_;
};

TEST_F(program, energy_of_a_port_is_a_plot_on_a_terminal) {
    const auto shown = on_a_terminal({"energy", "2", "--socket", daemon.socket_path()});
    EXPECT_THAT(shown, HasSubstr("Last hour in W, one bar per minute"));
    EXPECT_THAT(shown, HasSubstr("1.5 |#"));
    EXPECT_THAT(shown, Not(HasSubstr("ENDED")));
}

TEST_F(program, a_terminal_gets_colour_unless_it_has_none_or_nobody_wants_any) {
    const std::vector<std::string> words{"status", "--socket", daemon.socket_path()};
    const set_variable terminal("TERM", "xterm"), no_colour("NO_COLOR", "");
    EXPECT_THAT(on_a_terminal(words), HasSubstr("\033[32mdelivering (1)\033[0m"));
    {
        const set_variable nobody("NO_COLOR", "1");
        EXPECT_THAT(on_a_terminal(words), Not(HasSubstr("\033")));
        auto insisting = words;
        insisting.emplace_back("--color=always");
        EXPECT_THAT(on_a_terminal(insisting), HasSubstr("\033[32m"));
    }
    for (const char* without_colour : {"dumb", ""}) {
        const set_variable kind("TERM", without_colour);
        EXPECT_THAT(on_a_terminal(words), Not(HasSubstr("\033"))) << without_colour;
    }
}

TEST_F(program, a_table_fits_a_terminal_of_80_columns) {
    const set_variable dumb("TERM", "dumb");
    std::istringstream lines(on_a_terminal({"status", "--socket", daemon.socket_path()}, 80));
    std::size_t widest = 0;
    for (std::string line; std::getline(lines, line);)
        widest = std::max(widest, line.find_last_not_of("\r") + 1);
    EXPECT_LE(widest, 80U);
    EXPECT_GT(widest, 70U);
}

// Standard output is `out`; what is written on standard error comes back.
ended with_output(int out, const std::vector<std::string>& arguments) {
    const temporary_folder folder;
    const std::string err = folder.path + "/err";
    const pid_t child = fork();
    if (child == 0) {
        dup2(out, STDOUT_FILENO);
        dup2(open(err.c_str(), O_CREAT | O_WRONLY, 0600), STDERR_FILENO);
        become_poectl(arguments, false);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, "", contents(err)};
}

std::size_t settings_among(const std::vector<served_request>& requests) {
    constexpr std::uint8_t clear_energy = 83, first_setting = 128;
    return static_cast<std::size_t>(std::ranges::count_if(requests, [](const served_request& one) {
        return one.bytes.front() == clear_energy || one.bytes.front() >= first_setting;
    }));
}

TEST_F(program, energy_is_reset_once_and_said_to_be_accepted) {
    const auto run = poectl("energy reset 2,4 --no-wait");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, StartsWith("accepted: energy reset of ports 2 (lan2), 4 (lan4)\n"));
    EXPECT_EQ(settings_among(daemon.requests()), 1U);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("clear_energy_of_ports_1_and_3")));
    EXPECT_EQ(json_of("energy inject 90 --no-wait")["change"]["message"], "accepted: made-up energy history of 90 min");
}

TEST_F(program, a_setting_is_sent_once_and_said_to_be_accepted) {
    const auto run = poectl("port 3 set --limit 90 --no-wait");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, StartsWith("accepted: port 3 (lan3) limit 90.0 W\n"));
    EXPECT_EQ(settings_among(daemon.requests()), 1U);
    EXPECT_TRUE(same_bytes(daemon.requests().back().bytes, message_bytes("set_port_2_limit")));
    const auto change = json_of("cycle 2 3 --no-wait")["change"];
    EXPECT_EQ(change["ports"], json::array({2, 3}));
    EXPECT_EQ(change["message"], "accepted: power-cycle of ports 2 (lan2), 3 (lan3)");
    EXPECT_TRUE(change["effect_seen"].is_null());
}

TEST_F(program, a_disabled_port_that_is_named_is_not_power_cycled) {
    const auto run = poectl("cycle 1 3 --no-wait");
    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err,
                StartsWith("poectl: refused: port 1 (lan1) is disabled, and a power-cycle ends with it switched "
                           "on; nothing was changed.\nTry: 'poectl port 1 set --enable on'"));
    const auto told = json::parse(poectl("cycle 1 --dry-run --json").out);
    EXPECT_EQ(told["error"]["name"], "refused");
    EXPECT_TRUE(told["change"].is_null());
    EXPECT_EQ(settings_among(daemon.requests()), 0U);
}

TEST(program_that_is, not_answered_after_it_sent_a_setting_says_that_it_may_have_been_taken) {
    fake_daemon daemon([](const message& request, std::size_t number) {
        constexpr std::uint8_t first_setting = 128;
        return request.front() >= first_setting ? std::vector<message>{} : healthy()(request, number);
    });
    const auto run = poectl("cycle all --answer-timeout 50", daemon.socket_path());
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err,
              "poectl: no answer: poe_drv did not answer within 50 ms; the change may have been taken all the same.\n"
              "Try: look with 'poectl status' before you repeat it; a longer --answer-timeout; just started, "
              "poe_drv answers after seconds, with a silent controller after minutes; if that does not help, it hangs: "
              "restart it, and send its settings again.\n");
    EXPECT_EQ(settings_among(daemon.requests()), 1U);
}

TEST_F(program, a_setting_that_is_not_seen_to_take_effect_is_7) {
    const auto run = poectl("port 3 set --limit 90 --timeout 0.01");
    EXPECT_EQ(run.status, 7);
    EXPECT_THAT(run.out, HasSubstr("30.0 W  30.0 W"));
    EXPECT_THAT(run.err, StartsWith("poectl: accepted, but no effect seen in "));
    EXPECT_THAT(run.err, HasSubstr("port 3 (lan3): power limit is 30.0 W, wanted: 90.0 W.\nTry: "));
    EXPECT_EQ(settings_among(daemon.requests()), 1U);
}

TEST_F(program, a_dry_run_sends_nothing_but_queries) {
    const auto run = poectl("port 3 set --limit 90 --dry-run");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, StartsWith("would be sent: port 3 (lan3) limit 90.0 W\n"));
    EXPECT_THAT(run.out, HasSubstr("81 00 00 00 00 00 00 00 02 ff"));
    EXPECT_EQ(settings_among(daemon.requests()), 0U);
}

TEST_F(program, watch_once_is_the_whole_state_on_one_line) {
    const auto run = poectl("watch --once");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(std::ranges::count(run.out, '\n'), 1);
    EXPECT_THAT(run.out, HasSubstr("port 2 (lan2) delivering (1) 5.3 W"));
    EXPECT_EQ(json_of("watch --once")["record"], "state");
    EXPECT_THAT(daemon.folder.entries(), ElementsAre("daemon"));
}

TEST(program_without, a_daemon_waits_for_it_only_when_it_goes_on) {
    const temporary_folder folder;
    for (const char* line : {"watch --once", "watch --count 1", "top --once"}) {
        const auto run = poectl(line, folder.path + "/nothing");
        EXPECT_EQ(run.status, 3) << line;
        EXPECT_THAT(run.out, testing::EndsWith("/nothing\n")) << line;
        EXPECT_THAT(run.out, Not(HasSubstr("waiting"))) << line;
    }
    const auto run = poectl("watch --for 0.01", folder.path + "/nothing");
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.out, testing::EndsWith("/nothing; waiting for it\n"));
}

TEST_F(program, top_without_a_terminal_watches) {
    int pipe_ends[2];
    ASSERT_EQ(pipe2(pipe_ends, O_CLOEXEC), 0);
    close(pipe_ends[0]);
    const auto run = with_output(pipe_ends[1], {"top", "--socket", daemon.socket_path()});
    close(pipe_ends[1]);
    EXPECT_EQ(run.status, 0) << "whoever reads has had enough";
    EXPECT_THAT(run.err, StartsWith("poectl: no full screen: "));
}

TEST_F(program, top_without_a_terminal_ends_as_watch_does) {
    for (const char* line : {"top --once", "top --count 1", "top --for 0.01"}) {
        const auto run = poectl(line);
        EXPECT_EQ(run.status, 0) << line;
        EXPECT_EQ(std::ranges::count(run.out, '\n'), 1) << line;
    }
}

TEST_F(program, bad_usage_is_2_with_a_line_on_standard_error_before_anything_is_asked) {
    const auto run = poectl("port 3 set --limit 12.34");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("poectl: --limit: '12.34' is not a whole number of tenths of a watt\n"));
    EXPECT_THAT(daemon.requests(), IsEmpty());
}

TEST_F(program, bad_usage_is_on_standard_output_too_for_programs) {
    const auto run = poectl("port 3 set --limit 12.34 --json");
    EXPECT_EQ(run.status, 2);
    const auto told = json::parse(run.out);
    EXPECT_EQ(told["command"], "port set");
    EXPECT_EQ(told["error"]["name"], "usage");
    EXPECT_EQ(told["error"]["exit_status"], 2);
    EXPECT_EQ(told["error"]["reason"], "--limit: '12.34' is not a whole number of tenths of a watt");
    EXPECT_THAT(run.err, StartsWith("poectl: --limit: '12.34' is not a whole number of tenths of a watt\nTry: "));
    EXPECT_THAT(daemon.requests(), IsEmpty());
}

TEST_F(program, help_is_on_standard_output) {
    const auto run = poectl("--help");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("Usage: poectl"));
    EXPECT_EQ(run.err, "");
}

TEST_F(program, takes_the_socket_from_the_environment) {
    ASSERT_EQ(setenv("POE_DRV_SOCKET", daemon.socket_path().c_str(), 1), 0);
    EXPECT_THAT(::poectl("bank", "").out, StartsWith("bank limit    300 W\n"));
    unsetenv("POE_DRV_SOCKET");
}

TEST_F(program, output_that_finds_a_full_disk_is_an_internal_failure) {
    const int full = open("/dev/full", O_WRONLY);
    for (const auto& words : {std::vector<std::string>{"bank", "--socket", daemon.socket_path()}, {"--help"}}) {
        const auto run = with_output(full, words);
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.err, StartsWith("poectl: cannot write to standard output: No space left on device.\nTry: "));
    }
    close(full);
}

TEST_F(program, a_change_whose_output_finds_a_full_disk_says_that_it_is_done_all_the_same) {
    const int full = open("/dev/full", O_WRONLY);
    const auto words = [&](const std::string& how) {
        return std::vector<std::string>{"bank", "set", "250", how, "--socket", daemon.socket_path()};
    };
    EXPECT_THAT(with_output(full, words("--no-wait")).err,
                HasSubstr("No space left on device; what was asked for is done or accepted.\n"));
    EXPECT_THAT(with_output(full, words("--dry-run")).err, HasSubstr("No space left on device.\n"));
    close(full);
}

TEST_F(program, output_that_finds_a_closed_pipe_is_an_internal_failure) {
    int pipe_ends[2];
    ASSERT_EQ(pipe2(pipe_ends, O_CLOEXEC), 0);
    close(pipe_ends[0]);
    const auto run = with_output(pipe_ends[1], {"status", "--socket", daemon.socket_path()});
    close(pipe_ends[1]);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, StartsWith("poectl: cannot write to standard output: Broken pipe.\nTry: "));
}

TEST_F(program, is_in_colour_only_when_it_is_asked_for_or_on_a_terminal_that_has_some) {
    EXPECT_THAT(poectl("status").out, Not(HasSubstr("\033")));
    EXPECT_THAT(poectl("status --color=always").out, HasSubstr("\033[32mdelivering (1)\033[0m"));
    EXPECT_THAT(poectl("status --color=never").out, Not(HasSubstr("\033")));
    EXPECT_THAT(poectl("status --color=always --json").out, Not(HasSubstr("\033")));
}

TEST_F(program, shows_the_same_in_every_format) {
    EXPECT_THAT(poectl("bank --format jsonl").out,
                StartsWith("{\"schema_version\":1,\"command\":\"bank show\",\"record\":\"bank\",\"limit_w\":300"));
    EXPECT_EQ(poectl("bank --format csv").out, "bank.limit_w,bank.second\n300,7\n");
    EXPECT_EQ(poectl("bank --format kv").out,
              "schema_version=1\ncommand=bank show\nerror=\nbank.limit_w=300\nbank.second=7\n");
    EXPECT_EQ(poectl("bank --format json").out, poectl("bank --json").out);
}

TEST(program_without, a_daemon_is_3) {
    const temporary_folder folder;
    const auto run = poectl("status", folder.path + "/nothing");
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "poectl: cannot reach the daemon: there is no socket at " + folder.path +
                           "/nothing.\nTry: start poe_drv; if it runs elsewhere, name its socket with --socket. "
                           "'poectl doctor' looks closer.\n");
}

TEST(program_without, an_answer_is_4) {
    fake_daemon daemon([](const message&, std::size_t) { return std::vector<message>{}; });
    const auto run = poectl("status --answer-timeout 5", daemon.socket_path());
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, StartsWith("poectl: no answer: poe_drv did not answer within 5 ms."));
    EXPECT_THAT(daemon.folder.entries(), ElementsAre("daemon"));
}

TEST(program_that_is, refused_is_5) {
    fake_daemon daemon(healthy(1));
    const auto run = poectl("energy on --no-wait", daemon.socket_path());
    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("poectl: refused: "));
}

TEST(program_that_is, not_permitted_is_6) {
    fake_daemon daemon(healthy());
    const bool root = getuid() == 0;
    ASSERT_EQ(chmod(daemon.folder.path.c_str(), 0755), 0);
    ASSERT_EQ(chmod(daemon.socket_path().c_str(), root ? 0700 : 0), 0);
    const auto run = poectl("status", daemon.socket_path(), root);
    EXPECT_EQ(run.status, 6) << run.err;
    EXPECT_THAT(run.err, StartsWith("poectl: not permitted: "));
}

TEST(program_that_is, stopped_by_a_signal_takes_its_names_with_it) {
    fake_daemon daemon([](const message&, std::size_t) { return std::vector<message>{}; });
    const pid_t child = fork();
    if (child == 0) become_poectl({"status", "--answer-timeout", "60000", "--socket", daemon.socket_path()}, false);
    while (daemon.requests().empty())
        std::this_thread::yield();
    EXPECT_EQ(daemon.folder.entries().size(), 2U);
    ASSERT_EQ(kill(child, SIGTERM), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    EXPECT_THAT(daemon.folder.entries(), ElementsAre("daemon"));
}

}  // namespace
