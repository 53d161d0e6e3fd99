// Datagrams of any bytes from anybody, through dispatch, the set queue and the supervision passes that apply what was
// queued, onto a controller that works, with devices on its ports; several in one life of the daemon.
//
// Held to: at most one reply, of the right length and type, to the one who asked and to nobody whose name is no path;
// none to a wrong length or an unknown type; a reply says exactly what the records hold; the records hold exactly what
// the accepted requests asked for; and once the queue is empty the controller is set as the records say.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "bringup/controller_init.h"
#include "client_steps.h"
#include "daemon_bench.h"
#include "expected_settings.h"
#include "ipc/dispatch.h"
#include "models/controller.h"
#include "steps.h"

namespace fuzz {

namespace {

using namespace client;

constexpr std::size_t longest_datagram = 2352;
constexpr std::size_t most_steps = 48;
constexpr std::size_t queue_drains_within = 64;
constexpr int client_socket = 7;
constexpr const char* statistics_path = "/flash/poe_statistics.txt";
constexpr const char* trap_flag_path = "/tmp/poe_send_start_up_trap";
constexpr std::uint64_t tick_us = 200000;
constexpr std::uint64_t latency_us = 2000;

// A controller and the inline-mode register as the daemon's own bring-up leaves them.
struct programmed {
    vswitch::controller chip{1};
    std::uint8_t inline_register = 0;

    programmed() {
        daemon_bench bench;
        the_world.controller = [this](std::uint32_t, frame_bytes& frame) {
            frame = chip.answer(frame);
            return 0;
        };
        must(poe_chip_init() == 1, "a factory-fresh controller is programmed");
        poe_parameter_last_init();
        inline_register = the_world.cpld_registers[9];
    }
};

class life : daemon_bench {
  public:
    explicit life(const programmed& start) : chip_(start.chip) {
        the_world.controller = [this](std::uint32_t, frame_bytes& frame) {
            chip_.advance(latency_us);
            frame = chip_.answer(frame);
            transactions_++;
            return 0;
        };
        the_world.cpld_registers[9] = start.inline_register;
        the_world.uptime_s = 1000000;
        the_world.wall_clock_s = 1700000000;
    }

    void take(const step& one) {
        byte_source bytes{one.bytes};
        switch (static_cast<happening>(one.kind % static_cast<std::uint8_t>(happening::count))) {
            case happening::datagram:
                return receive(bytes);
            case happening::passes:
                for (int left = bytes.take() % 16; left >= 0; left--)
                    pass();
                return;
            case happening::time:
                return let_time_pass(bytes.take32());
            case happening::clock:
                return g_poe_thread_tick_cnt.set(bytes.take32());
            case happening::device:
                return plug(bytes);
            case happening::links: {
                const unsigned links = bytes.take();
                for (std::size_t port = 0; port < 4; port++)
                    the_world.link_up[port] = (links >> port & 1) != 0;
                return;
            }
            default:
                return surround(bytes.take());
        }
    }

    void finish() {
        for (std::size_t left = queue_drains_within; left > 0 && !expected_.queue.empty(); left--)
            pass();
        constexpr int two_sweeps_and_a_re_enable = 10;
        for (int left = two_sweeps_and_a_re_enable; left > 0; left--)
            pass();
        must(__g_poe_set_data == nullptr, "what was queued was applied");
        check_controller();
        constexpr std::array<std::uint8_t, 11> queries{0, 2, 5, 7, 11, 12, 13, 14, 15, 16, 18};
        for (const std::uint8_t type : queries) {
            const std::uint8_t request[]{static_cast<std::uint8_t>(asker::named), type};
            byte_source bytes{request};
            receive(bytes);
        }
    }

  private:
    // --- what happens
    // -------------------------------------------------------------------------------------------------

    void let_time_pass(std::uint32_t ticks) {
        constexpr std::uint32_t most_model_ticks = 64;
        g_poe_thread_tick_cnt.set(g_poe_thread_tick_cnt.get() + ticks);
        chip_.advance(std::min(ticks, most_model_ticks) * tick_us);
    }

