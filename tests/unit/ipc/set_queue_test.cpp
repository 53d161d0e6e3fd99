#include "ipc/set_queue.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <map>
#include <regex>
#include <thread>

#include "ipc/set_records.h"
#include "ipc_test.h"
#include "lock_count.h"
#include "memory.h"

namespace {

const std::map<int, std::size_t> queued_lengths{{128, 16}, {129, 20}, {130, 56}, {132, 20},
                                                {137, 12}, {138, 24}, {142, 12}, {143, 9}};

// A power-cycle record that can be told from others.
bytes numbered_record(std::uint8_t number) {
    return {143, 0, 0, 0, 0, 0, 0, 0, number};
}

int push(const bytes& record) {
    return poe_internal_tx_queue_data(record.data(), static_cast<unsigned>(record.size()));
}

class set_queue : public ipc_test {};

TEST_F(set_queue, is_empty_after_its_initialisation) {
    EXPECT_FALSE(queue_has_records());
    int length = 56;
    bytes out(56, 0xEE);
    EXPECT_EQ(poe_internal_rx_queue_data(out.data(), &length), -1);
    EXPECT_EQ(length, 56);
    EXPECT_EQ(out, bytes(56, 0xEE));
}

TEST_F(set_queue, records_come_out_oldest_first) {
    for (std::uint8_t i = 1; i <= 3; i++)
        EXPECT_EQ(push(numbered_record(i)), 0);

    for (std::uint8_t i = 1; i <= 3; i++)
        EXPECT_EQ(pop(), numbered_record(i));
    EXPECT_FALSE(queue_has_records());
}

TEST_F(set_queue, pushes_between_pops_keep_the_order) {
    std::uint8_t pushed = 0, popped = 0;
    for (int round = 0; round < 50; round++) {
        push(numbered_record(pushed++));
        push(numbered_record(pushed++));
        EXPECT_EQ(pop(), numbered_record(popped++));
    }
    while (popped < pushed)
        EXPECT_EQ(pop(), numbered_record(popped++));
    EXPECT_FALSE(queue_has_records());
}

TEST_F(set_queue, the_head_is_the_newest_record_and_links_to_older_ones) {
    for (std::uint8_t i = 1; i <= 3; i++)
        push(numbered_record(i));

    const set_queue_lock held;
    const set_record* record = __g_poe_set_data;
    for (const int number : {3, 2, 1}) {
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->data[8], number);
        record = record->older;
    }
    EXPECT_EQ(record, nullptr);
}

TEST_F(set_queue, the_oldest_record_links_to_nothing_after_an_older_one_has_gone) {
    for (std::uint8_t i = 1; i <= 3; i++)
        push(numbered_record(i));
    pop();

    const set_queue_lock held;
    ASSERT_NE(__g_poe_set_data->older, nullptr);
    EXPECT_EQ(__g_poe_set_data->older->data[8], 2);
    EXPECT_EQ(__g_poe_set_data->older->older, nullptr);
}

TEST_F(set_queue, the_marks_lock_is_taken_only_to_raise_it) {
    const lock_count locks(g_mutex_poe_share_data_thread);
    push(numbered_record(1));
    EXPECT_EQ(locks.taken(), 1);

    pop();
    push(numbered_record(2));
    EXPECT_EQ(locks.taken(), 1);
}

TEST_F(set_queue, the_high_water_mark_is_the_deepest_depth_after_a_push_and_only_grows) {
    for (std::uint8_t i = 1; i <= 3; i++) {
        push(numbered_record(i));
        EXPECT_EQ(g_dbg_read_mixed_info.get(), i);
    }
    while (queue_has_records())
        pop();
    EXPECT_EQ(g_dbg_read_mixed_info.get(), 3U);

    push(numbered_record(4));
    push(numbered_record(5));
    EXPECT_EQ(g_dbg_read_mixed_info.get(), 3U);

    g_dbg_read_mixed_info.set(0);
    push(numbered_record(6));
    EXPECT_EQ(g_dbg_read_mixed_info.get(), 3U);
}

