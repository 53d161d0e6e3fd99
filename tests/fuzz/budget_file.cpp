// A budget file of any bytes at the daemon's start: the budget that is taken from it, and what clients are told of it.
//
// Held to a reading of this target's own: the digits after any white space, compared as text with the largest budget;
// all of them, and what ends them, within what the daemon reads of a file.
#include <algorithm>
#include <string>

#include "core/power_budget.h"
#include "daemon_bench.h"
#include "ipc/dispatch.h"

namespace fuzz {

namespace {

constexpr std::size_t longest_read = 4096;

std::uint16_t budget_in(const std::string& text) {
    constexpr std::uint16_t usual = 300;
    const std::string largest = "65535";
    const std::size_t first = text.find_first_not_of(" \t\n\v\f\r");
    if (first == std::string::npos) return usual;
    const std::size_t end = std::min(text.find_first_not_of("0123456789", first), text.size());
    if (end == first || end >= longest_read) return usual;
    const std::string digits = text.substr(first, end - first);
    const std::string number = digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
    if (number.size() > largest.size() || (number.size() == largest.size() && number > largest)) return usual;
    return static_cast<std::uint16_t>(number.empty() ? 0 : std::stoul(number));
}

class life : daemon_bench {
  public:
    explicit life(std::string file) {
        const std::uint16_t budget_w = budget_in(file);
        the_world.files["/tmp/poe_external_set_power_budget.txt"] = std::move(file);
        read_power_budget_file();
        poe_parameter_init();

        must_equal(g_poe_power_budget, budget_w, "the budget");
        must_equal(ask(14, 8, 2), budget_w, "the power bank's limit");
        must_equal(ask(14, 10, 2), 0, "the power bank's second value");
        must_equal(ask(5, 8, 4), budget_w * 1000U, "the total power");
        must_equal(ask(5, 16, 4), budget_w * 1000U, "the remaining power");
        must_equal(begin_supervision().limit, std::min(budget_w * 10U, 65535U), "the limit before the first sweep");
    }

  private:
    static std::uint64_t ask(std::uint8_t type, std::size_t at, std::size_t width) {
        const auto peer = peer_named("/tmp/client");
        the_world.replies.clear();
        poe_rx_ipc_content_process(7, peer.data(), &type, 1);
        must_equal(the_world.replies.size(), 1, "replies to one request");
        return number_at(the_world.replies[0].bytes, at, width);
    }
};

}  // namespace

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::life(std::string(data, data + size));
    return 0;
}