    void plug(byte_source& bytes) {
        const std::size_t port = bytes.take() % 4;
        const unsigned what = bytes.take();
        vswitch::powered_device device{};
        device.kind = static_cast<vswitch::device_kind>(what % 4);
        device.broken = static_cast<vswitch::breakage>(what / 4 % 5);
        const bool dual = device.kind == vswitch::device_kind::dual_signature;
        device.power_class = bytes.take() % (dual ? 5U : 9U) + (dual ? 1U : 0U);
        if (device.kind == vswitch::device_kind::legacy) device.power_class = 0;
        device.four_pairs = !dual && device.power_class > 4;
        vswitch::set_total_load(device, bytes.take16() * 10U);
        if (device.kind == vswitch::device_kind::none) {
            chip_.unplug(port);
        } else {
            chip_.plug(port, device);
        }
    }

    void surround(std::uint8_t what) {
        const auto have = [](const char* path, bool there, const char* text) {
            if (!there) the_world.files.erase(path);
            if (there) the_world.files.emplace(path, text);
        };
        the_world.send_result = (what & sends_fail) != 0 ? -1 : 0;
        have(trap_flag_path, (what & traps_are_welcome) != 0, "");
        the_world.files_cannot_be_written = (what & flash_is_full) != 0;
        the_world.pipe_missing = (what & nobody_reads_traps) != 0;
        expected_.file_is_writable = !the_world.files_cannot_be_written;
        if ((what & statistics_file_is_there) != 0 && !expected_.restored) {
            have(statistics_path, true, "0, 10, 3600000\n3, 20, 7200000\n");
            expected_.file = true;
        }
    }

    void pass() {
        the_world.frames.clear();
        the_world.cpld_writes.clear();
        the_world.sleeps_us.clear();
        the_world.pipe_writes.clear();
        said.clear();
        const bool had_work = !expected_.queue.empty();
        const std::uint8_t port_before = state.port;
        expected_.pass(g_poe_thread_tick_cnt.get());
        supervise_once(state);
        must(the_world.replies.empty(), "only a request is answered");
        must(the_world.sleeps_us.empty(), "nothing pauses while the controller answers");
        must(the_world.pipe_writes.size() <= 1, "a pass sends one trap at most");
        for (const pipe_write& trap : the_world.pipe_writes)
            must(trap.bytes.size() == 21 && trap.path == "/tmp/snmp_proc_pipe", "a trap is 21 bytes into its pipe");
        must(state.port < 4, "the next port to poll exists");
        if (had_work) must(state.port == 0 || state.port == port_before, "a pass that applies a change polls no port");
        check_settings();
        check_records();
    }

    // --- a request
    // ----------------------------------------------------------------------------------------------------

    static std::array<std::uint8_t, 110> address_of(asker who) {
        switch (who) {
            case asker::named:
                return peer_named("/tmp/client");
            case asker::other_name:
                return peer_named("/var/run/another client");
            case asker::longest_name:
                return peer_named("/" + std::string(107, 'n'));
            case asker::nameless:
                return {};
            case asker::abstract_name:
                return peer_named(std::string(1, '\0') + "abstract");
            default: {
                auto peer = peer_named("/tmp/client");
                peer[0] = 2;
                return peer;
            }
        }
    }

    void receive(byte_source& bytes) {
        const auto who = static_cast<asker>(bytes.take() % static_cast<std::uint8_t>(asker::count));
        const bool can_be_answered = who <= asker::longest_name;
        const std::size_t length = std::min(bytes.left.size(), longest_datagram);
        const message request(bytes.left.begin(), bytes.left.begin() + static_cast<std::ptrdiff_t>(length));
        const request_row* row = request.empty() ? nullptr : row_of(request[0]);
        const bool fits = row != nullptr && (row->length == any || row->length == static_cast<int>(length));
        const bool accepted = fits && expected_settings::is_acceptable(request);
        if (accepted) expected_.accept(request);

        // As long as the datagram and no longer, so that a look behind its end is seen.
        const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[length]);
        std::copy_n(request.begin(), length, exact.get());
        const auto peer = address_of(who);
        const std::uint64_t transactions_before = transactions_;
        the_world.replies.clear();
        said.clear();
        must_equal(poe_rx_ipc_content_process(client_socket, peer.data(), exact.get(), static_cast<int>(length)), 0,
                   "dispatch returns 0");

