// The controller campaign, in process. tests/campaigns/controller/run is its front.
//   controller_campaign [--seed N] [--long] [--hours N] [--first-hour N] [--part I/N] [--only
//   commands|sweeps|changes|hours]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cells.h"
#include "complaints.h"

using namespace campaign;

namespace {

[[noreturn]] void refuse(const char* word) {
    std::fprintf(stderr, "controller_campaign: %s?\n", word);
    std::exit(2);
}

struct cell_family {
    const char* name;
    void (*run)(const share& mine, tally& counts);
};
constexpr cell_family families[] = {
    {"commands", run_command_cells}, {"sweeps", run_sweep_cells}, {"changes", run_change_cells}, {"hours", run_hours}};

}  // namespace

int main(int argc, char** argv) {
    share mine;
    std::string only;
    for (int at = 1; at < argc; at++) {
        const std::string word = argv[at];
        if (word == "--long") {
            mine.is_long = true;
            continue;
        }
        if (at + 1 == argc) refuse(argv[at]);
        const char* value = argv[++at];
        if (word == "--seed") {
            mine.seed = std::strtoull(value, nullptr, 10);
        } else if (word == "--hours") {
            mine.hours = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
        } else if (word == "--first-hour") {
            mine.first_hour = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
        } else if (word == "--part") {
            if (std::sscanf(value, "%u/%u", &mine.part, &mine.parts) != 2 || mine.parts == 0) refuse(value);
        } else if (word == "--only") {
            only = value;
        } else {
            refuse(argv[at - 1]);
        }
    }

    for (const cell_family& family : families) {
        if (!only.empty() && only != family.name) continue;
        tally counts;
        family.run(mine, counts);
        std::printf(
            "%s planned %llu run %llu faults %llu transactions %llu accepted %llu auto-offs %llu by-runs %llu waiting "
            "%llu "
            "whole %llu\n",
            family.name, static_cast<unsigned long long>(counts.planned), static_cast<unsigned long long>(counts.run),
            static_cast<unsigned long long>(counts.faults), static_cast<unsigned long long>(counts.transactions),
            static_cast<unsigned long long>(counts.damaged_accepted), static_cast<unsigned long long>(counts.auto_offs),
            static_cast<unsigned long long>(counts.switched_off_by_a_run),
            static_cast<unsigned long long>(counts.pauses_with_clients_waiting),
            static_cast<unsigned long long>(counts.whole_sweeps));
        std::fflush(stdout);
    }
    std::printf("failures %llu\n", static_cast<unsigned long long>(complaint_count()));
    return complaint_count() == 0 ? 0 : 1;
}
