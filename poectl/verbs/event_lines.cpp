#include "poectl/verbs/event_lines.h"

#include <chrono>

#include "poectl/render.h"

namespace poectl {

namespace {

std::string two_digits(std::int64_t value) {
    return (value < 10 ? "0" : "") + std::to_string(value);
}

struct date_and_time {
    std::string date, time;
    std::int64_t ms;
};

date_and_time split(std::int64_t time_ms) {
    using namespace std::chrono;
    const sys_time<milliseconds> when{milliseconds(time_ms)};
    const auto day = floor<days>(when);
    const year_month_day date{day};
    const hh_mm_ss clock{when - day};
    return {.date = std::to_string(int{date.year()}) + "-" + two_digits(unsigned{date.month()}) + "-" +
                    two_digits(unsigned{date.day()}),
            .time = two_digits(clock.hours().count()) + ":" + two_digits(clock.minutes().count()) + ":" +
                    two_digits(clock.seconds().count()),
            .ms = clock.subseconds().count()};
}

facts line_of(const event& told, std::uint64_t sequence, const moment& when) {
    facts line{{"schema_version", schema_version},
               {"command", "watch"},
               {"record", name_of(told.kind)},
               {"sequence", sequence},
               {"time", utc_text(when.time_ms)}};
    line.update(told.details);
    return line;
}

std::string plain_words(const event& told) {
    std::string text;
    for (const auto& one : told.words)
        text += one.text;
    return text;
}

std::string text_line(const event& told, const moment& when, const look& how) {
    constexpr std::int64_t ms_a_s = 1000;
    const auto local = split(when.time_ms + when.zone_s * ms_a_s);
    block line;
    line.rows.push_back({local.date + " " + local.time + "  "});
    line.rows.back().insert(line.rows.back().end(), told.words.begin(), told.words.end());
    picture page;
    page.page.push_back(std::move(line));
    return as_table(page, {.format = output_format::table, .terminal = how.terminal, .colour = how.colour});
}

// The columns of all kinds; what a kind does not have stays empty.
std::string csv_lines(const event& told, std::uint64_t sequence, const moment& when) {
    const facts& details = told.details;
    const auto field = [&details](const char* key) { return details.contains(key) ? details[key] : facts(nullptr); };
    const auto value = [&field](const char* plain, const char* in_mw) {
        const facts one = field(plain);
        return one.is_object() ? one["name"] : one.is_null() ? field(in_mw) : one;
    };
    facts columns{{"sequence", sequence},          {"time", utc_text(when.time_ms)},  {"event", name_of(told.kind)},
                  {"port", field("port")},         {"interface", field("interface")}, {"pair_set", field("pair_set")},
                  {"was", value("was", "was_mw")}, {"is", value("is", "is_mw")},      {"text", plain_words(told)}};
    constexpr section_shape shape{.key = "events", .record = "event", .is_list = true};
    picture table;
    table.sections.push_back({.shape = shape, .items = {std::move(columns)}});
    const std::string text = as_csv({.command = "watch", .seen = table, .error = {}});
    return sequence == 1 ? text : text.substr(text.find('\n') + 1);
}

std::string key_values(const facts& line) {
    std::string text;
    for (const auto& [key, value] : flattened(line))
        text += key + "=" +
                (value.is_null()     ? ""
                 : value.is_string() ? value.get<std::string>()
                                     : compact(value)) +
                "\n";
    return text + "\n";
}

}  // namespace

std::string utc_text(std::int64_t time_ms) {
    const auto when = split(time_ms);
    const std::string ms = std::to_string(when.ms);
    return when.date + "T" + when.time + "." + std::string(3 - ms.size(), '0') + ms + "Z";
}

std::string event_text(const event& told, std::uint64_t sequence, const moment& when, const look& how) {
    switch (how.format) {
        case output_format::json:
        case output_format::jsonl:
            return compact(line_of(told, sequence, when)) + "\n";
        case output_format::csv:
            return csv_lines(told, sequence, when);
        case output_format::kv:
            return key_values(line_of(told, sequence, when));
        case output_format::table:
            break;
    }
    return text_line(told, when, how);
}

}  // namespace poectl
