#include <regex>

#include "ipc/payload_checks.h"
#include "ipc_test.h"
#include "memory.h"

namespace {

constexpr std::uint8_t keep = 0xFF;

bool is_one_of(int value, std::initializer_list<int> values) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

// Client order: port, enable, priority, schedule, mode, re-enable seconds, two reserved, limit in tenths of a watt.
const bytes valid_block{2, 1, 3, 0, 4, 60, 0xA1, 0xA2, 0x2C, 0x01, 0, 0};

// A request with junk where the daemon does not look.
bytes request_with(std::uint8_t type, const std::vector<bytes>& parts) {
    bytes message{type, 0x51, 0x52, 0x53, 0x54, 0x55, 0x56, 0x57};
    for (const auto& part : parts)
        message.insert(message.end(), part.begin(), part.end());
    return message;
}

class configuration_requests : public ipc_test {
  protected:
    bytes acknowledgement(std::uint8_t type, std::uint8_t result) { return {type, 0, 0, 0, 0, 0, 0, result}; }

    void expect_accepted(ipc_handler handler, bytes message) {
        const std::uint8_t type = message[0];
        ASSERT_EQ(request(handler, message), 0);
        ASSERT_EQ(the_reply(), acknowledgement(type, 0));
        ASSERT_EQ(pop(), message);
        ASSERT_FALSE(queue_has_records());
    }

    void expect_refused(ipc_handler handler, bytes message) {
        const std::uint8_t type = message[0];
        ASSERT_EQ(request(handler, message), -4);
        ASSERT_EQ(the_reply(), acknowledgement(type, 1));
        ASSERT_FALSE(queue_has_records());
    }

