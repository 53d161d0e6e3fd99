// What a command shows, as text: one renderer a format. Pure.
//
// In the formats json, jsonl and kv a failure is told there too, so that who reads standard output only learns of it;
// a table and csv have no place for it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "poectl/look.h"
#include "poectl/picture.h"

namespace poectl {

// Goes up when a key changes its meaning or goes away.
inline constexpr int schema_version = 1;

struct report {
    std::string_view command;  // its name, such as "port show"; empty where nobody knows which one was meant
    const picture& seen;
    std::optional<problem> error;
};

std::string rendered(const report& what, const look& how);

// --- one a format ---

std::string as_table(const picture& seen, const look& how);
std::string as_json(const report& what);
std::string as_json_lines(const report& what);
std::string as_csv(const report& what);
std::string as_key_values(const report& what);

// The document that json and kv show, and the lines of jsonl.
facts document_of(const report& what);
std::vector<facts> lines_of(const report& what);

// JSON on one line; bytes that are no UTF-8 are replaced.
std::string compact(const facts& value);

// Everything that is neither an object nor a list, with the keys that lead there joined by dots. What a list holds is
// named by its port, pair set, check or code, by its setting, or by both, and by its place, from 1, when it has none.
std::vector<std::pair<std::string, facts>> flattened(const facts& value);

}  // namespace poectl
