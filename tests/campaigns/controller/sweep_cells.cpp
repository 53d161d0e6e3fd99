#include <algorithm>

#include "cells.h"
#include "complaints.h"
#include "scenes.h"
#include "switch_under_test.h"

namespace campaign {

namespace {

constexpr std::size_t how_often[] = {1, 2, 9, 10, 11};

// Attempts `first` to `first` + `times` - 1, counted from now, are befallen.
void befall(std::uint64_t first, std::uint64_t times, const befalling& what) {
    far_side& there = *the_far_side;
    const std::uint64_t from = there.attempts + first;
    there.plan = [&there, from, times, what](const frame&) {
        return there.attempts >= from && there.attempts < from + times ? what : nothing;
    };
}

struct sweep_bench {
    sweep_bench(const scene& start, std::uint32_t seed) : under_test(seed) {
        the_far_side->chip = start.chip;
        for (std::size_t port = 0; port < start.enabled.size(); port++) {
            if (start.enabled[port]) under_test.adopt_enabled(port);
        }
        under_test.begin();
        under_test.sweep();
        // The links come up behind the first sweep, so that the next one switches off what links without power.
        the_far_side->link_up = start.link_up;
    }

    // Everything is as it was one sweep after the fault has ended.
    void recover(tally& counts) {
        the_far_side->plan = nullptr;
        under_test.sweep();
        if (!under_test.last_sweep_was_whole) complain("the sweep after the fault was not a right one");
        under_test.compare_all_replies();
        counts.run++;
        counts.faults += the_far_side->faults;
        counts.transactions += under_test.transactions;
        counts.pauses_with_clients_waiting += under_test.pauses_with_clients_waiting;
        counts.auto_offs += under_test.expected.auto_offs;
        counts.switched_off_by_a_run += under_test.switched_off_by_a_run;
        counts.damaged_accepted += under_test.damaged_accepted;
        counts.whole_sweeps += under_test.last_sweep_was_whole ? 1 : 0;
    }

    switch_under_test under_test;
};

std::uint64_t attempts_of_a_sweep(const scene& start, std::uint32_t seed) {
    sweep_bench bench(start, seed);
    const std::uint64_t before = the_far_side->attempts;
    bench.under_test.sweep();
    return the_far_side->attempts - before;
}

void sweep_cell(const scene& start, std::uint32_t seed, std::uint64_t position, std::uint64_t times,
                const befalling& what, tally& counts) {
    sweep_bench bench(start, seed);
    befall(position, times, what);
    bench.under_test.sweep();
    bench.recover(counts);
}

// --- changes ---

struct named_request {
    const char* name;
    bytes message;
};

bytes with_body(std::uint8_t type, std::initializer_list<unsigned> body) {
    bytes message(8);
    message[0] = type;
    for (const unsigned byte : body)
        message.push_back(static_cast<std::uint8_t>(byte));
    return message;
}

std::vector<named_request> change_requests() {
    constexpr unsigned keep = 0xFF;
    std::vector<named_request> list;
    list.push_back({"system off", with_body(128, {0, keep, keep, keep, keep, keep, 0, 0})});
    list.push_back({"port off", with_body(129, {0, 0, keep, keep, keep, keep, 0, 0, keep, keep, keep, keep})});
    list.push_back({"port's limit, priority and mode", with_body(129, {1, 1, 1, 0, 4, 5, 0, 0, 200, 0, 0, 0})});
    list.push_back({"all ports alike", with_body(132, {0, 1, 2, 0, 3, 5, 0, 0, 44, 1, 0, 0})});
    bytes all = with_body(130, {});
    for (unsigned port = 0; port < 4; port++) {
        const bytes block = with_body(130, {port, port % 2, 1 + port % 3, 0, port, 10, 0, 0, 100, 0, 0, 0});
        all.insert(all.end(), block.begin() + 8, block.end());
    }
    list.push_back({"each port otherwise", all});
    list.push_back({"bank", with_body(142, {100, 0, 7, 0})});
    list.push_back({"power-cycle", with_body(143, {0x0B})});
    return list;
}

std::uint64_t attempts_of_a_change(const scene& start, std::uint32_t seed, const bytes& message) {
    sweep_bench bench(start, seed);
    const std::uint64_t before = the_far_side->attempts;
    bench.under_test.request(message);
    bench.under_test.pass();
    return the_far_side->attempts - before;
}

void change_cell(const scene& start, std::uint32_t seed, const bytes& message, std::uint64_t position,
                 std::uint64_t times, const befalling& what, tally& counts) {
    sweep_bench bench(start, seed);
    bench.under_test.request(message);
    befall(position, times, what);
    bench.under_test.pass();
    bench.under_test.sweep();
    bench.recover(counts);
}

}  // namespace

void run_sweep_cells(const share& mine, tally& counts) {
    const auto seed = static_cast<std::uint32_t>(mine.seed);
    std::uint64_t unit = 0;
    for (unsigned number = 0; number < scene_count; number++) {
        const scene start = make_scene(number, seed);
        const std::uint64_t positions = attempts_of_a_sweep(start, seed);
        for (std::uint64_t position = 0; position < positions; position++) {
            if (!mine.is_mine(unit++)) continue;
            std::string what;
            where_we_are = [&] {
                return "scene " + std::to_string(number) + ", transaction " + std::to_string(position) + ", " + what;
            };
            counts.planned += fault_kinds().size() * std::size(how_often);
            for (const named_fault& kind : fault_kinds()) {
                for (const std::size_t times : how_often) {
                    what = kind.name + ", " + std::to_string(times) + " times";
                    sweep_cell(start, seed, position, times, kind.what, counts);
                }
            }
            // All flips everywhere take minutes; the short form flips the answers about one port and about the system.
            const std::uint64_t flipped_port = mine.seed % 4 * 5;
            const bool is_about_it = position >= flipped_port && position < flipped_port + 5;
            const bool is_about_the_system = position + 3 >= positions;
            if (!mine.is_long && (number != 0 || !(is_about_it || is_about_the_system))) continue;
            counts.planned += flip_count;
            for (std::size_t flip = 0; flip < flip_count; flip++) {
                what = "flip " + std::to_string(flip);
                sweep_cell(start, seed, position, 1, all_flips()[flip], counts);
            }
        }
    }
    where_we_are = nullptr;
}

void run_change_cells(const share& mine, tally& counts) {
    const auto seed = static_cast<std::uint32_t>(mine.seed);
    std::uint64_t unit = 0;
    for (unsigned number = 0; number < scene_count; number++) {
        const scene start = make_scene(number, seed);
        for (const named_request& request : change_requests()) {
            const std::uint64_t positions = attempts_of_a_change(start, seed, request.message);
            for (std::uint64_t position = 0; position < positions; position++) {
                if (!mine.is_mine(unit++)) continue;
                std::string what;
                where_we_are = [&] {
                    return "scene " + std::to_string(number) + ", " + request.name + ", frame " +
                           std::to_string(position) + ", " + what;
                };
                counts.planned += fault_kinds().size() * std::size(how_often);
                for (const named_fault& kind : fault_kinds()) {
                    for (const std::size_t times : how_often) {
                        what = kind.name + ", " + std::to_string(times) + " times";
                        change_cell(start, seed, request.message, position, times, kind.what, counts);
                    }
                }
            }
        }
    }
    where_we_are = nullptr;
}

}  // namespace campaign
