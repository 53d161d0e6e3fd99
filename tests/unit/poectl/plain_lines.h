// Lines of cells as plain text, without their colours.
#pragma once

#include <string>
#include <vector>

#include "poectl/picture.h"

inline std::vector<std::string> plain(const std::vector<std::vector<poectl::cell>>& lines) {
    std::vector<std::string> list;
    for (const auto& line : lines) {
        list.emplace_back();
        for (const auto& one : line)
            list.back() += one.text;
    }
    return list;
}
