#include "reference.h"

#include "complaints.h"

namespace campaign {

namespace {

constexpr std::uint32_t budget_w = 300;
constexpr std::uint32_t not_read_yet = 11;

std::uint32_t word(const frame& f, std::size_t at) {
    return f[at] * 256U + f[at + 1];
}
std::uint16_t low_16(double number) {
    return static_cast<std::uint16_t>(static_cast<std::int64_t>(number) & 0xFFFF);
}
std::uint16_t volts_of(std::uint32_t count) {
    return low_16(count * 0.6445);
}
std::uint16_t heat_of(std::uint32_t count) {
    return low_16(((static_cast<double>(count) - 120) * -1.25 + 125.0) * 10.0);
}

void put_32(bytes& to, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
        to.push_back(static_cast<std::uint8_t>(value >> shift & 0xFF));
}
void put(bytes& to, std::initializer_list<int> values) {
    for (const int value : values)
        to.push_back(static_cast<std::uint8_t>(value));
}
bytes begin_reply(int type) {
    bytes reply(8);
    reply[0] = static_cast<std::uint8_t>(type);
    return reply;
}

std::uint32_t get_32(const bytes& from, std::size_t at) {
    return from[at] | std::uint32_t{from[at + 1]} << 8 | std::uint32_t{from[at + 2]} << 16 |
           std::uint32_t{from[at + 3]} << 24;
}
std::int8_t signed_byte(std::uint8_t byte) {
    return static_cast<std::int8_t>(byte);
}

}  // namespace

reference::reference() {
    total_mw = remaining_mw = budget_w * 1000;
    limit = static_cast<std::uint16_t>(total_mw / 100);
    bank_ = budget_w;
    for (ref_record& record : records)
        record.parts[0].status = not_read_yet;
}

void reference::accepted(const bytes& request) {
    queue_.push_back(request);
}

void reference::forget_all_readings() {
    for (ref_reading& reading : readings_) {
        reading.volts = reading.current = reading.heat = 0xDEAD;
        reading.codes = {.status = 0x77, .sub = 0x77, .error = 0x77, .grade = 0x77};
        reading.type = 0x77;
        reading.events.fill(0);
        for (ref_channel& channel : reading.channels)
            channel = {.volts = 0xDEAD, .current = 0xDEAD, .codes = reading.codes};
    }
    for (ref_record& record : records) {
        const auto totals = record.totals;
        record = {};
        record.totals = totals;
        for (ref_part& part : record.parts)
            part = {.grade = 0x77, .sub = 0x77, .error = 0x77, .tick = 0x77, .status = 0x77, .volts = 0x77};
        record.heat = record.type = 0x77;
    }
    limit = 0xDEAD;
    temperature_ = 0xDEAD;
}

// --- the door ---

std::optional<frame> reference::ask(std::initializer_list<unsigned> head) {
    frame expected{};
    expected.fill(0xFF);
    std::size_t place = 0;
    for (const unsigned byte : head)
        expected[place++] = static_cast<std::uint8_t>(byte);
    vswitch::seal(expected);
    if (at_ >= door_->size()) {
        complain("never asked: " + hex(expected));
        return std::nullopt;
    }
    const heard& next = (*door_)[at_++];
    if (next.what != heard::transaction || next.request != expected) {
        complain("expected to be asked " + hex(expected) + ", was asked " + hex(next.request));
        return std::nullopt;
    }
    if (next.status != 0) return std::nullopt;
    return next.answer;
}

std::optional<bool> reference::ask_link(std::size_t port) {
    if (at_ >= door_->size() || (*door_)[at_].what != heard::link) {
        complain("the link was not asked for");
        return std::nullopt;
    }
    const heard& next = (*door_)[at_++];
    if (next.result != 0) return std::nullopt;
    return (next.number >> port & 1) != 0;
}

void reference::expect_register_9(unsigned value, unsigned mask) {
    const std::uint32_t number = 9U << 16 | value << 8 | mask;
    if (at_ >= door_->size() || (*door_)[at_].what != heard::cpld || (*door_)[at_].number != number) {
        complain("the inline mode register was not written as it should");
        return;
    }
    at_++;
}

// --- the rule of power ---

bool reference::should(int system_on, int enable, int schedule, int on_off) {
    if (system_on == 0 || enable == 0) return false;
    return schedule == 0 || on_off != 0;
}

bool reference::wanted(std::size_t port) const {
    const ref_parameters& p = parameters[port];
    return should(system[0], p.enable, p.schedule, p.on_off);
}

// --- settings ---

void reference::switch_power(std::size_t port, unsigned value) {
    ask({0x01, 0, static_cast<unsigned>(port), value});
    auto_off_ = static_cast<std::uint8_t>(auto_off_ & ~(1U << port));
}

void reference::send_mode(std::size_t port, std::int8_t mode) {
    const auto p = static_cast<unsigned>(port);
    constexpr unsigned keys[] = {0x08, 0x0F, 0x0C, 0x12, 0x18};
    constexpr unsigned absent = 0x100;
    constexpr unsigned table[5][5] = {
        {0, 2, 0, 1, absent}, {0, 2, 3, 1, absent}, {0, 2, 6, 1, absent}, {0, 2, 6, 2, absent}, {2, 0, 6, 2, 3}};
    if (mode >= 0 && mode <= 4) {
        for (std::size_t i = 0; i < 5; i++) {
            const unsigned value = table[static_cast<std::size_t>(mode)][i];
            if (value != absent) ask({keys[i], 0, p, value});
        }
    }
    expect_register_9(mode >= 2 && mode <= 4 ? 1U << p : 0, 1U << p);
}

ref_parameters reference::merged(const bytes& block, std::size_t at, const ref_parameters& stored) const {
    ref_parameters next = stored;
    const auto take = [&](std::int8_t& field, std::size_t offset) {
        if (block[at + offset] != 0xFF) field = signed_byte(block[at + offset]);
    };
    take(next.enable, 1);
    take(next.priority, 2);
    take(next.schedule, 3);
    take(next.mode, 4);
    take(next.re_enable, 5);
    if (get_32(block, at + 8) < 0xFFFFFFFE) next.limit = get_32(block, at + 8);
    return next;
}

bool reference::change(std::size_t port, ref_parameters next) {
    ref_parameters& stored = parameters[port];
    const auto p = static_cast<unsigned>(port);
    const bool differs = next.enable != stored.enable || next.priority != stored.priority ||
                         next.schedule != stored.schedule || next.limit != stored.limit || next.mode != stored.mode ||
                         next.re_enable != stored.re_enable;
    if (!differs) return false;
    const bool before = wanted(port);
    const bool after = should(system[0], next.enable, next.schedule, stored.on_off);
    const unsigned limit_steps = next.limit * 100 / 400 & 0xFF;
    const unsigned rank = next.priority == 1 ? 3 : next.priority == 2 ? 2 : 0;
    if (!before || after != before) {
        switch_power(port, after ? 1 : 0);
        ask({0x14, 0, p, limit_steps});
        ask({0x15, 0, p, rank});
        send_mode(port, next.mode);
    } else {
        if (next.limit != stored.limit) ask({0x14, 0, p, limit_steps});
        if (next.priority != stored.priority) ask({0x15, 0, p, rank});
        if (next.mode != stored.mode) send_mode(port, next.mode);
    }
    next.on_off = stored.on_off;
    stored = next;
    return before != after;
}

bool reference::apply(const bytes& request) {
    constexpr std::size_t body = 8;
    bool switched = false;
    const auto schedule = [&](std::size_t port, std::uint8_t given) {
        ref_parameters& p = parameters[port];
        const std::int8_t state = signed_byte(given);
        if (state == -1 || state == p.on_off) return;
        const bool before = wanted(port);
        const bool after = should(system[0], p.enable, p.schedule, state);
        if (before != after) {
            switch_power(port, after ? 1 : 0);
            send_mode(port, p.mode);
            switched = true;
        }
        p.on_off = state;
    };
    switch (request[0]) {
        case 128: {
            const auto take = [&](std::size_t place) {
                if (request[body + place] != 0xFF) system[place] = signed_byte(request[body + place]);
            };
            for (std::size_t place = 2; place < system.size(); place++)
                take(place);
            const std::int8_t old = system[0];
            take(0);
            if (system[0] == old) return false;
            for (std::size_t port = 0; port < 4; port++) {
                if (system[0] != 0 && !wanted(port)) continue;
                switch_power(port, system[0] > 0 ? 1 : 0);
                send_mode(port, parameters[port].mode);
            }
            return true;
        }
        case 129:
            return change(request[body], merged(request, body, parameters[request[body]]));
        case 132:
            for (std::size_t port = 0; port < 4; port++)
                switched |= change(port, merged(request, body, parameters[port]));
            return switched;
        case 130:
            for (std::size_t port = 0; port < 4; port++)
                switched |= change(port, merged(request, body + 12 * port, parameters[port]));
            return switched;
        case 137:
            schedule(request[body], request[body + 1]);
            return switched;
        case 138:
            for (std::size_t port = 0; port < 4; port++)
                schedule(port, request[body + 4 * port + 1]);
            return switched;
        case 142: {
            const unsigned watts = request[body] + 256U * request[body + 1];
            const unsigned tenths = watts * 10 & 0xFFFF;
            for (unsigned bank = 0; bank < 8; bank++)
                ask({0x04, 0, bank, tenths / 256, tenths % 256, 0, 0});
            ask({0x0E, 0, 179, 0xFF, 9});
            bank_ = get_32(request, body);
            return false;
        }
        case 143:
            for (std::size_t port = 0; port < 4; port++) {
                if ((request[body] >> port & 1) == 0) continue;
                ref_parameters next = parameters[port];
                next.enable = 0;
                switched |= change(port, next);
                coming_back_[port] = {.is = true, .tick = tick_};
            }
            return switched;
        default:
            complain("a record of type " + std::to_string(request[0]) + " was queued");
            return false;
    }
}

bool reference::re_enable() {
    bool switched = false;
    for (std::size_t port = 0; port < 4; port++) {
        pending& entry = coming_back_[port];
        if (!entry.is || tick_ - entry.tick < static_cast<std::uint32_t>(parameters[port].re_enable) * 5) continue;
        ref_parameters next = parameters[port];
        next.enable = 1;
        switched |= change(port, next);
        entry.is = false;
    }
    return switched;
}

// --- readings ---

void reference::temperature_only(std::size_t port) {
    readings_[port] = {};
    const auto answer = ask({0x44, 0, static_cast<unsigned>(port)});
    if (answer) readings_[port].heat = heat_of(word(*answer, 7));
}

void reference::poll(std::size_t port) {
    const auto p = static_cast<unsigned>(port);
    if (is_auto_off(port)) {
        const auto link = ask_link(port);
        if (link) last_link_ = *link;
        if (!last_link_) switch_power(port, wanted(port) ? 1 : 0);
    }
    if (!wanted(port)) {
        temperature_only(port);
        return;
    }
    ref_reading& reading = readings_[port];
    if (const auto f = ask({0x44, 0, p})) {
        reading.volts = volts_of(word(*f, 3));
        reading.current = static_cast<std::uint16_t>(word(*f, 5));
        reading.heat = heat_of(word(*f, 7));
    }
    const auto status = ask({0x42, 0, p});
    if (status) {
        const frame& f = *status;
        const auto low = static_cast<std::uint8_t>(f[4] & 15);
        const auto high = static_cast<std::uint8_t>(f[4] >> 4);
        const bool fault = f[3] == 4;
        reading.codes = fault ? ref_codes{.status = 4, .sub = 0xFF, .error = f[4], .grade = 0xFF}
                              : ref_codes{.status = f[3], .sub = low, .error = 0xFF, .grade = high};
        reading.type = f[7];
    }
    const auto events = ask({0x45, 0, p, 1});
    if (events) reading.events = {(*events)[3], (*events)[4], (*events)[5], (*events)[7], (*events)[6]};
    reading.events_are_new = events.has_value();
    reading.status_was_read = status && events;
    if (const auto f = ask({0x4F, 0, p})) {
        for (std::size_t channel = 0; channel < 2; channel++) {
            reading.channels[channel].volts = volts_of(word(*f, 3 + 4 * channel));
            reading.channels[channel].current = static_cast<std::uint16_t>(word(*f, 5 + 4 * channel));
        }
    }
    if (const auto f = ask({0x4E, 0, p})) {
        for (std::size_t channel = 0; channel < 2; channel++) {
            const std::size_t at = 3 + 4 * channel;
            reading.channels[channel].codes = {
                .status = (*f)[at + 3], .sub = (*f)[at], .error = (*f)[at + 2], .grade = (*f)[at + 1]};
        }
    }
}

// `part` is 0 for the port, 1 and 2 for its pair sets. Returns whether the result counts.
bool reference::translate(std::size_t port, ref_reading& reading, std::size_t part) {
    const bool is_port = part == 0;
    ref_codes& codes = is_port ? reading.codes : reading.channels[part - 1].codes;
    const std::uint8_t s = codes.status;
    const std::uint8_t e = codes.error;
    const std::uint8_t c = codes.sub;
    const auto& event = reading.events;
    bool counts = true;
    bool keep = false;
    std::uint32_t result = s;
    const bool takes_events = is_port || s == 4 || s == 6;
    if (s == 0) {
        result = is_auto_off(port) ? 13 : 0;
    } else if (s == 4 && event[4] != 0 && e != 5 && e != 14) {
        result = 4;
    } else if (takes_events && event[0] != 0) {
        result = 2;
    } else if (takes_events && event[1] != 0) {
        result = 3;
    } else if (takes_events && event[2] != 0) {
        result = 5;
    } else if (s == 1 && c == 6) {
        result = 2;
    } else if (s == 1 && c == 4) {
        result = 1;
    } else if (s == 1) {
        if (is_port) {
            result = reading.type == 2 ? 2 : 12;
            if (reading.type != 2 && reading.status_was_read) {
                if (ask_link(port).value_or(false)) {
                    switch_power(port, 0);
                    auto_off_ = static_cast<std::uint8_t>(auto_off_ | 1U << port);
                    auto_offs++;
                }
            }
        } else {
            result = reading.type == 2 ? 12 : 2;
        }
    } else if (s == 2) {
        result = 1;
        keep = true;
    } else if (s == 4) {
        switch (e) {
            case 0:
                result = 6;
                break;
            case 2:
                result = 5;
                break;
            case 3:
                result = 3;
                break;
            case 4:
                result = 4;
                break;
            case 5:
            case 14:
                result = 8;
                break;
            case 6:
                result = 10;
                break;
            case 7:
                result = 7;
                break;
            default:
                result = records[port].parts[part].status & 0xFF;
                counts = false;
                break;
        }
    } else if (s == 6) {
        result = 9;
    }
    codes.status = static_cast<std::uint8_t>(result);
    if (!keep) {
        codes.grade = 0;
        if (is_port) {
            reading.volts = reading.current = 0;
        } else {
            reading.channels[part - 1].volts = reading.channels[part - 1].current = 0;
        }
    }
    if (is_port && s == 0) reading.type = 3;
    return counts;
}

void reference::collect(std::size_t port) {
    ref_reading reading = readings_[port];
    ref_record& record = records[port];
    bool any = false;
    for (std::size_t part = 0; part < 3; part++) {
        if (!translate(port, reading, part)) continue;
        record.parts[part].tick = tick_;
        any = true;
    }
    if (!any) return;
    for (std::size_t part = 0; part < 3; part++) {
        const ref_codes& codes = part == 0 ? reading.codes : reading.channels[part - 1].codes;
        const std::uint32_t volts = part == 0 ? reading.volts : reading.channels[part - 1].volts;
        ref_part& to = record.parts[part];
        to.grade = codes.grade;
        to.sub = codes.sub;
        to.error = codes.error;
        to.status = codes.status;
        to.volts = volts * 100;
        to.current = part == 0 ? reading.current : reading.channels[part - 1].current;
        to.power = to.current * to.volts / 1000;
    }
    record.heat = reading.heat * 100U;
    if (reading.type != 255) record.type = reading.type;
    // What one answer tells is counted once.
    if (!reading.events_are_new) return;
    constexpr std::array<std::size_t, 5> order{1, 2, 4, 0, 3};
    for (std::size_t i = 0; i < order.size(); i++)
        record.totals[i] += reading.events[order[i]];
}

void reference::end_sweep() {
    const auto power = ask({0x41, 0});
    const auto bank = ask({0x4B, power ? (*power)[6] : 0U});
    if (bank) limit = static_cast<std::uint16_t>(word(*bank, 3));
    const auto measured = ask({0x44, 0, 0});
    temperature_ = measured ? heat_of(word(*measured, 7)) : std::uint16_t{0};
    port_ = 0;
    total_mw = limit * 100U;
    heat = temperature_ * 100U;
    consumed_mw = 0;
    for (std::size_t port = 0; port < 4; port++) {
        collect(port);
        consumed_mw += records[port].parts[1].power + records[port].parts[2].power;
    }
    remaining_mw = total_mw - consumed_mw;
    double percent = 0;
    if (total_mw != 0) percent = static_cast<float>(consumed_mw) / static_cast<float>(total_mw) * 100.0F;
    alarm_ = !(percent < 1e9 && static_cast<std::int64_t>(percent) < system[3]);
}

bool reference::pass(const std::vector<heard>& door, std::uint32_t tick) {
    door_ = &door;
    at_ = 0;
    tick_ = tick;
    bool swept = false;
    if (!queue_.empty()) {
        const bytes request = queue_.front();
        queue_.pop_front();
        if (apply(request)) port_ = 0;
    } else if (re_enable()) {
        port_ = 0;
    } else {
        if (system[0] == 0) {
            for (std::size_t port = 0; port < 4; port++)
                temperature_only(port);
            swept = true;
        } else {
            poll(port_);
            port_++;
            swept = port_ == 4;
        }
        if (swept) end_sweep();
    }
    for (; at_ < door.size(); at_++)
        complain("one too many: " + hex(door[at_].request));
    return swept;
}

// --- what clients are told ---

bytes reference::system_status_reply() const {
    bytes reply = begin_reply(5);
    for (const std::uint32_t value : {total_mw, consumed_mw, remaining_mw, heat})
        put_32(reply, value);
    put(reply, {alarm_ ? 1 : 0, 0, 0, 0});
    return reply;
}

bytes reference::combined_reply() const {
    bytes reply = system_status_reply();
    reply[0] = 11;
    for (std::size_t port = 0; port < 4; port++) {
        const ref_record& r = records[port];
        const ref_parameters& p = parameters[port];
        put(reply, {static_cast<int>(port), p.enable, p.schedule, p.on_off, r.parts[0].grade, r.parts[0].error,
                    r.parts[0].sub, static_cast<int>(r.type & 0xFF)});
        put_32(reply, r.parts[0].status);
        put_32(reply, is_auto_off(port) ? 1 : 0);
        put_32(reply, r.parts[0].volts);
        put_32(reply, r.parts[0].current);
        put_32(reply, r.parts[0].power);
        put_32(reply, r.heat);
        for (const std::size_t part : {std::size_t{1}, std::size_t{2}}) {
            put(reply, {r.parts[part].grade, r.parts[part].error, r.parts[part].sub, 0});
            put_32(reply, r.parts[part].status);
            put_32(reply, r.parts[part].volts);
            put_32(reply, r.parts[part].current);
            put_32(reply, r.parts[part].power);
        }
        for (const std::uint32_t sum : r.totals)
            put_32(reply, sum);
    }
    return reply;
}

bytes reference::parameters_reply() const {
    bytes reply = begin_reply(2);
    for (std::size_t port = 0; port < 4; port++) {
        const ref_parameters& p = parameters[port];
        put(reply, {static_cast<int>(port), p.enable, p.priority, p.schedule, p.mode, p.re_enable, 0, 0});
        put_32(reply, p.limit);
    }
    return reply;
}

bytes reference::system_parameters_reply() const {
    bytes reply = begin_reply(0);
    for (const std::int8_t value : system)
        put(reply, {value});
    put(reply, {0, 0});
    return reply;
}

bytes reference::bank_reply() const {
    bytes reply = begin_reply(14);
    put_32(reply, bank_);
    return reply;
}

bytes reference::re_enable_reply(std::uint32_t tick) const {
    bytes reply = begin_reply(15);
    put_32(reply, tick);
    for (const pending& entry : coming_back_) {
        put(reply, {entry.is ? 1 : 0, 0, 0, 0});
        put_32(reply, entry.tick);
    }
    return reply;
}

}  // namespace campaign
