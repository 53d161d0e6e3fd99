// The virtual switch's control verbs, a line each, in any words; between them the daemon's transactions, so that what
// was plugged, broken and dictated shows.
//
//   plug 2 --class 4     a verb              = show ports       the same, answered in JSON
//   > 42 00 01           a transaction with these first bytes
//   + 1500               and how many milliseconds pass before it
//
// Held to: every verb is answered, a refused one changes nothing, JSON is JSON, every answer of the controller is a
// frame, and time never runs backwards.
#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "fuzz.h"
#include "models/switch_model.h"
#include "steps.h"

namespace fuzz {

namespace {

using vswitch::frame;

constexpr std::size_t most_lines = 48;
constexpr std::uint64_t longest_wait_ms = 20000;
constexpr std::array<std::uint8_t, 7> queries{0x42, 0x44, 0x45, 0x48, 0x49, 0x4E, 0x4F};  // of a port

// Words of any bytes but the separators, as the control socket's words are.
std::vector<std::string> words_of(const std::string& line) {
    std::vector<std::string> words;
    for (std::size_t from = 0; from < line.size();) {
        const std::size_t to = std::min(line.find(' ', from), line.size());
        if (to > from) words.push_back(line.substr(from, to - from));
        from = to + 1;
    }
    return words;
}

std::uint64_t number_in(const std::string& word, int base) {
    std::uint64_t value = 0;
    std::from_chars(word.data(), word.data() + word.size(), value, base);
    return value;
}

class life {
  public:
    void take(const std::string& line) {
        std::vector<std::string> words = words_of(line);
        const std::string first = words.empty() ? "" : words.front();
        if (first == ">") return transact(words);
        if (first == "+") {
            if (words.size() > 1) wait_ms_ = std::min(number_in(words[1], 10), longest_wait_ms);
            return;
        }
        const bool json = first == "=";
        if (json) words.erase(words.begin());
        say(words, json);
    }

    void finish() {
        for (const std::vector<std::string>& words : whole_picture) {
            const vswitch::verb_result seen = say(words, false);
            must(seen.ok && say(words, true).ok, "everything can be shown");
            must(seen.text == twin_.verb(words, false).text, "a refused verb changes nothing");
        }
        for (std::uint8_t port = 0; port < 4; port++) {
            for (const std::uint8_t key : queries)
                ask(key, {port});
        }
    }

  private:
    static inline const std::vector<std::vector<std::string>> whole_picture{
        {"show"}, {"frames", "--all", "--notes"}, {"traps"}};

    vswitch::verb_result say(const std::vector<std::string>& words, bool json) {
        vswitch::verb_result result = model_.verb(words, json);
        must(!result.text.ends_with('\n'), "an answer ends without an empty line");
        must(result.ok || !result.text.empty(), "a refusal says why");
        if (result.ok) twin_.verb(words, false);
        if (json) {
            must(nlohmann::json::accept(result.text), "an answer in JSON is JSON");
            const std::string says = result.ok ? "\"ok\":true" : "\"ok\":false";
            must(result.text.find(says) != std::string::npos, "that says whether it is done");
        }
        return result;
    }

    void transact(const std::vector<std::string>& words) {
        frame request;
        request.fill(0xFF);
        for (std::size_t at = 0; at + 1 < std::min<std::size_t>(words.size(), request.size()); at++)
            request[at] = static_cast<std::uint8_t>(number_in(words[at + 1], 16));
        // A twelfth byte is a checksum of the line's own.
        if (words.size() > request.size()) {
            request[11] = static_cast<std::uint8_t>(number_in(words[12], 16));
        } else {
            seal(request);
        }
        send(request);
    }

    void ask(std::uint8_t key, std::initializer_list<std::uint8_t> data) {
        frame request;
        request.fill(0xFF);
        request[0] = key;
        request[1] = 0;
        std::copy(data.begin(), data.end(), request.begin() + 2);
        seal(request);
        send(request);
    }

    void send(const frame& request) {
        const std::uint64_t before = model_.now_us();
        const vswitch::device_answer answer = model_.transact(9, request, wait_ms_ * 1000);
        must(answer.result == 0 || answer.result == -1, "a transaction goes well or fails");
        must((answer.result < 0) == (answer.error != 0), "and has an errno when it fails");
        if (answer.result == 0) must_equal(answer.bytes[0], request[0], "an answer repeats the key");
        must(twin_.transact(9, request, wait_ms_ * 1000).bytes == answer.bytes, "the same words give the same answers");
        must(model_.now_us() == before + wait_ms_ * 1000 + answer.delay_us, "time goes on by what was waited");
        wait_ms_ = 0;
    }