        must_equal(transactions_, transactions_before, "a request never talks to the controller");
        must_equal(the_world.replies.size(), fits && can_be_answered ? 1 : 0, "one reply to who can have one");
        if (row != nullptr && !fits) {
            must_equal(said.size(), 1, "a wrong length is said in one line");
            must(said[0].descriptor == 2 && said[0].text.find(" size error!\n") != std::string::npos, "which says so");
        }
        if (row == nullptr) must(said.empty(), "what is not served is dropped in silence");
        if (!the_world.replies.empty()) {
            const sent_reply& reply = the_world.replies[0];
            must(reply.socket == client_socket && reply.peer == peer, "the reply goes to who asked");
            must_equal(reply.timeout_us, 1000, "it waits for 1 ms at most");
            check_reply(request, *row, accepted, reply.bytes);
        }
        must_equal(the_world.files.contains(statistics_path), expected_.file, "there is a statistics file");
        check_settings();
        the_world.replies.clear();
    }

    void check_reply(const message& request, const request_row& row, bool accepted, const message& reply) {
        must_equal(reply.size(), row.reply_length, "the reply's length");
        message should_be(row.reply_length);
        should_be[0] = row.reply_type;
        should_be[7] = accepted ? 0 : 1;
        if (accepted) fill(request, should_be);
        if (row.type == 17 && accepted) return check_history(request, reply);
        if (row.type == 18) return check_totals(reply);
        must_equal_bytes(reply, should_be, "the reply's bytes");
    }

    void fill(const message& request, message& reply) {
        const std::size_t asked = request.size() > 8 ? request[8] : 0;
        switch (request[0]) {
            case 0:
                for (std::size_t i = 0; i < 6; i++)
                    reply[8 + i] = static_cast<std::uint8_t>(expected_.system[i]);
                return;
            case 1:
                return put_parameters(reply, 8, asked);
            case 2:
                for (std::size_t port = 0; port < 4; port++)
                    put_parameters(reply, 8 + 12 * port, port);
                return;
            case 5:
                return put_system(reply);
            case 6:
                return put_status(reply, 8, asked);
            case 7:
                for (std::size_t port = 0; port < 4; port++)
                    put_status(reply, 8 + 92 * port, port);
                return;
            case 11:
                put_system(reply);
                for (std::size_t port = 0; port < 4; port++)
                    put_status(reply, 28 + 92 * port, port);
                return;
            case 12:
                put_number(reply, 8, 8, transactions_);
                return put_number(reply, 40, 8, transactions_);
            case 13:
                return put_number(reply, 8, 4, expected_.deepest);
            case 14:
                put_number(reply, 8, 2, expected_.bank_w);
                return put_number(reply, 10, 2, expected_.second);
            case 15:
                put_number(reply, 8, 4, g_poe_thread_tick_cnt.get());
                for (std::size_t port = 0; port < 4; port++) {
                    reply[12 + 8 * port] = expected_.ports[port].pending ? 1 : 0;
                    put_number(reply, 16 + 8 * port, 4, expected_.ports[port].tick);
                }
                return;
            case 16:
                reply[8] = expected_.statistics;
                return;
            default:
                return;
        }
    }

    void put_parameters(message& reply, std::size_t at, std::size_t port) const {
        const expected_port& one = expected_.ports[port];
        std::size_t next = at;
        for (const int value :
             {static_cast<int>(port), one.enable, one.priority, one.schedule_enable, one.mode, one.re_enable_s}) {
            reply[next++] = static_cast<std::uint8_t>(value);
        }
        put_number(reply, at + 8, 4, one.limit);
    }

    static void put_system(message& reply) {
        const sys_pwr_stu& system = g_sys_pwr_stu;
        put_number(reply, 8, 4, system.total_mw);
        put_number(reply, 12, 4, system.consumed_mw);
        put_number(reply, 16, 4, system.remaining_mw);
        put_number(reply, 20, 4, system.supply);
        reply[24] = system.alarm_raised;
    }

