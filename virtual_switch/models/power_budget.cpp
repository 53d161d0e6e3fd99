#include "models/power_budget.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <tuple>

namespace vswitch {

std::vector<bool> grant_power(const std::vector<power_demand>& demands, std::uint64_t budget_mw) {
    std::vector<std::size_t> order(demands.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
        const power_demand& a = demands[left];
        const power_demand& b = demands[right];
        return std::tuple(b.priority, a.port, a.unit) < std::tuple(a.priority, b.port, b.unit);
    });
    std::vector<bool> granted(demands.size(), false);
    std::uint64_t left_mw = budget_mw;
    for (const std::size_t at : order) {
        if (demands[at].milliwatts > left_mw) continue;
        left_mw -= demands[at].milliwatts;
        granted[at] = true;
    }
    return granted;
}

}  // namespace vswitch
