#include "line_judge.h"

#include <algorithm>
#include <cctype>

#include "complaints.h"

namespace campaign {

namespace {

constexpr std::uint32_t pause_us = 550000;
constexpr std::uint32_t one_second_us = 1000000;
constexpr int most_of_a_kind = 10;
constexpr std::uint32_t inline_mode_register = 9;  // the LEDs' are another campaign's business

bool is_report(const frame& record) {
    return record[1] == 'a' || record[1] == 'b';
}

bool sums_up(const frame& record) {
    unsigned sum = 0;
    for (std::size_t at = 0; at < 11; at++)
        sum += record[at];
    return (sum & 0xFF) == record[11];
}

// '#' in the pattern stands for a number.
bool fits(const std::string& pattern, const std::string& text) {
    std::size_t at = 0;
    for (const char c : pattern) {
        if (c != '#') {
            if (at >= text.size() || text[at] != c) return false;
            at++;
            continue;
        }
        const std::size_t from = at;
        while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])) != 0)
            at++;
        if (at == from) return false;
    }
    return at == text.size();
}

bool is_port_setting(std::uint8_t key) {
    constexpr std::array<std::uint8_t, 8> keys{0x01, 0x08, 0x0C, 0x0F, 0x12, 0x14, 0x15, 0x18};
    return std::ranges::find(keys, key) != keys.end();
}

}  // namespace

