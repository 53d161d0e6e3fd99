#include <random>

#include "cells.h"
#include "complaints.h"
#include "scenes.h"
#include "switch_under_test.h"

namespace campaign {

namespace {

constexpr std::uint64_t hour_us = 3600ULL * 1000000;

class random_hour {
  public:
    random_hour(std::uint64_t seed, tally& counts)
        : chance_(seed), under_test_(static_cast<std::uint32_t>(seed % 1000 + 1)), counts_(counts) {
        far_side& there = *the_far_side;
        there.latency_us = static_cast<std::uint32_t>(3000 + below(12000));
        there.plan = [this](const frame&) { return next_befalling(); };
        if (one_in(2)) program(there.chip);
        for (std::size_t port = 0; port < 4; port++)
            plug(port);
        if (one_in(4)) begin_burst();
    }

    void run() {
        far_side& there = *the_far_side;
        under_test_.bring_up();
        under_test_.begin();
        while (there.chip.now_us() < hour_us) {
            happen();
            const bool swept = under_test_.pass();
            passes_++;
            if (swept && under_test_.last_sweep_was_whole) counts_.whole_sweeps++;
            if (swept && one_in(16)) under_test_.compare_all_replies();
        }
        // At last everything stands still, and one sweep makes it whole.
        left_in_burst_ = 0;
        calm_ = true;
        there.link_monitor_fails = false;
        while (!under_test_.expected.queue_is_empty())
            under_test_.pass();
        under_test_.sweep();
        for (int tries = 0; tries < 3 && !under_test_.last_sweep_was_whole; tries++)
            under_test_.sweep();  // a power-cycled port that comes back begins the sweep anew
        if (!under_test_.last_sweep_was_whole) complain("not whole at the end of the hour");
        under_test_.compare_all_replies();
        counts_.run++;
        counts_.faults += there.faults;
        counts_.transactions += under_test_.transactions;
        counts_.pauses_with_clients_waiting += under_test_.pauses_with_clients_waiting;
        counts_.auto_offs += under_test_.expected.auto_offs;
        counts_.switched_off_by_a_run += under_test_.switched_off_by_a_run;
        counts_.damaged_accepted += under_test_.damaged_accepted;
    }

    std::uint64_t passes() const { return passes_; }

  private:
    std::uint64_t below(std::uint64_t end) { return chance_() % end; }
    bool one_in(std::uint64_t times) { return below(times) == 0; }

    // --- the line ---

    void begin_burst() {
        left_in_burst_ = 1 + below(one_in(4) ? 400 : 30);
        burst_percent_ = one_in(3) ? 100 : 5 + below(90);
        burst_kinds_.clear();
        for (std::uint64_t kinds = 1 + below(4); kinds > 0; kinds--)
            burst_kinds_.push_back(below(fault_kinds().size() + 2));
    }

    befalling next_befalling() {
        if (left_in_burst_ == 0) return nothing;
        left_in_burst_--;
        if (below(100) >= burst_percent_) return nothing;
        const std::size_t kind = burst_kinds_[below(burst_kinds_.size())];
        return kind < fault_kinds().size() ? fault_kinds()[kind].what : all_flips()[below(flip_count)];
    }

    // --- the world ---

    void happen() {
        if (calm_ || !one_in(20)) return;
        switch (below(8)) {
            case 0:
                begin_burst();
                break;
            case 1:
                plug(below(4));
                break;
            case 2:
                change_device(below(4));
                break;
            case 3:
                the_far_side->link_up[below(4)] = !one_in(4);
                break;
            case 4:
                the_far_side->link_monitor_fails = one_in(3);
                break;
            default:
                for (std::uint64_t burst = one_in(10) ? below(20) : 1; burst > 0; burst--)
                    under_test_.request(random_setting());
                break;
        }
    }

    void plug(std::size_t port) {
        using vswitch::device_kind;
        if (one_in(3)) {
            the_far_side->chip.unplug(port);
            return;
        }
        vswitch::powered_device device;
        switch (below(3)) {
            case 0:
                device.kind = device_kind::legacy;
                break;
            case 1:
                device.kind = device_kind::single_signature;
                device.power_class = static_cast<unsigned>(below(vswitch::highest_class + 1));
                device.four_pairs = device.power_class > vswitch::highest_two_pair_class || one_in(2);
                break;
            default:
                device.kind = device_kind::dual_signature;
                device.power_class = static_cast<unsigned>(below(vswitch::highest_dual_class + 1));
                break;
        }
        set_total_load(device, static_cast<std::uint32_t>(below(30000)));
        if (one_in(4)) device.broken = static_cast<vswitch::breakage>(below(5));
        the_far_side->chip.plug(port, device);
    }