    // By the numbers of the record's words, which is how the reply is described.
    void put_status(message& reply, std::size_t at, std::size_t port) const {
        std::array<std::uint32_t, 25> words;
        std::memcpy(words.data(), &g_port_stu[port], sizeof words);
        const auto byte_of_word = [&words](std::size_t word, std::size_t byte) {
            std::array<std::uint8_t, 4> bytes;
            std::memcpy(bytes.data(), &words[word], sizeof bytes);
            return bytes[byte];
        };
        const expected_port& one = expected_.ports[port];
        reply[at] = static_cast<std::uint8_t>(port);
        reply[at + 1] = static_cast<std::uint8_t>(one.enable);
        reply[at + 2] = static_cast<std::uint8_t>(one.schedule_enable);
        reply[at + 3] = static_cast<std::uint8_t>(one.schedule_on);
        reply[at + 4] = byte_of_word(0, 1);
        reply[at + 5] = byte_of_word(0, 3);
        reply[at + 6] = byte_of_word(0, 2);
        reply[at + 7] = static_cast<std::uint8_t>(words[7]);
        put_number(reply, at + 8, 4, words[2]);
        reply[at + 12] = static_cast<std::uint8_t>(g_port_pwr_auto_off >> port & 1);
        for (std::size_t i = 0; i < 4; i++)
            put_number(reply, at + 16 + 4 * i, 4, words[3 + i]);
        for (const std::size_t channel : {0U, 1U}) {
            const std::size_t first = 8 + 6 * channel;
            const std::size_t place = at + 32 + 20 * channel;
            for (std::size_t byte = 0; byte < 3; byte++)
                reply[place + byte] = byte_of_word(first, byte);
            for (std::size_t i = 0; i < 4; i++)
                put_number(reply, place + 4 + 4 * i, 4, words[first + 2 + i]);
        }
        for (std::size_t i = 0; i < 5; i++)
            put_number(reply, at + 72 + 4 * i, 4, words[20 + i]);
    }

    static float float_at(bytes_view message, std::size_t at) {
        const auto pattern = static_cast<std::uint32_t>(number_at(message, at, 4));
        float value;
        std::memcpy(&value, &pattern, sizeof value);
        return value;
    }

    static void check_energy(float wh, std::uint64_t energy_mws) {
        must(std::abs(static_cast<double>(wh) - static_cast<double>(energy_mws) / 3.6e6) < 0.001, "energy in Wh");
    }

    void check_history(const message& request, const message& reply) const {
        const std::size_t port = request[8];
        const expected_port& one = expected_.ports[port];
        must_equal(number_at(reply, 8, 4), port, "the port of the history");
        must_equal(number_at(reply, 12, 4), one.powered_s, "powered seconds");
        check_energy(float_at(reply, 16), one.energy_mws);
        must_equal(number_at(reply, 20, 4), 0, "the unused bytes");
        constexpr std::array<std::size_t, 4> ring_begins{48, 768, 1344, 2352};
        for (std::size_t ring = 0; ring < 3; ring++) {
            std::size_t valid = 0;
            for (std::size_t at = ring_begins[ring]; at < ring_begins[ring + 1]; at += 12)
                valid += number_at(reply, at, 4) == 1 ? 1U : 0U;
            must_equal(valid, one.history[ring], "slots of a ring");
        }
    }

    void check_totals(const message& reply) const {
        std::uint64_t powered_s = 0;
        std::uint64_t energy_mws = 0;
        std::array<bool, 3> any_full{};
        constexpr std::array<std::size_t, 3> slots{60, 48, 84};
        for (std::size_t port = 0; port < 4; port++) {
            const expected_port& one = expected_.ports[port];
            const std::size_t at = 40 + 32 * port;
            must_equal(number_at(reply, at, 4), one.powered_s, "a port's powered seconds");
            check_energy(float_at(reply, at + 4), one.energy_mws);
            powered_s += one.powered_s;
            energy_mws += one.energy_mws;
            for (std::size_t ring = 0; ring < 3; ring++) {
                const bool full = one.history[ring] == slots[ring];
                must_equal(number_at(reply, at + 8 + 8 * ring, 4), full ? 1 : 0, "only a full ring has an average");
                any_full[ring] = any_full[ring] || full;
            }
        }
        must_equal(number_at(reply, 8, 4), powered_s, "all ports' powered seconds");
        check_energy(float_at(reply, 12), energy_mws);
        for (std::size_t ring = 0; ring < 3; ring++)
            must_equal(number_at(reply, 16 + 8 * ring, 4), any_full[ring] ? 1 : 0, "any port's average counts");
    }

    // --- the records
    // --------------------------------------------------------------------------------------------------