    void expect(bool accepted, ipc_handler handler, const bytes& message) {
        SCOPED_TRACE(testing::PrintToString(message));
        accepted ? expect_accepted(handler, message) : expect_refused(handler, message);
    }
};

// --- system parameters ---

TEST_F(configuration_requests, each_system_parameter_is_checked_over_every_value) {
    const bytes valid = request_with(128, {{1, 0, keep, 80, 1, 0, 0x77, 0x78}});
    for (std::size_t offset = 8; offset < 16; offset++) {
        for (int value = 0; value < 256; value++) {
            bytes message = valid;
            message[offset] = static_cast<std::uint8_t>(value);
            bool accepted = is_one_of(value, {0, 1, 255});
            if (offset == 11) accepted = (value >= 1 && value <= 99) || value == 255;
            if (offset >= 14) accepted = true;

            EXPECT_EQ(stderr_of([&] { expect(accepted, poe_drv_ipc_request_set_sys_pwr_pmt, message); }), "");
            if (HasFatalFailure()) return;
        }
    }
}

TEST_F(configuration_requests, system_parameters_may_all_be_kept) {
    expect_accepted(poe_drv_ipc_request_set_sys_pwr_pmt,
                    request_with(128, {{keep, keep, keep, keep, keep, keep, 0, 0}}));
}

// --- one port ---

bool is_valid_in_a_block(std::size_t field, int value) {
    switch (field) {
        case 0:
            return value < 4;
        case 1:
            return is_one_of(value, {0, 1, 255});
        case 2:
            return is_one_of(value, {1, 2, 3, 255});
        case 3:
            return is_one_of(value, {0, 1, 255});
        case 4:
            return is_one_of(value, {0, 1, 2, 3, 4, 255});
        case 5:
            return (value >= 5 && value <= 60) || value == 255;
        default:
            return true;
    }
}

TEST_F(configuration_requests, each_byte_of_one_ports_parameters_is_checked_over_every_value) {
    for (std::size_t field = 0; field < 8; field++) {
        for (int value = 0; value < 256; value++) {
            bytes block = valid_block;
            block[field] = static_cast<std::uint8_t>(value);
            const bool accepted = is_valid_in_a_block(field, value);

            const std::string said =
                stderr_of([&] { expect(accepted, poe_drv_ipc_request_set_one_port_pmt, request_with(129, {block})); });
            if (HasFatalFailure()) return;
            EXPECT_EQ(said.empty(), accepted) << said;
        }
    }
}

TEST_F(configuration_requests, one_ports_power_limit_is_checked) {
    for (const auto& [limit, accepted] : {std::pair{0U, false}, std::pair{9U, false}, std::pair{10U, true},
                                          std::pair{900U, true}, std::pair{901U, false}, std::pair{0x10A00U, false},
                                          std::pair{0xFFFFFFFEU, false}, std::pair{0xFFFFFFFFU, true}}) {
        bytes block = valid_block;
        put32(block, 8, limit);

        stderr_of(
            [&, valid = accepted] { expect(valid, poe_drv_ipc_request_set_one_port_pmt, request_with(129, {block})); });
    }
}

TEST_F(configuration_requests, a_request_for_port_4_is_refused_with_the_known_bytes) {
    bytes block = valid_block;
    block[0] = 4;
    stderr_of([&] { EXPECT_EQ(request(poe_drv_ipc_request_set_one_port_pmt, request_with(129, {block})), -4); });

    EXPECT_EQ(the_reply(), (bytes{129, 0, 0, 0, 0, 0, 0, 1}));
    EXPECT_FALSE(queue_has_records());
}

TEST_F(configuration_requests, a_block_that_keeps_everything_is_refused) {
    stderr_of([&] {
        expect_refused(poe_drv_ipc_request_set_one_port_pmt,
                       request_with(129, {{0, keep, keep, keep, 2, 10, 0, 0, keep, keep, keep, keep}}));
    });
}

// --- all ports, a block each ---

TEST_F(configuration_requests, a_block_a_port_is_queued_whole) {
    bytes other = valid_block;
    other[0] = 0;
    other[1] = keep;

    EXPECT_EQ(stderr_of([&] {
                  expect_accepted(poe_drv_ipc_request_set_all_port_pmt,
                                  request_with(130, {valid_block, other, valid_block, other}));
              }),
              "");
}

TEST_F(configuration_requests, the_first_bad_block_is_named_and_the_ones_behind_it_are_not_looked_at) {
    bytes bad = valid_block;
    bad[0] = 200;
    for (std::size_t first_bad = 0; first_bad < 4; first_bad++) {
        std::vector<bytes> blocks(4, valid_block);
        for (std::size_t i = first_bad; i < 4; i++)
            blocks[i] = bad;

        const std::string said =
            stderr_of([&] { expect_refused(poe_drv_ipc_request_set_all_port_pmt, request_with(130, blocks)); });

        const std::string lines = R"(\[check_one_port_pmt_value , 3477\]:Port_Number=\(-56\)\n)"
                                  R"(\[poe_drv_ipc_request_set_all_port_pmt\(\) , [1-9][0-9]*\]: i=\()" +
                                  std::to_string(first_bad) + R"(\)\n)";
        EXPECT_TRUE(std::regex_match(said, std::regex(lines))) << said;
    }
}

TEST_F(configuration_requests, every_byte_of_every_block_is_checked) {
    stderr_of([&] {
        for (std::size_t at = 0; at < 4 * 8; at++) {
            const std::size_t k = at / 8, field = at % 8;
            for (int value = 0; value < 256; value++) {
                std::vector<bytes> blocks(4, valid_block);
                blocks[k][field] = static_cast<std::uint8_t>(value);

                expect(is_valid_in_a_block(field, value), poe_drv_ipc_request_set_all_port_pmt,
                       request_with(130, blocks));
                if (HasFatalFailure()) return;
            }
        }
    });
}

// --- all ports, the same for each ---

TEST_F(configuration_requests, the_same_parameters_are_queued_with_a_port_byte_of_0_whatever_was_sent) {
    for (int port = 0; port < 256; port++) {
        bytes block = valid_block;
        block[0] = static_cast<std::uint8_t>(port);
        bytes message = request_with(132, {block});

        EXPECT_EQ(request(poe_drv_ipc_request_set_all_port_same_pmt, message), 0);

        EXPECT_EQ(the_reply(), acknowledgement(132, 0));
        block[0] = 0;
        EXPECT_EQ(message, request_with(132, {block}));
        EXPECT_EQ(pop(), message);
    }
}

TEST_F(configuration_requests, the_same_parameters_must_all_be_given_and_valid) {
    stderr_of([&] {
        for (std::size_t field = 1; field < 8; field++) {
            for (int value = 0; value < 256; value++) {
                bytes block = valid_block;
                block[0] = 0;
                block[field] = static_cast<std::uint8_t>(value);
                const bool reserved = field >= 6;
                const bool accepted = reserved || (is_valid_in_a_block(field, value) && value != 255);

                expect(accepted, poe_drv_ipc_request_set_all_port_same_pmt, request_with(132, {block}));
                if (HasFatalFailure()) return;
            }
        }
    });
    bytes block = valid_block;
    block[0] = 0;
    put32(block, 8, 0xFFFFFFFF);
    expect_refused(poe_drv_ipc_request_set_all_port_same_pmt, request_with(132, {block}));
}

TEST_F(configuration_requests, a_kept_value_in_the_same_parameters_is_refused_in_silence) {
    for (std::size_t field = 1; field <= 5; field++) {
        bytes block = valid_block;
        block[field] = keep;

        EXPECT_EQ(stderr_of([&] {
                      EXPECT_EQ(request(poe_drv_ipc_request_set_all_port_same_pmt, request_with(132, {block})), -4);
                  }),
                  "");
    }
    EXPECT_FALSE(queue_has_records());
}

// --- schedule states ---

TEST_F(configuration_requests, one_ports_schedule_state_is_checked_over_every_port_and_value) {
    for (int port = 0; port < 256; port++) {
        for (int state = 0; state < 256; state++) {
            const bytes entry{static_cast<std::uint8_t>(port), static_cast<std::uint8_t>(state), 0x91, 0x92};
            const bool accepted = port < 4 && is_one_of(state, {0, 1, 255});

            expect(accepted, poe_drv_ipc_request_set_one_port_sch_on_off, request_with(137, {entry}));
            if (HasFatalFailure()) return;
        }
    }
}

TEST_F(configuration_requests, each_entry_of_all_ports_schedule_states_is_checked_over_every_value) {
    const bytes valid{3, 1, 0x91, 0x92};
    for (std::size_t k = 0; k < 4; k++) {
        for (std::size_t field = 0; field < 4; field++) {
            for (int value = 0; value < 256; value++) {
                std::vector<bytes> entries(4, valid);
                entries[k][field] = static_cast<std::uint8_t>(value);
                bool accepted = true;
                if (field == 0) accepted = value < 4;
                if (field == 1) accepted = is_one_of(value, {0, 1, 255});

                expect(accepted, poe_drv_ipc_request_set_all_port_sch_on_off, request_with(138, entries));
                if (HasFatalFailure()) return;
            }
        }
    }
}

// --- power bank and power-cycle ---

TEST_F(configuration_requests, a_power_bank_is_always_accepted) {
    for (const std::uint32_t bank : {0U, 1U, 0x12345678U, 0xFFFFFFFFU}) {
        bytes payload(4);
        put32(payload, 0, bank);
        expect_accepted(poe_drv_ipc_request_set_pwr_bnk_pmt, request_with(142, {payload}));
    }
}

TEST_F(configuration_requests, a_power_cycle_is_always_accepted) {
    for (int ports = 0; ports < 256; ports++) {
        expect_accepted(poe_drv_ipc_request_set_re_enable_port_list,
                        request_with(143, {{static_cast<std::uint8_t>(ports)}}));
    }
}

// --- every one of them ---

struct accepted_request {
    ipc_handler handler;
    bytes message;
};

std::vector<accepted_request> one_of_each() {
    return {
        {poe_drv_ipc_request_set_sys_pwr_pmt, request_with(128, {{1, 0, 0, 80, 0, 0, 0, 0}})},
        {poe_drv_ipc_request_set_one_port_pmt, request_with(129, {valid_block})},
        {poe_drv_ipc_request_set_all_port_pmt, request_with(130, {valid_block, valid_block, valid_block, valid_block})},
        {poe_drv_ipc_request_set_all_port_same_pmt, request_with(132, {valid_block})},
        {poe_drv_ipc_request_set_one_port_sch_on_off, request_with(137, {{0, 1, 0, 0}})},
        {poe_drv_ipc_request_set_all_port_sch_on_off,
         request_with(138, {{0, 1, 0, 0}, {1, 1, 0, 0}, {2, 0, 0, 0}, {3, keep, 0, 0}})},
        {poe_drv_ipc_request_set_pwr_bnk_pmt, request_with(142, {{1, 2, 3, 4}})},
        {poe_drv_ipc_request_set_re_enable_port_list, request_with(143, {{5}})}};
}

TEST_F(configuration_requests, the_acknowledgement_goes_out_before_the_request_is_queued) {
    for (auto& [handler, message] : one_of_each()) {
        the_world.on_send = [] { EXPECT_FALSE(queue_has_records()); };

        EXPECT_EQ(request(handler, message), 0);

        EXPECT_EQ(the_reply(), acknowledgement(message[0], 0));
        EXPECT_EQ(pop(), message);
    }
}

TEST_F(configuration_requests, no_lock_is_held_while_acknowledging_and_the_tick_lock_is_never_taken) {
    expect_no_lock_while_sending();
    for (auto& [handler, message] : one_of_each())
        request(handler, message);

    // Held here, the lock would stop a handler that asked for it.
    the_world.on_send = nullptr;
    data____lock_poe_tick_thread();
    for (auto& [handler, message] : one_of_each())
        EXPECT_EQ(request(handler, message), 0);
    data_un_lock_poe_tick_thread();

    EXPECT_EQ(the_world.replies.size(), 16U);
    EXPECT_EQ(the_world.replies[0].timeout_us, 1000);
}

TEST_F(configuration_requests, a_lost_acknowledgement_is_not_said_and_the_request_is_queued_all_the_same) {
    the_world.send_result = -1;
    for (auto& [handler, message] : one_of_each()) {
        EXPECT_EQ(stderr_of([&, h = handler, &m = message] { EXPECT_EQ(request(h, m), 0); }), "");
        EXPECT_EQ(pop(), message);
    }
}

TEST_F(configuration_requests, a_request_that_cannot_be_queued_has_been_acknowledged_as_accepted) {
    bytes message = request_with(142, {{1, 2, 3, 4}});
    // The acknowledgement is recorded first; memory runs out only then.
    memory_watch memory{.out_of_memory = true, .requests = {}, .on_request = {}};
    int result = -1;

    const std::string said = stderr_of([&] {
        const watched_memory watching(memory);
        result = request(poe_drv_ipc_request_set_pwr_bnk_pmt, message);
    });

    EXPECT_EQ(result, 0);
    EXPECT_EQ(the_reply(), acknowledgement(142, 0));
    EXPECT_NE(said.find("can not allocate memory for internal ipc set data!!!"), std::string::npos);
    EXPECT_FALSE(queue_has_records());
}

TEST_F(configuration_requests, three_requests_come_out_oldest_first_and_the_mark_reads_3) {
    const auto requests = one_of_each();
    for (std::size_t i = 0; i < 3; i++)
        request(requests[i].handler, bytes(requests[i].message));

    EXPECT_EQ(g_dbg_read_mixed_info.get(), 3U);
    EXPECT_EQ(pop()[0], 128);
    EXPECT_EQ(pop()[0], 129);
    EXPECT_EQ(pop()[0], 130);
}

TEST_F(configuration_requests, the_shared_records_are_not_touched) {
    for (auto& [handler, message] : one_of_each())
        request(handler, message);

    EXPECT_EQ(g_sys_pwr_pmt.usage_threshold.get(), 95);
    EXPECT_EQ(g_port_pmt[2].Port_Enable.get(), 0);
    EXPECT_EQ(g_port_pmt[0].Sch_On_Off.get(), 1);
    EXPECT_EQ(g_pwr_bnk_pmt.get().limit_w, 300);
    EXPECT_TRUE(the_world.frames.empty());
}

}  // namespace
