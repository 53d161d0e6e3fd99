// RFC 4180 with line feeds: a line of headings, then a row an item of the command's list. A command without a list has
// one row.
#include <algorithm>

#include "poectl/render.h"

namespace poectl {

namespace {

std::string field(const std::string& text) {
    if (text.find_first_of("\",\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char letter : text) {
        if (letter == '"') quoted += '"';
        quoted += letter;
    }
    return quoted + '"';
}

std::string field_of(const facts& value) {
    if (value.is_null()) return {};
    return field(value.is_string() ? value.get<std::string>() : compact(value));
}

facts all_together(const picture& seen) {
    facts row = facts::object();
    for (const auto& [shape, items] : seen.sections)
        row[std::string(shape.key)] = items.empty() ? facts(nullptr) : items.front();
    return row;
}

}  // namespace

std::string as_csv(const report& what) {
    const auto& sections = what.seen.sections;
    // A change without effect has its rows all the same.
    if (what.error && what.error->exit_status != exit_no_effect) return {};
    const auto list = std::find_if(sections.begin(), sections.end(), [](const auto& one) { return one.shape.is_list; });
    const auto rows = list == sections.end() ? std::vector{all_together(what.seen)} : list->items;
    if (rows.empty() && !list->shape.headings.empty()) return std::string(list->shape.headings) + "\n";
    std::string text;
    for (std::size_t i = 0; i < rows.size(); i++) {
        std::string headings, line;
        for (const auto& [key, value] : flattened(rows[i])) {
            const char* comma = headings.empty() ? "" : ",";
            headings += comma + field(key);
            line += comma + field_of(value);
        }
        text += (i == 0 ? headings + "\n" : "") + line + "\n";
    }
    return text;
}

}  // namespace poectl
