#include <limits>

#include <gtest/gtest.h>

#include "poe_client/codec.h"
#include "shown.h"
#include "vectors/vectors.h"

namespace {

using namespace poectl;
using nlohmann::json;

json of_port_energy(const poe_client::port_energy& port) {
    picture seen = empty_picture(entry_of(verb::energy_port).shape);
    depict_port_energy(port, seen);
    return document(verb::energy_port, seen);
}

json of_energy(bool kept, const poe_client::energy_summary& summary) {
    picture seen = empty_picture(entry_of(verb::energy_show).shape);
    depict_energy(kept, summary, seen);
    return document(verb::energy_show, seen);
}

json of_status(const whole_reading& all, bool why) {
    picture seen = empty_picture(entry_of(verb::status).shape);
    depict_status(all, why, seen);
    return document(verb::status, seen);
}

std::string keys_of(const json& value) {
    const json flat = value.flatten();
    std::string list;
    for (const auto& [key, ignored] : flat.items())
        list += key + "\n";
    return list;
}

TEST(energy_facts, of_a_port_have_every_slot_of_three_rings) {
    const auto seen = of_port_energy(poe_client::decode_port_energy(message_bytes("port_1_energy"), 1).value);
    EXPECT_EQ(seen["port"], json::parse(R"({"port": 2, "interface": "lan2", "powered_s": 3600, "energy_mwh": 12500})"));
    const auto& slots = seen["slots"];
    ASSERT_EQ(slots.size(), 60U + 48U + 84U);
    EXPECT_EQ(slots[0], json::parse(R"({"ring": "minutes", "period_s": 60, "time_s": 1700000000, "uptime_s": 60,
        "average_mw": 1500})"));
    EXPECT_EQ(slots[60], json::parse(R"({"ring": "half_hours", "period_s": 1800, "time_s": 1700000001,
        "uptime_s": 1800, "average_mw": 2500})"));
    EXPECT_EQ(slots[108 + 83]["ring"], "two_hours");
    EXPECT_EQ(slots[108 + 83]["period_s"], 7200);
    EXPECT_EQ(slots[108 + 83]["time_s"], 0x16553F102 + 83 * 7200);
}

TEST(energy_facts, of_a_port_have_null_for_what_is_unknown) {
    const auto slots = of_port_energy({})["slots"];
    ASSERT_EQ(slots.size(), 60U + 48U + 84U);
    EXPECT_EQ(slots[59], json::parse(R"({"ring": "minutes", "period_s": 60, "time_s": null, "uptime_s": null,
        "average_mw": null})"));
}

TEST(energy_facts, have_null_for_figures_that_are_no_numbers) {
    poe_client::energy_summary summary{};
    summary.totals.energy_wh = std::numeric_limits<float>::infinity();
    summary.totals.minutes = {true, std::numeric_limits<float>::quiet_NaN()};
    const auto totals = of_energy(false, summary)["energy"];
    EXPECT_TRUE(totals["energy_mwh"].is_null());
    EXPECT_TRUE(totals["averages"]["hour_mw"].is_null());
}

TEST(energy_facts, have_the_same_keys_whether_averages_are_known_or_not) {
    EXPECT_EQ(keys_of(of_energy(false, {})),
              keys_of(of_energy(true, poe_client::decode_energy_summary(message_bytes("energy_summary")).value)));
}

TEST(port_facts, that_are_measured_are_null_before_the_first_reading) {
    whole_reading all{};
    for (std::uint8_t port = 0; port < 4; port++)
        all.ports[port].status.port = port;
    all.ports[1].status.status = 11;
    const auto ports = of_status(all, false)["ports"];
    for (const char* key : {"power_mw", "voltage_mv", "current_ma", "temperature_mc"}) {
        EXPECT_TRUE(ports[1][key].is_null()) << key;
        EXPECT_EQ(ports[0][key], 0) << key;
    }
    for (const auto& pair_set : ports[1]["pair_sets"])
        EXPECT_TRUE(pair_set["power_mw"].is_null() && pair_set["voltage_mv"].is_null());
    EXPECT_EQ(keys_of(ports[0]), keys_of(ports[1]));
}

TEST(port_facts, name_what_was_counted_since_the_daemon_started) {
    picture seen = empty_picture(entry_of(verb::port_show).shape);
    depict_port({poe_client::decode_port_status(message_bytes("port_2_status"), 2).value, {}, false, 0}, false, seen);
    EXPECT_EQ(json(document(verb::port_show, seen)["ports"][0]["event_totals"]),
              json::parse(R"({"overloads": 1, "short_circuits": 2, "power_denials": 3, "disconnections": 4,
                              "bad_signatures": 5})"));
}

TEST(system_facts, have_null_for_a_temperature_that_could_not_be_read) {
    whole_reading all{};
    EXPECT_TRUE(of_status(all, false)["system"]["temperature_mc"].is_null());
    all.system.status.temperature_mc = -1500;
    EXPECT_EQ(of_status(all, false)["system"]["temperature_mc"], -1500);
}

TEST(explanations, are_an_array_whether_they_are_asked_for_or_not) {
    whole_reading all{};
    all.ports[2].status.status = 77;
    EXPECT_EQ(of_status(all, false)["explanations"], json::array());
    const auto explained = of_status(all, true)["explanations"];
    ASSERT_EQ(explained.size(), 2U);
    EXPECT_EQ(explained[0]["name"], "disabled");
    EXPECT_EQ(explained[1]["code"], 77);
    EXPECT_EQ(explained[1]["name"], "unknown");
    for (const char* key : {"meaning", "cause", "remedy"})
        EXPECT_GT(explained[1][key].get<std::string>().size(), 10U);
}

}  // namespace
