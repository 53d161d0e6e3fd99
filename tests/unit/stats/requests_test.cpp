#include <cstring>
#include <vector>

#include "ipc/handlers.h"
#include "stats/made_up_history.h"
#include "stats/stats_bench.h"

namespace {

using message_bytes = std::vector<std::uint8_t>;

// Writes fields at their offsets, in the clients' byte order; computed here, not by the daemon.
class expected_reply {
  public:
    expected_reply(std::size_t size, std::uint8_t type) : bytes(size) { bytes[0] = type; }
    void u8(std::size_t offset, std::uint8_t value) { bytes[offset] = value; }
    void u32(std::size_t offset, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; i++)
            bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    void u64(std::size_t offset, std::uint64_t value) {
        for (std::size_t i = 0; i < 8; i++)
            bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    void f32(std::size_t offset, float value) {
        std::uint32_t pattern = 0;
        std::memcpy(&pattern, &value, sizeof pattern);
        u32(offset, pattern);
    }
    message_bytes bytes;
};

class statistics_requests : public stats_bench {
  protected:
    static constexpr int socket_number = 7;
    std::array<std::uint8_t, 110> peer = peer_named("/tmp/client");
    message_bytes message;

    // Calls the handler with a request of `size` bytes that holds `payload` at offset 8, and returns its result.
    int request(ipc_handler handler, std::uint8_t type, std::size_t size, const message_bytes& payload = {}) {
        message.assign(size, 0xA5);  // nothing but the payload is looked at
        message[0] = type;
        std::copy(payload.begin(), payload.end(), message.begin() + 8);
        the_world.replies.clear();
        return handler(socket_number, peer.data(), message.data(), static_cast<int>(size));
    }
    int get_configuration() { return request(poe_drv_ipc_reply_get_port_stats_cfg, 16, 8); }
    int set_configuration(std::uint8_t enable) {
        return request(poe_drv_ipc_request_set_port_stats_cfg, 144, 9, {enable});
    }
    int get_one_port(std::uint32_t port) {
        expected_reply number(4, 0);
        number.u32(0, port);
        return request(poe_drv_ipc_reply_get_one_port_statistics, 17, 2352, number.bytes);
    }
    int get_all_ports() { return request(poe_drv_ipc_reply_get_all_port_statistics, 18, 8); }
    int clear(std::uint8_t ports) { return request(poe_drv_ipc_request_clear_multi_port_stats, 83, 9, {ports}); }
    int inject(std::uint32_t minutes) {
        expected_reply number(4, 0);
        number.u32(0, minutes);
        return request(poe_drv_ipc_request_set_fake_port_stats_data, 148, 12, number.bytes);
    }

    static void expect_reply(const expected_reply& expected) {
        ASSERT_EQ(the_world.replies.size(), 1U);
        const sent_reply& reply = the_world.replies[0];
        EXPECT_EQ(reply.socket, socket_number);
        EXPECT_EQ(reply.path, "/tmp/client");
        EXPECT_EQ(reply.timeout_us, 1000);
        ASSERT_EQ(reply.bytes.size(), expected.bytes.size());
        for (std::size_t i = 0; i < reply.bytes.size(); i++) {
            ASSERT_EQ(int{reply.bytes[i]}, int{expected.bytes[i]}) << "offset " << i;
        }
    }
    static void expect_acknowledgement(std::uint8_t type) { expect_reply({8, type}); }

