#include <random>

#include "cells.h"
#include "commands.h"
#include "complaints.h"
#include "line_judge.h"
#include "scenes.h"
#include "switch_under_test.h"

namespace campaign {

namespace {

constexpr std::size_t most_bad = 11;  // one more than the retries
constexpr std::size_t mixed_sequences = 256;
constexpr std::size_t most_mixed = 20;
constexpr std::size_t failures_in_a_row = 110;
constexpr unsigned other_bytes = 255;
constexpr std::size_t echo_cells = 5 * other_bytes;
constexpr std::size_t row_kinds = 3;

using sequence = std::vector<befalling>;

class command_bench {
  public:
    command_bench(const command& one, std::uint32_t seed, tally& counts)
        : command_(one), start_(make_scene(0, seed)), counts_(counts) {
        start_the_daemon(seed);
        judge_.chip_type_is_asked = one.name == "_rtl_system_chip_type_info_get";
        judge_.is_transport_alone = one.name == transport_alone;
    }

    // Counters and marks as after a start.
    void start_again(std::uint32_t seed) {
        counts_.faults += the_far_side->faults;
        start_the_daemon(seed);
        judge_.start_again();
    }

    void cell(const sequence& befalls) {
        far_side& there = *the_far_side;
        there.chip = start_.chip;
        std::size_t next = 0;
        there.plan = [&](const frame&) { return next < befalls.size() ? befalls[next++] : nothing; };
        there.in_a_pause = [] {
            static const bytes question = client_request(5);
            ask_as_client(question);
        };
        values record = command_.before;
        const int status = command_.run(record);
        const std::vector<heard> door = judge_.judge(there.events);
        there.plan = nullptr;
        counts_.run++;
        if (door.size() != 1 || door[0].what != heard::transaction) {
            complain(std::to_string(door.size()) + " transactions instead of one");
            return;
        }
        const heard& one = door[0];
        counts_.transactions++;
        if (one.status == 0 && one.was_damaged) counts_.damaged_accepted++;
        if (one.request != command_.request) complain("wrong request: " + hex(one.request));
        int wanted = one.status;
        for (const std::size_t at : command_.result_bytes) {
            if (one.status == 0 && one.answer[at] == 1) wanted = -14;
        }
        if (status != wanted) complain("status " + std::to_string(status) + " instead of " + std::to_string(wanted));
        const values held = one.status == 0 ? command_.decoded(one.answer, command_.before) : command_.before;
        if (record != held) complain("the caller's record is wrong after " + hex(one.answer));
        compare_counters(judge_, "after a command");
    }

    // The answer to another request becomes the previous one.
    void hear(const frame& request) {
        the_far_side->previous_answer = vswitch::controller(start_.chip).answer(request);
    }

  private:
    const command& command_;
    scene start_;
    tally& counts_;
    line_judge judge_;
};

std::uint64_t cells_a_command() {
    return fault_kinds().size() * (most_bad + 1) + echo_cells + commands().size() + flip_count + mixed_sequences +
           row_kinds * failures_in_a_row;
}

void run_command(const command& one, const share& mine, tally& counts) {
    const auto seed = static_cast<std::uint32_t>(mine.seed);
    command_bench bench(one, seed, counts);
    std::string what;
    where_we_are = [&] { return one.name + ", " + what; };

    for (const named_fault& kind : fault_kinds()) {
        bench.start_again(seed);
        for (std::size_t bad = 0; bad <= most_bad; bad++) {
            what = kind.name + ", " + std::to_string(bad) + " times";
            bench.cell(sequence(bad, kind.what));
        }
    }
    for (unsigned other = 1; other <= other_bytes; other++) {
        what = "byte off by " + std::to_string(other);
        const auto off = static_cast<std::uint8_t>(other);
        bench.cell({{.checksum_off = off}});
        for (const std::size_t at : {std::size_t{0}, std::size_t{1}, std::size_t{2}}) {
            const auto echo = static_cast<std::uint8_t>(one.request[at] + other);
            bench.cell({{.set_at = at, .set_to = echo, .resealed = true}});
        }
        bench.cell({{.set_at = 1, .set_to = static_cast<std::uint8_t>(one.request[1] + other)}});
    }
    for (const command& other : commands()) {
        what = "the answer to " + other.name;
        bench.hear(other.request);
        bench.cell({{.record = left_behind::previous}});
    }
    for (std::size_t flip = 0; flip < flip_count; flip++) {
        what = "flip " + std::to_string(flip);
        bench.cell({all_flips()[flip]});
    }
    std::mt19937_64 chance(mine.seed);
    for (std::size_t i = 0; i < mixed_sequences; i++) {
        what = "mixed sequence " + std::to_string(i);
        sequence befalls(chance() % (most_mixed + 1));
        for (befalling& each : befalls) {
            if (chance() % 2 == 0) {
                each = {.record = left_behind::request, .error = 5};
            } else {
                const auto key = static_cast<std::uint8_t>(chance() % 2 == 0 ? 'a' : 'b');
                each = {.record = left_behind::report, .report_key = key};
            }
        }
        bench.cell(befalls);
    }
    const befalling rows[row_kinds] = {{.record = left_behind::request, .error = 5},
                                       {.checksum_off = 7},
                                       {.record = left_behind::report, .report_key = 'b'}};
    for (const befalling& row : rows) {
        bench.start_again(seed);
        for (std::size_t i = 0; i < failures_in_a_row; i++) {
            what = "failure " + std::to_string(i + 1) + " in a row";
            bench.cell(sequence(most_bad - 1, row));
        }
    }
    bench.start_again(seed);
    where_we_are = nullptr;
}

}  // namespace

void run_command_cells(const share& mine, tally& counts) {
    std::uint64_t unit = 0;
    for (const command& one : commands()) {
        if (!mine.is_mine(unit++)) continue;
        counts.planned += cells_a_command();
        run_command(one, mine, counts);
    }
}

}  // namespace campaign