TEST_F(set_queue, the_high_water_mark_is_compared_without_a_sign) {
    g_dbg_read_mixed_info.set(0xFFFFFFFF);

    push(numbered_record(1));

    EXPECT_EQ(g_dbg_read_mixed_info.get(), 0xFFFFFFFFU);
}

TEST_F(set_queue, every_type_comes_out_at_its_own_length) {
    for (int type = 0; type < 256; type++) {
        bytes record(56);
        for (std::size_t i = 0; i < record.size(); i++)
            record[i] = static_cast<std::uint8_t>(100 + i);
        record[0] = static_cast<std::uint8_t>(type);
        push(record);

        bytes out(56, 0xEE);
        int length = 56;
        EXPECT_EQ(poe_internal_rx_queue_data(out.data(), &length), 0);

        const std::size_t expected = queued_lengths.contains(type) ? queued_lengths.at(type) : 0;
        EXPECT_EQ(length, static_cast<int>(expected)) << "type " << type;
        bytes copied(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(expected));
        copied.resize(56, 0xEE);
        EXPECT_EQ(out, copied) << "type " << type;
        EXPECT_EQ(set_record_length(static_cast<ipc_type>(type)), expected);
    }
}

TEST_F(set_queue, a_record_that_does_not_fit_is_dropped_and_the_next_one_is_not) {
    for (const auto& [type, expected] : queued_lengths) {
        for (int capacity = -1; capacity <= 56; capacity++) {
            push(padded({static_cast<std::uint8_t>(type)}, 56));
            push(numbered_record(77));
            const bool fits = capacity >= static_cast<int>(expected);

            bytes out(56, 0xEE);
            int length = capacity;
            ASSERT_EQ(poe_internal_rx_queue_data(out.data(), &length), fits ? 0 : -1) << type << " into " << capacity;

            ASSERT_EQ(length, fits ? static_cast<int>(expected) : capacity);
            if (!fits) {
                ASSERT_EQ(out, bytes(56, 0xEE));
            }
            ASSERT_EQ(pop(), numbered_record(77));
            ASSERT_FALSE(queue_has_records());
        }
    }
}

TEST_F(set_queue, a_negative_capacity_does_not_hold_even_a_record_of_unknown_type) {
    push({3});
    int length = -1;

    EXPECT_EQ(poe_internal_rx_queue_data(nullptr, &length), -1);

    EXPECT_EQ(length, -1);
    EXPECT_FALSE(queue_has_records());
}

TEST_F(set_queue, every_length_up_to_56_is_taken_and_57_is_not) {
    const bytes data = padded({143}, 60);
    for (unsigned length = 0; length <= 56; length++) {
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(poe_internal_tx_queue_data(data.data(), length), 0); }), "");
        EXPECT_TRUE(queue_has_records());
        pop();
        EXPECT_FALSE(queue_has_records());
    }

    for (const unsigned length : {57U, 58U, 2352U, 0x7FFFFFFFU}) {
        const std::string said =
            stderr_of([&] { EXPECT_EQ(poe_internal_tx_queue_data(data.data(), length), -1) << length; });
        const std::string line = R"(\[poe_internal_tx_queue_data\(\) , [1-9][0-9]*\]: data length=\()" +
                                 std::to_string(length) + R"(\) , to big! max define\(56\) \n)";
        EXPECT_TRUE(std::regex_match(said, std::regex(line))) << said;
        EXPECT_FALSE(queue_has_records());
    }
    stderr_of([&] { EXPECT_EQ(poe_internal_tx_queue_data(data.data(), 0xFFFFFFFFU), -1); });
}

TEST_F(set_queue, what_a_short_record_leaves_of_its_types_length_comes_out_as_zeros) {
    push(bytes(56, 0xEE));
    pop();  // its memory is the next record's
    push({130, 7});

    EXPECT_EQ(pop(), padded({130, 7}, 56));
}

