// Answers of any bytes from the controller, attempt by attempt, through transport, decoding, collection, translation,
// traps and LEDs, over several sweeps; then one sweep of a controller that answers again.
//
// Held to: exactly the requests that are due, each asked again exactly as often as it must be; counters and flash marks
// exact; the records hold what the accepted answers gave and nothing else; traps, LED writes and lines exact. The
// mutator gives most frames a right checksum, and many the bytes of the command that they answer, since hardly a random
// frame would get past the first check.
#include <algorithm>
#include <cstring>

#include "answer_steps.h"
#include "daemon_bench.h"
#include "expected_sweep.h"
#include "steps.h"

namespace fuzz {

namespace {

using namespace answer;

constexpr const char* trap_flag_path = "/tmp/poe_send_start_up_trap";
constexpr std::size_t most_answers = 400;
constexpr std::size_t most_passes = 32;
constexpr std::uint32_t ticks_a_pass = 3;

class life : daemon_bench {
  public:
    explicit life(bytes_view input) {
        std::array<std::uint8_t, setting_count> settings{};
        std::copy_n(input.begin(), std::min(input.size(), settings.size()), settings.begin());
        answers_ = input.subspan(std::min<std::size_t>(input.size(), setting_count));
        answers_ = answers_.first(std::min(answers_.size(), most_answers * answer_size));
        the_world.controller = [this](std::uint32_t, frame_bytes& frame) { return attempt(frame); };

        expected_.system_enabled = (settings[ports_enabled] & 0x80) == 0;
        expected_.threshold = settings[usage_threshold] % 99 + 1;
        next_.traps_are_welcome = (settings[surroundings] & traps_are_welcome) != 0;
        next_.link_monitor_fails = (settings[surroundings] & link_monitor_fails) != 0;
        next_.cpld_fails = (settings[surroundings] & cpld_fails) != 0;
        for (std::size_t port = 0; port < 4; port++) {
            const auto is_set = [port](std::uint8_t bits) { return (bits >> port & 1) != 0; };
            expected_.port_enabled[port] = is_set(settings[ports_enabled]);
            next_.link_up[port] = is_set(settings[links_up]);
            expected_.auto_off[port] = is_set(settings[auto_off]);
            g_port_pmt[port].Port_Enable.set(expected_.port_enabled[port] ? 1 : 0);
        }
        g_port_pwr_auto_off = settings[auto_off] & 0x0F;
        g_sys_pwr_pmt.enable.set(expected_.system_enabled ? 1 : 0);
        g_sys_pwr_pmt.usage_threshold.set(static_cast<std::int8_t>(expected_.threshold));
        show_surroundings();
    }

    void run() {
        for (std::size_t passes = 0; passes < most_passes && !answers_.empty(); passes++)
            pass();
        answers_ = {};
        // To the end of the sweep that has begun, and a whole one.
        constexpr int two_sweeps = 8;
        for (int passes = 0; passes < two_sweeps; passes++)
            pass();
    }

  private:
    int attempt(frame_bytes& frame) {
        seen_attempt seen{.request = frame, .answer = {}, .failed = false};
        if (answers_.size() >= answer_size) {
            const std::uint8_t how = answers_[0];
            std::copy_n(answers_.begin() + 1, frame_size, frame.begin());
            answers_ = answers_.subspan(answer_size);
            seen.failed = (how & ioctl_fails) != 0;
            if ((how & changes_link) != 0) next_.link_up[how >> 4 & 3] = !next_.link_up[how >> 4 & 3];
            if ((how & changes_welcome) != 0) next_.traps_are_welcome = !next_.traps_are_welcome;
            if ((how & changes_failures) != 0) {
                next_.link_monitor_fails = (how & 0x40) != 0;
                next_.cpld_fails = (how & 0x80) != 0;
            }
        } else {
            answers_ = {};
            std::fill(frame.begin() + 1, frame.end(), std::uint8_t{0});
            frame[11] = frame[0];
        }
        seen.answer = frame;
        attempts_.push_back(seen);
        return seen.failed ? -1 : 0;
    }

    // The surroundings change between passes only, so that it is known what each pass saw.
    void show_surroundings() {
        expected_.around = next_;
        the_world.link_up = next_.link_up;
        the_world.link_monitor_fails = next_.link_monitor_fails;
        the_world.cpld_ioctl_fails = next_.cpld_fails;
        if (next_.traps_are_welcome) {
            the_world.files[trap_flag_path];
        } else {
            the_world.files.erase(trap_flag_path);
        }
    }

