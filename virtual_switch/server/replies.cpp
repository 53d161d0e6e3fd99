#include "server/replies.h"

#include <charconv>
#include <cstdint>
#include <optional>

#include "server/json_text.h"

namespace vswitch {
namespace {

std::optional<std::uint32_t> number_in(const std::string& text) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace

control_reply say(control_result result, const std::string& text, bool json) {
    if (!json) return {.result = result, .text = text};
    const bool done = result == control_result::done;
    return {.result = result,
            .text = std::string("{\"ok\": ") + (done ? "true, \"said\": " : "false, \"error\": ") + json_string(text) +
                    "}"};
}

control_reply change_latency(device_answers& answers, const control_request& request) {
    const std::optional<std::uint32_t> latency_us =
        request.words.size() == 2 ? number_in(request.words[1]) : std::nullopt;
    if (!latency_us) {
        return say(control_result::refused, "latency takes a number of microseconds", request.json);
    }
    answers.set_latency(*latency_us);
    return say(control_result::done, "the controller takes " + request.words[1] + " us to answer", request.json);
}

}  // namespace vswitch