TEST_F(set_queue, a_record_that_is_too_long_asks_for_no_memory_and_no_lock) {
    memory_watch memory;
    std::string said;
    {
        const set_queue_lock held;
        testing::internal::CaptureStderr();
        {
            const watched_memory watching(memory);
            []() POE_ATTRIBUTE(no_thread_safety_analysis) {
                const bytes too_long(57);
                EXPECT_EQ(poe_internal_tx_queue_data(too_long.data(), 57), -1);
            }();
        }
        said = testing::internal::GetCapturedStderr();
    }

    EXPECT_NE(said, "");
    EXPECT_EQ(std::count(memory.requests.begin(), memory.requests.end(), sizeof(set_record)), 0);
}

TEST_F(set_queue, each_record_is_one_allocation_of_at_most_80_bytes_made_under_the_queues_lock) {
    memory_watch memory;
    int lock_was_held = 0;
    memory.on_request = [&] {
        if (pthread_mutex_trylock(&g_mutex_poe_internal_set_queue.native) == EBUSY) lock_was_held++;
    };
    const bytes record = padded({130}, 56);
    {
        const watched_memory watching(memory);
        push(record);
        push(record);
    }

    ASSERT_EQ(memory.requests.size(), 2U);
    EXPECT_LE(memory.requests[0], 80U);
    EXPECT_LE(memory.requests[1], 80U);
    EXPECT_EQ(lock_was_held, 2);
}

TEST_F(set_queue, without_memory_the_request_is_lost_and_said_and_the_result_is_still_0) {
    push(numbered_record(1));
    g_dbg_read_mixed_info.set(0);
    const bytes record = numbered_record(2);
    memory_watch memory{.out_of_memory = true, .requests = {}, .on_request = {}};

    int result = -1;
    testing::internal::CaptureStderr();
    {
        const watched_memory watching(memory);
        result = push(record);
    }
    const std::string said = testing::internal::GetCapturedStderr();

    EXPECT_EQ(result, 0);
    EXPECT_TRUE(std::regex_match(
        said,
        std::regex(
            R"(\[poe_internal_tx_queue_data\(\) , [1-9][0-9]*\]: can not allocate memory for internal ipc set data!!!\n)")))
        << said;
    EXPECT_EQ(g_dbg_read_mixed_info.get(), 0U);
    EXPECT_EQ(pop(), numbered_record(1));
    EXPECT_FALSE(queue_has_records());
}

TEST_F(set_queue, depth_is_counted_right_after_a_request_was_lost_for_want_of_memory) {
    push(numbered_record(1));
    const bytes record = numbered_record(2);
    memory_watch memory{.out_of_memory = true, .requests = {}, .on_request = {}};
    stderr_of([&] {
        const watched_memory watching(memory);
        push(record);
    });

    push(numbered_record(3));

    EXPECT_EQ(g_dbg_read_mixed_info.get(), 2U);
    EXPECT_EQ(pop(), numbered_record(1));
    EXPECT_EQ(pop(), numbered_record(3));
}

TEST_F(set_queue, no_other_lock_is_held_while_the_queues_is) {
    memory_watch memory;
    memory.on_request = [] {
        EXPECT_EQ(pthread_mutex_trylock(&g_mutex_poe_share_data_thread.native), 0);
        pthread_mutex_unlock(&g_mutex_poe_share_data_thread.native);
        EXPECT_EQ(pthread_mutex_trylock(&g_mutex_poe_tick_thread.native), 0);
        pthread_mutex_unlock(&g_mutex_poe_tick_thread.native);
    };
    const bytes record = numbered_record(1);
    const watched_memory watching(memory);

    push(record);

    EXPECT_EQ(memory.requests.size(), 1U);
}

