#include "poectl/wrap.h"

#include <algorithm>
#include <string>

namespace poectl {

namespace {

bool goes_on_with_a_letter(char byte) {
    return (byte & '\xC0') == '\x80';
}

struct letter {
    std::string bytes;
    tone shade;
    bool is_blank() const { return bytes == " "; }
};

std::vector<letter> letters_of(const std::vector<cell>& line) {
    std::vector<letter> letters;
    for (const auto& one : line) {
        for (std::size_t i = 0; i < one.text.size(); i++) {
            if (i == 0 || !goes_on_with_a_letter(one.text[i])) letters.push_back({.bytes = {}, .shade = one.shade});
            letters.back().bytes += one.text[i];
        }
    }
    return letters;
}

std::vector<cell> cells_of(std::size_t indent, const letter* begin, const letter* end) {
    std::vector<cell> line;
    if (indent > 0) line.emplace_back(std::string(indent, ' '));
    for (; begin != end; begin++) {
        if (line.empty() || line.back().shade != begin->shade) line.emplace_back(std::string{}, begin->shade);
        line.back().text += begin->bytes;
    }
    return line;
}

}  // namespace

std::size_t width_of(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !goes_on_with_a_letter(byte); }));
}

std::size_t width_of(const std::vector<cell>& line) {
    std::size_t width = 0;
    for (const auto& one : line)
        width += width_of(one.text);
    return width;
}

std::vector<std::vector<cell>> wrapped(const std::vector<cell>& line, std::size_t width, std::size_t hang) {
    if (width == 0 || width_of(line) <= width) return {line};
    const auto letters = letters_of(line);
    const auto is_blank = [&letters](std::size_t at) { return letters[at].is_blank(); };
    std::size_t begin = 0, indent = 0;
    while (is_blank(begin) && begin + 1 < letters.size())
        begin++;
    // An indent leaves room for half a line at least.
    const std::size_t further_in = std::min(begin + hang, width / 2);
    begin = 0;
    std::vector<std::vector<cell>> lines;
    while (begin < letters.size()) {
        const std::size_t room = width - indent;
        std::size_t end = std::min(begin + room, letters.size());
        if (end < letters.size()) {
            std::size_t gap = end;  // the last blank with a word before it on this line
            while (gap > begin && !is_blank(gap))
                gap--;
            std::size_t word_end = gap;
            while (word_end > begin && is_blank(word_end - 1))
                word_end--;
            if (word_end > begin) end = word_end;
        }
        lines.push_back(cells_of(indent, letters.data() + begin, letters.data() + end));
        begin = end;
        while (begin < letters.size() && is_blank(begin))
            begin++;
        indent = further_in;
    }
    return lines;
}

}  // namespace poectl
