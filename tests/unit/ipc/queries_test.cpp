#include <atomic>
#include <regex>
#include <set>
#include <thread>

#include "ipc/status_blocks.h"
#include "ipc_test.h"
#include "lock_count.h"

namespace {

constexpr std::size_t port_words = 25;

// A value that no other word of any port has.
std::uint32_t word_value(std::size_t port, std::size_t word) {
    return static_cast<std::uint32_t>(0x80402000U + port * 0x01010000U + word * 0x0101U);
}

std::uint8_t byte_value(std::size_t port, std::size_t word, std::size_t byte) {
    return static_cast<std::uint8_t>(3 + 60 * port + 2 * word + 9 * byte);
}

// The 92 bytes that clients know, from the 25 words of the port's record.
bytes expected_port_block(std::size_t port) {
    bytes block(92);
    block[0] = static_cast<std::uint8_t>(port);
    block[1] = static_cast<std::uint8_t>(20 + port);
    block[2] = static_cast<std::uint8_t>(30 + port);
    block[3] = static_cast<std::uint8_t>(40 + port);
    block[4] = byte_value(port, 0, 1);
    block[5] = byte_value(port, 0, 3);
    block[6] = byte_value(port, 0, 2);
    block[7] = static_cast<std::uint8_t>(word_value(port, 7) % 256);
    put32(block, 8, word_value(port, 2));
    put32(block, 12, port % 2);
    put32(block, 16, word_value(port, 3));
    put32(block, 20, word_value(port, 4));
    put32(block, 24, word_value(port, 5));
    put32(block, 28, word_value(port, 6));
    for (std::size_t i = 0; i < 3; i++)
        block[32 + i] = byte_value(port, 8, i);
    put32(block, 36, word_value(port, 10));
    put32(block, 40, word_value(port, 11));
    put32(block, 44, word_value(port, 12));
    put32(block, 48, word_value(port, 13));
    for (std::size_t i = 0; i < 3; i++)
        block[52 + i] = byte_value(port, 14, i);
    put32(block, 56, word_value(port, 16));
    put32(block, 60, word_value(port, 17));
    put32(block, 64, word_value(port, 18));
    put32(block, 68, word_value(port, 19));
    for (std::size_t i = 0; i < 5; i++)
        put32(block, 72 + 4 * i, word_value(port, 20 + i));
    return block;
}

const bytes expected_system_block{0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0x55, 0xCC, 0xBB,
                                  0xAA, 0x99, 0x04, 0x03, 0x02, 0x01, 1,    0,    0,    0};

bytes expected_parameter_block(std::uint8_t port) {
    return {port,
            static_cast<std::uint8_t>(20 + port),
            static_cast<std::uint8_t>(50 + port),
            static_cast<std::uint8_t>(30 + port),
            static_cast<std::uint8_t>(60 + port),
            static_cast<std::uint8_t>(70 + port),
            0,
            0,
            static_cast<std::uint8_t>(4 + port),
            0x33,
            0x22,
            0x11};
}

void append(bytes& message, const bytes& block) {
    message.insert(message.end(), block.begin(), block.end());
}

class queries : public ipc_test {
  protected:
    // Every field of every record with a value of its own.
    static void fill_records() {
        nobody_else_is_running();
        for (std::size_t port = 0; port < 4; port++) {
            const auto n = static_cast<std::int8_t>(port);
            g_port_pmt[port].Port_Number.set(static_cast<std::uint8_t>(port));
            g_port_pmt[port].Port_Enable.set(static_cast<std::int8_t>(20 + n));
            g_port_pmt[port].Schedule_Enable.set(static_cast<std::int8_t>(30 + n));
            g_port_pmt[port].Sch_On_Off.set(static_cast<std::int8_t>(40 + n));
            g_port_pmt[port].Power_Priority.set(static_cast<std::int8_t>(50 + n));
            g_port_pmt[port].PoE_Mode.set(static_cast<std::int8_t>(60 + n));
            g_port_pmt[port].Re_Enable_Val.set(static_cast<std::int8_t>(70 + n));
            g_port_pmt[port].Power_Limit_Val.set(static_cast<std::uint32_t>(0x11223304 + port));

            std::array<std::uint32_t, port_words> words;
            for (std::size_t word = 0; word < port_words; word++)
                words[word] = word_value(port, word);
            for (const std::size_t word : {0U, 8U, 14U}) {
                std::array<std::uint8_t, 4> four;
                for (std::size_t byte = 0; byte < 4; byte++)
                    four[byte] = byte_value(port, word, byte);
                if (word == 0) four[0] = static_cast<std::uint8_t>(port);
                std::memcpy(&words[word], four.data(), four.size());
            }
            std::memcpy(&g_port_stu[port], words.data(), sizeof words);
        }
        g_port_pwr_auto_off = 0x0A;  // ports 1 and 3
        g_sys_pwr_stu = {.total_mw = 0x11223344,
                         .consumed_mw = 0x55667788,
                         .remaining_mw = 0x99AABBCC,
                         .supply = 0x01020304,
                         .alarm_raised = 1};
    }

