#include "supervision/translation.h"

#include <functional>
#include <vector>

#include <gtest/gtest.h>

namespace {

using question = translation_question;

// The rule again, as rows: of the rows whose state fits, the first whose condition holds decides.
constexpr int same = -1;     // the controller's code stays
constexpr int nothing = -2;  // no event, the recorded status stands

using condition = bool (*)(const question&);

struct rule_row {
    int first_state, last_state;
    condition holds;
    int status;
    bool keeps = false;
    bool off_if_linked = false;
};

bool always(const question&) {
    return true;
}

const rule_row rows[]{
    // S       condition                                                                            status
    {0, 0, [](const question& q) { return q.auto_off; }, 13},
    {0, 0, always, 0},

    {4, 4, [](const question& q) { return q.denied_event && q.error_code != 5 && q.error_code != 14; }, 4},

    {0, 255, [](const question& q) { return q.gone_event && !q.is_channel; }, 2},
    {4, 4, [](const question& q) { return q.gone_event && q.is_channel; }, 2},
    {6, 6, [](const question& q) { return q.gone_event && q.is_channel; }, 2},
    {0, 255, [](const question& q) { return q.overload_event && !q.is_channel; }, 3},
    {4, 4, [](const question& q) { return q.overload_event && q.is_channel; }, 3},
    {6, 6, [](const question& q) { return q.overload_event && q.is_channel; }, 3},
    {0, 255, [](const question& q) { return q.short_event && !q.is_channel; }, 5},
    {4, 4, [](const question& q) { return q.short_event && q.is_channel; }, 5},
    {6, 6, [](const question& q) { return q.short_event && q.is_channel; }, 5},

    {1, 1, [](const question& q) { return q.sub_status == 6; }, 2},
    {1, 1, [](const question& q) { return q.sub_status == 4; }, 1},
    {1, 1, [](const question& q) { return q.is_channel && q.port_type == 2; }, 12},
    {1, 1, [](const question& q) { return q.is_channel && q.port_type != 2; }, 2},
    {1, 1, [](const question& q) { return !q.is_channel && q.port_type == 2; }, 2},
    {1, 1, [](const question& q) { return !q.is_channel && q.port_type != 2; }, 12, false, true},

    {2, 2, always, 1, true},
    {3, 3, always, 3},

    {4, 4, [](const question& q) { return q.error_code == 0; }, 6},
    {4, 4, [](const question& q) { return q.error_code == 2; }, 5},
    {4, 4, [](const question& q) { return q.error_code == 3; }, 3},
    {4, 4, [](const question& q) { return q.error_code == 4; }, 4},
    {4, 4, [](const question& q) { return q.error_code == 5; }, 8},
    {4, 4, [](const question& q) { return q.error_code == 14; }, 8},
    {4, 4, [](const question& q) { return q.error_code == 6; }, 10},
    {4, 4, [](const question& q) { return q.error_code == 7; }, 7},
    {4, 4, always, nothing},

    {5, 5, always, 5},
    {6, 6, always, 9},
    {7, 255, always, same},
};

// The rows that can apply to each state, so that tens of millions of cases take a moment.
const std::vector<std::vector<const rule_row*>>& rows_by_state() {
    static const auto table = [] {
        std::vector<std::vector<const rule_row*>> by_state(256);
        for (const rule_row& row : rows) {
            for (int s = row.first_state; s <= row.last_state; s++)
                by_state[static_cast<std::size_t>(s)].push_back(&row);
        }
        return by_state;
    }();
    return table;
}

bool agrees(const question& q) {
    const rule_row* decided = nullptr;
    for (const rule_row* row : rows_by_state()[q.status]) {
        if (row->holds(q)) {
            decided = row;
            break;
        }
    }
    const translation_answer answer = translate_status(q);
    const bool is_event = decided->status != nothing;
    const int status = decided->status == same ? q.status : decided->status;
    return answer.is_event == is_event && (!is_event || answer.status == status) &&
           answer.keeps_measurements == decided->keeps && answer.auto_off_if_linked == decided->off_if_linked &&
           answer.is_disabled == (q.status == 0);
}

testing::Message shown(const question& q) {
    return testing::Message() << "status " << +q.status << " sub-status " << +q.sub_status << " error " << +q.error_code
                              << " type " << +q.port_type << " channel " << q.is_channel << " auto-off " << q.auto_off
                              << " events " << q.gone_event << q.overload_event << q.short_event << " hold "
                              << q.denied_event;
}

std::uint8_t byte(int value) {
    return static_cast<std::uint8_t>(value);
}

// Calls for every combination of the six yes-or-no circumstances.
void for_every_circumstance(question q, const std::function<void(const question&)>& visit) {
    for (int bits = 0; bits < 64; bits++) {
        q.is_channel = (bits & 1) != 0;
        q.auto_off = (bits & 2) != 0;
        q.gone_event = (bits & 4) != 0;
        q.overload_event = (bits & 8) != 0;
        q.short_event = (bits & 16) != 0;
        q.denied_event = (bits & 32) != 0;
        visit(q);
    }
}

TEST(translation, follows_the_rule_for_every_status_and_error_in_every_circumstance) {
    for (int status = 0; status < 256; status++) {
        for (int error = 0; error < 256; error++) {
            for (const std::uint8_t sub_status : std::initializer_list<std::uint8_t>{0, 4, 6, 255}) {
                for (const std::uint8_t type : std::initializer_list<std::uint8_t>{2, 3}) {
                    const question q{
                        .status = byte(status), .sub_status = sub_status, .error_code = byte(error), .port_type = type};
                    bool all = true;
                    for_every_circumstance(q, [&all](const question& each) {
                        if (agrees(each)) return;
                        all = false;
                        ADD_FAILURE() << shown(each);
                    });
                    ASSERT_TRUE(all);
                }
            }
        }
    }
}

TEST(translation, follows_the_rule_for_every_status_error_and_sub_status) {
    for (int codes = 0; codes < 1 << 24; codes++) {
        for (const bool is_channel : {false, true}) {
            question q{};
            q.status = byte(codes & 0xFF);
            q.error_code = byte(codes >> 8 & 0xFF);
            q.sub_status = byte(codes >> 16 & 0xFF);
            q.is_channel = is_channel;
            if (!agrees(q)) FAIL() << shown(q);
        }
    }
}

TEST(translation, follows_the_rule_for_every_port_type_of_a_search) {
    for (int type = 0; type < 256; type++) {
        for (int sub_status = 0; sub_status < 256; sub_status++) {
            const question q{.status = 1, .sub_status = byte(sub_status), .error_code = 255, .port_type = byte(type)};
            for_every_circumstance(q, [](const question& each) {
                if (!agrees(each)) ADD_FAILURE() << shown(each);
            });
        }
    }
}

}  // namespace