    void pass() {
        g_poe_thread_tick_cnt.set(g_poe_thread_tick_cnt.get() + ticks_a_pass);
        expected_.tick = g_poe_thread_tick_cnt.get();
        attempts_.clear();
        the_world.frames.clear();
        the_world.pipe_writes.clear();
        the_world.cpld_writes.clear();
        the_world.link_queries = 0;
        said.clear();
        supervise_once(state);
        expected_.pass(attempts_);
        check();
        next_.cpld_fails = next_.cpld_fails && !answers_.empty();
        next_.link_monitor_fails = next_.link_monitor_fails && !answers_.empty();
        show_surroundings();
    }

    void check() {
        must_equal(state.port, expected_.port, "the port to be polled next");
        check_doings();
        check_counters();
        for (std::size_t port = 0; port < 4; port++)
            check_record(g_port_stu[port], expected_.record[port], port);
        must_equal(g_sys_pwr_stu.total_mw, expected_.total_mw, "total power");
        must_equal(g_sys_pwr_stu.consumed_mw, expected_.consumed_mw, "consumed power");
        must_equal(g_sys_pwr_stu.remaining_mw, expected_.remaining_mw, "remaining power");
        must_equal(g_sys_pwr_stu.supply, expected_.supply, "the supply's temperature");
        must_equal(g_sys_pwr_stu.alarm_raised, expected_.alarm ? 1 : 0, "the usage alarm");
        for (std::size_t port = 0; port < 4; port++) {
            must_equal(g_port_led_stu >> port & 1, expected_.lit[port] ? 1 : 0, "the LED is lit");
            must_equal(g_port_led_blk >> port & 1, expected_.blinking[port] ? 1 : 0, "the LED blinks");
            must_equal(g_port_pwr_auto_off >> port & 1, expected_.auto_off[port] ? 1 : 0, "switched off automatically");
        }
    }

    void check_doings() {
        must_equal(the_world.pipe_writes.size(), expected_.traps.size(), "traps of a pass");
        for (std::size_t i = 0; i < expected_.traps.size(); i++)
            must_equal_bytes(the_world.pipe_writes[i].bytes, expected_.traps[i], "a trap");
        must_equal(the_world.cpld_writes.size(), expected_.register_writes.size(), "register writes of a pass");
        for (std::size_t i = 0; i < expected_.register_writes.size(); i++) {
            const cpld_write& written = the_world.cpld_writes[i];
            const std::array<std::uint8_t, 3> bytes{written.register_number, written.value, written.mask};
            must_equal_bytes(bytes, expected_.register_writes[i], "a register write");
        }
        must_equal(the_world.link_queries, expected_.link_queries, "link queries of a pass");
        must_equal(the_world.sleeps_us.size(), expected_.pauses, "pauses after failed attempts");
        must(std::all_of(the_world.sleeps_us.begin(), the_world.sleeps_us.end(),
                         [](std::uint32_t pause) { return pause == 550000; }),
             "a pause takes 550 ms");
        std::size_t shown = 0;
        std::size_t troubles = 0;
        for (const said_line& line : said) {
            if (line.descriptor == 2) {
                troubles++;
                continue;
            }
            must(shown < expected_.shown.size() && line.text == expected_.shown[shown], "a line on standard output");
            shown++;
        }
        must_equal(shown, expected_.shown.size(), "lines on standard output");
        const std::size_t cpld_troubles = expected_.around.cpld_fails ? the_world.cpld_writes.size() : 0;
        must_equal(troubles, expected_.lines_of_trouble + cpld_troubles, "lines on standard error");
        must_equal(the_world.open_descriptors, 1, "only the controller stays open");
    }

    void check_counters() const {
        const dbg_communication_info& counted = g_dbg_communication_info;
        const expected_counters& should_be = expected_.counters;
        must_equal(counted.total.get(), should_be.total, "transactions");
        must_equal(counted.rx_retry.get(), should_be.retry, "rx_retry");
        must_equal(counted.rx_timeout.get(), should_be.timeout, "rx_timeout");
        must_equal(counted.rx_chksum_error.get(), should_be.damaged, "rx_chksum_error");
        must_equal(counted.tx_correctly_executed.get(), should_be.executed, "tx_correctly_executed");
        must_equal(counted.tx_chksum_error.get(), should_be.refused_checksum, "tx_chksum_error");
        must_equal(counted.undefined_key_value.get(), should_be.undefined_key, "undefined_key_value");
        must_equal(counted.tx_subject_byte_conflict.get(), 0, "tx_subject_byte_conflict");
        must_equal(counted.tx_wrong_data_byte_value.get(), 0, "tx_wrong_data_byte_value");
        std::map<std::string, std::string> marks = the_world.files;
        marks.erase(trap_flag_path);
        must(marks == expected_.marks, "the marks in flash");
    }

