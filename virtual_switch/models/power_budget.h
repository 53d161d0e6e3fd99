// Who may draw power when there is not enough for all. Pure.
#pragma once

#include <cstdint>
#include <vector>

namespace vswitch {

// One pair set or one whole port that wants power or already has it.
struct power_demand {
    unsigned priority;  // the controller's code: 3 before 2 before 1 before 0
    unsigned port;      // among equals the lowest goes first
    unsigned unit;      // within a dual-signature port, pair set A first
    std::uint32_t milliwatts;
};

// In the order of the demands: true where the demand is granted. The lowest priority and, among equals, the highest
// port number goes without first; a smaller demand may still fit where a larger one did not.
std::vector<bool> grant_power(const std::vector<power_demand>& demands, std::uint64_t budget_mw);

}  // namespace vswitch
