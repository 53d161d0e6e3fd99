// A reply of any bytes at the client library: is it taken for the answer to a request, is its value what the bytes say,
// and can every value be shown to a person and to a program?
//
// An input is a byte that says what was asked (and, in its highest bit, whether the value is shown, which takes most of
// the time), one for the port, and the reply. Held to offsets of this target's own.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "fuzz.h"
#include "poe_client/codec.h"
#include "poectl/pictures.h"
#include "poectl/port_facts.h"
#include "poectl/render.h"
#include "poectl/verbs/change_page.h"
#include "poectl/verbs/verbs.h"

namespace fuzz {

namespace {

using namespace poe_client;
using poectl::picture;
using poectl::verb;
using figures = std::vector<std::int64_t>;

std::int64_t as_figure(float value) {
    std::uint32_t pattern;
    std::memcpy(&pattern, &value, sizeof pattern);
    return pattern;
}

// Reads one reply from front to back.
struct layout {
    bytes_view bytes;
    std::size_t at = 8;
    figures found{};

    layout& number(std::size_t width) {
        found.push_back(static_cast<std::int64_t>(number_at(bytes, at, width)));
        at += width;
        return *this;
    }
    layout& numbers(std::size_t count, std::size_t width) {
        while (count-- > 0)
            number(width);
        return *this;
    }
    layout& small() {  // one signed byte
        found.push_back(static_cast<std::int8_t>(bytes[at++]));
        return *this;
    }
    layout& flag(std::size_t width) {
        number(width);
        found.back() = found.back() != 0 ? 1 : 0;
        return *this;
    }
    layout& temperature() {
        number(4);
        const std::int64_t tenths = found.back() / 100 % 65536;
        found.back() = (tenths < 32768 ? tenths : tenths - 65536) * 100;
        return *this;
    }
    layout& below_zero() {  // 32 bits, signed
        number(4);
        if (found.back() > INT32_MAX) found.back() -= std::int64_t{1} << 32;
        return *this;
    }
    layout& skip(std::size_t count) {
        at += count;
        return *this;
    }