    void change_device(std::size_t port) {
        vswitch::powered_device device = the_far_side->chip.port(port).device();
        if (device.kind == vswitch::device_kind::none) return;
        set_total_load(device, static_cast<std::uint32_t>(below(60000)));
        device.broken = one_in(3) ? static_cast<vswitch::breakage>(below(5)) : vswitch::breakage::none;
        the_far_side->chip.change(port, device);
    }

    // --- the clients ---

    std::uint8_t keep_or(std::uint64_t value, bool may_keep = true) {
        return may_keep && one_in(3) ? 0xFF : static_cast<std::uint8_t>(value);
    }

    void add_block(bytes& message, std::size_t port, bool may_keep) {
        message.push_back(static_cast<std::uint8_t>(port));
        message.push_back(keep_or(below(4) == 0 ? 0 : 1, may_keep));
        message.push_back(keep_or(1 + below(3), may_keep));
        message.push_back(keep_or(below(2), may_keep));
        message.push_back(keep_or(below(5), may_keep));
        message.push_back(keep_or(5 + below(56), may_keep));
        message.insert(message.end(), {0, 0});
        std::uint32_t limit = static_cast<std::uint32_t>(10 + below(891));
        if (may_keep && one_in(3)) limit = 0xFFFFFFFF;
        for (unsigned shift = 0; shift < 32; shift += 8)
            message.push_back(static_cast<std::uint8_t>(limit >> shift & 0xFF));
    }

    // Now and then one that the daemon refuses.
    bytes random_setting() {
        bytes message = client_request(0);
        switch (below(9)) {
            case 0:
                message[0] = 128;
                message.push_back(keep_or(below(3) == 0 ? 0 : 1));
                message.push_back(keep_or(below(2)));
                message.push_back(keep_or(below(2)));
                message.push_back(keep_or(1 + below(100)));
                message.push_back(keep_or(below(2)));
                message.push_back(keep_or(below(2)));
                message.insert(message.end(), {0, 0});
                break;
            case 1:
            case 2:
                message[0] = 129;
                add_block(message, below(one_in(20) ? 256 : 4), true);
                break;
            case 3:
                message[0] = 132;
                add_block(message, 0, false);
                break;
            case 4:
                message[0] = 130;
                for (std::size_t port = 0; port < 4; port++)
                    add_block(message, port, true);
                break;
            case 5:
                message[0] = 137;
                message.insert(message.end(), {static_cast<std::uint8_t>(below(4)), keep_or(below(2)), 0, 0});
                break;
            case 6:
                message[0] = 138;
                for (std::size_t port = 0; port < 4; port++)
                    message.insert(message.end(), {static_cast<std::uint8_t>(port), keep_or(below(2)), 0, 0});
                break;
            case 7:
                message[0] = 142;
                for (const unsigned byte : {unsigned(below(256)), unsigned(below(2)), 3U, 4U})
                    message.push_back(static_cast<std::uint8_t>(byte));
                break;
            default:
                message[0] = 143;
                message.push_back(static_cast<std::uint8_t>(below(256)));
                break;
        }
        return message;
    }

    std::mt19937_64 chance_;
    switch_under_test under_test_;
    tally& counts_;
    std::uint64_t left_in_burst_ = 0;
    std::uint64_t burst_percent_ = 0;
    std::vector<std::size_t> burst_kinds_;
    std::uint64_t passes_ = 0;
    bool calm_ = false;
};

}  // namespace

void run_hours(const share& mine, tally& counts) {
    for (unsigned number = mine.first_hour; number < mine.first_hour + mine.hours; number++) {
        if (!mine.is_mine(number)) continue;
        counts.planned++;
        const std::uint64_t seed = mine.seed * 1000000 + number;
        random_hour hour(seed, counts);
        where_we_are = [&] { return "hour " + std::to_string(number) + ", pass " + std::to_string(hour.passes()); };
        hour.run();
        where_we_are = nullptr;
    }
}

}  // namespace campaign
