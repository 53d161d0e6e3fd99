// The whole switch as the daemon can see it: a PoE controller with its powered devices, the CPLD, the link monitor and
// the far end of the trap pipe, behind one facade.
//
// Any thread may call it, one at a time: the caller holds its own lock around every call.
// There is no clock in here. Model time moves only with controller transactions (what the daemon slept plus what the
// controller took to answer), so the same calls with the same seed always give the same frames.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vswitch {

using frame = std::array<std::uint8_t, 12>;

// result < 0: the ioctl fails with errno `error`. delay_us: answer time, for whoever has real time to pass.
struct device_answer {
    int result;
    int error;
    frame bytes;
    std::uint32_t delay_us;
};

// Text for people without a last newline, or one JSON document when that was asked for. Not ok: it says why.
struct verb_result {
    bool ok;
    std::string text;
};

class switch_model {
  public:
    explicit switch_model(std::uint32_t seed = 1);
    ~switch_model();
    switch_model(switch_model&&) noexcept;
    switch_model& operator=(switch_model&&) noexcept;

    // One controller transaction. slept_us: what the daemon's calling thread slept since its last transaction.
    device_answer transact(std::uint32_t wait, const frame& request, std::uint64_t slept_us);

    // 0, or -1 when the register access fails.
    int cpld_write(std::uint8_t reg, std::uint8_t value, std::uint8_t mask);
    int cpld_read(std::uint8_t reg, std::uint8_t& value);

    // 0 and the record, or non-zero when the link monitor fails.
    int link_monitor(std::array<std::uint8_t, 40>& record);

    // What came out of the trap pipe, in pieces of any size.
    void trap(std::span<const std::uint8_t> bytes);

    void daemon_started();
    void daemon_stopped();

    // The operator's words: plug, unplug, load, link, fault, show, frames, traps, help ... People see ports 1 to 4.
    verb_result verb(const std::vector<std::string>& words, bool json);

    std::uint64_t now_us() const;
    void set_latency_us(std::uint32_t latency_us);

  private:
    struct parts;
    std::unique_ptr<parts> parts_;
};

}  // namespace vswitch
