#include "models/verbs.h"

#include <array>
#include <cerrno>
#include <optional>

#include "models/arguments.h"
#include "models/describe.h"
#include "models/describe_json.h"

namespace vswitch {

namespace {

using word_list = std::vector<std::string>;

// A verb gives a sentence for people, or, when `json` is set, a whole document.
struct verb_answer {
    std::string text;
    bool is_document = false;
};

std::string port_name(std::size_t port) {
    return "port " + std::to_string(port + 1);
}

breakage read_breakage(const std::string& word) {
    for (const breakage one :
         {breakage::none, breakage::open, breakage::short_circuit, breakage::overload, breakage::bad_signature}) {
        if (word == breakage_name(one)) return one;
    }
    if (word == "signature") return breakage::bad_signature;
    throw usage_error("a device is broken open, short, overload or bad-signature, not '" + word + "'");
}

// One load for the whole device, or two with a comma between for the pair sets of a dual-signature device.
void read_load(powered_device& device, const std::string& word) {
    const std::size_t comma = word.find(',');
    if (comma == std::string::npos) {
        set_total_load(device, read_milliwatts(word));
        return;
    }
    if (device.kind != device_kind::dual_signature) throw usage_error("only a dual-signature device has two loads");
    device.load_mw = {read_milliwatts(word.substr(0, comma)), read_milliwatts(word.substr(comma + 1))};
}

powered_device read_device(const arguments& given) {
    constexpr unsigned usual_class = 3;
    powered_device device{.kind = device_kind::single_signature, .power_class = usual_class};
    if (given.has("--legacy") && (given.has("--dual") || given.has("--class"))) {
        throw usage_error("a legacy device has no class and one signature");
    }
    if (given.has("--legacy")) {
        device.kind = device_kind::legacy;
        device.power_class = 0;
    }
    if (given.has("--dual")) device.kind = device_kind::dual_signature;
    const bool dual = device.kind == device_kind::dual_signature;
    if (const auto word = given.option("--class")) {
        const unsigned lowest = dual ? 1 : 0;
        const unsigned highest = dual ? highest_dual_class : highest_class;
        device.power_class = static_cast<unsigned>(read_number(*word, lowest, highest, "a class"));
    }
    device.four_pairs = !dual && device.power_class > highest_two_pair_class;
    if (const auto word = given.option("--pairs")) {
        const std::uint64_t pairs = read_number(*word, 2, 4, "the number of pairs");
        const bool needs_four = device.four_pairs || dual;
        if (pairs == 3 || (pairs == 2 && needs_four))
            throw usage_error("this device does not take " + *word + " pairs");
        device.four_pairs = !dual && pairs == 4;
    }
    if (const auto word = given.option("--broken")) device.broken = read_breakage(*word);
    // Unless told, a device draws half of what its class may.
    set_total_load(device, class_power_mw(device.power_class) / (dual ? 1 : 2));
    if (const auto word = given.option("--load")) read_load(device, *word);
    return device;
}

powered_device plugged_device(const switch_state& state, std::size_t port) {
    const powered_device device = state.chip.port(port).device();
    if (device.kind == device_kind::none) throw usage_error("nothing is plugged into " + port_name(port));
    return device;
}

verb_answer plug(switch_state& state, const word_list& words, bool) {
    const arguments given(words, {"--legacy", "--dual"}, {"--class", "--load", "--pairs", "--broken"});
    given.expect_at_most(1);
    const std::size_t port = read_port(given.word(0, "the port"));
    const powered_device device = read_device(given);
    state.chip.plug(port, device);
    return {port_name(port) + ": plugged " + device_text(device)};
}

verb_answer unplug(switch_state& state, const word_list& words, bool) {
    const arguments given(words, {}, {});
    given.expect_at_most(1);
    const std::size_t port = read_port(given.word(0, "the port"));
    plugged_device(state, port);
    state.chip.unplug(port);
    return {port_name(port) + ": unplugged"};
}

verb_answer load(switch_state& state, const word_list& words, bool) {
    const arguments given(words, {}, {});
    given.expect_at_most(2);
    const std::size_t port = read_port(given.word(0, "the port"));
    powered_device device = plugged_device(state, port);
    read_load(device, given.word(1, "the load in watts"));
    state.chip.change(port, device);
    return {port_name(port) + ": draws " + given.word(1, "") + " W"};
}

verb_answer break_device(switch_state& state, const word_list& words, bool) {
    const arguments given(words, {}, {});
    given.expect_at_most(2);
    const std::size_t port = read_port(given.word(0, "the port"));
    powered_device device = plugged_device(state, port);
    device.broken = read_breakage(given.word(1, "what breaks"));
    state.chip.change(port, device);
    return {port_name(port) + ": now " + device_text(device)};
}

verb_answer mend(switch_state& state, const word_list& words, bool) {
    const arguments given(words, {}, {});
    given.expect_at_most(1);
    const std::size_t port = read_port(given.word(0, "the port"));
    powered_device device = plugged_device(state, port);
    device.broken = breakage::none;
    state.chip.change(port, device);
    return {port_name(port) + ": mended"};
}

verb_answer link(switch_state& state, const word_list& words, bool) {
    const arguments given(words, {}, {});
    given.expect_at_most(2);
    const std::size_t port = read_port(given.word(0, "the port"));
    const std::string& where = given.word(1, "up or down");
    if (where != "up" && where != "down") throw usage_error("a link is up or down, not '" + where + "'");
    state.links.set(port, where == "up");
    return {port_name(port) + ": link " + where};
}

verb_answer count_event(switch_state& state, const word_list& words, bool) {
    constexpr std::uint64_t most_events = 255;
    const arguments given(words, {}, {});
    given.expect_at_most(3);
    const std::size_t port = read_port(given.word(0, "the port"));
    const auto counter =
        static_cast<std::size_t>(read_number(given.word(1, "the event counter"), 1, event_count, "an event counter"));
    const std::uint64_t times = given.count() > 2 ? read_number(given.word(2, ""), 1, most_events, "a count") : 1;
    state.chip.count_event(port, counter, static_cast<unsigned>(times));
    return {port_name(port) + ": event counter " + std::to_string(counter) + " raised"};
}

verb_answer inject_fault(switch_state& state, const word_list& words, bool) {
    constexpr std::uint64_t most_times = 1000000000;
    constexpr std::uint64_t most_delay_ms = 3600000;
    constexpr std::uint64_t most_errno = 4095;
    constexpr std::uint32_t usual_delay_ms = 1000;
    constexpr std::uint32_t millisecond_us = 1000;
    const arguments given(words, {}, {"--key", "--times", "--ms", "--errno"});
    given.expect_at_most(1);
    const std::string& name = given.word(0, "the kind of fault");
    if (name == "clear") {
        state.faults.clear();
        return {"faults cleared"};
    }
    const std::optional<fault_kind> kind = fault_kind_of(name);
    if (!kind) {
        throw usage_error("a fault is no-answer, key-a, key-b, checksum, ioctl, delay, cpld or link, not '" + name +
                          "'");
    }
    fault one{.kind = *kind};
    if (const auto word = given.option("--key")) one.key = read_hex_byte(*word, "a command key");
    if (const auto word = given.option("--times")) one.times = read_number(*word, 1, most_times, "--times");
    if (const auto word = given.option("--errno")) {
        if (!may_fail_the_ioctl(one.kind)) throw usage_error("only no-answer, ioctl, key-a and key-b take --errno");
        one.error = static_cast<int>(read_number(*word, 1, most_errno, "--errno"));
    }
    if (one.kind == fault_kind::delay) {
        const auto word = given.option("--ms");
        one.delay_us = word ? static_cast<std::uint32_t>(read_number(*word, 1, most_delay_ms, "--ms")) : usual_delay_ms;
        one.delay_us *= millisecond_us;
    } else if (given.has("--ms")) {
        throw usage_error("only a delay takes --ms");
    }
    state.faults.add(one);
    return {"fault: " + fault_text(one)};
}

// KEY or KEY/SELECTOR, perhaps a port, then the nine data bytes.
verb_answer dictate_answer(switch_state& state, const word_list& words, bool) {
    const arguments given(words, {}, {});
    const std::string& what = given.word(0, "the command key");
    const std::size_t slash = what.find('/');
    forced_answer one{.key = read_hex_byte(what.substr(0, slash), "a command key")};
    if (slash != std::string::npos) one.selector = read_hex_byte(what.substr(slash + 1), "a selector");
    std::size_t next = 1;
    if (given.count() == 2 + data_size) {
        one.port = static_cast<std::uint8_t>(read_port(given.word(next++, "")));
    } else if (given.count() != 1 + data_size) {
        throw usage_error("an answer is nine hexadecimal data bytes, with a port before them or without");
    }
    for (std::uint8_t& byte : one.data)
        byte = read_hex_byte(given.word(next++, ""), "a data byte");
    state.forced.add(one);
    return {"the answer of key " + what + " is dictated"};
}

verb_answer clear_answers(switch_state& state, const word_list& words, bool) {
    arguments(words, {}, {}).expect_at_most(0);
    state.forced.clear();
    return {"no dictated answers"};
}

verb_answer show(switch_state& state, const word_list& words, bool json) {
    const arguments given(words, {}, {});
    given.expect_at_most(1);
    const std::string name = given.count() > 0 ? given.word(0, "") : "all";
    const std::optional<subject> what = subject_of(name);
    if (!what) {
        throw usage_error("show takes ports, leds, registers, traps, counters, configuration or faults, not '" + name +
                          "'");
    }
    return {json ? show_json(state, *what) : show_text(state, *what), true};
}

verb_answer frames(switch_state& state, const word_list& words, bool json) {
    constexpr std::size_t usual_frames = 50;
    const arguments given(words, {"--all", "--settings", "--notes"}, {"--last", "--first", "--key", "--after"});
    given.expect_at_most(1);
    if (given.count() > 0) {
        if (given.word(0, "") != "clear") throw usage_error("frames takes the word clear or options");
        state.log.clear();
        return {"frame log cleared"};
    }
    frame_choice choice{};
    choice.settings_only = given.has("--settings");
    choice.with_notes = given.has("--notes");
    const auto amount = [&](const char* name) {
        return static_cast<std::size_t>(read_number(*given.option(name), 1, frame_log::most_frames, name));
    };
    if (given.has("--key")) choice.key = read_hex_byte(*given.option("--key"), "a command key");
    if (given.has("--after")) choice.after = read_number(*given.option("--after"), 0, UINT64_MAX, "--after");
    if (given.has("--first")) {
        choice.first = amount("--first");
    } else if (given.has("--last")) {
        choice.last = amount("--last");
    } else if (!given.has("--all") && !given.has("--after")) {
        choice.last = usual_frames;
    }
    return {json ? frames_json(state.log, choice) : frames_text(state.log, choice), true};
}

verb_answer traps(switch_state& state, const word_list& words, bool json) {
    const arguments given(words, {}, {"--last"});
    given.expect_at_most(1);
    if (given.count() > 0) {
        if (given.word(0, "") != "clear") throw usage_error("traps takes the word clear or options");
        state.traps.clear();
        return {"traps cleared"};
    }
    std::size_t last = switch_state::most_traps;
    if (const auto word = given.option("--last")) {
        last = static_cast<std::size_t>(read_number(*word, 1, switch_state::most_traps, "--last"));
    }
    return {json ? traps_json(state, last) : traps_text(state, last), true};
}

verb_answer latency(switch_state& state, const word_list& words, bool) {
    constexpr std::uint64_t most_latency_us = 60000000;
    const arguments given(words, {}, {});
    given.expect_at_most(1);
    state.latency_us = static_cast<std::uint32_t>(
        read_number(given.word(0, "the answer time in microseconds"), 0, most_latency_us, "an answer time"));
    return {"answer time " + std::to_string(state.latency_us) + " us"};
}

verb_answer controller_verb(switch_state& state, const word_list& words, bool) {
    const arguments given(words, {}, {});
    given.expect_at_most(1);
    const std::string& what = given.word(0, "restart or factory");
    if (what == "restart") {
        state.chip.power_cycle();
        return {"the controller starts from its stored configuration"};
    }
    if (what == "factory") {
        state.chip.make_factory_fresh();
        return {"the controller is factory-fresh"};
    }
    throw usage_error("the controller takes restart or factory, not '" + what + "'");
}

verb_answer help(switch_state&, const word_list&, bool);

struct verb_row {
    const char* name;
    verb_answer (*run)(switch_state& state, const word_list& words, bool json);
    bool noted;  // it changes the world, and stands in the log
    const char* usage;
};

constexpr std::array verbs{
    verb_row{"plug", plug, true,
             "plug PORT [--class 0..8 | --legacy | --dual [--class 1..5]] [--pairs 2|4] [--load W[,W]]"
             " [--broken open|short|overload|bad-signature]"},
    verb_row{"unplug", unplug, true, "unplug PORT"},
    verb_row{"load", load, true, "load PORT WATTS[,WATTS]"},
    verb_row{"break", break_device, true, "break PORT open|short|overload|bad-signature"},
    verb_row{"mend", mend, true, "mend PORT"},
    verb_row{"link", link, true, "link PORT up|down"},
    verb_row{"event", count_event, true, "event PORT 1..5 [COUNT]"},
    verb_row{"fault", inject_fault, true,
             "fault no-answer|key-a|key-b|checksum|ioctl|delay|cpld|link [--key HEX] [--times N] [--ms N] [--errno N]"
             "\nfault clear"},
    verb_row{"answer", dictate_answer, true, "answer KEY[/SELECTOR] [PORT] BYTE x 9   (hexadecimal)"},
    verb_row{"clear-answers", clear_answers, true, "clear-answers"},
    verb_row{"controller", controller_verb, true, "controller restart|factory"},
    verb_row{"latency", latency, true, "latency MICROSECONDS"},
    verb_row{"show", show, false, "show [ports|leds|registers|traps|counters|configuration|faults]"},
    verb_row{"frames", frames, false,
             "frames [--last N | --first N | --all] [--after NUMBER] [--key HEX] [--settings] [--notes]\nframes clear"},
    verb_row{"traps", traps, false, "traps [--last N]\ntraps clear"},
    verb_row{"help", help, false, "help"}};

verb_answer help(switch_state&, const word_list&, bool) {
    std::string text = "Ports are 1 to 4, as on the panel.\n";
    for (const verb_row& row : verbs)
        text += std::string(row.usage) + "\n";
    return {text};
}

std::string joined(const word_list& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

verb_result failure(const std::string& text, bool json) {
    return {false, json ? message_json(false, text) : text};
}

}  // namespace

verb_result run_verb(switch_state& state, const std::vector<std::string>& words, bool json) {
    if (words.empty()) return failure("no verb; help lists them", json);
    for (const verb_row& row : verbs) {
        if (words.front() != row.name) continue;
        try {
            verb_answer answer = row.run(state, words, json);
            if (answer.text.ends_with('\n')) answer.text.pop_back();
            if (row.noted) state.log.note(state.chip.now_us(), joined(words));
            return {true, json && !answer.is_document ? message_json(true, answer.text) : answer.text};
        } catch (const usage_error& wrong) {
            return failure(std::string(wrong.what()) + "\nusage: " + row.usage, json);
        }
    }
    return failure("no verb '" + words.front() + "'; help lists them", json);
}

}  // namespace vswitch
