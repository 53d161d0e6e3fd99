// A change, carried out: sent once, then awaited until the daemon's records show it.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "poe_client/codec.h"
#include "poe_client/connection.h"
#include "poectl/command_line.h"
#include "poectl/verbs/change_page.h"
#include "poectl/verbs/effect.h"

namespace poectl {

// Transactions after which the daemon has come to a change that was queued: those of a port that is being read and of
// the end of a sweep, and those of a change of all ports that came before. Changes before that one show meanwhile.
inline constexpr std::uint64_t transactions_until_applied = 5 + 3 + poe_client::port_count * (3 + 5);

// An effect takes a sweep over the ports, rarely more than two seconds.
inline constexpr std::chrono::seconds usual_patience{10};

struct planned_change {
    std::string words;  // "port 2 (lan2) enable on"
    poe_client::port_bitmap ports = 0;
    poe_client::datagram request;  // what `send` sends
    std::function<poe_client::failure(poe_client::connection&)> send;
    std::function<poe_client::failure(poe_client::connection&, change_records&)> look;
    std::function<sight(const change_records& before, const change_records& now)> judge;
    std::chrono::milliseconds patience = usual_patience;
    std::vector<std::string> notes{};
    std::vector<left_out_port> left_out{};
    // The daemon answers first and applies such a change later, behind those that came before it.
    bool is_queued = true;
    // Records that look as they shall before it say nothing: it replaces them all the same.
    bool replaces = false;
    std::string look_with = "poectl status";  // shows a person what became of it
};

// `before` is what `look` found before. A failure is one of sending; that no effect is seen is an exit status.
poe_client::failure carry_out(const command& asked, poe_client::connection& daemon, const planned_change& change,
                              const change_records& before, picture& seen);

// With a first look of its own.
poe_client::failure carry_out(const command& asked, poe_client::connection& daemon, const planned_change& change,
                              picture& seen);

// --timeout, --no-wait and --dry-run.
void add_waiting(command_line& line, CLI::App& app, const std::string& usual);

// System, ports and counters: what most changes are judged by.
poe_client::failure look_at_ports(poe_client::connection& daemon, change_records& into);

}  // namespace poectl
