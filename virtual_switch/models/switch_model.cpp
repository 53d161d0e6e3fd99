#include "models/switch_model.h"

#include <algorithm>
#include <cerrno>

#include "models/commands.h"
#include "models/switch_state.h"
#include "models/verbs.h"

namespace vswitch {

struct switch_model::parts : switch_state {
    using switch_state::switch_state;
};

namespace {

// Flash is written or everything starts again: the controller takes its time.
constexpr std::uint32_t slow_command_us = 200000;

std::uint32_t time_of(std::uint8_t key) {
    return key == command_key::global_reset || key == command_key::mapping_enable ? slow_command_us : 0;
}

frame report(const frame& request, std::uint8_t report_key) {
    frame answer = blank_answer(request[key_at], report_key);
    seal(answer);
    return answer;
}

void count(switch_counters& counters, const frame_entry& entry) {
    (is_query(entry.request) ? counters.queries : counters.settings)++;
    if (entry.result < 0) counters.failed_ioctls++;
    if (entry.fault != nullptr) counters.faults_struck++;
    if (entry.result < 0) return;
    if (entry.answer[selector_at] == report_undefined_key) counters.undefined_keys++;
    if (entry.answer[selector_at] == report_wrong_checksum) counters.wrong_checksums++;
}

}  // namespace

switch_model::switch_model(std::uint32_t seed) : parts_(std::make_unique<parts>(seed)) {}
switch_model::~switch_model() = default;
switch_model::switch_model(switch_model&&) noexcept = default;
switch_model& switch_model::operator=(switch_model&&) noexcept = default;

device_answer switch_model::transact(std::uint32_t wait, const frame& request, std::uint64_t slept_us) {
    parts& own = *parts_;
    own.chip.advance(slept_us);
    const line_fault befalls = own.faults.strike_line(request[key_at]);
    device_answer answer{.result = 0,
                         .error = 0,
                         .bytes = request,
                         .delay_us = own.latency_us + time_of(request[key_at]) + befalls.delay_us};
    frame_entry entry{.number = 0,
                      .at_us = own.chip.now_us(),
                      .wait = wait,
                      .request = request,
                      .answer = {},
                      .result = 0,
                      .error = 0,
                      .delay_us = answer.delay_us,
                      .fault = befalls.delay_us > 0 ? fault_name(fault_kind::delay) : nullptr,
                      .forced = false};
    const auto ask = [&] {
        answer.bytes = own.chip.answer(request);
        const forced_answer* dictated = own.forced.find(request);
        if (dictated == nullptr) return;
        std::copy(dictated->data.begin(), dictated->data.end(), answer.bytes.begin() + data_at);
        seal(answer.bytes);
        entry.forced = true;
    };
    if (befalls.strikes) {
        entry.fault = fault_name(befalls.strikes->kind);
        switch (befalls.strikes->kind) {
            case fault_kind::no_answer:
                answer.result = -1;
                answer.error = befalls.strikes->error != 0 ? befalls.strikes->error : ETIMEDOUT;
                break;
            case fault_kind::ioctl_error:
                answer.result = -1;
                answer.error = befalls.strikes->error != 0 ? befalls.strikes->error : EIO;
                break;
            case fault_kind::undefined_key:
            case fault_kind::refused_checksum:
                answer.bytes =
                    report(request, befalls.strikes->kind == fault_kind::undefined_key ? report_undefined_key
                                                                                       : report_wrong_checksum);
                answer.result = befalls.strikes->error != 0 ? -1 : 0;
                answer.error = befalls.strikes->error;
                break;
            case fault_kind::bad_checksum:
                ask();
                answer.bytes[checksum_at] = static_cast<std::uint8_t>(answer.bytes[checksum_at] + 1);
                break;
            default:
                break;
        }
    } else {
        ask();
    }
    entry.answer = answer.bytes;
    entry.result = answer.result;
    entry.error = answer.error;
    count(own.counters, entry);
    own.log.add(entry);
    own.chip.advance(answer.delay_us);
    return answer;
}

int switch_model::cpld_write(std::uint8_t reg, std::uint8_t value, std::uint8_t mask) {
    parts& own = *parts_;
    own.counters.cpld_writes++;
    const bool fails = own.faults.strike(fault_kind::cpld);
    own.log.note(own.chip.now_us(), "cpld write register " + std::to_string(reg) + " value " + std::to_string(value) +
                                        " mask " + std::to_string(mask) + (fails ? " fails" : ""));
    if (fails) return -1;
    own.registers.write(reg, value, mask);
    return 0;
}

int switch_model::cpld_read(std::uint8_t reg, std::uint8_t& value) {
    parts& own = *parts_;
    own.counters.cpld_reads++;
    if (own.faults.strike(fault_kind::cpld)) return -1;
    value = own.registers.read(reg);
    return 0;
}

int switch_model::link_monitor(std::array<std::uint8_t, 40>& record) {
    parts& own = *parts_;
    own.counters.link_queries++;
    if (own.faults.strike(fault_kind::link_monitor)) return -1;
    record = own.links.record();
    return 0;
}

void switch_model::trap(std::span<const std::uint8_t> bytes) {
    parts& own = *parts_;
    for (const trap_message& message : own.trap_pipe.take(bytes)) {
        own.counters.traps++;
        own.log.note(own.chip.now_us(), "trap: " + trap_text(message));
        own.traps.push_back({own.chip.now_us(), message});
        if (own.traps.size() > switch_state::most_traps) own.traps.pop_front();
    }
}

void switch_model::daemon_started() {
    parts_->daemon_runs = true;
    parts_->counters.daemon_starts++;
    parts_->log.note(parts_->chip.now_us(), "daemon started");
}

void switch_model::daemon_stopped() {
    parts_->daemon_runs = false;
    parts_->log.note(parts_->chip.now_us(), "daemon stopped");
}

verb_result switch_model::verb(const std::vector<std::string>& words, bool json) {
    return run_verb(*parts_, words, json);
}

std::uint64_t switch_model::now_us() const {
    return parts_->chip.now_us();
}

void switch_model::set_latency_us(std::uint32_t latency_us) {
    parts_->latency_us = latency_us;
}

}  // namespace vswitch