std::string hex(const frame& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

const char* sender_of(const frame& request, bool chip_type_is_asked) {
    if (is_port_setting(request[0])) return "_rtl_port_set";
    switch (request[0]) {
        case 0x00:
        case 0x02:
        case 0x10:
        case 0x11:
        case 0x16:
            return "_rtl_global_set";
        case 0x04:
            return "_rtl_global_power_source_set";
        case 0x05:
            return "_rtl_port_mapping_enable_set";
        case 0x06:
            return "_rtl_port_pair_mapping_set";
        case 0x0E:
            return "_rtl_global_parameters_set";
        case 0x40:
            return "_rtl_global_status_get";
        case 0x41:
            return "_rtl_global_power_status_get";
        case 0x42:
            return "_rtl_port_status_get";
        case 0x43:
            return "_rtl_port_group_status_get";
        case 0x44:
            return "_rtl_port_measurement_get";
        case 0x45:
            return "_rtl_port_mib_counter_get";
        case 0x46:
            return "_rtl_port_event_status_get";
        case 0x47:
            return "_rtl_global_reset_reason_get";
        case 0x48:
            return "_rtl_port_basic_cfg_get";
        case 0x49:
            return "_rtl_port_extended_cfg_get";
        case 0x4A:
            return "_rtl_global_parameters_get";
        case 0x4B:
            return "_rtl_global_pm_cfg_get";
        case 0x4C:
            return "_rtl_global_device_addr_get";
        case 0x4E:
            return "_rtl_channel_status_get";
        case 0x4F:
            return chip_type_is_asked ? "_rtl_system_chip_type_info_get" : "_rtl_port_channel_vol_cur_get";
        case 0xC0: {
            constexpr const char* names[] = {"_rtl_cfg_info_save", "_rtl_cfg_info_clear", "_rtl_cfg_ver_save",
                                             "_rtl_cfg_ver_get"};
            return request[1] >= 1 && request[1] <= 4 ? names[request[1] - 1] : nullptr;
        }
        default:
            return nullptr;
    }
}

void line_judge::start_again() {
    counters_ = {};
    marked_ = {};
}

std::vector<heard> line_judge::judge(std::vector<event>& events) {
    heard_.clear();
    for (const event& seen : events) {
        switch (seen.what) {
            case happening::attempt:
                attempt(seen);
                break;
            case happening::pause:
                pause(seen);
                break;
            case happening::said:
            case happening::append:
                speech(seen);
                break;
            case happening::link:
                heard_.push_back({.what = heard::link, .result = seen.result, .number = seen.number});
                break;
            case happening::cpld:
                if (seen.number >> 16 == inline_mode_register) {
                    heard_.push_back({.what = heard::cpld, .number = seen.number});
                }
                break;
        }
    }
    events.clear();
    if (state_ != idle) complain("a transaction was left in the middle: " + hex(now_.request));
    state_ = idle;
    for (const expected_speech& missing : expected_)
        complain("never came: " + missing.text);
    expected_.clear();
    return std::move(heard_);
}

void line_judge::attempt(const event& seen) {
    if (!expected_.empty()) complain("asked before it said: " + expected_.front().text);
    expected_.clear();
    if (state_ == pausing) complain("asked again without a pause: " + hex(seen.request));
    if (state_ == retrying) {
        if (seen.request != now_.request) complain("asked again otherwise: " + hex(seen.request));
        if (seen.number != wait_) complain("asked again with another wait");
    } else {
        counters_[total]++;
        now_ = {.request = seen.request};
        wait_ = seen.number;
        unheard_ = refused_ = 0;
        if (!sums_up(seen.request)) complain("a request's checksum is wrong: " + hex(seen.request));
        if (sender_of(seen.request, chip_type_is_asked) == nullptr) complain("nobody's request: " + hex(seen.request));
        const bool slow = seen.request[0] == 0x02 || seen.request[0] == 0x05;
        if (wait_ != (slow ? 204U : 9U)) complain("the driver's wait is wrong: " + hex(seen.request));
    }
    now_.attempts++;
    now_.answer = seen.answer;
    now_.was_damaged = seen.was_damaged;
    if (is_report(seen.answer)) {
        refused_++;
        state_ = pausing;
    } else if (seen.result < 0) {
        unheard_++;
        counters_[rx_retry]++;
        state_ = pausing;
    } else if (sums_up(seen.answer)) {
        counters_[executed]++;
        finish(0);
    } else {
        counters_[rx_checksum]++;
        finish(-2);
    }
}

void line_judge::pause(const event& seen) {
    const bool is_between_commands = state_ == idle && is_bring_up && seen.number % one_second_us == 0;
    if (is_between_commands) return;
    if (state_ != pausing) {
        complain("a pause that nothing asks for: " + std::to_string(seen.number));
        return;
    }
    if (seen.number != pause_us) complain("a pause of " + std::to_string(seen.number) + " us");
    if (unheard_ == most_of_a_kind) {
        counters_[rx_timeout]++;
        expected_.push_back({happening::said, "[poe_kernel_drv_send_recv() , 1370]: ERROR!! ERROR!! ERROR!!!\n"});
        finish(-1);
    } else if (refused_ < most_of_a_kind) {
        state_ = retrying;
    } else if (!sums_up(now_.answer)) {
        counters_[rx_checksum]++;
        finish(-2);
    } else if (now_.answer[1] == 'b') {
        counters_[tx_checksum]++;
        finish(-10);
    } else {
        counters_[undefined_key]++;
        finish(-13);
    }
}

void line_judge::finish(int status) {
    state_ = idle;
    now_.status = status;
    heard_.push_back(now_);
    if (is_transport_alone) {
        if (status == -10) expect_marks();
        return;
    }
    switch (status) {
        case -1:
            expect_marks();
            expect_report("receive poe mcu message timeout");
            break;
        case -2:
            expect_marks();
            expect_report("receive poe mcu message checksum error");
            break;
        case -10:
            expect_marks();
            expect_report("poe mcu say [wrong checksum]");
            break;
        case -13:
            expect_report("poe mcu say [undefined key value]");
            break;
        default:
            break;
    }
    if (status != 0 || !is_port_setting(now_.request[0])) return;
    for (std::size_t at = 2; at < 10; at += 2) {
        if (now_.answer[at + 1] != 1) continue;
        expected_.push_back({happening::said, "[_rtl_port_set() , 1517]: Port " + std::to_string(now_.answer[at]) +
                                                  " setup failed!!!\n"});
    }
}

void line_judge::expect_marks() {
    constexpr std::array<counter_place, 3> kinds{tx_checksum, rx_timeout, rx_checksum};
    constexpr std::array<const char*, 3> paths{"/flash/poe_error_tx_checksum.txt", "/flash/poe_error_rx_timeout.txt",
                                               "/flash/poe_error_rx_checksum.txt"};
    constexpr std::array<const char*, 3> lines{" 1\n", " 10\n", " 100\n"};
    for (std::size_t kind = 0; kind < kinds.size(); kind++) {
        const std::uint64_t count = counters_[kinds[kind]];
        if (count == 0) continue;
        const std::size_t level = count < 10 ? 0 : count < 100 ? 1 : 2;
        if (marked_[kind][level]) continue;
        marked_[kind][level] = true;
        expected_.push_back({happening::append, std::string(paths[kind]) + lines[level]});
    }
}

void line_judge::expect_report(const char* text) {
    const char* const sender = sender_of(now_.request, chip_type_is_asked);
    expected_.push_back(
        {happening::said, std::string("[") + (sender != nullptr ? sender : "?") + "() , #]: " + text + "!!!\n"});
}

void line_judge::speech(const event& seen) {
    if (expected_.empty()) {
        // What other rooms say on their own account is not the line's business; marks are.
        const bool about_the_line =
            seen.text.starts_with("[_rtl_") || seen.text.starts_with("[poe_kernel_drv_send_recv");
        if (seen.what == happening::append || about_the_line) complain("nothing called for: " + seen.text);
        return;
    }
    const expected_speech& next = expected_.front();
    if (next.what != seen.what || !fits(next.text, seen.text)) {
        complain("expected " + next.text + "and got " + seen.text);
    }
    expected_.pop_front();
}

}  // namespace campaign