    static void check_record(const port_stu& is, const expected_record& should_be, std::size_t port) {
        must_equal(is.port_number, port, "port number");
        must_equal(is.port_class, should_be.power_class, "port class");
        must_equal(is.sub_status, should_be.sub_status, "port sub-status");
        must_equal(is.error_code, should_be.error, "port error code");
        must_equal(is.update_tick, should_be.tick, "port update tick");
        must_equal(is.status, should_be.status, "port status");
        must_equal(is.voltage, should_be.voltage, "port voltage");
        must_equal(is.current, should_be.current, "port current");
        must_equal(is.power_mw, should_be.power, "port power");
        must_equal(is.temperature, should_be.temperature, "port temperature");
        must_equal(is.port_type, should_be.type, "port type");
        for (std::size_t i = 0; i < 2; i++) {
            const channel_stu& pair = is.channel[i];
            const expected_channel_record& pair_should_be = should_be.channel[i];
            must_equal(pair.channel_class, pair_should_be.power_class, "channel class");
            must_equal(pair.error_code, pair_should_be.error, "channel error code");
            must_equal(pair.sub_status, pair_should_be.sub_status, "channel sub-status");
            must_equal(pair.update_tick, pair_should_be.tick, "channel update tick");
            must_equal(pair.status, pair_should_be.status, "channel status");
            must_equal(pair.voltage, pair_should_be.voltage, "channel voltage");
            must_equal(pair.current, pair_should_be.current, "channel current");
            must_equal(pair.power_mw, pair_should_be.power, "channel power");
        }
        for (std::size_t i = 0; i < 5; i++)
            must_equal(is.event_totals[i], should_be.totals[i], "event total");
    }

    bytes_view answers_;
    std::vector<seen_attempt> attempts_;
    expected_sweep expected_;
    surroundings_now next_;  // of the next pass
};

// --- inputs
// -----------------------------------------------------------------------------------------------------------

void seal_bytes(std::uint8_t* frame) {
    unsigned sum = 0;
    for (std::size_t at = 0; at < 11; at++)
        sum += frame[at];
    frame[11] = static_cast<std::uint8_t>(sum);
}

// Values that decide something, where they decide it.
void set_likely_byte(std::uint8_t* frame, chance& random) {
    const std::size_t at = 2 + below(random, 9);
    constexpr std::array<std::uint8_t, 16> likely{0, 1, 2, 3, 4, 5, 6, 7, 12, 13, 14, 0x16, 0x64, 0xFF, 0x14, 11};
    frame[at] = likely[below(random, likely.size())];
}

// The keys of a sweep, in the order in which a powered port is polled.
constexpr std::array<std::uint8_t, 7> keys{0x44, 0x42, 0x45, 0x4F, 0x4E, 0x41, 0x4B};

void repair(std::uint8_t* one, chance& random) {
    std::uint8_t* const frame = one + 1;
    if (below(random, 4) == 0) frame[0] = keys[below(random, keys.size())];
    switch (below(random, 12)) {
        case 0:
            frame[1] = 'a';
            break;
        case 1:
            frame[1] = 'b';
            break;
        case 2:
            break;
        default:
            frame[1] = 0;
            break;
    }
    if (below(random, 12) != 0) *one = static_cast<std::uint8_t>(*one & ~ioctl_fails);
    if (below(random, 16) != 0) seal_bytes(frame);
}

}  // namespace

}  // namespace fuzz

using namespace fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    life({data, size}).run();
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t capacity,
                                               unsigned seed) {
    chance random(seed);
    const std::size_t way = below(random, 8);
    const auto answers = [&size] { return size < setting_count ? 0 : (size - setting_count) / answer_size; };
    if (way == 0 || answers() == 0) {
        size = LLVMFuzzerMutate(data, size, capacity);
    } else if (way < 3) {
        // One answer again and again, as from a controller that is stuck.
        const std::uint8_t* from = data + setting_count + below(random, answers()) * answer_size;
        for (std::size_t left = below(random, 24); left > 0 && size + answer_size <= capacity; left--) {
            size = setting_count + answers() * answer_size;
            std::memcpy(data + size, from, answer_size);
            size += answer_size;
        }
    } else {
        for (std::size_t left = 1 + below(random, 6); left > 0; left--) {
            std::uint8_t* one = data + setting_count + below(random, answers()) * answer_size;
            if (below(random, 3) == 0) {
                LLVMFuzzerMutate(one, answer_size, answer_size);
            } else {
                set_likely_byte(one + 1, random);
            }
            repair(one, random);
        }
    }
    if (way == 7) {
        for (std::size_t i = 0; i < answers(); i++)
            repair(data + setting_count + i * answer_size, random);
    }
    return size;
}
