#include <algorithm>

#include "poectl/render.h"
#include "poectl/wrap.h"

namespace poectl {

namespace {

constexpr std::size_t gap_width = 2;

const char* code_of(tone shade) {
    switch (shade) {
        case tone::heading:
            return "\033[1m";
        case tone::good:
            return "\033[32m";
        case tone::attention:
            return "\033[33m";
        case tone::bad:
            return "\033[1;31m";
        case tone::plain:
            break;
    }
    return "";
}

std::string painted(const cell& one, bool colour) {
    if (!colour || one.shade == tone::plain || one.text.empty()) return one.text;
    return code_of(one.shade) + one.text + "\033[0m";
}

std::size_t width_of_column(const block& shown, std::size_t index) {
    std::size_t width = width_of(shown.columns[index].heading);
    for (const auto& row : shown.rows)
        width = std::max(width, index < row.size() ? width_of(row[index].text) : 0);
    return width;
}

struct layout {
    std::vector<std::size_t> kept, widths;  // by place: which column, how wide
    std::string left_out;                   // the headings of those that are not kept
    bool has_room = true;
};

constexpr std::size_t least_wrapping_width = 16;

std::size_t least_width_of_column(const block& shown, std::size_t index, std::size_t width) {
    return shown.columns[index].wraps ? std::min(width, least_wrapping_width) : width;
}

layout layout_of(const block& shown, std::size_t room) {
    const std::size_t count = shown.columns.size();
    std::vector<std::size_t> widths;
    std::vector<bool> stays(count, true);
    for (std::size_t i = 0; i < count; i++)
        widths.push_back(width_of_column(shown, i));
    const auto taken = [&](auto width_of_one) {
        std::size_t sum = 0;
        for (std::size_t i = 0; i < count; i++)
            sum += stays[i] ? width_of_one(i) + gap_width : 0;
        return sum - std::min(sum, gap_width);
    };
    const auto least = [&](std::size_t i) { return least_width_of_column(shown, i, widths[i]); };
    unsigned last = 0;
    for (const auto& one : shown.columns)
        last = std::max<unsigned>(last, one.leaves);
    for (unsigned next = 1; room > 0 && taken(least) > room && next <= last; next++) {
        for (std::size_t i = 0; i < count; i++)
            stays[i] = stays[i] && shown.columns[i].leaves != next;
    }
    layout chosen;
    chosen.has_room = room == 0 || taken(least) <= room;
    const std::size_t whole = taken([&](std::size_t i) { return widths[i]; });
    for (std::size_t i = 0; i < count; i++) {
        if (room > 0 && whole > room && shown.columns[i].wraps) widths[i] -= std::min(whole - room, widths[i]);
        if (stays[i]) {
            chosen.kept.push_back(i);
            chosen.widths.push_back(widths[i]);
        } else {
            chosen.left_out += (chosen.left_out.empty() ? "" : ", ") + shown.columns[i].heading;
        }
    }
    return chosen;
}

std::string painted(const std::vector<cell>& line, bool colour) {
    std::string text;
    for (const auto& one : line)
        text += painted(one, colour);
    return text;
}

std::vector<cell> line_of(const block& shown, const layout& columns, const std::vector<cell>& row) {
    std::vector<cell> line;
    std::size_t behind = 0;  // blanks that are due before the next letter
    for (std::size_t place = 0; place < columns.kept.size(); place++) {
        const std::size_t index = columns.kept[place];
        if (place > 0) behind += gap_width;
        if (index >= row.size()) break;
        const std::size_t width = width_of(row[index].text);
        const std::size_t padding = columns.widths[place] - std::min(width, columns.widths[place]);
        const bool right = shown.columns[index].to_the_right;
        if (right) behind += padding;
        if (!row[index].text.empty()) {
            if (behind > 0) line.emplace_back(std::string(behind, ' '));
            line.push_back(row[index]);
            behind = 0;
        }
        behind += right ? 0 : padding;
    }
    return line;
}

std::string lines_of_row(const block& shown, const layout& columns, std::vector<cell> row, bool colour) {
    std::vector<std::vector<cell>> rest;
    const std::size_t last = columns.kept.empty() ? 0 : columns.kept.back();
    if (last < row.size() && shown.columns[last].wraps) {
        rest = wrapped({row[last]}, columns.widths.back());
        row[last] = rest.front().front();
    }
    std::string text = painted(line_of(shown, columns, row), colour) + "\n";
    std::size_t before = 0;
    for (std::size_t place = 0; place + 1 < columns.widths.size(); place++)
        before += columns.widths[place] + gap_width;
    for (std::size_t i = 1; i < rest.size(); i++)
        text += std::string(before, ' ') + painted(rest[i], colour) + "\n";
    return text;
}

bool has_headings(const block& shown) {
    return std::any_of(shown.columns.begin(), shown.columns.end(),
                       [](const auto& one) { return !one.heading.empty(); });
}

std::string lines(const block& shown, const look& how) {
    std::string text;
    for (const auto& row : shown.rows) {
        for (const auto& line : wrapped(row, shown.is_whole ? 0 : how.width))
            text += painted(line, how.colour) + "\n";
    }
    return text;
}

// A table for which there is no room at all: a line a cell, each row a group of its own.
std::string as_list(const block& shown, const look& how) {
    std::string text;
    for (const auto& row : shown.rows) {
        block group;
        for (std::size_t i = 0; i < std::min(row.size(), shown.columns.size()); i++) {
            const std::string& heading = shown.columns[i].heading;
            if (!row[i].text.empty())
                group.rows.push_back({cell(heading + (heading.empty() ? "" : ": "), tone::heading), row[i]});
        }
        text += (text.empty() || !has_headings(shown) ? "" : "\n") + lines(group, how);
    }
    return text;
}

std::string table(const block& shown, const look& how) {
    const layout columns = layout_of(shown, how.width);
    if (!columns.has_room) return as_list(shown, how);
    std::string text;
    if (has_headings(shown)) {
        std::vector<cell> headings;
        for (const auto& one : shown.columns)
            headings.emplace_back(one.heading, tone::heading);
        text += lines_of_row(shown, columns, headings, how.colour);
    }
    for (const auto& row : shown.rows)
        text += lines_of_row(shown, columns, row, how.colour);
    if (!columns.left_out.empty()) {
        text += lines(paragraph("(no room for " + columns.left_out + " in " + std::to_string(how.width) + " columns)"),
                      how);
    }
    return text;
}

const block& fitting(const block& widest, std::size_t room) {
    const block* chosen = &widest;
    for (const auto& next : widest.narrower) {
        if (room == 0 || chosen->least_width <= room) break;
        chosen = &next;
    }
    return *chosen;
}

bool belongs(const block& shown, const look& how) {
    return shown.where == shown_on::everything || (shown.where == shown_on::terminals) == how.terminal;
}

}  // namespace

std::string as_table(const picture& seen, const look& how) {
    std::string text;
    for (const auto& part : seen.page) {
        const block& shown = fitting(part, how.width);
        if (shown.rows.empty() || !belongs(shown, how)) continue;
        text += (text.empty() || shown.follows_on ? "" : "\n") +
                (shown.columns.empty() ? lines(shown, how) : table(shown, how));
    }
    return text;
}

}  // namespace poectl
