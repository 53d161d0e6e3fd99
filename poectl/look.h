// How what is shown looks: its format, and what the place that it is shown in can do. Plain data.
#pragma once

#include <cstddef>
#include <cstdint>

namespace poectl {

enum class output_format : std::uint8_t { table, json, jsonl, csv, kv };

enum class colour_choice : std::uint8_t { automatic, always, never };

struct look {
    output_format format = output_format::table;
    bool terminal = false;  // a terminal gets plots where a file or a pipe gets columns
    bool colour = false;
    std::size_t width = 0;  // columns that a table may take; 0 = as many as it likes
};

}  // namespace poectl
