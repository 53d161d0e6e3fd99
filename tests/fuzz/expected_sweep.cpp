#include "expected_sweep.h"

#include <algorithm>
#include <limits>

namespace fuzz::answer {

namespace {

constexpr std::uint8_t unused = 0xFF;

unsigned word(const frame& bytes, std::size_t at) {
    return bytes[at] * 256U + bytes[at + 1];
}

std::uint8_t sum_of(const frame& bytes) {
    unsigned sum = 0;
    for (std::size_t at = 0; at < 11; at++)
        sum += bytes[at];
    return static_cast<std::uint8_t>(sum % 256);
}

// 64.45 mV a count, in tenths of a volt, cut to 16 bits. The product is taken in floating point because the daemon's
// is, and a count whose product is whole may come out just below it.
unsigned tenth_volts(unsigned count) {
    return static_cast<unsigned>(0.6445 * count) % 65536;
}

// 125 degrees at 120 counts, 1.25 less a count, in tenths of a degree: eighths of them first, cut towards zero.
unsigned tenth_degrees(unsigned count) {
    const int eighths = 8 * 1250 - 100 * (static_cast<int>(count) - 120);
    return static_cast<std::uint16_t>(eighths / 8);
}

}  // namespace

// The verdict on one transaction, from the attempts in front of the line. The answer, if it was accepted.
std::optional<frame> expected_sweep::transaction(std::uint8_t key, std::uint8_t selector,
                                                 std::optional<std::uint8_t> first_byte,
                                                 std::optional<std::uint8_t> second_byte) {
    counters.total++;
    frame request;
    request.fill(unused);
    request[0] = key;
    request[1] = selector;
    if (first_byte) request[2] = *first_byte;
    if (second_byte) request[3] = *second_byte;
    request[11] = sum_of(request);
    int unheard = 0;
    int refused = 0;
    for (;;) {
        must(!left_.empty(), "a transaction that is due is made");
        const seen_attempt one = left_.front();
        left_.pop_front();
        must_equal_bytes(one.request, request, "the request of a transaction, at each attempt");
        const bool report_key = one.answer[1] == 'a' || one.answer[1] == 'b';
        if (report_key) {
            refused++;
        } else if (one.failed) {
            unheard++;
            counters.retry++;
        }
        if (report_key || one.failed) {
            pauses++;
            if (unheard == 10) {
                counters.timeout++;
                lines_of_trouble += 2;
                write_marks();
                return std::nullopt;
            }
            if (refused < 10) continue;
        }
        const frame& answer = one.answer;
        if (answer[11] != sum_of(answer)) {
            counters.damaged++;
            lines_of_trouble++;
            write_marks();
            return std::nullopt;
        }
        if (answer[1] == 'a') {
            counters.undefined_key++;
            lines_of_trouble++;
            return std::nullopt;
        }
        if (answer[1] == 'b') {
            counters.refused_checksum++;
            lines_of_trouble++;
            write_marks();
            return std::nullopt;
        }
        counters.executed++;
        return answer;
    }
}

void expected_sweep::write_marks() {
    const auto mark = [this](std::uint64_t count, const std::string& path) {
        const std::string line = count >= 100 ? "100\n" : count >= 10 ? "10\n" : count >= 1 ? "1\n" : "";
        if (line.empty() || marked_[path + line]) return;
        marked_[path + line] = true;
        marks[path] += line;
    };
    mark(counters.refused_checksum, "/flash/poe_error_tx_checksum.txt");
    mark(counters.timeout, "/flash/poe_error_rx_timeout.txt");
    mark(counters.damaged, "/flash/poe_error_rx_checksum.txt");
}

bool expected_sweep::link_now(std::size_t number, bool before) {
    link_queries++;
    if (!around.link_monitor_fails) return around.link_up[number];
    shown.emplace_back("link_mon_intf_param_get fail\n");
    return before;
}

void expected_sweep::switch_port(std::size_t number, bool on) {
    const auto answer = transaction(0x01, 0, static_cast<std::uint8_t>(number), on ? 1 : 0);
    auto_off[number] = false;
    if (!answer) return;
    for (const std::size_t at : {3U, 5U, 7U, 9U}) {
        if ((*answer)[at] == 1) lines_of_trouble++;
    }
}

void expected_sweep::poll_temperature(std::size_t number) {
    reading_[number] = {};
    const auto measured = transaction(0x44, 0, static_cast<std::uint8_t>(number));
    if (measured) reading_[number].temperature = tenth_degrees(word(*measured, 7));
}

void expected_sweep::poll(std::size_t number) {
    expected_reading& now = reading_[number];
    const auto port_byte = static_cast<std::uint8_t>(number);
    if (const auto measured = transaction(0x44, 0, port_byte)) {
        now.voltage = tenth_volts(word(*measured, 3));
        now.current = word(*measured, 5);
        now.temperature = tenth_degrees(word(*measured, 7));
    }
    const auto status = transaction(0x42, 0, port_byte);
    if (status) {
        const frame& answer = *status;
        const bool fault = answer[3] == 4;
        now.status = answer[3];
        now.error = fault ? answer[4] : 255U;
        now.sub_status = fault ? 255U : answer[4] % 16U;
        now.power_class = fault ? 255U : answer[4] / 16U;
        now.type = answer[7];
    }
    const auto counted = transaction(0x45, 0, port_byte, 1);
    if (counted) {
        const frame& answer = *counted;
        now.event = {0, answer[3], answer[4], answer[5], answer[7], answer[6]};
    }
    now.status_is_old = !status || !counted;
    now.events_are_old = !counted;
    if (const auto measured = transaction(0x4F, 0, port_byte)) {
        for (const std::size_t i : {0U, 1U}) {
            now.channel[i].voltage = tenth_volts(word(*measured, 3 + 4 * i));
            now.channel[i].current = word(*measured, 5 + 4 * i);
        }
    }
    if (const auto channels = transaction(0x4E, 0, port_byte)) {
        for (const std::size_t i : {0U, 1U}) {
            now.channel[i].sub_status = (*channels)[3 + 4 * i];
            now.channel[i].power_class = (*channels)[4 + 4 * i];
            now.channel[i].error = (*channels)[5 + 4 * i];
            now.channel[i].status = (*channels)[6 + 4 * i];
        }
    }
}

void expected_sweep::pass(const std::vector<seen_attempt>& attempts) {
    left_.assign(attempts.begin(), attempts.end());
    traps.clear();
    register_writes.clear();
    shown.clear();
    lines_of_trouble = 0;
    link_queries = 0;
    if (!system_enabled) {
        for (std::size_t number = 0; number < 4; number++)
            poll_temperature(number);
        end_sweep();
    } else {
        if (auto_off[port]) {
            last_link_ = link_now(port, last_link_);
            if (!last_link_) switch_port(port, port_enabled[port]);
        }
        if (port_enabled[port]) {
            poll(port);
        } else {
            poll_temperature(port);
        }
        if (++port == 4) end_sweep();
    }
    must(left_.empty(), "no transaction is made that is not due");
}

void expected_sweep::end_sweep() {
    port = 0;
    const auto power = transaction(0x41, 0, {});
    const auto bank = power ? (*power)[6] : std::uint8_t{0};
    if (const auto managed = transaction(0x4B, bank, {})) limit_ = word(*managed, 3);
    const auto measured = transaction(0x44, 0, std::uint8_t{0});
    total_mw = limit_ * 100;
    supply = measured ? tenth_degrees(word(*measured, 7)) * 100 : 0;
    collect();
}

void expected_sweep::collect() {
    trap_ = {};
    consumed_mw = 0;
    bool send = false;
    for (std::size_t number = 0; number < 4; number++) {
        send = collect_port(number) || send;
        consumed_mw += record[number].channel[0].power + record[number].channel[1].power;
    }
    remaining_mw = total_mw - consumed_mw;
    std::int64_t percent = 0;
    if (total_mw != 0) {
        const float ratio = static_cast<float>(consumed_mw) / static_cast<float>(total_mw) * 100.0F;
        percent = std::min<std::int64_t>(static_cast<std::int64_t>(ratio), std::numeric_limits<std::int32_t>::max());
    }
    if (percent < threshold) {
        alarm = false;
    } else if (!alarm) {
        alarm = true;
        send = true;
        trap_[13] = 1;
        put_number(trap_, 14, 2, consumed_mw / 1000 % 65536);
    }
    if (!send) return;
    std::vector<std::uint8_t> message{0xAB, 0x31, 0x12, 0x83, 0x07};
    message.insert(message.end(), trap_.begin(), trap_.end());
    traps.push_back(message);
}

// Puts the system's code in the place of the controller's; false when the result is no event.
bool expected_sweep::translate(expected_reading& reading, std::size_t number, int channel) {
    const bool is_port = channel < 0;
    expected_channel& pair = reading.channel[is_port ? 0 : static_cast<std::size_t>(channel)];
    unsigned& status = is_port ? reading.status : pair.status;
    const unsigned error = is_port ? reading.error : pair.error;
    const unsigned sub_status = is_port ? reading.sub_status : pair.sub_status;
    const unsigned was = status;
    bool event = true;
    const auto clear = [&] {
        if (is_port) {
            reading.voltage = reading.current = reading.power_class = 0;
        } else {
            pair.voltage = pair.current = pair.power_class = 0;
        }
    };
    const bool counts = is_port || was == 4 || was == 6;
    if (was == 0) {
        status = auto_off[number] ? 13 : 0;
        if (is_port) reading.type = 3;
    } else if (was == 4 && reading.event[5] != 0 && error != 5 && error != 14) {
        status = 4;
    } else if (counts && reading.event[1] != 0) {
        status = 2;
    } else if (counts && reading.event[2] != 0) {
        status = 3;
    } else if (counts && reading.event[3] != 0) {
        status = 5;
    } else if (was == 1 && sub_status == 6) {
        status = 2;
    } else if (was == 1 && sub_status == 4) {
        status = 1;
    } else if (was == 1 && !is_port) {
        status = reading.type == 2 ? 12 : 2;
    } else if (was == 1 && reading.type == 2) {
        status = 2;
    } else if (was == 1) {
        status = 12;
        if (!reading.status_is_old && link_now(number, false)) {
            switch_port(number, false);
            auto_off[number] = true;
        }
    } else if (was == 2) {
        status = 1;
        return true;
    } else if (was == 4) {
        constexpr std::array<unsigned, 15> by_error{6, 99, 5, 3, 4, 8, 10, 7, 99, 99, 99, 99, 99, 99, 8};
        const unsigned known = error < by_error.size() ? by_error[error] : 99;
        event = known != 99;
        const std::uint32_t recorded =
            is_port ? record[number].status : record[number].channel[static_cast<std::size_t>(channel)].status;
        status = event ? known : recorded % 256;
    } else if (was == 6) {
        status = 9;
    }
    clear();
    return event;
}

bool expected_sweep::collect_port(std::size_t number) {
    expected_reading now = reading_[number];
    expected_record& kept = record[number];
    bool any = false;
    if (translate(now, number, -1)) {
        kept.tick = tick;
        any = true;
    }
    for (const int channel : {0, 1}) {
        if (!translate(now, number, channel)) continue;
        kept.channel[static_cast<std::size_t>(channel)].tick = tick;
        any = true;
    }
    if (!any) return false;
    const bool trap = report(number, now);

    kept.power_class = now.power_class;
    kept.sub_status = now.sub_status;
    kept.error = now.error;
    kept.status = now.status;
    kept.voltage = now.voltage * 100;
    kept.current = now.current;
    kept.power = kept.current * kept.voltage / 1000;
    kept.temperature = now.temperature * 100;
    if (now.type < 255) kept.type = now.type;
    for (const std::size_t i : {0U, 1U}) {
        expected_channel_record& pair = kept.channel[i];
        pair.power_class = now.channel[i].power_class;
        pair.error = now.channel[i].error;
        pair.sub_status = now.channel[i].sub_status;
        pair.status = now.channel[i].status;
        pair.voltage = now.channel[i].voltage * 100;
        pair.current = now.channel[i].current;
        pair.power = pair.current * pair.voltage / 1000;
    }
    if (now.events_are_old) return trap;
    constexpr std::array<std::size_t, 5> counted{2, 3, 5, 1, 4};
    for (std::size_t i = 0; i < 5; i++)
        kept.totals[i] += now.event[counted[i]];
    return trap;
}

void expected_sweep::log_event(std::size_t number, unsigned kind, unsigned status) {
    trap_[0] = static_cast<std::uint8_t>(trap_[0] | 1U << number);
    std::uint8_t& logged = trap_[1 + number];
    const bool both = (logged == 1 && kind == 2) || (logged == 2 && kind == 1);
    logged = static_cast<std::uint8_t>(both ? 3 : kind);
    trap_[(kind == 2 ? 9 : 5) + number] = static_cast<std::uint8_t>(status);
}

bool expected_sweep::report(std::size_t number, const expected_reading& now) {
    const expected_record& old = record[number];
    if (!reporting && around.traps_are_welcome) {
        if (starting_up) {
            if (number == 0) {
                reporting = true;
                lines_of_trouble++;
            }
        } else if (number == 0) {
            starting_up = true;
            lines_of_trouble++;
        } else {
            return false;
        }
    }
    const bool start_up_pass = !reporting && starting_up;
    bool trap = false;
    if (old.type == 2 || now.type == 2) {
        bool changed = start_up_pass;
        for (const unsigned i : {0U, 1U}) {
            const std::uint32_t before = old.channel[i].status;
            const unsigned after = now.channel[i].status;
            if (start_up_pass) {
                log_event(number, 1 + i, after);
                trap = true;
            } else if (before != after) {
                changed = true;
                if (!reporting || (before == 12 && after == 2)) continue;
                log_event(number, 1 + i, after);
                trap = true;
            }
        }
        const bool blinks = now.channel[0].sub_status == 1 || now.channel[1].sub_status == 1;
        if (changed) show_led(number, true, blinks);
        return trap;
    }
    if (old.type > 3) return false;
    if (start_up_pass) {
        log_event(number, 0, now.status);
        trap = true;
    } else if (old.status == now.status) {
        return false;
    } else if (reporting && !(old.status == 12 && now.status == 2)) {
        const bool searches = now.status == 2;
        log_event(number, 0, searches && old.status == 13 ? 14 : searches && old.status == 0 ? 15 : now.status);
        trap = true;
    }
    const bool dark = now.status == 0 || now.status == 2 || now.status == 12 || now.status == 13;
    show_led(number, !dark, false);
    return trap;
}

void expected_sweep::show_led(std::size_t number, bool now_lit, bool now_blinking) {
    const std::string who = "[Port" + std::to_string(number) + "] ";
    const auto write = [this](std::size_t bit, bool value) {
        const auto mask = static_cast<std::uint8_t>(1U << bit);
        register_writes.push_back({10, value ? mask : std::uint8_t{0}, mask});
    };
    if (lit[number] != now_lit) {
        lit[number] = now_lit;
        shown.push_back(who + (now_lit ? "Turn on PoE LED\n" : "Turn off PoE LED\n"));
        write(number, now_lit);
    }
    if (blinking[number] != now_blinking) {
        blinking[number] = now_blinking;
        shown.push_back(who + (now_blinking ? "Set PoE LED to blinking\n" : "Set PoE LED to always on\n"));
        write(number + 4, now_blinking);
    }
}

}  // namespace fuzz::answer