    // Any handler of a query, with nothing worth reading in the request.
    bytes ask(ipc_handler handler) {
        EXPECT_EQ(request(handler, {0}), 0);
        return the_reply();
    }
};

TEST_F(queries, the_system_parameters_come_in_their_order) {
    g_sys_pwr_pmt.enable.set(-1);
    g_sys_pwr_pmt.parameter_1.set(12);
    g_sys_pwr_pmt.parameter_2.set(13);
    g_sys_pwr_pmt.usage_threshold.set(14);
    g_sys_pwr_pmt.parameter_4.set(15);
    g_sys_pwr_pmt.parameter_5.set(-16);

    EXPECT_EQ(ask(poe_drv_ipc_reply_get_sys_pwr_pmt), (bytes{0, 0, 0, 0, 0, 0, 0, 0, 255, 12, 13, 14, 15, 240, 0, 0}));
}

TEST_F(queries, the_system_parameters_right_after_start_up_are_the_defaults) {
    EXPECT_EQ(ask(poe_drv_ipc_reply_get_sys_pwr_pmt), (bytes{0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 95, 0, 0, 0, 0}));
}

TEST_F(queries, a_lost_reply_is_said_for_the_system_parameters_alone) {
    the_world.send_result = -1;
    bytes payload(92);

    const std::string said = stderr_of([&] { EXPECT_EQ(request(poe_drv_ipc_reply_get_sys_pwr_pmt, {0}), 0); });
    EXPECT_TRUE(std::regex_match(
        said,
        std::regex(R"(\[poe_drv\.c , poe_drv_ipc_reply_get_sys_pwr_pmt\(\) , [1-9][0-9]*\]: result_send=\(-1\)\n)")))
        << said;

    for (const ipc_handler silent : {poe_drv_ipc_reply_get_one_port_pmt, poe_drv_ipc_reply_get_all_port_pmt,
                                     poe_drv_ipc_reply_get_sys_pwr_stu, poe_drv_ipc_reply_get_one_port_stu,
                                     poe_drv_ipc_reply_get_all_port_stu, poe_drv_ipc_reply_get_combine_sys_port_stu,
                                     poe_drv_ipc_reply_get_pwr_bnk_pmt, poe_drv_ipc_reply_get_re_enable_port_info}) {
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(request(silent, payload), 0); }), "");
    }
}

TEST_F(queries, a_reply_that_was_sent_says_nothing) {
    EXPECT_EQ(stderr_of([&] { request(poe_drv_ipc_reply_get_sys_pwr_pmt, {0}); }), "");
}

TEST_F(queries, one_ports_parameters_come_as_its_block) {
    fill_records();
    for (std::uint8_t port = 0; port < 4; port++) {
        EXPECT_EQ(request(poe_drv_ipc_reply_get_one_port_pmt, {port}), 0);

        bytes expected{1, 0, 0, 0, 0, 0, 0, 0};
        append(expected, expected_parameter_block(port));
        EXPECT_EQ(the_reply(), expected) << "port " << int{port};
    }
}

TEST_F(queries, one_ports_parameters_carry_the_port_number_of_the_request) {
    g_port_pmt[3].Port_Number.set(9);

    request(poe_drv_ipc_reply_get_one_port_pmt, {3});

    EXPECT_EQ(the_reply()[8], 3);
}

TEST_F(queries, all_ports_parameters_come_as_four_blocks) {
    fill_records();

    bytes expected{2, 0, 0, 0, 0, 0, 0, 0};
    for (std::uint8_t port = 0; port < 4; port++)
        append(expected, expected_parameter_block(port));
    EXPECT_EQ(ask(poe_drv_ipc_reply_get_all_port_pmt), expected);
}

TEST_F(queries, the_system_status_comes_as_its_block) {
    fill_records();

    bytes expected{5, 0, 0, 0, 0, 0, 0, 0};
    append(expected, expected_system_block);
    EXPECT_EQ(ask(poe_drv_ipc_reply_get_sys_pwr_stu), expected);
}

TEST_F(queries, one_ports_status_comes_with_type_byte_134) {
    fill_records();
    for (std::uint8_t port = 0; port < 4; port++) {
        EXPECT_EQ(request(poe_drv_ipc_reply_get_one_port_stu, {port}), 0);

        bytes expected{134, 0, 0, 0, 0, 0, 0, 0};
        append(expected, expected_port_block(port));
        EXPECT_EQ(the_reply(), expected) << "port " << int{port};
    }
}

