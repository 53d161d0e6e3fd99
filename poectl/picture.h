// What a command shows, twice: as facts for programs and as a page for people. Verbs fill it in, renderers (render.h)
// turn it into text. Plain data.
//
// A verb says which sections its facts have before it knows any (verb_entry::shape). So a section is always there: a
// list without items is an empty array, and what is not a list is null.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "poectl/exit_status.h"
#include "poectl/problem.h"

namespace poectl {

// Keys in a fixed order, units in their names, null for what is unknown.
using facts = nlohmann::ordered_json;

struct section_shape {
    std::string_view key;     // in a JSON document
    std::string_view record;  // what one item is called in a line of its own
    bool is_list;
    std::string_view headings = {};  // of its items as csv, where it is a list that may well be empty
};

struct section {
    section_shape shape;
    std::vector<facts> items;
};

enum class tone : std::uint8_t { plain, heading, good, attention, bad };

struct cell {
    cell(std::string words, tone how = tone::plain) : text(std::move(words)), shade(how) {}
    cell(std::string_view words, tone how = tone::plain) : text(words), shade(how) {}
    cell(const char* words, tone how = tone::plain) : text(words), shade(how) {}

    std::string text;
    tone shade;
};

struct column {
    std::string heading;
    bool to_the_right = false;
    std::uint8_t leaves = 0;  // where the table would be too wide, 1 is left out first; 0 stays
    bool wraps = false;       // of the last column: goes on in the next line where there is no room for it
};

enum class shown_on : std::uint8_t { everything, terminals, files };

// With columns it is a table; without, each row is a line of text made of its cells. A list of labels is a table whose
// headings are empty.
//
// On a screen no line is longer than the screen is wide: tables leave columns out or become lists, lines are broken
// between words. What cannot be broken has narrower blocks that may stand in its place.
struct block {
    std::vector<column> columns;
    std::vector<std::vector<cell>> rows;
    shown_on where = shown_on::everything;
    bool follows_on = false;           // without an empty line before it
    bool is_whole = false;             // its lines are never broken: programs read them
    std::size_t least_width = 0;       // where there is less room than that
    std::vector<block> narrower = {};  // the first of these that has room is shown, or else the last
};

// Lines of text, as they are.
inline block paragraph(std::string_view lines, shown_on where = shown_on::everything) {
    block text;
    text.where = where;
    while (!lines.empty()) {
        const std::size_t end = lines.find('\n');
        text.rows.push_back({cell(lines.substr(0, end))});
        lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
    }
    return text;
}

inline block labels(std::vector<std::vector<cell>> rows) {
    block list;
    list.columns = {{.heading = {}}, {.heading = {}, .wraps = true}};
    list.rows = std::move(rows);
    return list;
}

struct picture {
    std::vector<section> sections;
    std::vector<block> page;
    std::string verbatim;   // shown as it is in every format, in place of everything else
    std::string complaint;  // for standard error, beside what is shown
    std::string caution;    // likewise, where the format has no room for it
    int exit_status = exit_done;
    std::optional<problem> error;  // for programs: of a verb that shows something in spite of a failure

    void add(std::string_view key, facts item) {
        for (auto& one : sections) {
            if (one.shape.key == key) one.items.push_back(std::move(item));
        }
    }
};

inline block table_of(std::vector<column> columns) {
    block empty;
    empty.columns = std::move(columns);
    return empty;
}

inline picture empty_picture(std::span<const section_shape> shape) {
    picture nothing;
    for (const auto& one : shape)
        nothing.sections.push_back({.shape = one, .items = {}});
    return nothing;
}

}  // namespace poectl
