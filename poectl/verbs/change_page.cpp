#include "poectl/verbs/change_page.h"

#include <algorithm>

#include "poectl/messages.h"
#include "poectl/page_parts.h"
#include "poectl/port_facts.h"
#include "poectl/words.h"

namespace poectl {

namespace {

std::string hex_of(const poe_client::datagram& bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += (text.empty() ? "" : " ");
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

bool was_awaited(outcome ended) {
    return ended != outcome::would_be_sent && ended != outcome::accepted && ended != outcome::nothing_to_do;
}

bool was_sent(outcome ended) {
    return ended != outcome::would_be_sent && ended != outcome::nothing_to_do;
}

facts effect_facts(outcome ended) {
    return was_awaited(ended) ? facts(ended == outcome::done) : facts(nullptr);
}

facts port_list(poe_client::port_bitmap ports) {
    facts numbers = facts::array();
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        if ((ports & poe_client::bit_of_port(port)) != 0) numbers.push_back(panel_number(port));
    }
    return numbers;
}

bool knows_what_is(outcome ended) {
    return was_awaited(ended) && ended != outcome::no_answer;
}

facts left_out_facts(const std::vector<left_out_port>& ports) {
    facts list = facts::array();
    for (const auto& one : ports) {
        facts item = port_name_facts(one.port);
        item["reason"] = one.reason;
        list.push_back(std::move(item));
    }
    return list;
}

facts aim_facts(const aim& one, outcome ended) {
    return {{"port", one.port ? facts(panel_number(*one.port)) : facts(nullptr)},
            {"interface", one.port ? facts(interface_name(*one.port)) : facts(nullptr)},
            {"setting", one.setting},
            {"was", one.was.value},
            {"wanted", one.wanted.value},
            {"is", knows_what_is(ended) ? one.is.value : facts(nullptr)},
            {"seen", knows_what_is(ended) ? facts(one.seen) : facts(nullptr)}};
}

block table_of_aims(const std::vector<aim>& aims, outcome ended) {
    const bool of_ports = std::ranges::any_of(aims, [](const aim& one) { return one.port.has_value(); });
    const bool known = knows_what_is(ended);
    block table;
    if (of_ports) table.columns = {{.heading = "PORT", .to_the_right = true}, {.heading = "INTERFACE", .leaves = 1}};
    table.columns.push_back({.heading = "SETTING"});
    table.columns.push_back({.heading = ended == outcome::would_be_sent ? "IS" : "WAS"});
    table.columns.push_back({.heading = known ? "IS" : ended == outcome::would_be_sent ? "WOULD BE" : "WANTED"});
    for (const auto& one : aims) {
        std::vector<cell> row;
        if (of_ports) {
            row.emplace_back(one.port ? std::to_string(panel_number(*one.port)) : unknown_cell);
            row.emplace_back(one.port ? std::string(interface_name(*one.port)) : unknown_cell);
        }
        row.emplace_back(one.label);
        row.emplace_back(one.was.words);
        row.emplace_back(known ? one.is.words : one.wanted.words, known && !one.seen ? tone::bad : tone::plain);
        table.rows.push_back(std::move(row));
    }
    return table;
}

std::string seconds_words(std::chrono::milliseconds time) {
    return thousandths_as_tenths(time.count()) + " s";
}

std::string advice_of(const told_change& change) {
    std::string advice = "a longer --timeout; 'poectl counters' tells whether the controller answers";
    const auto& aims = change.seen.aims;
    const auto waits_for_device = std::ranges::find_if(aims, [](const aim& one) {
        return !one.seen && one.wanted.value == poe_client::status_name(poe_client::status_delivering);
    });
    if (waits_for_device != aims.end() && waits_for_device->port)
        advice = "a longer --timeout; 'poectl port " + std::to_string(panel_number(*waits_for_device->port)) +
                 " --why' says what keeps it from delivering";
    const bool is_kept_back =
        std::ranges::any_of(aims, [](const aim& one) { return !one.seen && one.proved_by == proof::never; });
    if (is_kept_back && !more_can_come(aims)) advice = "leave --parameter-1 out; poe_drv keeps its own";
    return advice;
}

problem trouble_of(const told_change& change) {
    const bool at_once = !more_can_come(change.seen.aims);
    const std::string in_time = at_once ? " and none will be" : " in " + seconds_words(change.waited);
    switch (change.ended) {
        case outcome::doubtful:
            return {.exit_status = exit_no_effect,
                    .what = "accepted, but whether it took effect is not known",
                    .why = "poe_drv has recorded it, but " + std::to_string(change.failed_transactions) +
                           " transactions with the controller failed meanwhile, so the controller may not have got it",
                    .advice =
                        "'poectl counters'; once the controller answers, set another value and then this one "
                        "again, because poe_drv passes on only what changes"};
        case outcome::no_answer:
            return {.exit_status = exit_no_effect,
                    .what = "accepted, but no effect seen" + in_time,
                    .why = "then poe_drv could not be asked any more: " + change.last_trouble,
                    .advice = "see that poe_drv runs, then look with 'poectl status'; settings do not outlive poe_drv"};
        case outcome::not_reached:
            return {.exit_status = exit_no_effect,
                    .what = "accepted, but no effect seen in " + seconds_words(change.waited),
                    .why = "it was so before, but poe_drv has not come to it yet, and what came earlier may change it",
                    .advice = "a longer --timeout; 'poectl counters' tells whether the controller answers"};
        default:
            return {.exit_status = exit_no_effect,
                    .what = "accepted, but no effect seen" + in_time,
                    .why = unseen_words(change.seen.aims),
                    .advice = advice_of(change)};
    }
}

std::string headline(const told_change& change) {
    switch (change.ended) {
        case outcome::would_be_sent:
            return "would be sent: " + change.words;
        case outcome::nothing_to_do:
            return "nothing to do: " + change.words;
        case outcome::done:
            return "done: " + change.words;
        default:
            return "accepted: " + change.words;
    }
}

}  // namespace

bool may_have_been_taken(const poe_client::failure& of_sending) {
    return of_sending.kind == poe_client::failure_kind::timeout ||
           of_sending.kind == poe_client::failure_kind::malformed;
}

problem unanswered(problem of_sending, const std::string& look_with) {
    of_sending.why += "; the change may have been taken all the same";
    of_sending.advice = "look with '" + look_with + "' before you repeat it; " + of_sending.advice;
    return of_sending;
}

void depict_change(const told_change& change, picture& into) {
    const std::string words = headline(change);
    into.add("change", {{"accepted", was_sent(change.ended)},
                        {"dry_run", change.dry_run || change.ended == outcome::would_be_sent},
                        {"effect_seen", effect_facts(change.ended)},
                        {"waited_ms", was_awaited(change.ended) ? facts(change.waited.count()) : facts(nullptr)},
                        {"ports", port_list(change.ports)},
                        {"left_out", left_out_facts(change.left_out)},
                        {"message", words},
                        {"request",
                         {{"type", change.request.empty() ? facts(nullptr) : facts(change.request.front())},
                          {"bytes", change.request.empty() ? facts(nullptr) : facts(hex_of(change.request))}}}});
    for (const auto& one : change.seen.aims)
        into.add("changes", aim_facts(one, change.ended));
    into.page = {paragraph(words)};
    if (!change.seen.aims.empty()) into.page.push_back(table_of_aims(change.seen.aims, change.ended));
    std::string notes;
    if (change.ended == outcome::done && change.was_so) notes += "It was so already.\n";
    for (const auto* list : {&change.notes, &change.seen.notes}) {
        for (auto note : *list) {
            note.front() = note.front() == 'p' ? 'P' : note.front();
            notes += note + "\n";
        }
    }
    if (change.ended == outcome::would_be_sent && !change.request.empty()) {
        notes += "Nothing was sent. The message would be of type " + std::to_string(change.request.front()) + ", " +
                 std::to_string(change.request.size()) + " bytes:\n" + hex_of(change.request) + "\n";
    }
    if (!notes.empty()) into.page.push_back(paragraph(notes));
    if (!was_awaited(change.ended) || change.ended == outcome::done) return;
    const problem trouble = trouble_of(change);
    into.exit_status = trouble.exit_status;
    into.error = trouble;
    into.complaint = sentence_of(trouble);
}

}  // namespace poectl
