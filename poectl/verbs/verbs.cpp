#include "poectl/verbs/verbs.h"

#include <array>

namespace poectl {

namespace {

// The first list of a verb makes the rows of its csv.
constexpr section_shape explanations{"explanations", "explanation", true};
constexpr section_shape controller{"controller", "controller", false};
constexpr std::array system_and_ports{controller, section_shape{"system", "system", false},
                                      section_shape{"ports", "port", true}, explanations};
constexpr std::array ports{section_shape{"ports", "port", true}};
constexpr std::array ports_explained{controller, section_shape{"ports", "port", true}, explanations};
constexpr std::array system_alone{controller, section_shape{"system", "system", false}};
constexpr std::array bank{section_shape{"bank", "bank", false}};
constexpr std::array change{section_shape{"change", "change", false},
                            section_shape{"changes", "setting", true, "port,interface,setting,was,wanted,is,seen"}};
constexpr std::array energy_and_ports{section_shape{"energy", "energy", false}, section_shape{"ports", "port", true}};
constexpr std::array port_and_slots{section_shape{"port", "port", false}, section_shape{"slots", "slot", true}};
constexpr std::array counters{section_shape{"counters", "counters", false}, section_shape{"queue", "queue", false}};
constexpr std::array state_and_findings{section_shape{"state", "state", false},
                                        section_shape{"findings", "finding", true, "code,name,text"},
                                        section_shape{"performance", "performance", true}};
constexpr std::array verdict_and_checks{section_shape{"verdict", "verdict", false},
                                        section_shape{"checks", "check", true}};
constexpr std::span<const section_shape> nothing{};

constexpr std::array entries{
    verb_entry{verb::status, "status", system_and_ports, show_status},
    verb_entry{verb::port_show, "port show", ports_explained, show_port},
    verb_entry{verb::port_set, "port set", change, set_port},
    verb_entry{verb::system_show, "system show", system_alone, show_system},
    verb_entry{verb::system_set, "system set", change, set_system},
    verb_entry{verb::bank_show, "bank show", bank, show_bank},
    verb_entry{verb::bank_set, "bank set", change, set_bank},
    verb_entry{verb::cycle, "cycle", change, cycle},
    verb_entry{verb::schedule_show, "schedule show", ports, show_schedule},
    verb_entry{verb::schedule_set, "schedule set", change, set_schedule},
    verb_entry{verb::energy_show, "energy show", energy_and_ports, show_energy},
    verb_entry{verb::energy_port, "energy port", port_and_slots, show_port_energy},
    verb_entry{verb::energy_reset, "energy reset", change, reset_energy},
    verb_entry{verb::energy_keep, "energy keep", change, keep_energy},
    verb_entry{verb::energy_inject, "energy inject", change, inject_energy},
    verb_entry{verb::counters, "counters", counters, show_counters},
    verb_entry{verb::check, "check", state_and_findings, check},
    verb_entry{verb::doctor, "doctor", verdict_and_checks, doctor},
    verb_entry{verb::watch, "watch", nothing, nullptr, watch},
    verb_entry{verb::top, "top", nothing, nullptr, top},
    verb_entry{verb::completion, "completion", nothing, print_completion},
    verb_entry{verb::suggest, "completion suggest", nothing, print_suggestions},
};

consteval bool stand_under_their_verbs() {
    for (std::size_t i = 0; i < entries.size(); i++) {
        if (entries[i].which != static_cast<verb>(i)) return false;
    }
    return true;
}
static_assert(stand_under_their_verbs());

}  // namespace

const verb_entry& entry_of(verb which) {
    return entries[static_cast<std::size_t>(which)];
}

std::span<const verb_entry> all_verbs() {
    return entries;
}

bool is_change(verb which) {
    return entry_of(which).shape.data() == change.data();
}

}  // namespace poectl
