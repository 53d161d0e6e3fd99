// The power budget that the configuration system leaves in a file for the daemon's start.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// The budget in watts that `text` holds: a number from 0 to 65535 after any white space, whatever follows it. Nothing
// when there are no digits, a sign, or a larger number.
std::optional<std::uint16_t> parse_power_budget(std::string_view text);

// Takes the file's budget into g_poe_power_budget; a missing file, or one that holds no budget in its first 4 KiB,
// leaves the default. Start-up only.
void read_power_budget_file();
