// A statistics file of any bytes, read back when statistics are switched on for the first time: what is added to each
// port's totals, what clients are told then, and what a file made from these totals gives back after a restart.
//
// Held to a parser of this target's own, which adds up digits from their end.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>

#include "daemon_bench.h"
#include "ipc/dispatch.h"

namespace fuzz {

namespace {

constexpr const char* path = "/flash/poe_statistics.txt";
constexpr std::size_t longest_file = 65536;
constexpr std::size_t longest_line = 64;

struct totals {
    std::array<std::uint32_t, 4> powered_s{};
    std::array<std::uint64_t, 4> energy_mws{};
};

// A number and what follows it.
struct found_number {
    std::uint64_t value;
    std::string rest;
};

std::optional<found_number> number_in(const std::string& text) {
    const std::string digits = "0123456789";
    const std::size_t begin = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const bool has_sign = begin < text.size() && (text[begin] == '-' || text[begin] == '+');
    const std::size_t first = begin + (has_sign ? 1 : 0);
    const std::size_t end = std::min(text.find_first_not_of(digits, first), text.size());
    if (end <= first) return std::nullopt;
    std::uint64_t value = 0;
    std::uint64_t weight = 1;
    for (std::size_t at = end; at-- > first; weight *= 10)
        value += weight * digits.find(text[at]);
    return found_number{.value = has_sign && text[begin] == '-' ? ~value + 1 : value, .rest = text.substr(end)};
}

totals totals_of(std::string text) {
    totals sums;
    text.resize(std::min(text.size(), longest_file));
    while (!text.empty()) {
        const std::size_t newline = text.find('\n');
        const std::size_t whole = newline == std::string::npos ? text.size() : newline + 1;
        const std::string line = text.substr(0, std::min(whole, longest_line));
        text.erase(0, line.size());
        const auto port = number_in(line);
        if (!port || !port->rest.starts_with(",")) continue;
        const auto powered = number_in(port->rest.substr(1));
        if (!powered || !powered->rest.starts_with(",")) continue;
        const auto energy = number_in(powered->rest.substr(1));
        if (!energy) continue;
        const auto which = static_cast<std::uint32_t>(port->value);  // the rest is cut off
        if (which > 3) continue;
        sums.powered_s[which] += static_cast<std::uint32_t>(powered->value % (std::uint64_t{1} << 32));
        sums.energy_mws[which] += energy->value;
    }
    return sums;
}

class life : daemon_bench {
  public:
    explicit life(std::string file) { the_world.files[path] = std::move(file); }

    void run() {
        const std::string given = the_world.files[path];
        const totals should_be = totals_of(given);

        switch_statistics(1);
        check(should_be);
        must(the_world.files[path] == given, "reading the file leaves it as it is");
        check_replies(should_be);

        switch_statistics(1);
        check(should_be);
        check_written(should_be);

        restart();
        switch_statistics(1);
        check(should_be);

        constexpr std::uint8_t ports_0_and_3 = 0x09;
        ask({83, 0, 0, 0, 0, 0, 0, 0, ports_0_and_3}, 8);
        totals cleared = should_be;
        for (const std::size_t port : {0U, 3U})
            cleared.powered_s[port] = 0, cleared.energy_mws[port] = 0;
        check(cleared);
        check_written(cleared);

        switch_statistics(0);
        check(cleared);
        must(!the_world.files.contains(path), "switched off, no file is kept");
    }

  private:
    using message = std::vector<std::uint8_t>;

    static message ask(message request, std::size_t reply_length) {
        const auto peer = peer_named("/tmp/client");
        the_world.replies.clear();
        poe_rx_ipc_content_process(7, peer.data(), request.data(), static_cast<int>(request.size()));
        must_equal(the_world.replies.size(), 1, "replies to one request");
        must_equal(the_world.replies[0].bytes.size(), reply_length, "the reply's length");
        return the_world.replies[0].bytes;
    }

    static void switch_statistics(std::uint8_t enable) { ask({144, 0, 0, 0, 0, 0, 0, 0, enable}, 8); }

    static void restart() {
        g_port_stats = {};
        g_port_stats_cfg = {};
    }

    static void check(const totals& should_be) {
        for (std::size_t port = 0; port < 4; port++) {
            must_equal(g_port_stats[port].powered_s, should_be.powered_s[port], "powered seconds");
            must_equal(g_port_stats[port].energy_mws, should_be.energy_mws[port], "energy");
            must_equal(g_port_stats[port].second_counter, 0, "what is no total stays");
        }
    }

    static void check_written(const totals& should_be) {
        std::string text;
        for (std::size_t port = 0; port < 4; port++) {
            text += std::to_string(port) + ", " + std::to_string(should_be.powered_s[port]) + ", " +
                    std::to_string(static_cast<std::int64_t>(should_be.energy_mws[port])) + "\n";
        }
        must(the_world.files[path] == text, "the file that was written");
    }

    static void check_replies(const totals& should_be) {
        const message summary = ask({18}, 168);
        for (std::size_t port = 0; port < 4; port++) {
            message request(2352);
            request[0] = 17;
            request[8] = static_cast<std::uint8_t>(port);
            const message history = ask(request, 2352);
            must_equal(number_at(history, 12, 4), should_be.powered_s[port], "powered seconds of the history");
            must_equal(number_at(summary, 40 + 32 * port, 4), should_be.powered_s[port], "and of the summary");
            const auto pattern = static_cast<std::uint32_t>(number_at(history, 16, 4));
            must_equal(number_at(summary, 44 + 32 * port, 4), pattern, "both tell the same energy");
            float wh;
            std::memcpy(&wh, &pattern, sizeof wh);
            const double exact = static_cast<double>(should_be.energy_mws[port]) / 3.6e6;
            must(std::abs(static_cast<double>(wh) - exact) <= exact * 1e-6 + 0.001, "energy in Wh");
        }
    }
};

}  // namespace

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::life(std::string(data, data + size)).run();
    return 0;
}
