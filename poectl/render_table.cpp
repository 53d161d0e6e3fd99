#include <algorithm>

#include "poectl/render.h"

namespace poectl {

namespace {

constexpr std::size_t gap_width = 2;

// Letters on a screen: the bytes of UTF-8 that do not go on with a letter.
std::size_t width_of(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & '\xC0') != '\x80'; }));
}

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
};

// The columns that go first are the last ones that may go.
layout layout_of(const block& shown, std::size_t room) {
    std::vector<std::size_t> widths;
    std::size_t taken = 0;
    for (std::size_t i = 0; i < shown.columns.size(); i++) {
        widths.push_back(width_of_column(shown, i));
        taken += widths.back() + (i > 0 ? gap_width : 0);
    }
    std::vector<bool> stays(widths.size(), true);
    for (std::size_t i = widths.size(); i-- > 0 && room > 0 && taken > room;) {
        if (!shown.columns[i].can_go) continue;
        stays[i] = false;
        taken -= widths[i] + gap_width;
    }
    layout chosen;
    for (std::size_t i = 0; i < widths.size(); i++) {
        if (stays[i]) {
            chosen.kept.push_back(i);
            chosen.widths.push_back(widths[i]);
        } else {
            chosen.left_out += (chosen.left_out.empty() ? "" : ", ") + shown.columns[i].heading;
        }
    }
    return chosen;
}

std::string line_of(const block& shown, const layout& columns, const std::vector<cell>& row, bool colour) {
    std::string line;
    std::size_t behind = 0;  // blanks that are due before the next letter
    for (std::size_t place = 0; place < columns.kept.size(); place++) {
        const std::size_t index = columns.kept[place];
        if (place > 0) behind += gap_width;
        if (index >= row.size()) break;
        const std::size_t padding = columns.widths[place] - width_of(row[index].text);
        const bool right = shown.columns[index].to_the_right;
        if (right) behind += padding;
        if (!row[index].text.empty()) {
            line += std::string(behind, ' ') + painted(row[index], colour);
            behind = 0;
        }
        behind += right ? 0 : padding;
    }
    return line + "\n";
}

bool has_headings(const block& shown) {
    return std::any_of(shown.columns.begin(), shown.columns.end(),
                       [](const auto& one) { return !one.heading.empty(); });
}

std::string table(const block& shown, const look& how) {
    const layout columns = layout_of(shown, how.width);
    std::string text;
    if (has_headings(shown)) {
        std::vector<cell> headings;
        for (const auto& one : shown.columns)
            headings.emplace_back(one.heading, tone::heading);
        text += line_of(shown, columns, headings, how.colour);
    }
    for (const auto& row : shown.rows)
        text += line_of(shown, columns, row, how.colour);
    if (!columns.left_out.empty())
        text += "(no room for " + columns.left_out + " in " + std::to_string(how.width) + " columns)\n";
    return text;
}

std::string lines(const block& shown, const look& how) {
    std::string text;
    for (const auto& row : shown.rows) {
        for (const auto& one : row)
            text += painted(one, how.colour);
        text += "\n";
    }
    return text;
}

bool belongs(const block& shown, const look& how) {
    return shown.where == shown_on::everything || (shown.where == shown_on::terminals) == how.terminal;
}

}  // namespace

std::string as_table(const picture& seen, const look& how) {
    std::string text;
    for (const auto& shown : seen.page) {
        if (shown.rows.empty() || !belongs(shown, how)) continue;
        text += (text.empty() || shown.follows_on ? "" : "\n") +
                (shown.columns.empty() ? lines(shown, how) : table(shown, how));
    }
    return text;
}

}  // namespace poectl
