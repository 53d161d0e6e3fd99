// The verbs: for each what it adds to the command line, which sections its facts have, and how it is carried out. A
// verb, or a subject with several, has a file of its own in this folder.
//
// A new verb is a value of `verb` (command.h), a function that adds it to the command line, a row of verb_entries, and
// its page in the manual and in the schema; tests hold them together.
#pragma once

#include <span>
#include <string_view>

#include "poe_client/connection.h"
#include "poe_client/result.h"
#include "poectl/command.h"
#include "poectl/picture.h"

namespace poectl {

struct command_line;

// Asks the daemon what the verb needs and puts the answers into `seen`, which has its empty sections. Stops at the
// first failure; `seen` means something only without one, but for an error there that says more than the failure.
// Prints nothing: all answers are in before the first byte is shown, and so this process has left nothing behind
// however the output ends.
using gathering = poe_client::failure (*)(const command& asked, poe_client::connection& daemon, picture& seen);

// Shows by itself, as it goes on, and gives the exit status.
using performing = int (*)(const command& asked, const look& how);

struct verb_entry {
    verb which;
    std::string_view name;  // as on the command line and in the facts
    std::span<const section_shape> shape;
    gathering gather;
    performing perform = nullptr;  // in place of `gather`
};

const verb_entry& entry_of(verb which);
std::span<const verb_entry> all_verbs();
bool is_change(verb which);

// Each in its subject's file, in the order of the help.
void add_status(command_line& line);
void add_port(command_line& line);
void add_system(command_line& line);
void add_bank(command_line& line);
void add_cycle(command_line& line);
void add_schedule(command_line& line);
void add_energy(command_line& line);
void add_counters(command_line& line);
void add_check(command_line& line);
void add_doctor(command_line& line);
void add_watch(command_line& line);
void add_top(command_line& line);
void add_completion(command_line& line);

poe_client::failure show_status(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure show_port(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure set_port(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure show_system(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure set_system(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure show_bank(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure set_bank(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure cycle(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure show_schedule(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure set_schedule(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure show_energy(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure show_port_energy(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure reset_energy(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure keep_energy(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure inject_energy(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure show_counters(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure check(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure doctor(const command& asked, poe_client::connection& daemon, picture& seen);
int watch(const command& asked, const look& how);
int top(const command& asked, const look& how);
poe_client::failure print_completion(const command& asked, poe_client::connection& daemon, picture& seen);
poe_client::failure print_suggestions(const command& asked, poe_client::connection& daemon, picture& seen);

}  // namespace poectl
