#include "stats/record.h"

#include <cstring>

#include "stats/stats_bench.h"

namespace {

class energy_record : public stats_bench {
  protected:
    energy_record() {
        for (std::size_t port = 0; port < port_count; port++)
            std::memset(&record(port), 0x5A, sizeof record(port));
    }
    static bool is_all(std::size_t port, unsigned char byte) {
        unsigned char bytes[sizeof(port_stats)];
        std::memcpy(bytes, &record(port), sizeof bytes);
        return std::all_of(bytes, bytes + sizeof bytes, [&](unsigned char b) { return b == byte; });
    }
    static void clear(std::size_t port) {
        nobody_else_is_running();
        clear_port_stats(port);
    }
};

TEST_F(energy_record, the_field_at_each_offset_is_where_its_readers_expect_it) {
    const auto at = [](const void* field) {
        return static_cast<const char*>(field) - reinterpret_cast<char*>(&record(0));
    };
    EXPECT_EQ(reinterpret_cast<char*>(&record(1)) - reinterpret_cast<char*>(&record(0)), 4632);
    EXPECT_EQ(at(&record(0).second_counter), 0);
    EXPECT_EQ(at(&record(0).minute_sum_mw), 4);
    EXPECT_EQ(at(&record(0).powered_s), 8);
    EXPECT_EQ(at(&record(0).energy_mws), 16);
    EXPECT_EQ(at(&record(0).minutes[59]), 24 + 59 * 24);
    EXPECT_EQ(at(&record(0).half_hours[0]), 1464);
    EXPECT_EQ(at(&record(0).half_hours[47]), 1464 + 47 * 24);
    EXPECT_EQ(at(&record(0).two_hours[0]), 2616);
    EXPECT_EQ(at(&record(0).two_hours[83]), 2616 + 83 * 24);
    EXPECT_EQ(at(&record(0).minutes[0].wall_clock_s), 24 + 8);
    EXPECT_EQ(at(&record(0).minutes[0].uptime_s), 24 + 16);
    EXPECT_EQ(at(&record(0).minutes[0].average_w), 24 + 20);
}

TEST_F(energy_record, clearing_a_port_zeroes_its_whole_record_and_no_other) {
    clear(2);
    EXPECT_TRUE(is_all(2, 0));
    for (const std::size_t port : {0U, 1U, 3U})
        EXPECT_TRUE(is_all(port, 0x5A)) << port;
}

TEST_F(energy_record, clearing_a_port_that_does_not_exist_changes_nothing) {
    clear(4);
    clear(static_cast<std::size_t>(-1));
    for (std::size_t port = 0; port < port_count; port++)
        EXPECT_TRUE(is_all(port, 0x5A)) << port;
}

}  // namespace
