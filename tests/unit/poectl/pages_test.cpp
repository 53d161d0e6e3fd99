#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "poe_client/codec.h"
#include "poectl/page_parts.h"
#include "shown.h"
#include "vectors/vectors.h"

namespace {

using namespace poectl;
using testing::HasSubstr;
using testing::Not;

whole_reading everything() {
    const auto status = poe_client::decode_whole_status(message_bytes("whole_status")).value;
    const auto settings = poe_client::decode_all_port_settings(message_bytes("all_port_settings")).value;
    whole_reading all{};
    all.system = {status.system, poe_client::decode_system_settings(message_bytes("system_settings")).value};
    for (std::size_t port = 0; port < 4; port++)
        all.ports[port] = {status.port[port], settings[port], port == 1, port == 1 ? 5U : 0U};
    return all;
}

std::string status_page(const whole_reading& all, bool why = false) {
    picture seen;
    depict_status(all, why, seen);
    return page(seen);
}

port_reading port_3() {
    return {poe_client::decode_port_status(message_bytes("port_2_status"), 2).value,
            poe_client::decode_port_settings(message_bytes("port_3_settings"), 3).value, false, 0};
}

std::string port_page(const port_reading& port, bool why = false) {
    picture seen;
    depict_port(port, why, seen);
    return page(seen);
}

TEST(status_page, shows_system_and_ports_1_to_4_with_interfaces_and_units) {
    EXPECT_EQ(
        status_page(everything()),
        "PoE enabled: 5.3 W of 300.0 W used, 294.7 W left; controller 41.0 C\n"
        "Usage alarm at 95 % of the budget: not raised\n"
        "\n"
        "PORT  INTERFACE  ENABLED  STATUS          CLASS  POWER W  LIMIT W  VOLTAGE V  CURRENT mA  TEMPERATURE C  "
        "PRIORITY  SCHEDULE\n"
        "   1  lan1       yes      disabled (0)        -      0.0     90.0        0.0           0            0.0  "
        "low       -\n"
        "   2  lan2       yes      delivering (1)      3      5.3      1.0       53.2         100            1.0  "
        "critical  -\n"
        "   3  lan3       yes      auto-off (13)       -      0.0     30.0        0.0           0            0.0  "
        "high      -\n"
        "   4  lan4       no       overload (3)        -      0.0     60.1        0.0           0            0.0  "
        "low       off period\n"
        "\n"
        "Port 2 (lan2) is being power-cycled: on again in 5 s.\n");
}

TEST(status_page, raises_its_voice_when_the_alarm_is_raised) {
    auto all = everything();
    all.system.status.alarm_raised = true;
    all.system.settings.enable = 0;
    EXPECT_THAT(status_page(all), HasSubstr("PoE disabled: "));
    EXPECT_THAT(status_page(all), HasSubstr("Usage alarm RAISED at 95 % of the budget\n"));
}

TEST(status_page, shows_nothing_measured_before_the_first_reading) {
    auto all = everything();
    all.ports[1].status.status = 11;
    all.system.status.temperature_mc = 0;
    EXPECT_THAT(status_page(all),
                HasSubstr("   2  lan2       yes      not-read-yet (11)      -        -      1.0          "
                          "-           -              -  critical  -\n"));
    EXPECT_THAT(status_page(all), HasSubstr("; controller temperature unknown\n"));
}

TEST(status_page, explains_each_status_once_when_it_is_asked_why) {
    auto all = everything();
    all.ports[2].status.status = 0;
    EXPECT_THAT(status_page(all), Not(HasSubstr("means")));
    const auto text = status_page(all, true);
    EXPECT_THAT(text, HasSubstr("\n\noverload (3):\n"
                                "  means  The controller cut the power because the device drew more than it may.\n"
                                "  cause  The device needs more than"));
    EXPECT_THAT(text, HasSubstr("\n  to do  Compare the device's need with the port's power limit"));
    EXPECT_EQ(text.find("disabled (0):"), text.rfind("disabled (0):"));
}

TEST(port_page, shows_settings_measurements_both_pair_sets_and_events) {
    const auto text = port_page(port_3());
    EXPECT_THAT(text, HasSubstr("Port 3 (lan3): delivering (1)\n"));
    EXPECT_THAT(text, HasSubstr("  power limit           15.4 W\n"));
    EXPECT_THAT(text, HasSubstr("  priority              high\n"));
    EXPECT_THAT(
        text,
        HasSubstr(
            "  mode                  90w-no-detection (4): up to 90 W, within the limit, whatever is plugged in\n"));
    EXPECT_THAT(text, HasSubstr("  off in a power-cycle  10 s\n"));
    EXPECT_THAT(text, HasSubstr("  power                   12.5 W\n"));
    EXPECT_THAT(text, HasSubstr("  voltage                 53.2 V\n"));
    EXPECT_THAT(text, HasSubstr("  current                 235 mA\n"));
    EXPECT_THAT(text, HasSubstr("  temperature             41.0 C\n"));
    EXPECT_THAT(text,
                HasSubstr("PAIR SET  STATUS          CLASS  POWER W  VOLTAGE V  CURRENT mA  ERROR  SUB-STATUS\n"
                          "A         delivering (1)      4      8.0       53.2         150      -           1\n"
                          "B         fault-8 (8)         -      0.0        0.0           0      5           -\n"));
    EXPECT_THAT(text, HasSubstr("Since the daemon started\n"
                                "  overloads               1\n"
                                "  short circuits          2\n"
                                "  power denials           3\n"
                                "  disconnections          4\n"
                                "  bad signatures          5\n"));
}

TEST(port_page, shows_nothing_measured_before_the_first_reading) {
    auto port = port_3();
    port.status.status = 11;
    const auto text = port_page(port);
    EXPECT_THAT(text, HasSubstr("  power                   -\n"));
    EXPECT_THAT(text, HasSubstr("  current                 -\n"));
    EXPECT_THAT(text,
                HasSubstr("A         delivering (1)      4        -          -           -      -           1\n"));
}

TEST(port_page, explains_the_port_and_its_pair_sets_when_it_is_asked_why) {
    const auto text = port_page(port_3(), true);
    EXPECT_THAT(text, HasSubstr("\ndelivering (1):\n"));
    EXPECT_THAT(text, HasSubstr("\nfault-8 (8):\n"));
}

TEST(port_page, says_when_the_port_obeys_a_schedule_and_when_it_is_on_again) {
    auto port = port_3();
    port.settings.schedule_enable = 1;
    port.status.schedule_on = 0;
    port.cycle_pending = true;
    port.on_again_s = 7;
    EXPECT_THAT(port_page(port), HasSubstr("  schedule              obeyed, in an off period\n"));
    EXPECT_THAT(port_page(port), HasSubstr(" is being power-cycled: on again in 7 s.\n"));
}

TEST(small_pages, show_system_bank_counters_and_schedules) {
    picture system, bank, counters, schedule;
    depict_system(everything().system, system);
    EXPECT_THAT(page(system), HasSubstr("PoE                     enabled\n"));
    EXPECT_THAT(page(system), HasSubstr("budget                  300.0 W\n"));
    EXPECT_THAT(page(system), HasSubstr("usage alarm at          95 % of the budget\n"));
    EXPECT_THAT(page(system), HasSubstr("parameter 2             1\n"));
    EXPECT_THAT(page(system), HasSubstr("parameter 5             -1\n"));
    depict_bank({300, 7}, bank);
    EXPECT_EQ(page(bank), "bank limit    300 W\nsecond value  7 (kept for other programs)\n");
    depict_counters(poe_client::decode_communication_counters(message_bytes("communication_counters")).value, 3,
                    counters);
    EXPECT_EQ(page(counters),
              "COUNTER                                 COUNT  MEANING\n"
              "total                              4294967297  transactions begun\n"
              "rx_retry                                    2  attempts without an answer\n"
              "rx_timeout                                  3  transactions given up\n"
              "rx_chksum_error                             4  answers with a wrong checksum\n"
              "tx_correctly_executed                       5  answers without an error report\n"
              "tx_chksum_error                             6  the controller saw a wrong checksum\n"
              "tx_subject_byte_conflict                    0  always 0\n"
              "tx_wrong_data_byte_value                    0  always 0\n"
              "undefined_key_value       9223372036854775817  the controller did not know the command\n"
              "\n"
              "Most changes that ever waited at once: 3\n");
    depict_schedule(poe_client::decode_whole_status(message_bytes("whole_status")).value.port, schedule);
    EXPECT_THAT(page(schedule), HasSubstr("PORT  INTERFACE  OBEYS  PERIOD\n   1  lan1       no     "));
    EXPECT_THAT(page(schedule), HasSubstr("   4  lan4       yes    off\n"));
}

TEST(pages_of_measurements, say_above_all_else_that_the_controller_is_silent) {
    const auto all = everything();
    const std::string line = "The controller does not answer poe_drv: what follows is what it told last.\n\n";
    const auto beside = [&](verb which, auto depict) {
        for (const bool answers : {true, false}) {
            picture seen = empty_picture(entry_of(which).shape);
            depict(seen, answers);
            EXPECT_EQ(document(which, seen)["controller"], facts({{"answers", answers}}));
            EXPECT_EQ(page(seen).starts_with(line), !answers) << page(seen);
            EXPECT_EQ(seen.caution, answers ? "" : "the controller does not answer poe_drv; all that is told is old");
        }
    };
    beside(verb::status, [&](picture& seen, bool answers) { depict_status(all, true, seen, answers); });
    beside(verb::port_show, [&](picture& seen, bool answers) { depict_port(port_3(), true, seen, answers); });
    beside(verb::system_show, [&](picture& seen, bool answers) { depict_system(all.system, seen, answers); });
}

TEST(shade_of_a_status, is_good_while_power_flows_and_bad_at_every_fault) {
    for (unsigned status = 0; status < 20; status++) {
        const bool fault = (status >= 3 && status <= 8) || status == 10 || status > 15;
        EXPECT_EQ(tone_of_status(status) == tone::bad, fault) << status;
        EXPECT_EQ(tone_of_status(status) == tone::good, status == 1) << status;
        EXPECT_EQ(tone_of_status(status) == tone::attention, status == 9 || status == 13) << status;
    }
}

TEST(class_of_a_device, is_known_only_while_power_is_delivered) {
    for (unsigned status = 0; status < 20; status++) {
        for (unsigned detected = 0; detected < 256; detected++) {
            const auto known = known_class(status, static_cast<std::uint8_t>(detected));
            EXPECT_EQ(known.has_value(), status == 1 && detected != 255);
            if (known) {
                EXPECT_EQ(*known, detected);
            }
        }
    }
}

}  // namespace
