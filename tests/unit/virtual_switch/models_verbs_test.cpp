// The operator's words, the descriptions, the log, and that the same input gives the same log.
#include "models/frame_log.h"
#include "switch_bench.h"

namespace vswitch {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using operators_switch = switch_bench;

TEST_F(operators_switch, unknown_words_are_refused_with_a_hint) {
    EXPECT_THAT(refuse("frobnicate"), HasSubstr("help lists them"));
    EXPECT_THAT(refuse(""), HasSubstr("no verb"));
    EXPECT_THAT(refuse("plug 1 --clas 3"), HasSubstr("no option --clas"));
    EXPECT_THAT(refuse("plug 1 --class"), HasSubstr("needs a value"));
    EXPECT_THAT(refuse("plug 1 2"), HasSubstr("one word too many"));
    EXPECT_THAT(refuse("plug"), HasSubstr("the port is missing"));
    EXPECT_THAT(refuse("show dragons"), HasSubstr("not 'dragons'"));
    EXPECT_THAT(refuse("link 1 sideways"), HasSubstr("up or down"));
    EXPECT_THAT(refuse("event 1 6"), HasSubstr("an event counter is a number from 1 to 5"));
    EXPECT_THAT(refuse("controller"), HasSubstr("missing"));
}

TEST_F(operators_switch, ports_are_1_to_4) {
    for (const char* wrong : {"0", "5", "-1", "1x", "", "x", "4294967297"}) {
        const verb_result result = model.verb({"plug", wrong}, false);
        EXPECT_FALSE(result.ok) << wrong;
    }
    for (const char* right : {"1", "2", "3", "4"})
        say(std::string("plug ") + right);
}

TEST_F(operators_switch, loads_are_watts_with_at_most_three_decimals) {
    say("plug 1 --class 4");
    for (const char* right : {"0", "12", "12.5", "0.001", "1000"})
        say(std::string("load 1 ") + right);
    for (const char* wrong :
         {"", "-1", "12.", "12.3456", "1000.1", "1001", "x", "1e3", "99999999999999999999", "1.x"}) {
        EXPECT_FALSE(model.verb({"load", "1", wrong}, false).ok) << wrong;
    }
}

TEST_F(operators_switch, devices_that_cannot_be_are_refused) {
    refuse("plug 1 --class 9");
    refuse("plug 1 --dual --class 6");
    refuse("plug 1 --dual --class 0");
    refuse("plug 1 --legacy --dual");
    refuse("plug 1 --legacy --class 2");
    refuse("plug 1 --pairs 3");
    refuse("plug 1 --class 6 --pairs 2");
    refuse("plug 1 --dual --pairs 2");
    refuse("plug 1 --class 3 --load 1,2");
    refuse("plug 1 --broken heart");
    EXPECT_THAT(refuse("unplug 1"), HasSubstr("nothing is plugged into port 1"));
    refuse("load 1 5");
    refuse("mend 1");
}

TEST_F(operators_switch, a_refused_verb_changes_nothing) {
    const std::string before = say("show ports");
    refuse("plug 1 --class 3 --load 1,2");
    EXPECT_EQ(say("show ports"), before);
}

TEST_F(operators_switch, a_device_without_a_load_draws_half_of_what_it_may) {
    say("plug 1 --class 4");
    EXPECT_THAT(say("show ports", true), HasSubstr(R"("load_w":15.0)"));
}

TEST_F(operators_switch, answers_in_json_when_asked) {
    EXPECT_EQ(model.verb({"plug", "2"}, true).text, R"({"ok":true,"text":"port 2: plugged class 3, 2 pairs"})");
    EXPECT_THAT(model.verb({"plug", "7"}, true).text, StartsWith(R"({"ok":false,"error":"a port is a number)"));
    EXPECT_THAT(model.verb({"plug", "\xFF"}, true).text, StartsWith(R"({"ok":false,)"));
}

TEST_F(operators_switch, help_names_every_verb) {
    for (const char* verb : {"plug", "unplug", "load", "break", "mend", "link", "event", "fault", "answer",
                             "clear-answers", "controller", "latency", "show", "frames", "traps", "help"}) {
        EXPECT_THAT(say("help"), HasSubstr(verb));
    }
}

TEST_F(programmed_switch, shows_a_port_with_everything_about_it) {
    say("plug 2 --class 4 --load 12.5");
    say("link 2 up");
    after_ms(1000);
    EXPECT_THAT(say("show ports"), HasSubstr("2     class 4, 2 pairs  on     delivering          4  2 pairs"));
    const std::string document = say("show ports", true);
    EXPECT_THAT(document,
                HasSubstr(R"("port":2,"device":{"kind":"single","class":4,"pairs":2,"load_w":12.5,"broken":"none"})"));
    EXPECT_THAT(document,
                HasSubstr(R"("power_on":true,"state":"delivering","controller_state":2,"class":4,"type":"2 pairs")"));
    EXPECT_THAT(document, HasSubstr(R"("link":"up")"));
}

TEST_F(programmed_switch, shows_both_pair_sets_of_a_dual_signature_device) {
    say("plug 2 --dual --class 4 --load 20,10");
    after_ms(1000);
    EXPECT_THAT(say("show ports"), HasSubstr("pair set B"));
}

TEST_F(programmed_switch, keeps_its_columns_whatever_is_plugged_in) {
    say("plug 1 --class 3 --broken bad-signature");
    say("plug 2 --dual --class 4");
    after_ms(1000);
    std::istringstream table(say("show ports"));
    std::string line;
    std::getline(table, line);
    const std::size_t state_column = line.find("State");
    const char* states[] = {"bad signature", "delivering", "delivering", "delivering", "searching", "searching"};
    for (const char* state : states) {
        std::getline(table, line);
        EXPECT_EQ(line.find(state), state_column) << line;
    }
}

TEST_F(programmed_switch, shows_every_subject_alone_and_all_together) {
    for (const char* subject : {"ports", "leds", "registers", "traps", "counters", "configuration", "faults", "all"}) {
        EXPECT_NE(say(std::string("show ") + subject), "");
        EXPECT_THAT(say(std::string("show ") + subject, true), StartsWith(R"({"ok":true,"system":{"now_us":)"));
    }
    const std::string all = say("show", true);
    for (const char* part :
         {"\"ports\"", "\"leds\"", "\"registers\"", "\"traps\"", "\"counters\"", "\"configuration\"", "\"faults\""}) {
        EXPECT_THAT(all, HasSubstr(part));
    }
}

TEST_F(programmed_switch, shows_the_running_and_the_stored_configuration) {
    ask(0x14, {0, 75});
    EXPECT_THAT(say("show configuration"), HasSubstr("limit 30.0 W"));
    EXPECT_THAT(say("show configuration"), HasSubstr("Stored configuration\n  method dynamic with priority"));
    ask(0xC0, {}, 2);
    EXPECT_THAT(say("show configuration"), HasSubstr("Stored configuration: none"));
    EXPECT_THAT(say("show configuration", true), HasSubstr(R"("stored":null)"));
}

TEST_F(operators_switch, counts_queries_settings_and_failures) {
    ask(0x40);
    ask(0x10, {2});
    say("fault ioctl --times 1");
    ask(0x40);
    say("fault key-a --times 1");
    ask(0x40);
    model.transact(9, frame{0x40}, 0);
    EXPECT_THAT(
        say("show counters", true),
        HasSubstr(
            R"("queries":4,"settings":1,"failed_ioctls":1,"undefined_keys":1,"wrong_checksums":1,"faults_struck":2)"));
}

TEST_F(operators_switch, logs_every_frame_decoded_with_its_model_time) {
    model.set_latency_us(1500);
    ask(0x40);
    ask(0x10, {2});
    EXPECT_EQ(
        say("frames"),
        "     1       0.000  40 00 ff ff ff ff ff ff ff ff ff 37  get global status\n"
        "                    40 00 00 04 01 00 39 10 01 05 1a ae  max_ports=4 devices=1 device_id=57 version=16 mcu=1"
        " flags=5 patch=26\n"
        "     2       0.001  10 00 02 ff ff ff ff ff ff ff ff 0a  set power management method value=2\n"
        "                    10 00 00 ff ff ff ff ff ff ff ff 08  result=0");
    EXPECT_THAT(say("frames", true),
                HasSubstr(R"("number":2,"at_us":1500,"command":"set power management method","key":16,"wait":9)"));
}

TEST_F(operators_switch, chooses_frames_by_key_number_and_kind) {
    for (unsigned round = 0; round < 60; round++)
        ask(0x42, {round % 4});
    ask(0x10, {2});
    const auto count = [&](const std::string& options) {
        const std::string text = say("frames " + options, true);
        std::size_t frames = 0;
        for (std::size_t at = 0; (at = text.find("\"number\":", at)) != std::string::npos; at++)
            frames++;
        return frames;
    };
    EXPECT_EQ(count(""), 50U);
    EXPECT_EQ(count("--all"), 61U);
    EXPECT_EQ(count("--last 7"), 7U);
    EXPECT_EQ(count("--first 3"), 3U);
    EXPECT_EQ(count("--all --key 10"), 1U);
    EXPECT_EQ(count("--settings"), 1U);
    EXPECT_EQ(count("--after 59"), 2U);
    EXPECT_THAT(say("frames --first 1", true), HasSubstr(R"("number":1,)"));
    say("frames clear");
    EXPECT_EQ(say("frames"), "no frames");
    refuse("frames everything");
}

TEST_F(operators_switch, notes_stand_between_the_frames_where_they_happened) {
    ask(0x40);
    say("plug 2 --class 4");
    model.cpld_write(10, 0, 15);
    model.daemon_started();
    ask(0x41);
    model.daemon_stopped();
    const std::string text = say("frames --notes");
    const std::vector<std::string> order{
        "get global status", "plug 2 --class 4",        "cpld write register 10 value 0 mask 15",
        "daemon started",    "get global power status", "daemon stopped"};
    std::size_t at = 0;
    for (const std::string& part : order) {
        at = text.find(part, at);
        ASSERT_NE(at, std::string::npos) << part << " in\n" << text;
    }
    EXPECT_THAT(say("frames"), Not(HasSubstr("plug")));
}

TEST_F(operators_switch, marks_faults_and_dictated_answers_in_the_log) {
    say("fault ioctl --times 1");
    ask(0x40);
    say("answer 40 00 00 00 00 00 00 00 00 00");
    ask(0x40);
    EXPECT_THAT(say("frames"), HasSubstr("ioctl fails with errno 5 [fault: ioctl]"));
    EXPECT_THAT(say("frames"), HasSubstr("[dictated]"));
}

TEST(frame_log, forgets_the_oldest_frame_when_it_is_full) {
    frame_log log;
    for (std::size_t round = 0; round <= frame_log::most_frames; round++)
        log.add({});
    EXPECT_EQ(log.frames().size(), frame_log::most_frames);
    EXPECT_EQ(log.frames().front().number, 2U);
    EXPECT_EQ(log.total(), frame_log::most_frames + 1);
}

TEST_F(operators_switch, model_time_is_what_was_slept_and_what_the_answers_took) {
    model.set_latency_us(500);
    model.transact(9, request_of(0x40), 1000);
    EXPECT_EQ(model.now_us(), 1500U);
    EXPECT_EQ(model.transact(204, request_of(0x02, {1}), 0).delay_us, 200500U);
    EXPECT_EQ(model.transact(204, request_of(0x05, {0, 4}), 0).delay_us, 200500U);
    say("show");
    EXPECT_EQ(model.now_us(), 1500U + 2 * 200500U);
    say("latency 7");
    EXPECT_EQ(model.transact(9, request_of(0x40), 0).delay_us, 7U);
}

TEST_F(operators_switch, words_of_any_bytes_stand_in_the_log_as_json_can_hold_them) {
    say("plug 1 --load \xFF --load 3");
    EXPECT_THAT(say("frames --notes", true), testing::HasSubstr("plug 1 --load \xEF\xBF\xBD --load 3"));
}

std::string a_day_of(std::uint32_t seed) {
    struct bench_body : switch_bench {
        void TestBody() override {}
    } bench;
    bench.model = switch_model(seed);
    bench.program(100);
    bench.all_on();
    bench.say("plug 1 --class 8 --load 70");
    bench.say("plug 2 --dual --class 4 --load 20,15");
    bench.say("plug 3 --class 3 --load 12");
    bench.say("fault checksum --times 5 --key 44");
    for (unsigned round = 0; round < 200; round++) {
        bench.model.transact(9, request_of(0x42, {round % 4}), 7000);
        bench.ask(0x44, {round % 4});
        bench.ask(0x4F, {round % 4});
        if (round == 100) bench.say("load 1 40");
        if (round == 150) bench.say("unplug 2");
    }
    return bench.say("frames --all --notes", true);
}

TEST(determinism, the_same_input_and_seed_give_the_same_frame_log) {
    EXPECT_EQ(a_day_of(7), a_day_of(7));
}

TEST(determinism, another_seed_gives_other_measurements) {
    EXPECT_NE(a_day_of(7), a_day_of(8));
}

TEST(determinism, one_long_sleep_gives_the_same_state_as_many_short_ones) {
    const auto shown = [](unsigned steps) {
        struct bench_body : programmed_switch {
            void TestBody() override {}
        } body;
        body.model.set_latency_us(0);
        body.say("plug 1 --class 8 --load 70");
        body.say("plug 2 --class 4 --broken short");
        body.say("plug 3 --dual --class 3 --load 10");
        for (unsigned step = 0; step < steps; step++) {
            body.model.transact(9, request_of(0x40), 1200000 / steps);
        }
        return body.say("show ports");
    };
    EXPECT_EQ(shown(1), shown(1200));
}

}  // namespace
}  // namespace vswitch
