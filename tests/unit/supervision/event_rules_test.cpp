#include "supervision/event_rules.h"

#include <algorithm>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

namespace {

using question = port_change_question;

// --- the rule again, as tables ---

enum class level { port, channels, none };

level level_of(std::uint32_t recorded_type, std::uint8_t new_type) {
    if (recorded_type == 2) return level::channels;
    if (new_type == 2) return level::channels;
    for (const std::uint32_t type : {0U, 1U, 3U}) {
        if (recorded_type == type) return level::port;
    }
    return level::none;
}

struct log_row {
    std::uint32_t recorded;
    std::uint8_t now;
    std::optional<std::uint8_t> logged;
};
const log_row special_port_changes[]{{12, 2, std::nullopt}, {13, 2, 14}, {0, 2, 15}};
const std::uint8_t dark_statuses[]{0, 2, 12, 13};

struct expectation {
    std::vector<port_event> events;
    bool led_changes = false, lit = false, blinking = false;
};

expectation expected_of_port(const question& q) {
    expectation e;
    const bool changed = q.recorded_status != q.new_status;
    if (!q.start_up_pass && !changed) return e;
    if (q.start_up_pass) {
        e.events = {{trap_kind::port, q.new_status}};
    } else if (q.reporting) {
        std::optional<std::uint8_t> logged = q.new_status;
        for (const log_row& row : special_port_changes) {
            if (row.recorded == q.recorded_status && row.now == q.new_status) logged = row.logged;
        }
        if (logged) e.events = {{trap_kind::port, *logged}};
    }
    e.led_changes = true;
    e.lit = std::find(std::begin(dark_statuses), std::end(dark_statuses), q.new_status) == std::end(dark_statuses);
    return e;
}

expectation expected_of_channels(const question& q) {
    expectation e;
    for (std::size_t i = 0; i < 2; i++) {
        const auto kind = static_cast<trap_kind>(i + 1);
        const bool changed = q.recorded_channel_status[i] != q.new_channel_status[i];
        const bool silent = q.recorded_channel_status[i] == 12 && q.new_channel_status[i] == 2;
        if (q.start_up_pass || (q.reporting && changed && !silent)) e.events.push_back({kind, q.new_channel_status[i]});
        if (q.start_up_pass || changed) e.led_changes = true;
    }
    if (!e.led_changes) return e;
    e.lit = true;
    e.blinking = q.new_channel_sub_status[0] == 1 || q.new_channel_sub_status[1] == 1;
    return e;
}

bool agrees(const question& q) {
    expectation e;
    switch (level_of(q.recorded_type, q.new_type)) {
        case level::port:
            e = expected_of_port(q);
            break;
        case level::channels:
            e = expected_of_channels(q);
            break;
        case level::none:
            break;
    }
    const port_change_answer answer = decide_port_change(q);
    return answer.event_count == e.events.size() &&
           std::equal(e.events.begin(), e.events.end(), answer.event.begin()) && answer.led_changes == e.led_changes &&
           answer.led_lit == e.lit && answer.led_blinking == e.blinking;
}

testing::Message shown(const question& q) {
    return testing::Message() << "start-up pass " << q.start_up_pass << " reporting " << q.reporting << " types "
                              << q.recorded_type << ">" << +q.new_type << " port " << q.recorded_status << ">"
                              << +q.new_status << " A " << q.recorded_channel_status[0] << ">"
                              << +q.new_channel_status[0] << " B " << q.recorded_channel_status[1] << ">"
                              << +q.new_channel_status[1] << " subs " << +q.new_channel_sub_status[0] << ","
                              << +q.new_channel_sub_status[1];
}

struct stage {
    bool start_up_pass, reporting;
};
constexpr stage stages[]{{false, false}, {true, false}, {false, true}};
constexpr std::uint32_t recorded_types[]{0, 1, 2, 3, 4, 256};
constexpr std::uint8_t new_types[]{0, 1, 2, 3, 4, 255};

std::uint8_t byte(int value) {
    return static_cast<std::uint8_t>(value);
}

// --- the product against the tables ---

TEST(port_change, follows_the_rule_for_every_pair_of_port_statuses) {
    for (const stage now : stages) {
        for (const std::uint32_t recorded_type : recorded_types) {
            for (const std::uint8_t new_type : new_types) {
                for (int statuses = 0; statuses < 1 << 16; statuses++) {
                    question q{};
                    q.start_up_pass = now.start_up_pass;
                    q.reporting = now.reporting;
                    q.recorded_type = recorded_type;
                    q.new_type = new_type;
                    q.recorded_status = byte(statuses >> 8);
                    q.new_status = byte(statuses & 0xFF);
                    if (!agrees(q)) FAIL() << shown(q);
                }
            }
        }
    }
}

TEST(port_change, follows_the_rule_for_channel_statuses_and_sub_statuses) {
    constexpr std::uint8_t statuses[]{0, 1, 2, 12, 13};
    constexpr std::uint8_t sub_statuses[]{0, 1, 255};
    const auto all_channels = [&](question q) {
        for (const auto old_a : statuses) {
            for (const auto new_a : statuses) {
                for (const auto old_b : statuses) {
                    for (const auto new_b : statuses) {
                        for (const auto sub_a : sub_statuses) {
                            for (const auto sub_b : sub_statuses) {
                                q.recorded_channel_status = {old_a, old_b};
                                q.new_channel_status = {new_a, new_b};
                                q.new_channel_sub_status = {sub_a, sub_b};
                                if (!agrees(q)) return testing::AssertionFailure() << shown(q).GetString();
                            }
                        }
                    }
                }
            }
        }
        return testing::AssertionSuccess();
    };
    for (const stage now : stages) {
        for (const std::uint32_t recorded_type : recorded_types) {
            for (const std::uint8_t new_type : new_types) {
                for (const std::uint8_t new_status : std::initializer_list<std::uint8_t>{1, 2}) {
                    question q{};
                    q.start_up_pass = now.start_up_pass;
                    q.reporting = now.reporting;
                    q.recorded_type = recorded_type;
                    q.new_type = new_type;
                    q.recorded_status = 1;
                    q.new_status = new_status;
                    ASSERT_TRUE(all_channels(q));
                }
            }
        }
    }
}

TEST(port_change, compares_the_whole_recorded_status) {
    question q{};
    q.recorded_status = 256;
    q.new_status = 0;
    EXPECT_TRUE(decide_port_change(q).led_changes);
}

TEST(start_up_trap_gate, begins_at_port_0_ends_at_the_next_port_0_and_is_closed_to_ports_before_it_began) {
    EXPECT_EQ(start_up_trap_gate(0, false), start_up_gate::begins);
    EXPECT_EQ(start_up_trap_gate(0, true), start_up_gate::ends);
    for (std::uint8_t port = 1; port < 4; port++) {
        EXPECT_EQ(start_up_trap_gate(port, false), start_up_gate::closed);
        EXPECT_EQ(start_up_trap_gate(port, true), start_up_gate::open);
    }
}

}  // namespace
