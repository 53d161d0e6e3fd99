// How much of the power budget is used, and when that is worth an alarm. Pure: knows nothing but its arguments.
#pragma once

#include <cstdint>
#include <limits>

// Percent of the limit in single precision, cut to an integer; saturates. No limit, no usage.
constexpr std::int32_t usage_percent(std::uint32_t consumed_mw, std::uint32_t limit_mw) {
    if (limit_mw == 0) return 0;
    constexpr float first_beyond = 2147483648.0F;
    const float percent = static_cast<float>(consumed_mw) / static_cast<float>(limit_mw) * 100.0F;
    return percent < first_beyond ? static_cast<std::int32_t>(percent) : std::numeric_limits<std::int32_t>::max();
}

enum class usage_alarm { off, raise, stays };

// One alarm when usage reaches the threshold, none while it stays there; armed again once usage has fallen below.
constexpr usage_alarm decide_usage_alarm(std::int32_t percent, std::int8_t threshold, bool raised) {
    if (percent < threshold) return usage_alarm::off;
    return raised ? usage_alarm::stays : usage_alarm::raise;
}
