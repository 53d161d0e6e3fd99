// What the oracles found wrong. The first few are shown, all are counted.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace campaign {

// Says where the campaign stands, for whoever has to repeat it.
extern std::function<std::string()> where_we_are;

void complain(const std::string& about);
std::uint64_t complaint_count();

}  // namespace campaign
