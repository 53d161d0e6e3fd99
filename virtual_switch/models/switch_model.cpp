#include "models/switch_model.h"

namespace vswitch {

struct switch_model::parts {
    std::uint64_t now_us = 0;
    std::uint32_t latency_us = 2000;
};

switch_model::switch_model(std::uint32_t) : parts_(std::make_unique<parts>()) {}
switch_model::~switch_model() = default;
switch_model::switch_model(switch_model&&) noexcept = default;
switch_model& switch_model::operator=(switch_model&&) noexcept = default;

device_answer switch_model::transact(std::uint32_t, const frame& request, std::uint64_t slept_us) {
    parts_->now_us += slept_us + parts_->latency_us;
    return {0, 0, request, parts_->latency_us};
}

int switch_model::cpld_write(std::uint8_t, std::uint8_t, std::uint8_t) { return 0; }
int switch_model::cpld_read(std::uint8_t, std::uint8_t& value) {
    value = 0;
    return 0;
}
int switch_model::link_monitor(std::array<std::uint8_t, 40>& record) {
    record.fill(0);
    return 0;
}
void switch_model::trap(std::span<const std::uint8_t>) {}
void switch_model::daemon_started() {}
void switch_model::daemon_stopped() {}
verb_result switch_model::verb(const std::vector<std::string>&, bool) { return {false, "not yet"}; }
std::uint64_t switch_model::now_us() const { return parts_->now_us; }
void switch_model::set_latency_us(std::uint32_t latency_us) { parts_->latency_us = latency_us; }

}  // namespace vswitch
