// The machine around the daemon, examined without disturbing anything: files are looked at, never opened when they are
// devices or pipes; nothing is written; the daemon is asked whether it answers, and whether the controller answers it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "poe_client/connection.h"
#include "poectl/readings.h"

namespace poectl {

enum class verdict : std::uint8_t { ok, warning, fault };

struct finding {
    std::string_view check;  // a key for programs
    verdict result;
    std::string subject;  // a path, a name
    std::string what;     // what was found
    std::string mend;     // what to do about it; empty when all is well
};

struct machine {
    std::string root;            // before every path; empty on a machine of flesh and blood
    std::string program_folder;  // where this program is: the platform libraries are beside it
};

// This machine, as this process sees it.
machine this_machine();

// In the order in which a fault explains the ones after it.
std::vector<finding> examine(const machine& where, poe_client::connection& daemon);

// --- the parts ---

std::vector<finding> examine_devices(const machine& where);
std::vector<finding> examine_flash(const machine& where);
std::vector<finding> examine_instances(const machine& where);
std::vector<finding> examine_socket(const machine& where, poe_client::connection& daemon);
// Nothing where the daemon does not answer.
std::vector<finding> examine_controller(poe_client::connection& daemon,
                                        std::chrono::milliseconds patience = patience_with_the_controller);
std::vector<finding> examine_trap_pipe(const machine& where);
std::vector<finding> examine_libraries(const machine& where);
std::vector<finding> examine_interfaces(const machine& where);
std::vector<finding> examine_budget(const machine& where);

}  // namespace poectl
