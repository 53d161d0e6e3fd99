#include "models/commands.h"

#include "switch_bench.h"

namespace vswitch {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(command_log, names_every_command_of_the_controller) {
    for (const std::uint8_t key : std::initializer_list<std::uint8_t>{
             0x00, 0x01, 0x02, 0x04, 0x05, 0x06, 0x08, 0x0C, 0x0E, 0x0F, 0x10, 0x11, 0x12, 0x14, 0x15, 0x16,
             0x18, 0x40, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x4B, 0x4C, 0x4E, 0x4F}) {
        EXPECT_STRNE(command_name(request_of(key)), "unknown command") << int{key};
    }
    EXPECT_STREQ(command_name(request_of(0xC0, {}, 1)), "save configuration");
    EXPECT_STREQ(command_name(request_of(0xC0, {}, 2)), "clear configuration");
    EXPECT_STREQ(command_name(request_of(0xC0, {}, 9)), "unknown command");
    EXPECT_STREQ(command_name(request_of(0x77)), "unknown command");
}

TEST(command_log, tells_the_fields_of_a_request) {
    EXPECT_THAT(request_fields(request_of(0x04, {3, 0x0B, 0xB8, 0, 0})),
                ElementsAre(Pair("bank", "3"), Pair("power_w", "300.0"), Pair("extra", "0")));
    EXPECT_THAT(request_fields(request_of(0x42, {2})), ElementsAre(Pair("port", "3")));
    EXPECT_THAT(request_fields(request_of(0x4B, {}, 5)), ElementsAre(Pair("bank", "5")));
    EXPECT_THAT(request_fields(request_of(0x15, {0, 3, 0xFF, 0xFF, 3, 2})),
                ElementsAre(Pair("port_1", "3"), Pair("port_4", "2")));
    EXPECT_THAT(request_fields(request_of(0x77, {1})), ElementsAre());
}

TEST(command_log, tells_the_fields_of_an_answer) {
    EXPECT_THAT(answer_fields(request_of(0x44, {1}), request_of(0x44, {1, 3, 0x42, 0, 233, 0, 188, 0, 125})),
                ElementsAre(Pair("port", "2"), Pair("voltage_v", "53.7"), Pair("current_ma", "233"),
                            Pair("temperature_c", "40.0"), Pair("power_w", "12.5")));
    EXPECT_THAT(answer_fields(request_of(0x4A), request_of(0x4A, {178, 0, 0xFF, 0xFF, 0xFF, 9, 0})),
                ElementsAre(Pair("lower_v", "44.47"), Pair("upper_v", "57.58")));
    EXPECT_THAT(answer_fields(request_of(0x14), request_of(0x14, {0, 0, 3, 1})),
                ElementsAre(Pair("port_1", "0"), Pair("port_4", "1")));
}

TEST(command_log, tells_a_report_key_instead_of_fields) {
    EXPECT_THAT(answer_fields(request_of(0x42, {1}), request_of(0x42, {}, 'a')),
                ElementsAre(Pair("report", "undefined key")));
    EXPECT_THAT(answer_fields(request_of(0x42, {1}), request_of(0x42, {}, 'b')),
                ElementsAre(Pair("report", "wrong checksum")));
}

TEST(command_log, knows_queries_from_settings) {
    EXPECT_TRUE(is_query(request_of(0x40)));
    EXPECT_TRUE(is_query(request_of(0x4F)));
    EXPECT_TRUE(is_query(request_of(0xC0, {}, 4)));
    EXPECT_FALSE(is_query(request_of(0xC0, {}, 1)));
    EXPECT_FALSE(is_query(request_of(0x18)));
}

TEST(command_log, writes_frames_and_values_as_text) {
    EXPECT_EQ(hex_text(request_of(0x40)), "40 00 ff ff ff ff ff ff ff ff ff 37");
    EXPECT_EQ(values_text({{"port", "1"}, {"state", "2"}}), "port=1 state=2");
}

}  // namespace
}  // namespace vswitch