    void check_settings() {
        for (std::size_t port = 0; port < 4; port++) {
            const port_pmt& stored = g_port_pmt[port];
            const expected_port& one = expected_.ports[port];
            must_equal(stored.Port_Number.get(), port, "Port_Number");
            must_equal(stored.Port_Enable.get(), one.enable, "Port_Enable");
            must_equal(stored.Power_Priority.get(), one.priority, "Power_Priority");
            must_equal(stored.Schedule_Enable.get(), one.schedule_enable, "Schedule_Enable");
            must_equal(stored.Sch_On_Off.get(), one.schedule_on, "Sch_On_Off");
            must_equal(stored.PoE_Mode.get(), one.mode, "PoE_Mode");
            must_equal(stored.Re_Enable_Val.get(), one.re_enable_s, "Re_Enable_Val");
            must_equal(stored.Power_Limit_Val.get(), one.limit, "Power_Limit_Val");
            must_equal(g_port_pwr_re_en[port].pending, one.pending ? 1 : 0, "a re-enable is pending");
            must_equal(g_port_pwr_re_en[port].tick, one.tick, "the tick of a power-cycle");
        }
        must_equal(g_sys_pwr_pmt.enable.get(), expected_.system[0], "system enable");
        must_equal(g_sys_pwr_pmt.parameter_1.get(), 0, "system parameter 1 never changes");
        must_equal(g_sys_pwr_pmt.parameter_2.get(), expected_.system[2], "system parameter 2");
        must_equal(g_sys_pwr_pmt.usage_threshold.get(), expected_.system[3], "usage threshold");
        must_equal(g_sys_pwr_pmt.parameter_4.get(), expected_.system[4], "system parameter 4");
        must_equal(g_sys_pwr_pmt.parameter_5.get(), expected_.system[5], "system parameter 5");
        must_equal(g_dbg_read_mixed_info.get(), expected_.deepest, "the deepest queue");
        must_equal(__g_poe_set_data != nullptr, !expected_.queue.empty(), "something is queued");
        must_equal(the_world.open_descriptors, 1, "only the controller stays open");
    }

    void check_records() const {
        for (std::size_t port = 0; port < 4; port++) {
            const port_stu& record = g_port_stu[port];
            must_equal(record.port_number, port, "the record's own port");
            must(record.status <= 13 && record.channel[0].status <= 13 && record.channel[1].status <= 13,
                 "a port's status is a status code");
            must(record.voltage <= 60000 && record.channel[0].voltage <= 60000 && record.channel[1].voltage <= 60000,
                 "a voltage is one that the supply has");
        }
        const unsigned leds = g_port_led_stu | unsigned{g_port_led_blk} << 4;
        must_equal(leds, the_world.cpld_registers[10], "the LEDs show what the daemon believes");
    }

    void check_controller() const {
        struct mode_row {
            int disconnect, detection, power_up, limit;
            bool register_bit;
        };
        constexpr std::array<mode_row, 5> modes{
            {{0, 2, 0, 1, false}, {0, 2, 3, 1, false}, {0, 2, 6, 1, true}, {0, 2, 6, 2, true}, {2, 0, 6, 2, true}}};
        constexpr std::array<int, 4> priority_codes{0, 3, 2, 0};
        for (std::size_t port = 0; port < 4; port++) {
            const expected_port& one = expected_.ports[port];
            const vswitch::port_configuration& told = chip_.running().ports[port];
            const bool auto_off = (g_port_pwr_auto_off >> port & 1) != 0;
            must_equal(told.power_state, !auto_off && expected_.is_powered(port) ? 1 : 0, "the port is on at the chip");
            must_equal(told.limit_counts, one.limit * 100 / 400, "the port's limit at the chip");
            must_equal(told.priority, priority_codes[static_cast<std::size_t>(one.priority)], "its priority");
            const mode_row& mode = modes[static_cast<std::size_t>(one.mode)];
            must_equal(told.disconnect_mode, mode.disconnect, "its disconnect mode");
            must_equal(told.detection_mode, mode.detection, "its detection mode");
            must_equal(told.power_up_mode, mode.power_up, "its power-up mode");
            must_equal(told.limit_mode, mode.limit, "its limit mode");
            must_equal(the_world.cpld_registers[9] >> port & 1, mode.register_bit ? 1 : 0, "its inline-mode bit");
        }
        const auto counts = static_cast<std::uint16_t>(expected_.bank_w * 10);
        for (const auto& bank : chip_.running().banks)
            must_equal(bank.counts, counts, "every power bank at the chip");
        must_equal(g_sys_pwr_stu.total_mw, counts * 100U, "the limit that was read back");
    }