    static void seal(frame& bytes) {
        unsigned sum = 0;
        for (std::size_t at = 0; at < 11; at++)
            sum += bytes[at];
        bytes[11] = static_cast<std::uint8_t>(sum);
    }

    vswitch::switch_model model_{1};
    vswitch::switch_model twin_{1};  // is told nothing that was refused
    std::uint64_t wait_ms_ = 0;
};

// --- inputs
// -----------------------------------------------------------------------------------------------------------

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t to = std::min(text.find('\n', from), text.size());
        lines.push_back(text.substr(from, to - from));
        from = to + 1;
    }
    return lines;
}

constexpr std::array verbs{"plug",  "plug",  "unplug", "load",       "break",         "mend",    "link",
                           "event", "fault", "answer", "controller", "latency",       "show",    "frames",
                           "traps", "help",  "= show", "= frames",   "= fault",       "+",       ">",
                           ">",     ">",     "= plug", "answer",     "clear-answers", "= traps", "fault"};
constexpr std::array words{"1",
                           "2",
                           "3",
                           "4",
                           "0",
                           "5",
                           "8",
                           "9",
                           "255",
                           "--class 8",
                           "--class 3",
                           "--legacy",
                           "--dual",
                           "--pairs 2",
                           "--pairs 4",
                           "--load 6.5",
                           "--load 3,4",
                           "--load \xFF",
                           "12.25",
                           "0.001",
                           "90,15",
                           "1000",
                           "1000.001",
                           "--broken short",
                           "short",
                           "open",
                           "overload",
                           "up",
                           "down",
                           "clear",
                           "no-answer",
                           "key-a",
                           "key-b",
                           "checksum",
                           "ioctl",
                           "delay",
                           "cpld",
                           "link",
                           "--key 42",
                           "--key 0x44",
                           "--times 2",
                           "--times 1000000000",
                           "--ms 3600000",
                           "--ms 5",
                           "--errno 5",
                           "--errno \xC3",
                           "restart",
                           "factory",
                           "ports",
                           "faults",
                           "configuration",
                           "--last 2",
                           "--first 3",
                           "--all",
                           "--notes",
                           "--settings",
                           "--after 18446744073709551615",
                           "00 01 02 03 04 05 06 07 08",
                           "42",
                           "4B/0",
                           "01 00 00 01 01 01 02 01 03 01",
                           "C0 01",
                           "06 00 01 01 00 02 03",
                           "05 00 01 04",
                           "04 00 00 0B B8",
                           "bad-signature"};

std::string likely_line(chance& random) {
    std::string line = verbs[below(random, verbs.size())];
    if (below(random, 2) == 0) line += " " + std::to_string(1 + below(random, 4));
    for (std::size_t left = below(random, 5); left > 0; left--)
        line += std::string(" ") + words[below(random, words.size())];
    return line;
}

void mutate_line(std::string& line) {
    constexpr std::size_t longest = 200;
    const std::size_t length = std::min(line.size(), longest);
    line.resize(longest);
    line.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(line.data()), length, longest));
}

}  // namespace

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    fuzz::life one;
    std::size_t lines = 0;
    for (std::size_t from = 0; from < text.size() && lines < fuzz::most_lines; lines++) {
        const std::size_t to = std::min(text.find('\n', from), text.size());
        one.take(text.substr(from, to - from));
        from = to + 1;
    }
    one.finish();
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t capacity,
                                               unsigned seed) {
    using namespace fuzz;
    chance random(seed);
    std::vector<std::string> lines = lines_of({data, data + size});
    const std::size_t way = below(random, 8);
    if (way == 0) return LLVMFuzzerMutate(data, size, capacity);
    if (lines.empty()) lines.emplace_back();
    const std::size_t chosen = below(random, lines.size());
    const auto place = lines.begin() + static_cast<std::ptrdiff_t>(chosen);
    if (way < 4 && lines.size() < most_lines) {
        lines.insert(place, likely_line(random));
    } else if (way == 4) {
        lines[chosen] += std::string(" ") + words[below(random, words.size())];
    } else if (way == 5) {
        lines.erase(place);
    } else if (way == 6) {
        std::swap(lines[chosen], lines[below(random, lines.size())]);
    } else {
        mutate_line(lines[chosen]);
    }
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    const std::size_t length = std::min(text.size(), capacity);
    std::copy_n(text.begin(), length, data);
    return length;
}
