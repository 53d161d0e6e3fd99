#include "poectl/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "poe_client/codec.h"
#include "vectors/vectors.h"

namespace {

using namespace poectl;
using testing::HasSubstr;

picture whole_picture() {
    const auto status = poe_client::decode_whole_status(message_bytes("whole_status")).value;
    const auto settings = poe_client::decode_all_port_settings(message_bytes("all_port_settings")).value;
    picture seen;
    seen.system =
        system_picture{status.system, poe_client::decode_system_settings(message_bytes("system_settings")).value};
    for (std::size_t port = 0; port < 4; port++) {
        seen.ports.push_back({status.port[port], settings[port], port == 1, port == 1 ? 5U : 0U});
    }
    return seen;
}

command asking(verb wanted) {
    command asked;
    asked.verb = wanted;
    return asked;
}

TEST(table, has_columns_as_wide_as_their_widest_cell_and_numbers_to_the_right) {
    EXPECT_EQ(table({{"NAME", "N", "WORD"}, {"a", "100", "x"}, {"longer", "7.5", ""}}),
              "NAME    N    WORD\n"
              "a       100  x\n"
              "longer  7.5\n");
    EXPECT_EQ(table({{"WATTS"}, {"7.5"}, {"-"}, {"-12.5"}}), "WATTS\n  7.5\n    -\n-12.5\n");
    EXPECT_EQ(table({{"POWERED"}, {"1:02:03"}, {"10:00"}}), "POWERED\n1:02:03\n  10:00\n");
    EXPECT_EQ(table({}), "");
}

TEST(status_text, shows_system_and_ports_1_to_4_with_units) {
    EXPECT_EQ(
        as_text(asking(verb::status), whole_picture()),
        "PoE on: 5.3 W of 300.0 W used, 294.7 W left; controller 41.0 C; usage alarm at 95 %, not raised\n"
        "\n"
        "PORT  ENABLED  STATUS        CLASS  POWER W  LIMIT W  VOLTAGE V  CURRENT mA  TEMPERATURE C  PRIORITY  "
        "SCHEDULE\n"
        "   1  on       0 disabled        -      0.0     90.0        0.0           0            0.0  low       none\n"
        "   2  on       1 delivering      3      5.3      1.0       53.2         100            1.0  critical  none\n"
        "   3  on       13 auto-off       -      0.0     30.0        0.0           0            0.0  high      none\n"
        "   4  off      3 overload        -      0.0     60.1        0.0           0            0.0  low       off "
        "period\n"
        "Port 2 is being power-cycled: on again in 5 s.\n");
}

TEST(status_text, raises_its_voice_when_the_alarm_is_raised) {
    auto seen = whole_picture();
    seen.system->status.alarm_raised = true;
    seen.system->settings.enable = 0;
    EXPECT_THAT(as_text(asking(verb::status), seen), HasSubstr("PoE off: "));
    EXPECT_THAT(as_text(asking(verb::status), seen), HasSubstr("usage alarm at 95 % RAISED\n"));
}

TEST(port_text, shows_settings_measurements_and_both_pair_sets) {
    picture seen;
    seen.ports.push_back({poe_client::decode_port_status(message_bytes("port_2_status"), 2).value,
                          poe_client::decode_port_settings(message_bytes("port_3_settings"), 3).value, false, 0});
    const auto text = as_text(asking(verb::port_show), seen);
    EXPECT_THAT(text, HasSubstr("Port 3: status 1 delivering\n"));
    EXPECT_THAT(text, HasSubstr("power limit                 15.4 W\n"));
    EXPECT_THAT(text, HasSubstr("priority                    high\n"));
    EXPECT_THAT(text, HasSubstr("mode                        4\n"));
    EXPECT_THAT(text, HasSubstr("off in a power-cycle        10 s\n"));
    EXPECT_THAT(text, HasSubstr("power                       12.5 W\n"));
    EXPECT_THAT(text, HasSubstr("voltage                     53.2 V\n"));
    EXPECT_THAT(text, HasSubstr("current                     235 mA\n"));
    EXPECT_THAT(text, HasSubstr("temperature                 41.0 C\n"));
    EXPECT_THAT(text, HasSubstr("PAIR SET  STATUS        CLASS  POWER W  VOLTAGE V  CURRENT mA  ERROR  SUB-STATUS\n"
                                "A         1 delivering      4      8.0       53.2         150      -           1\n"
                                "B         8 fault-8         -      0.0        0.0           0      5           -\n"));
    EXPECT_THAT(text, HasSubstr("Events since start: 1 2 3 4 5\n"));
}

TEST(system_text, shows_all_six_settings_and_the_budget) {
    const auto text = as_text(asking(verb::system_show), whole_picture());
    EXPECT_THAT(text, HasSubstr("PoE                     on\n"));
    EXPECT_THAT(text, HasSubstr("total power             300.0 W\n"));
    EXPECT_THAT(text, HasSubstr("usage alarm at          95 %\n"));
    EXPECT_THAT(text, HasSubstr("parameter 2             1\n"));
    EXPECT_THAT(text, HasSubstr("parameter 5             -1\n"));
}

TEST(small_text, shows_bank_counters_and_queue) {
    picture seen;
    seen.bank = poe_client::power_bank{300, 7};
    EXPECT_EQ(as_text(asking(verb::bank_show), seen), "bank limit    300 W\nsecond value  7\n");
    seen.counters = poe_client::decode_communication_counters(message_bytes("communication_counters")).value;
    EXPECT_EQ(as_text(asking(verb::counters), seen),
              "COUNTER                   COUNT                MEANING\n"
              "total                              4294967297  transactions begun\n"
              "rx_retry                                    2  attempts without an answer\n"
              "rx_timeout                                  3  transactions given up\n"
              "rx_chksum_error                             4  answers with a wrong checksum\n"
              "tx_correctly_executed                       5  answers without an error report\n"
              "tx_chksum_error                             6  the controller saw a wrong checksum\n"
              "tx_subject_byte_conflict                    0  always 0\n"
              "tx_wrong_data_byte_value                    0  always 0\n"
              "undefined_key_value       9223372036854775817  the controller did not know the command\n");
    seen.deepest_queue = 3;
    EXPECT_EQ(as_text(asking(verb::queue), seen), "deepest set queue so far: 3\n");
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
