// KEY=VALUE, one a line, for shells, awk and grep. A value is never more than its line: line feeds are "\n",
// backslashes are doubled. Unknown is empty.
#include "poectl/render.h"

namespace poectl {

namespace {

std::string on_one_line(const std::string& text) {
    std::string line;
    for (const char letter : text) {
        if (letter == '\n') {
            line += "\\n";
        } else if (letter == '\\') {
            line += "\\\\";
        } else {
            line += letter;
        }
    }
    return line;
}

}  // namespace

std::string as_key_values(const report& what) {
    std::string text;
    for (const auto& [key, value] : flattened(document_of(what))) {
        const std::string shown = value.is_null() ? "" : value.is_string() ? value.get<std::string>() : compact(value);
        text += key + "=" + on_one_line(shown) + "\n";
    }
    return text;
}

}  // namespace poectl
