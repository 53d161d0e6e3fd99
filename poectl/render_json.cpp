#include "poectl/render.h"

namespace poectl {

std::string as_json(const report& what) {
    constexpr int indent = 2;
    return document_of(what).dump(indent, ' ', false, facts::error_handler_t::replace) + "\n";
}

std::string as_json_lines(const report& what) {
    std::string text;
    for (const auto& line : lines_of(what))
        text += compact(line) + "\n";
    return text;
}

}  // namespace poectl