TEST_F(queries, all_ports_status_comes_with_type_byte_1) {
    fill_records();

    bytes expected{1, 0, 0, 0, 0, 0, 0, 0};
    for (std::size_t port = 0; port < 4; port++)
        append(expected, expected_port_block(port));
    EXPECT_EQ(ask(poe_drv_ipc_reply_get_all_port_stu), expected);
}

TEST_F(queries, the_combined_status_has_the_system_first_and_the_ports_behind_it) {
    fill_records();

    bytes expected{11, 0, 0, 0, 0, 0, 0, 0};
    append(expected, expected_system_block);
    for (std::size_t port = 0; port < 4; port++)
        append(expected, expected_port_block(port));
    EXPECT_EQ(ask(poe_drv_ipc_reply_get_combine_sys_port_stu), expected);
}

TEST_F(queries, a_ports_status_right_after_start_up_is_code_11_and_inside_its_schedule) {
    request(poe_drv_ipc_reply_get_one_port_stu, {2});

    EXPECT_EQ(the_reply(), padded({134, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 1, 0, 0, 0, 0, 11}, 100));
}

TEST_F(queries, the_auto_off_flag_is_each_ports_own_bit) {
    for (int bits = 0; bits < 256; bits++) {
        g_port_pwr_auto_off = static_cast<unsigned char>(bits);
        const bytes reply = ask(poe_drv_ipc_reply_get_all_port_stu);
        for (std::size_t port = 0; port < 4; port++) {
            const bytes flag(reply.begin() + static_cast<std::ptrdiff_t>(8 + 92 * port + 12),
                             reply.begin() + static_cast<std::ptrdiff_t>(8 + 92 * port + 16));
            EXPECT_EQ(flag, (bytes{static_cast<std::uint8_t>((bits >> port) & 1), 0, 0, 0}));
        }
    }
}

TEST_F(queries, a_port_that_does_not_exist_is_refused_with_an_empty_reply_and_no_lock) {
    fill_records();
    // Held here, the lock would stop a handler that asked for it.
    data____lock_poe_tick_thread();
    for (int port = 4; port < 256; port++) {
        const auto number = static_cast<std::uint8_t>(port);

        [&]() POE_ATTRIBUTE(no_thread_safety_analysis) {
            EXPECT_EQ(request(poe_drv_ipc_reply_get_one_port_pmt, {number}), -4);
            EXPECT_EQ(the_reply(), padded({1, 0, 0, 0, 0, 0, 0, 1}, 20));

            EXPECT_EQ(request(poe_drv_ipc_reply_get_one_port_stu, {number}), -4);
            EXPECT_EQ(the_reply(), padded({134, 0, 0, 0, 0, 0, 0, 1}, 100));
        }();
    }
    data_un_lock_poe_tick_thread();
}

TEST_F(queries, the_power_bank_is_two_little_endian_halves) {
    g_pwr_bnk_pmt.set({.limit_w = 0x1234, .second = 0xABCD});

    EXPECT_EQ(ask(poe_drv_ipc_reply_get_pwr_bnk_pmt), (bytes{14, 0, 0, 0, 0, 0, 0, 0, 0x34, 0x12, 0xCD, 0xAB}));
}

TEST_F(queries, the_re_enable_state_is_the_tick_and_an_entry_a_port) {
    nobody_else_is_running();
    g_poe_thread_tick_cnt.set(0xDEADBEEF);
    g_port_pwr_re_en = {{{.pending = 1, .tick = 0x01020304},
                         {.pending = 0x12345678, .tick = 0x11121314},
                         {.pending = 0x100, .tick = 0x21222324},
                         {.pending = 0, .tick = 0x31323334}}};

    const bytes expected{15,   0, 0, 0, 0,    0,    0,    0,    0xEF, 0xBE, 0xAD, 0xDE,  //
                         1,    0, 0, 0, 4,    3,    2,    1,                             //
                         0x78, 0, 0, 0, 0x14, 0x13, 0x12, 0x11,                          //
                         0,    0, 0, 0, 0x24, 0x23, 0x22, 0x21,                          //
                         0,    0, 0, 0, 0x34, 0x33, 0x32, 0x31};
    EXPECT_EQ(ask(poe_drv_ipc_reply_get_re_enable_port_info), expected);
}

TEST_F(queries, the_tick_of_the_moment_is_told_even_when_no_port_is_pending) {
    g_poe_thread_tick_cnt.set(77);

    EXPECT_EQ(ask(poe_drv_ipc_reply_get_re_enable_port_info), padded({15, 0, 0, 0, 0, 0, 0, 0, 77}, 44));
}