    vswitch::controller chip_;
    expected_settings expected_;
    std::uint64_t transactions_ = 0;
};

// --- inputs
// -----------------------------------------------------------------------------------------------------------

step as_step(happening what, std::vector<std::uint8_t> bytes) {
    return {.kind = static_cast<std::uint8_t>(what), .bytes = std::move(bytes)};
}

// A byte that a request is likely to hold.
std::uint8_t likely_byte(chance& random) {
    constexpr std::array<std::uint8_t, 16> likely{0, 0, 0, 1, 1, 1, 2, 2, 3, 3, 4, 5, 10, 60, 95, 0xFF};
    return below(random, 16) == 0 ? static_cast<std::uint8_t>(random()) : likely[below(random, likely.size())];
}

void set_likely_limits(message& datagram, chance& random) {
    for (std::size_t at = 16; at + 4 <= datagram.size(); at += 12)
        put_number(datagram, at, 4, below(random, 3) == 0 ? 0xFFFFFFFF : 10 + below(random, 891));
}

step likely_datagram(chance& random) {
    const request_row& row = requests[below(random, requests.size())];
    message datagram(row.length == any ? 8 : static_cast<std::size_t>(row.length));
    datagram[0] = row.type;
    for (std::size_t at = 8; at < datagram.size(); at++)
        datagram[at] = likely_byte(random);
    if (row.type == 129 || row.type == 130 || row.type == 132) set_likely_limits(datagram, random);
    for (std::size_t port = 0; row.type == 130 && port < 4; port++)
        datagram[8 + 12 * port] = static_cast<std::uint8_t>(port);
    if (row.type == 17) put_number(datagram, 8, 4, below(random, 5));
    if (row.type == 148) put_number(datagram, 8, 4, random() >> below(random, 31));
    datagram.insert(datagram.begin(), static_cast<std::uint8_t>(below(random, 3) == 0 ? random() : 0));
    return as_step(happening::datagram, std::move(datagram));
}

step likely_step(chance& random) {
    const auto byte = [&random] { return static_cast<std::uint8_t>(random()); };
    switch (below(random, 6)) {
        case 0:
            return as_step(happening::passes, {static_cast<std::uint8_t>(below(random, 16))});
        case 1:
            return as_step(happening::time, {byte(), static_cast<std::uint8_t>(below(random, 3)), 0, 0});
        case 2:
            return as_step(happening::device, {byte(), byte(), byte(), byte(), byte()});
        case 3:
            return as_step(happening::links, {byte()});
        case 4:
            return as_step(happening::surroundings, {byte()});
        default:
            return as_step(happening::clock, {byte(), 0xFF, 0xFF, 0xFF});
    }
}

// Gives a datagram the length that its type asks for, or one byte more or less.
void repair_length(step& one, chance& random) {
    if (one.kind % static_cast<std::uint8_t>(happening::count) != 0 || one.bytes.size() < 2) return;
    const request_row* row = row_of(one.bytes[1]);
    if (row == nullptr || row->length == any) return;
    const std::size_t off_by = below(random, 16);
    one.bytes.resize(static_cast<std::size_t>(row->length) + 1 + (off_by == 0 ? 1U : 0U) - (off_by == 1 ? 1U : 0U));
}

}  // namespace

}  // namespace fuzz

using namespace fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const programmed start;
    life one(start);
    std::size_t steps = 0;
    for (const step& next : steps_in({data, size})) {
        if (steps++ == most_steps) break;
        one.take(next);
    }
    one.finish();
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t capacity,
                                               unsigned seed) {
    chance random(seed);
    step_list steps = steps_in({data, size});
    const std::size_t way = below(random, 8);
    if (way < 2 && steps.size() < most_steps) {
        insert_step(steps, random, likely_datagram(random));
    } else if (way == 2 && steps.size() < most_steps) {
        insert_step(steps, random, likely_step(random));
    } else {
        mutate_steps(steps, random, most_steps, longest_datagram + 8);
    }
    if (way != 7) {
        for (step& one : steps)
            repair_length(one, random);
    }
    return put_steps(steps, data, capacity);
}
