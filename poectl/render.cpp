#include "poectl/render.h"

#include <array>

namespace poectl {

namespace {

facts command_facts(const report& what) {
    return what.command.empty() ? facts(nullptr) : facts(what.command);
}

facts error_facts(const std::optional<problem>& error) {
    if (!error) return nullptr;
    return {{"name", exit_statuses[static_cast<std::size_t>(error->exit_status)].name},
            {"exit_status", error->exit_status},
            {"message", error->what},
            {"reason", error->why},
            {"advice", error->advice}};
}

constexpr std::array<std::string_view, 4> names_of_items{"port", "pair_set", "check", "code"};

std::string name_of_item(const facts& item, std::size_t place) {
    if (!item.is_object()) return std::to_string(place + 1);
    const auto setting = item.find("setting");
    const std::string of_what = setting == item.end() ? "" : setting->get<std::string>();
    for (const auto key : names_of_items) {
        const auto found = item.find(key);
        if (found == item.end() || found->is_null()) continue;
        return (found->is_string() ? found->get<std::string>() : compact(*found)) +
               (of_what.empty() ? "" : "." + of_what);
    }
    return of_what.empty() ? std::to_string(place + 1) : of_what;
}

void flatten_into(std::vector<std::pair<std::string, facts>>& list, const std::string& key, const facts& value) {
    const std::string prefix = key.empty() ? "" : key + ".";
    if (value.is_object()) {
        for (const auto& [name, inside] : value.items())
            flatten_into(list, prefix + name, inside);
    } else if (value.is_array()) {
        for (std::size_t i = 0; i < value.size(); i++)
            flatten_into(list, prefix + name_of_item(value[i], i), value[i]);
    } else {
        list.emplace_back(key, value);
    }
}

}  // namespace

std::string compact(const facts& value) {
    return value.dump(-1, ' ', false, facts::error_handler_t::replace);
}

std::vector<std::pair<std::string, facts>> flattened(const facts& value) {
    std::vector<std::pair<std::string, facts>> list;
    flatten_into(list, "", value);
    return list;
}

facts document_of(const report& what) {
    facts whole{
        {"schema_version", schema_version}, {"command", command_facts(what)}, {"error", error_facts(what.error)}};
    for (const auto& [shape, items] : what.seen.sections) {
        auto& place = whole[std::string(shape.key)];
        if (shape.is_list) {
            place = facts::array();
            for (const auto& item : items)
                place.push_back(item);
        } else if (!items.empty()) {
            place = items.front();
        }
    }
    return whole;
}

std::vector<facts> lines_of(const report& what) {
    std::vector<facts> lines;
    const auto add = [&](std::string_view record, const facts& item) {
        facts line{{"schema_version", schema_version}, {"command", command_facts(what)}, {"record", record}};
        line.update(item);
        lines.push_back(std::move(line));
    };
    if (what.error) add("error", error_facts(what.error));
    for (const auto& [shape, items] : what.seen.sections) {
        for (const auto& item : items)
            add(shape.record, item);
    }
    return lines;
}

std::string rendered(const report& what, const look& how) {
    if (!what.seen.verbatim.empty()) return what.seen.verbatim;
    switch (how.format) {
        case output_format::json:
            return as_json(what);
        case output_format::jsonl:
            return as_json_lines(what);
        case output_format::csv:
            return as_csv(what);
        case output_format::kv:
            return as_key_values(what);
        case output_format::table:
            break;
    }
    return as_table(what.seen, how);
}

}  // namespace poectl
