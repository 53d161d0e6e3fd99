// counters: how the daemon's talk with the controller went, and how many changes ever waited at once.
#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/pictures.h"
#include "poectl/readings.h"
#include "poectl/verbs/verbs.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;

namespace {

struct counter_row {
    std::string_view name;
    std::uint64_t poe_client::communication_counters::*count;
    std::string_view meaning;
    bool is_error;
};

using counts = poe_client::communication_counters;

constexpr std::array rows{
    counter_row{"total", &counts::total, "transactions begun", false},
    counter_row{"rx_retry", &counts::rx_retry, "attempts without an answer", true},
    counter_row{"rx_timeout", &counts::rx_timeout, "transactions given up", true},
    counter_row{"rx_chksum_error", &counts::rx_chksum_error, "answers with a wrong checksum", true},
    counter_row{"tx_correctly_executed", &counts::tx_correctly_executed, "answers without an error report", false},
    counter_row{"tx_chksum_error", &counts::tx_chksum_error, "the controller saw a wrong checksum", true},
    counter_row{"tx_subject_byte_conflict", &counts::tx_subject_byte_conflict, "always 0", false},
    counter_row{"tx_wrong_data_byte_value", &counts::tx_wrong_data_byte_value, "always 0", false},
    counter_row{"undefined_key_value", &counts::undefined_key_value, "the controller did not know the command", true},
};

}  // namespace

void add_counters(command_line& line) {
    line.add(line.app, "counters", "how the daemon's talk with the controller went", verb::counters)->group(group_look);
}

failure show_counters(const command&, connection& daemon, picture& seen) {
    poe_client::communication_counters counters{};
    std::uint32_t deepest = 0;
    failure error = take(get_communication_counters(daemon), counters);
    if (succeeded(error)) error = take(get_deepest_queue(daemon), deepest);
    if (succeeded(error)) depict_counters(counters, deepest, seen);
    return error;
}

void depict_counters(const counts& counters, std::uint32_t deepest_queue, picture& seen) {
    facts all = facts::object();
    block table = table_of({{.heading = "COUNTER"},
                            {.heading = "COUNT", .to_the_right = true},
                            {.heading = "MEANING", .leaves = 1, .wraps = true}});
    for (const auto& row : rows) {
        const std::uint64_t count = counters.*row.count;
        all[std::string(row.name)] = count;
        table.rows.push_back({row.name,
                              cell(std::to_string(count), row.is_error && count > 0 ? tone::attention : tone::plain),
                              row.meaning});
    }
    seen.add("counters", std::move(all));
    seen.add("queue", {{"deepest", deepest_queue}});
    seen.page = {table, paragraph("Most changes that ever waited at once: " + std::to_string(deepest_queue))};
}

}  // namespace poectl