TEST_F(queries, no_lock_is_held_while_a_reply_is_sent) {
    expect_no_lock_while_sending();
    bytes payload(92);
    for (const ipc_handler handler :
         {poe_drv_ipc_reply_get_sys_pwr_pmt, poe_drv_ipc_reply_get_one_port_pmt, poe_drv_ipc_reply_get_all_port_pmt,
          poe_drv_ipc_reply_get_sys_pwr_stu, poe_drv_ipc_reply_get_one_port_stu, poe_drv_ipc_reply_get_all_port_stu,
          poe_drv_ipc_reply_get_combine_sys_port_stu, poe_drv_ipc_reply_get_pwr_bnk_pmt,
          poe_drv_ipc_reply_get_re_enable_port_info}) {
        request(handler, payload);
        EXPECT_EQ(the_world.replies.back().timeout_us, 1000);
        the_reply();
    }
}

TEST_F(queries, everything_that_a_reply_tells_is_copied_in_one_hold_of_the_tick_lock) {
    bytes payload(92);
    for (const ipc_handler handler :
         {poe_drv_ipc_reply_get_sys_pwr_pmt, poe_drv_ipc_reply_get_one_port_pmt, poe_drv_ipc_reply_get_all_port_pmt,
          poe_drv_ipc_reply_get_sys_pwr_stu, poe_drv_ipc_reply_get_one_port_stu, poe_drv_ipc_reply_get_all_port_stu,
          poe_drv_ipc_reply_get_combine_sys_port_stu, poe_drv_ipc_reply_get_pwr_bnk_pmt}) {
        const lock_count tick_locks(g_mutex_poe_tick_thread);
        request(handler, payload);
        EXPECT_EQ(tick_locks.taken(), 1);
    }
}

TEST_F(queries, the_re_enable_state_takes_the_tick_lock_once_for_the_tick_and_once_for_the_ports) {
    const lock_count tick_locks(g_mutex_poe_tick_thread);

    ask(poe_drv_ipc_reply_get_re_enable_port_info);

    EXPECT_EQ(tick_locks.taken(), 2);
}

TEST_F(queries, replies_of_several_ports_show_one_moment) {
    // A writer changes everything at once, under the lock, as the end of a sweep does.
    nobody_else_is_running();
    g_sys_pwr_stu.total_mw = 0;
    std::atomic<bool> stop = false;
    std::thread supervision([&] {
        for (std::uint32_t moment = 1; !stop; moment++) {
            std::this_thread::yield();
            const tick_lock held;
            g_sys_pwr_stu.total_mw = moment;
            for (auto& port : g_port_stu)
                port.event_totals.fill(moment);
            for (auto& entry : g_port_pwr_re_en)
                entry = {.pending = moment % 2, .tick = moment};
        }
    });
    const auto word_at = [](const bytes& reply, std::size_t offset) {
        return bytes(reply.begin() + static_cast<std::ptrdiff_t>(offset),
                     reply.begin() + static_cast<std::ptrdiff_t>(offset + 4));
    };
    std::set<bytes> moments;
    while (moments.size() < 200) {
        const bytes combined = ask(poe_drv_ipc_reply_get_combine_sys_port_stu);
        const bytes ports = ask(poe_drv_ipc_reply_get_all_port_stu);
        const bytes re_enable = ask(poe_drv_ipc_reply_get_re_enable_port_info);
        const bytes one = ask(poe_drv_ipc_reply_get_one_port_stu);
        for (std::size_t port = 0; port < 4; port++) {
            for (std::size_t total = 72; total < 92; total += 4) {
                EXPECT_EQ(word_at(combined, 28 + 92 * port + total), word_at(combined, 8));
                EXPECT_EQ(word_at(ports, 8 + 92 * port + total), word_at(ports, 8 + 72));
                EXPECT_EQ(word_at(one, 8 + total), word_at(one, 8 + 72));
            }
            EXPECT_EQ(word_at(re_enable, 16 + 8 * port), word_at(re_enable, 16));
            EXPECT_EQ(re_enable[12 + 8 * port], re_enable[16] % 2);
        }
        if (HasFailure()) break;
        moments.insert(word_at(combined, 8));
    }
    stop = true;
    supervision.join();
}

TEST_F(queries, a_status_block_is_composed_from_a_copy_alone) {
    port_snapshot port{};
    port.status.port_number = 3;
    port.status.port_type = 0x1FE;
    port.auto_off = true;

    const port_status_block block = port_status_block_of(port);

    EXPECT_EQ(block.port, 3);
    EXPECT_EQ(block.port_type, 0xFE);
    EXPECT_EQ(std::uint32_t{block.auto_off}, 1U);
}

}  // namespace
