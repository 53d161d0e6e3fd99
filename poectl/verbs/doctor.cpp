#include "poectl/verbs/doctor.h"

#include <algorithm>

#include "poectl/command_line.h"
#include "poectl/verbs/verbs.h"

namespace poectl {

namespace {

constexpr std::array<std::string_view, 3> result_names{"ok", "warning", "fault"};
constexpr std::array<tone, 3> result_tones{tone::good, tone::attention, tone::bad};

std::string_view name_of(verdict result) {
    return result_names[static_cast<std::size_t>(result)];
}

std::size_t count_of(const std::vector<finding>& findings, verdict wanted) {
    return static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(), [wanted](const auto& one) { return one.result == wanted; }));
}

std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

void depict_findings(const std::vector<finding>& findings, picture& into) {
    block table = table_of({{.heading = "RESULT"}, {.heading = "WHAT WAS LOOKED AT, AND FOUND", .wraps = true}});
    for (const auto& one : findings) {
        into.add("checks", {{"check", one.check},
                            {"result", name_of(one.result)},
                            {"subject", one.subject},
                            {"finding", one.what},
                            {"mend", one.mend.empty() ? facts(nullptr) : facts(one.mend)}});
        table.rows.push_back({cell(name_of(one.result), result_tones[static_cast<std::size_t>(one.result)]),
                              one.subject + " " + one.what});
        if (!one.mend.empty()) table.rows.push_back({"", "  mend: " + one.mend});
    }
    const std::size_t faults = count_of(findings, verdict::fault), warnings = count_of(findings, verdict::warning);
    into.add("verdict", {{"healthy", faults == 0}, {"faults", faults}, {"warnings", warnings}});
    into.page = {table, paragraph(faults + warnings == 0
                                      ? "Nothing is wrong."
                                      : counted(faults, "fault") + ", " + counted(warnings, "warning") + ".")};
    into.exit_status = faults == 0 ? exit_done : exit_internal;
}

void add_doctor(command_line& line) {
    line.add(line.app, "doctor", "examines this machine, changes nothing; ends with 1 when something is at fault",
             verb::doctor)
        ->group(group_keep_watch);
}

poe_client::failure doctor(const command&, poe_client::connection& daemon, picture& seen) {
    depict_findings(examine(this_machine(), daemon), seen);
    return {};
}

}  // namespace poectl