TEST_F(set_queue, the_mark_is_stored_after_the_queues_lock_has_been_released) {
    // The mark's lock is held by this test, so the push waits for it, and must let go of the queue's before it does.
    std::atomic<bool> pushed = false;
    data____lock_poe_share_data_thread();
    std::thread main_thread([&] {
        push(numbered_record(1));
        pushed = true;
    });
    while (!queue_has_records())
        std::this_thread::yield();
    const bytes taken = pop();
    const bool came_back_early = pushed;
    const std::uint32_t mark_while_locked = g_dbg_read_mixed_info.get();
    data_un_lock_poe_share_data_thread();
    main_thread.join();

    EXPECT_EQ(taken, numbered_record(1));
    EXPECT_FALSE(came_back_early);
    EXPECT_EQ(mark_while_locked, 0U);
    EXPECT_EQ(g_dbg_read_mixed_info.get(), 1U);
}

TEST_F(set_queue, two_hundred_thousand_records_pass_in_order_at_the_cost_of_one_each) {
    constexpr std::uint32_t count = 200000;
    bytes record = padded({142}, 12);
    for (std::uint32_t i = 0; i < count; i++) {
        put32(record, 8, i);
        push(record);
    }
    EXPECT_EQ(g_dbg_read_mixed_info.get(), count);

    for (std::uint32_t i = 0; i < count; i++) {
        put32(record, 8, i);
        ASSERT_EQ(pop(), record);
    }
    EXPECT_FALSE(queue_has_records());
}

TEST_F(set_queue, a_burst_gives_its_memory_back_once_the_last_record_has_gone_and_outside_the_lock) {
    the_world.on_memory_return = [] { EXPECT_FALSE(queue_has_records()); };  // would wait for ever under the lock
    for (int i = 0; i < 1000; i++)
        push(numbered_record(0));
    for (int i = 0; i < 999; i++)
        pop();
    EXPECT_EQ(the_world.memory_returns, 0);

    pop();
    EXPECT_EQ(the_world.memory_returns, 1);

    pop();
    EXPECT_EQ(the_world.memory_returns, 1);
}

TEST_F(set_queue, the_next_burst_gives_its_memory_back_too_and_a_handful_of_records_does_not) {
    for (int burst = 1; burst <= 3; burst++) {
        for (int i = 0; i < 1000; i++)
            push(numbered_record(0));
        while (queue_has_records())
            pop();
        EXPECT_EQ(the_world.memory_returns, burst);

        for (int i = 0; i < 20; i++)
            push(numbered_record(0));
        while (queue_has_records())
            pop();
        EXPECT_EQ(the_world.memory_returns, burst);
    }
}

TEST_F(set_queue, a_queue_that_was_256_deep_is_a_burst_and_one_of_255_is_not) {
    for (const int deepest : {255, 256}) {
        for (int i = 0; i < deepest; i++)
            push(numbered_record(0));
        while (queue_has_records())
            pop();
        EXPECT_EQ(the_world.memory_returns, deepest == 256 ? 1 : 0) << deepest;
    }
}

TEST_F(set_queue, a_burst_whose_last_record_does_not_fit_gives_its_memory_back_as_well) {
    for (int i = 0; i < 1000; i++)
        push(numbered_record(0));
    for (int i = 0; i < 999; i++)
        pop();
    int length = 0;

    EXPECT_EQ(poe_internal_rx_queue_data(nullptr, &length), -1);

    EXPECT_EQ(the_world.memory_returns, 1);
}

TEST_F(set_queue, what_one_thread_pushes_another_pops_in_order) {
    constexpr std::uint32_t count = 20000;
    std::thread main_thread([] {
        bytes record = padded({142}, 12);
        for (std::uint32_t i = 0; i < count; i++) {
            put32(record, 8, i);
            push(record);
        }
    });
    std::uint32_t in_order = 0;
    for (std::uint32_t i = 0; i < count;) {
        const bytes record = pop();
        if (record.empty()) {
            std::this_thread::yield();
            continue;
        }
        bytes expected = padded({142}, 12);
        put32(expected, 8, i++);
        if (record == expected) in_order++;
    }
    main_thread.join();

    EXPECT_EQ(in_order, count);
    EXPECT_FALSE(queue_has_records());
    EXPECT_GE(g_dbg_read_mixed_info.get(), 1U);
    EXPECT_LE(g_dbg_read_mixed_info.get(), count);
}

}  // namespace