    static void fill(std::span<stats_slot> ring, std::size_t filled, std::uint32_t uptime_s, std::int64_t wall_clock_s,
                     std::uint32_t period, float watts) {
        for (std::size_t i = 0; i < filled; i++) {
            const auto age = static_cast<std::uint32_t>(i) * period;
            ring[i] = {1, {}, wall_clock_s + age, uptime_s + age, watts + static_cast<float>(i)};
        }
    }
    static void fill_record(std::size_t port) {
        record(port).powered_s = 0x01020304;
        record(port).energy_mws = 5'400'000'999;
        fill(record(port).minutes, 60, 100000, 1700000000, 60, 1.5F);
        fill(record(port).half_hours, 48, 20000, 1600000000, 1800, 100.0F);
        fill(record(port).two_hours, 84, 1000, 1500000000, 7200, 1000.0F);
    }
    static bool is_empty(std::size_t port) {
        const port_stats empty{};
        return std::memcmp(&record(port), &empty, sizeof empty) == 0;
    }
};

// --- configuration ---

TEST_F(statistics_requests, the_configuration_query_is_answered_with_the_enable_byte_as_it_was_set) {
    for (const int enable : {0, 1, 2, 255}) {
        configuration().enable = static_cast<std::uint8_t>(enable);
        EXPECT_EQ(get_configuration(), 0);
        expected_reply expected(9, 16);
        expected.u8(8, static_cast<std::uint8_t>(enable));
        expect_reply(expected);
    }
}

TEST_F(statistics_requests, switching_on_for_the_first_time_adds_the_file_and_writes_nothing) {
    file() = "2, 30, 4000\n";
    EXPECT_EQ(set_configuration(1), 0);
    expect_acknowledgement(144);
    EXPECT_EQ(configuration().enable, 1);
    EXPECT_EQ(configuration().file_restored, 1);
    EXPECT_EQ(record(2).powered_s, 30U);
    EXPECT_EQ(record(2).energy_mws, 4000U);
    EXPECT_EQ(saves() + removals(), 0U);
}

TEST_F(statistics_requests, switching_on_for_the_first_time_without_a_file_writes_nothing) {
    EXPECT_EQ(set_configuration(1), 0);
    expect_acknowledgement(144);
    EXPECT_EQ(configuration().file_restored, 1);
    EXPECT_FALSE(file_exists());
}

TEST_F(statistics_requests, switching_on_again_rewrites_the_file_and_sets_the_hour) {
    the_world.uptime_s = 36001;
    set_configuration(1);
    record(0).powered_s = 5;
    EXPECT_EQ(set_configuration(1), 0);
    expect_acknowledgement(144);
    EXPECT_EQ(file(), "0, 5, 0\n1, 0, 0\n2, 0, 0\n3, 0, 0\n");
    EXPECT_EQ(configuration().saved_hour, 10U);
}

TEST_F(statistics_requests, switching_off_removes_the_file_and_keeps_the_records) {
    file() = "2, 30, 4000\n";
    set_configuration(1);
    EXPECT_EQ(set_configuration(0), 0);
    expect_acknowledgement(144);
    EXPECT_EQ(configuration().enable, 0);
    EXPECT_FALSE(file_exists());
    EXPECT_EQ(record(2).powered_s, 30U);
}

TEST_F(statistics_requests, switching_on_after_off_writes_the_records_and_does_not_add_twice) {
    file() = "2, 30, 4000\n";
    set_configuration(1);
    set_configuration(0);
    set_configuration(1);
    EXPECT_EQ(record(2).powered_s, 30U);
    EXPECT_EQ(file(), "0, 0, 0\n1, 0, 0\n2, 30, 4000\n3, 0, 0\n");
}

TEST_F(statistics_requests, any_value_but_1_is_kept_and_switches_off) {
    file() = "2, 30, 4000\n";
    EXPECT_EQ(set_configuration(2), 0);
    expect_acknowledgement(144);
    EXPECT_EQ(configuration().enable, 2);
    EXPECT_EQ(configuration().file_restored, 0);
    EXPECT_FALSE(file_exists());
}

TEST_F(statistics_requests, file_errors_are_silent) {
    the_world.files_cannot_be_written = true;
    configuration().file_restored = 1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(set_configuration(1), 0);
    expect_acknowledgement(144);
    file() = "old";
    EXPECT_EQ(clear(1), 0);
    expect_acknowledgement(83);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// --- one port ---

TEST_F(statistics_requests, an_empty_port_is_answered_with_its_number_and_zeros) {
    for (std::uint32_t port = 0; port < 4; port++) {
        EXPECT_EQ(get_one_port(port), 0);
        expected_reply expected(2352, 17);
        expected.u32(8, port);
        expect_reply(expected);
    }
}

TEST_F(statistics_requests, a_port_is_answered_with_its_totals_and_its_three_rings_in_time_order) {
    fill_record(2);
    std::rotate(record(2).minutes.begin(), record(2).minutes.begin() + 13, record(2).minutes.end());
    std::rotate(record(2).two_hours.begin(), record(2).two_hours.begin() + 80, record(2).two_hours.end());
    for (std::size_t i = 20; i < 48; i++)
        record(2).half_hours[i] = {};
    EXPECT_EQ(get_one_port(2), 0);

    expected_reply expected(2352, 17);
    expected.u32(8, 2);
    expected.u32(12, 0x01020304);
    expected.f32(16, 1500.0F);  // 5400000 watt-seconds
    expected.u64(24, 1700000000);
    expected.u64(32, 1600000000);
    expected.u64(40, 1500000000);
    for (std::size_t i = 0; i < 60; i++) {
        expected.u32(48 + 12 * i, 1);
        expected.u32(52 + 12 * i, 100000 + 60 * static_cast<std::uint32_t>(i));
        expected.f32(56 + 12 * i, 1.5F + static_cast<float>(i));
    }
    for (std::size_t i = 0; i < 20; i++) {
        expected.u32(768 + 12 * i, 1);
        expected.u32(772 + 12 * i, 20000 + 1800 * static_cast<std::uint32_t>(i));
        expected.f32(776 + 12 * i, 100.0F + static_cast<float>(i));
    }
    for (std::size_t i = 0; i < 84; i++) {
        expected.u32(1344 + 12 * i, 1);
        expected.u32(1348 + 12 * i, 1000 + 7200 * static_cast<std::uint32_t>(i));
        expected.f32(1352 + 12 * i, 1000.0F + static_cast<float>(i));
    }
    expect_reply(expected);
}

TEST_F(statistics_requests, a_port_number_is_a_whole_32_bit_number) {
    fill_record(0);
    for (const std::uint32_t port : {4U, 5U, 255U, 256U, 0x01000000U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(get_one_port(port), -4) << port;
        expected_reply expected(2352, 17);
        expected.u8(7, 1);
        expect_reply(expected);
    }
}

// --- all ports ---

TEST_F(statistics_requests, empty_records_are_answered_with_zeros) {
    EXPECT_EQ(get_all_ports(), 0);
    expect_reply({168, 18});
}

TEST_F(statistics_requests, all_ports_are_answered_with_their_sums_and_their_averages) {
    record(0).powered_s = 10;
    record(0).energy_mws = 3600 * 1000 * 2;
    fill(record(0).minutes, 60, 0, 0, 60, 10.0F);      // mean 39.5
    fill(record(0).half_hours, 48, 0, 0, 1800, 1.0F);  // mean 24.5
    record(1).powered_s = 20;
    fill(record(1).minutes, 60, 0, 0, 60, 20.0F);      // mean 49.5
    fill(record(1).half_hours, 47, 0, 0, 1800, 1.0F);  // not full
    record(3).powered_s = 0xFFFFFFFF;
    record(3).energy_mws = 3600 * 1000 * 3;
    fill(record(3).minutes, 59, 0, 0, 60, 20.0F);     // not full
    fill(record(3).two_hours, 84, 0, 0, 7200, 0.0F);  // mean 41.5
    EXPECT_EQ(get_all_ports(), 0);

    expected_reply expected(168, 18);
    expected.u32(8, 29);  // wraps
    expected.f32(12, 5.0F);
    expected.u32(16, 1);
    expected.f32(20, 89.0F);
    expected.u32(24, 1);
    expected.f32(28, 24.5F);
    expected.u32(32, 1);
    expected.f32(36, 41.5F);

    expected.u32(40, 10);
    expected.f32(44, 2.0F);
    expected.u32(48, 1);
    expected.f32(52, 39.5F);
    expected.u32(56, 1);
    expected.f32(60, 24.5F);

    expected.u32(72, 20);
    expected.u32(80, 1);
    expected.f32(84, 49.5F);

    expected.u32(136, 0xFFFFFFFF);
    expected.f32(140, 3.0F);
    expected.u32(160, 1);
    expected.f32(164, 41.5F);
    expect_reply(expected);
}

TEST_F(statistics_requests, a_total_average_is_valid_as_soon_as_one_ports_is) {
    for (std::size_t port = 0; port < port_count; port++) {
        record(0) = record(1) = record(2) = record(3) = {};
        fill(record(port).minutes, 60, 0, 0, 60, 0.0F);
        get_all_ports();
        expected_reply expected(168, 18);
        expected.u32(16, 1);
        expected.f32(20, 29.5F);
        expected.u32(40 + 32 * port + 8, 1);
        expected.f32(40 + 32 * port + 12, 29.5F);
        expect_reply(expected);
    }
}

// --- clearing ---

TEST_F(statistics_requests, clearing_empties_the_selected_ports_and_no_others) {
    for (int ports = 0; ports < 256; ports++) {
        for (std::size_t port = 0; port < port_count; port++)
            fill_record(port);
        EXPECT_EQ(clear(static_cast<std::uint8_t>(ports)), 0);
        expect_acknowledgement(83);
        for (std::size_t port = 0; port < port_count; port++) {
            ASSERT_EQ(is_empty(port), (ports >> port & 1) == 1) << ports << ' ' << port;
        }
    }
}

TEST_F(statistics_requests, clearing_rewrites_a_file_that_is_there_while_statistics_are_on) {
    configuration().enable = 1;
    file() = "old";
    record(0).powered_s = 1;
    record(1).powered_s = 2;
    clear(0b0010);
    EXPECT_EQ(file(), "0, 1, 0\n1, 0, 0\n2, 0, 0\n3, 0, 0\n");
}

TEST_F(statistics_requests, clearing_no_port_still_rewrites_the_file) {
    configuration().enable = 1;
    file() = "old";
    record(1).powered_s = 2;
    clear(0);
    EXPECT_EQ(file(), "0, 0, 0\n1, 2, 0\n2, 0, 0\n3, 0, 0\n");
}

TEST_F(statistics_requests, clearing_creates_no_file_and_touches_none_while_statistics_are_off) {
    configuration().enable = 1;
    clear(0b1111);
    EXPECT_FALSE(file_exists());
    configuration().enable = 0;
    file() = "old";
    clear(0b1111);
    EXPECT_EQ(file(), "old");
}

// --- made-up history ---

TEST_F(statistics_requests, injecting_replaces_every_record_by_made_up_history_that_ends_now) {
    the_world.uptime_s = 1000000;
    the_world.wall_clock_s = 1700000000;
    for (const std::uint32_t minutes : {0U, 1U, 59U, 60U, 61U, 120U, 1440U, 10079U, 10080U, 0x80000000U, 0xFFFFFFFFU}) {
        for (std::size_t port = 0; port < port_count; port++)
            fill_record(port);
        EXPECT_EQ(inject(minutes), 0);
        expect_acknowledgement(148);
        for (std::size_t port = 0; port < port_count; port++) {
            port_stats expected{};
            make_up_history(expected, port, history_extent_of(minutes), {1700000000, 1000000});
            ASSERT_EQ(std::memcmp(&record(port), &expected, sizeof expected), 0)
                << minutes << " minutes, port " << port;
        }
    }
    EXPECT_TRUE(the_world.story.empty());  // no file
}

TEST_F(statistics_requests, an_injected_week_comes_back_in_time_order_with_averages_for_all_three_rings) {
    the_world.uptime_s = 1000000;
    the_world.wall_clock_s = 1700000000;
    inject(10080);
    get_one_port(1);
    expected_reply expected(2352, 17);
    expected.u32(8, 1);
    const auto ring = [&](std::size_t start_offset, std::size_t offset, std::size_t count, std::uint32_t period) {
        const auto oldest = static_cast<std::uint32_t>(count - 1) * period;
        expected.u64(start_offset, 1700000000 - oldest);
        for (std::size_t i = 0; i < count; i++) {
            expected.u32(offset + 12 * i, 1);
            expected.u32(offset + 12 * i + 4, 1000000 - oldest + static_cast<std::uint32_t>(i) * period);
            expected.f32(offset + 12 * i + 8, made_up_watts(1, i));
        }
    };
    ring(24, 48, 60, 60);
    ring(32, 768, 48, 1800);
    ring(40, 1344, 84, 7200);
    expect_reply(expected);

    get_all_ports();
    for (const std::size_t offset : {16U, 24U, 32U, 48U, 80U, 112U, 144U}) {
        EXPECT_EQ(the_world.replies[0].bytes[offset], 1) << offset;
    }
}

TEST_F(statistics_requests, injecting_less_than_an_hour_leaves_the_averages_invalid) {
    inject(59);
    get_all_ports();
    expect_reply({168, 18});
}

// --- every handler ---

TEST_F(statistics_requests, no_lock_is_held_while_a_reply_is_sent_and_the_file_is_handled_under_it) {
    configuration() = {1, 1, {}, 0};
    file() = "old";
    int sent = 0;
    int written = 0;
    the_world.witness = [&](const std::string& line) {
        if (line == "send") {
            sent++;
            EXPECT_FALSE(tick_lock_is_held());
        } else {
            written++;
            EXPECT_TRUE(tick_lock_is_held()) << line;
        }
    };
    get_configuration();
    set_configuration(1);
    get_one_port(0);
    get_one_port(4);
    get_all_ports();
    clear(0);
    inject(10);
    set_configuration(0);
    EXPECT_EQ(sent, 8);
    EXPECT_EQ(written, 3);
}

TEST_F(statistics_requests, a_reply_that_cannot_be_sent_changes_nothing_and_is_not_spoken_of) {
    the_world.send_result = -1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(get_configuration(), 0);
    EXPECT_EQ(set_configuration(1), 0);
    EXPECT_EQ(get_one_port(0), 0);
    EXPECT_EQ(get_one_port(4), -4);
    EXPECT_EQ(get_all_ports(), 0);
    EXPECT_EQ(clear(1), 0);
    EXPECT_EQ(inject(1), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(configuration().enable, 1);
}

}  // namespace
