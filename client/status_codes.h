// The sixteen status codes of a port or a pair set: number, short name, and what a person wants to know about them.
// Codes that only pass on what the controller says carry the controller's number in their name. Pure; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "poe_client/api.h"

namespace poe_client {

inline constexpr std::uint32_t status_delivering = 1;
inline constexpr std::uint32_t status_not_read_yet = 11;

struct status_code {
    std::uint32_t number;
    std::string_view name;
    std::string_view meaning;  // whole sentences, like the two behind it
    std::string_view cause;    // what usually leads there
    std::string_view remedy;   // what to do
};

POE_CLIENT_API extern const std::array<status_code, 16> status_codes;

// The row of a code; for a number that is none a row whose name is "unknown".
POE_CLIENT_API const status_code& status_code_of(std::uint32_t number);

// The name of a code, "unknown" for a number that is none.
POE_CLIENT_API std::string_view status_name(std::uint32_t number);
POE_CLIENT_API std::string_view status_meaning(std::uint32_t number);

}  // namespace poe_client