    layout& settings_of_port() {
        number(1);
        for (int i = 0; i < 5; i++)
            small();
        return skip(2).number(4);
    }
    layout& system_status_block() { return numbers(2, 4).below_zero().temperature().flag(1).skip(3); }
    layout& port_status_block() {
        number(1).small().small().small().numbers(4, 1).number(4).flag(4).numbers(3, 4).temperature();
        for (int i = 0; i < 2; i++)
            numbers(3, 1).skip(1).numbers(4, 4);
        return numbers(5, 4);
    }
    layout& energy_entry() {
        numbers(2, 4);
        for (int i = 0; i < 3; i++)
            flag(4).number(4);
        return *this;
    }
};

// --- values as the figures that a reply holds, in its order ---

figures of(const energy_figures& energy);

figures of(const system_settings& s) {
    return {s.enable, s.parameter_1, s.parameter_2, s.threshold_percent, s.parameter_4, s.parameter_5};
}
figures of(const port_settings& s) {
    return {s.port, s.enable, s.priority, s.schedule_enable, s.mode, s.re_enable_s, s.power_limit_dw};
}
figures of(const system_status& s) {
    return {s.total_mw, s.consumed_mw, s.remaining_mw, s.temperature_mc, s.alarm_raised};
}
figures of(const port_status& s) {
    figures list{s.port,       s.enable,     s.schedule_enable, s.schedule_on,   s.detected_class,
                 s.error_code, s.sub_status, s.port_type,       s.status,        s.auto_off,
                 s.voltage_mv, s.current_ma, s.power_mw,        s.temperature_mc};
    for (const pair_set_status& pair : s.pair_set) {
        list.insert(list.end(), {pair.detected_class, pair.error_code, pair.sub_status, pair.status, pair.voltage_mv,
                                 pair.current_ma, pair.power_mw});
    }
    list.insert(list.end(), s.event_totals.begin(), s.event_totals.end());
    return list;
}
template <typename value>
figures of(const std::array<value, port_count>& ports) {
    figures list;
    for (const value& port : ports) {
        const figures one = of(port);
        list.insert(list.end(), one.begin(), one.end());
    }
    return list;
}
figures of(const whole_status& s) {
    figures list = of(s.system);
    const figures ports = of(s.port);
    list.insert(list.end(), ports.begin(), ports.end());
    return list;
}
figures of(const communication_counters& c) {
    figures list;
    for (const std::uint64_t count :
         {c.total, c.rx_retry, c.rx_timeout, c.rx_chksum_error, c.tx_correctly_executed, c.tx_chksum_error,
          c.tx_subject_byte_conflict, c.tx_wrong_data_byte_value, c.undefined_key_value}) {
        list.push_back(static_cast<std::int64_t>(count));
    }
    return list;
}
figures of(std::uint32_t value) {
    return {value};
}
figures of(bool value) {
    return {value};
}
figures of(const power_bank& bank) {
    return {bank.limit_w, bank.second};
}
figures of(const power_cycles& cycles) {
    figures list{cycles.now_tick};
    for (const power_cycle_state& port : cycles.port)
        list.insert(list.end(), {port.pending, port.tick});
    return list;
}
figures of(const port_energy& energy) {
    figures list{energy.port,
                 energy.powered_s,
                 as_figure(energy.energy_wh),
                 static_cast<std::int64_t>(energy.minutes_start_s),
                 static_cast<std::int64_t>(energy.half_hours_start_s),
                 static_cast<std::int64_t>(energy.two_hours_start_s)};
    const auto add = [&list](const auto& ring) {
        for (const energy_slot& slot : ring)
            list.insert(list.end(), {slot.valid, slot.uptime_s, as_figure(slot.average_w)});
    };
    add(energy.minutes);
    add(energy.half_hours);
    add(energy.two_hours);
    return list;
}
figures of(const energy_figures& energy) {
    figures list{energy.powered_s, as_figure(energy.energy_wh)};
    for (const energy_average* average : {&energy.minutes, &energy.half_hours, &energy.two_hours})
        list.insert(list.end(), {average->valid, as_figure(average->average_w)});
    return list;
}
figures of(const poe_client::energy_summary& summary) {
    figures list = of(summary.totals);
    const figures ports = of(summary.port);
    list.insert(list.end(), ports.begin(), ports.end());
    return list;
}
figures of(const acknowledgement&) {
    return {};
}

// --- one request's answer ---

struct question {
    std::uint8_t type;  // of the answer
    std::size_t length;
    std::vector<std::size_t> port_numbers;  // where the reply numbers its ports
    int asked_port = -1;                    // the one that was asked for, or all in order
};

// What a reply is to one who asked `asked`.
verdict verdict_on(bytes_view reply, const question& asked) {
    if (reply.size() != asked.length || reply[0] != asked.type) return verdict::foreign;
    if (reply[7] == 1) return verdict::refused;
    if (reply[7] != 0) return verdict::malformed;
    for (std::size_t port = 0; port < asked.port_numbers.size(); port++) {
        const std::size_t at = asked.port_numbers[port];
        const std::size_t width = asked.type == 17 ? 4 : 1;
        const auto number = number_at(reply, at, width);
        if (asked.asked_port >= 0 && number != static_cast<std::uint64_t>(asked.asked_port)) return verdict::foreign;
        if (asked.asked_port < 0 && number != port) return verdict::malformed;
    }
    return verdict::accepted;
}

bool is_shown = false;

void show(verb what, const picture& seen) {
    if (!is_shown) return;
    for (const bool terminal : {false, true}) {
        const std::string text = poectl::as_table(seen, {.terminal = terminal});
        must(!text.empty() && text.back() == '\n', "what a person sees is whole lines");
        for (const char c : text)
            must((c >= ' ' && c <= '~') || c == '\n', "of printable characters");
    }
    const poectl::report whole{.command = poectl::entry_of(what).name, .seen = seen, .error = {}};
    must(nlohmann::json::accept(poectl::as_json(whole)), "what a program reads is JSON");
    for (const std::string& text : {poectl::as_json_lines(whole), poectl::as_csv(whole), poectl::as_key_values(whole)})
        must(!text.empty() && text.back() == '\n', "what a program reads is whole lines");
}

template <typename value>
void judge(bytes_view reply, const question& asked, const decoded<value>& got, const layout& read, verb what,
           void (*put)(picture&, const value&)) {
    const verdict should_be = verdict_on(reply, asked);
    must_equal(static_cast<int>(got.said), static_cast<int>(should_be), "the verdict on a reply");
    if (should_be != verdict::accepted) {
        must(of(got.value) == of(value{}), "what is not accepted has no value");
        return;
    }
    must_equal(read.at, asked.length, "the layout's length");
    const figures found = of(got.value);
    must_equal(found.size(), read.found.size(), "figures of a value");
    for (std::size_t i = 0; i < found.size(); i++)
        must_equal(found[i], read.found[i], "a figure of the value");
    picture seen = poectl::empty_picture(poectl::entry_of(what).shape);
    put(seen, got.value);
    show(what, seen);
}

// The layout is read only where the reply has its length.
layout reader_of(bytes_view reply, const question& asked) {
    static const std::vector<std::uint8_t> zeros(2352);
    return {.bytes = reply.size() == asked.length ? reply : bytes_view(zeros)};
}

void show_port(picture& seen, const port_status& status, const port_settings& settings) {
    poectl::depict_port({.status = status, .settings = settings, .cycle_pending = true, .on_again_s = 1}, true, seen);
}

void run(std::uint8_t which, std::uint8_t port, bytes_view reply) {
    constexpr std::uint8_t shown = 0x80;
    is_shown = (which & shown) != 0;
    switch ((which & ~shown) % 15) {
        case 0: {
            const question asked{0, 16, {}};
            layout read = reader_of(reply, asked);
            for (int i = 0; i < 6; i++)
                read.small();
            return judge(
                reply, asked, decode_system_settings(reply), read.skip(2), verb::system_show,
                +[](picture& seen, const system_settings& value) {
                    poectl::depict_system({{}, value}, seen);
                });
        }
        case 1: {
            const question asked{1, 20, {8}, port};
            return judge(
                reply, asked, decode_port_settings(reply, port), reader_of(reply, asked).settings_of_port(),
                verb::port_show, +[](picture& seen, const port_settings& value) { show_port(seen, {}, value); });
        }
        case 2: {
            const question asked{2, 56, {8, 20, 32, 44}};
            layout read = reader_of(reply, asked);
            for (int i = 0; i < 4; i++)
                read.settings_of_port();
            return judge(
                reply, asked, decode_all_port_settings(reply), read, verb::port_show,
                +[](picture& seen, const std::array<port_settings, port_count>& value) {
                    for (const auto& one : value)
                        show_port(seen, {}, one);
                });
        }
        case 3: {
            const question asked{5, 28, {}};
            return judge(
                reply, asked, decode_system_status(reply), reader_of(reply, asked).system_status_block(),
                verb::system_show, +[](picture& seen, const system_status& value) {
                    poectl::depict_system({value, {}}, seen);
                });
        }
        case 4: {
            const question asked{134, 100, {8}, port};
            return judge(
                reply, asked, decode_port_status(reply, port), reader_of(reply, asked).port_status_block(),
                verb::port_show, +[](picture& seen, const port_status& value) { show_port(seen, value, {}); });
        }
        case 5: {
            const question asked{1, 376, {8, 100, 192, 284}};
            layout read = reader_of(reply, asked);
            for (int i = 0; i < 4; i++)
                read.port_status_block();
            return judge(
                reply, asked, decode_all_port_status(reply), read, verb::schedule_show,
                +[](picture& seen, const std::array<port_status, port_count>& value) {
                    poectl::depict_schedule(value, seen);
                });
        }
        case 6: {
            const question asked{11, 396, {28, 120, 212, 304}};
            layout read = reader_of(reply, asked);
            read.system_status_block();
            for (int i = 0; i < 4; i++)
                read.port_status_block();
            return judge(
                reply, asked, decode_whole_status(reply), read, verb::status,
                +[](picture& seen, const whole_status& value) {
                    poectl::whole_reading all{};
                    all.system.status = value.system;
                    for (std::size_t k = 0; k < port_count; k++)
                        all.ports[k].status = value.port[k];
                    poectl::depict_status(all, true, seen);
                });
        }
        case 7: {
            const question asked{12, 80, {}};
            return judge(
                reply, asked, decode_communication_counters(reply), reader_of(reply, asked).numbers(9, 8),
                verb::counters,
                +[](picture& seen, const communication_counters& value) { poectl::depict_counters(value, 0, seen); });
        }
        case 8: {
            const question asked{13, 12, {}};
            return judge(
                reply, asked, decode_deepest_queue(reply), reader_of(reply, asked).number(4), verb::counters,
                +[](picture& seen, const std::uint32_t& value) { poectl::depict_counters({}, value, seen); });
        }
        case 9: {
            const question asked{14, 12, {}};
            return judge(
                reply, asked, decode_power_bank(reply), reader_of(reply, asked).numbers(2, 2), verb::bank_show,
                +[](picture& seen, const power_bank& value) { poectl::depict_bank(value, seen); });
        }
        case 10: {
            const question asked{15, 44, {}};
            layout read = reader_of(reply, asked);
            read.number(4);
            for (int i = 0; i < 4; i++)
                read.flag(1).skip(3).number(4);
            return judge(
                reply, asked, decode_power_cycles(reply), read, verb::port_show,
                +[](picture& seen, const power_cycles& value) {
                    for (const power_cycle_state& one : value.port) {
                        const std::uint32_t left_s = seconds_until_on(value.now_tick, one, 60);
                        must(left_s <= 60, "no wait is longer than the re-enable time");
                        poectl::depict_port({.status = {}, .settings = {}, .cycle_pending = true, .on_again_s = left_s},
                                            false, seen);
                    }
                });
        }
        case 11: {
            const question asked{16, 9, {}};
            layout read = reader_of(reply, asked).number(1);
            read.found[0] = read.found[0] == 1 ? 1 : 0;
            return judge(
                reply, asked, decode_energy_recording(reply), read, verb::energy_show,
                +[](picture& seen, const bool& value) { poectl::depict_energy(value, {}, seen); });
        }
        case 12: {
            const question asked{17, 2352, {8}, port};
            layout read = reader_of(reply, asked);
            read.numbers(3, 4).skip(4).numbers(3, 8);
            for (int i = 0; i < 60 + 48 + 84; i++)
                read.flag(4).numbers(2, 4);
            return judge(
                reply, asked, decode_port_energy(reply, port), read, verb::energy_port,
                +[](picture& seen, const port_energy& value) { poectl::depict_port_energy(value, seen); });
        }
        case 13: {
            const question asked{18, 168, {}};
            layout read = reader_of(reply, asked);
            for (int i = 0; i < 5; i++)
                read.energy_entry();
            return judge(
                reply, asked, decode_energy_summary(reply), read, verb::energy_show,
                +[](picture& seen, const poe_client::energy_summary& value) {
                    poectl::depict_energy(true, value, seen);
                });
        }
        default: {
            const question asked{port, 8, {}};
            return judge(
                reply, asked, decode_acknowledgement(reply, static_cast<ipc_type>(port)), reader_of(reply, asked),
                verb::cycle, +[](picture& seen, const acknowledgement&) {
                    const poe_client::datagram sent = poe_client::encode_power_cycle(1);
                    const poectl::sight nothing = poectl::sight_of_cycle(1, {}, {});
                    poectl::depict_change({.words = "done", .ports = 1, .request = sent, .seen = nothing}, seen);
                });
        }
    }
}

}  // namespace

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    // As long as the reply and no longer, so that a look behind its end is seen.
    const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[size - 2]);
    std::memcpy(exact.get(), data + 2, size - 2);
    fuzz::run(data[0], data[1], {exact.get(), size - 2});
    return 0;
}
