#include "poectl/json.h"

#include <limits>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "poe_client/codec.h"
#include "vectors/vectors.h"

namespace {

using namespace poectl;
using nlohmann::json;

json shown(verb wanted, const picture& seen) {
    command asked;
    asked.verb = wanted;
    return json::parse(as_json(asked, seen));
}

picture of_port_2() {
    picture seen;
    seen.port_energy = poe_client::decode_port_energy(message_bytes("port_1_energy"), 1).value;
    return seen;
}

TEST(energy_json, of_a_port_has_three_rings_with_times) {
    const auto ports = shown(verb::energy_port, of_port_2())["energy"]["ports"];
    ASSERT_EQ(ports.size(), 1U);
    EXPECT_EQ(ports[0]["port"], 2);
    EXPECT_EQ(ports[0]["powered_s"], 3600);
    EXPECT_EQ(ports[0]["energy_mwh"], 12500);
    const auto& rings = ports[0]["rings"];
    EXPECT_EQ(rings.size(), 3U);
    EXPECT_EQ(rings["minutes"]["period_s"], 60);
    EXPECT_EQ(rings["half_hours"]["period_s"], 1800);
    EXPECT_EQ(rings["two_hours"]["period_s"], 7200);
    EXPECT_EQ(rings["minutes"]["slots"][0],
              json::parse(R"({"time_s": 1700000000, "uptime_s": 60, "average_mw": 1500})"));
    EXPECT_EQ(rings["half_hours"]["slots"][0],
              json::parse(R"({"time_s": 1700000001, "uptime_s": 1800, "average_mw": 2500})"));
    EXPECT_EQ(rings["two_hours"]["slots"][83]["time_s"], 0x16553F102 + 83 * 7200);
}

TEST(energy_json, of_a_port_has_every_slot_and_null_for_what_is_unknown) {
    picture empty;
    empty.port_energy = poe_client::port_energy{};
    for (const auto& seen : {of_port_2(), empty}) {
        const auto rings = shown(verb::energy_port, seen)["energy"]["ports"][0]["rings"];
        EXPECT_EQ(rings["minutes"]["slots"].size(), 60U);
        EXPECT_EQ(rings["half_hours"]["slots"].size(), 48U);
        EXPECT_EQ(rings["two_hours"]["slots"].size(), 84U);
        EXPECT_EQ(rings["minutes"]["slots"][59],
                  json::parse(R"({"time_s": null, "uptime_s": null, "average_mw": null})"));
    }
}

TEST(energy_json, has_null_for_figures_that_are_no_numbers) {
    picture seen;
    seen.energy = energy_picture{};
    seen.energy->summary.totals.energy_wh = std::numeric_limits<float>::infinity();
    seen.energy->summary.totals.minutes = {true, std::numeric_limits<float>::quiet_NaN()};
    const auto totals = shown(verb::energy_show, seen)["energy"]["totals"];
    EXPECT_TRUE(totals["energy_mwh"].is_null());
    EXPECT_TRUE(totals["averages"]["hour_mw"].is_null());
}

TEST(energy_json, has_the_same_keys_whether_averages_are_known_or_not) {
    picture empty, full;
    empty.energy = energy_picture{};
    full.energy = energy_picture{true, poe_client::decode_energy_summary(message_bytes("energy_summary")).value};
    const auto keys = [](const json& value) {
        const json flat = value.flatten();
        std::string list;
        for (const auto& [key, ignored] : flat.items())
            list += key + "\n";
        return list;
    };
    EXPECT_EQ(keys(shown(verb::energy_show, empty)), keys(shown(verb::energy_show, full)));
}

}  // namespace
