#include "core/tick.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <unistd.h>

#include "world/records.h"

namespace {

using testing::ElementsAre;

bool tick_lock_is_free() {
    if (pthread_mutex_trylock(&g_mutex_poe_tick_thread.native) != 0) return false;
    pthread_mutex_unlock(&g_mutex_poe_tick_thread.native);
    return true;
}

class tick_clock : public records_test {};

TEST_F(tick_clock, a_tick_is_a_sleep_of_200_ms_and_then_a_count) {
    std::uint32_t while_asleep = 99;
    the_world.witness = [&](const std::string&) { while_asleep = g_poe_thread_tick_cnt.get(); };
    poe_tick_once();
    EXPECT_THAT(the_world.sleeps_us, ElementsAre(200000));
    EXPECT_EQ(while_asleep, 0u);
    EXPECT_EQ(get_poe_tick(), 1u);
    poe_tick_once();
    EXPECT_EQ(get_poe_tick(), 2u);
}

TEST_F(tick_clock, a_second_has_five_ticks) {
    EXPECT_EQ(ticks_per_second, 5u);
}

TEST_F(tick_clock, the_lock_is_free_during_the_sleep_and_afterwards) {
    bool free_while_asleep = false;
    the_world.witness = [&](const std::string&) { free_while_asleep = tick_lock_is_free(); };
    poe_tick_once();
    EXPECT_TRUE(free_while_asleep);
    EXPECT_TRUE(tick_lock_is_free());
    get_poe_tick();
    EXPECT_TRUE(tick_lock_is_free());
}

TEST_F(tick_clock, it_wraps_and_elapsed_time_is_right_across_the_wrap) {
    g_poe_thread_tick_cnt.set(0xFFFFFFFE);
    const std::uint32_t then = get_poe_tick();
    for (int i = 0; i < 5; i++)
        poe_tick_once();
    EXPECT_EQ(get_poe_tick(), 3u);
    EXPECT_EQ(get_poe_tick() - then, 5u);
}

// Runs `work` on a thread of its own while the tick lock is held, and tells whether it ended before the lock was free.
template <typename some_work>
bool ends_while_the_lock_is_held(some_work work) {
    std::atomic<bool> ended{false};
    std::thread worker;
    bool too_early = false;
    {
        const tick_lock held;
        worker = std::thread([&] {
            work();
            ended = true;
        });
        usleep(20000);  // too short a wait could only hide a fault, never invent one
        too_early = ended;
    }
    worker.join();
    return too_early;
}

TEST_F(tick_clock, reading_the_tick_waits_for_the_lock) {
    EXPECT_FALSE(ends_while_the_lock_is_held([] { get_poe_tick(); }));
}

TEST_F(tick_clock, counting_waits_for_the_lock) {
    EXPECT_FALSE(ends_while_the_lock_is_held([] { poe_tick_once(); }));
    EXPECT_EQ(get_poe_tick(), 1u);
}

TEST_F(tick_clock, readers_beside_the_counter_see_it_grow_only) {
    std::atomic<bool> done{false};
    int backwards = 0;
    std::thread reader([&] {
        for (std::uint32_t last = 0; !done;) {
            const std::uint32_t now = get_poe_tick();
            if (now < last) backwards++;
            last = now;
        }
    });
    for (int i = 0; i < 5000; i++)
        poe_tick_once();
    done = true;
    reader.join();
    EXPECT_EQ(backwards, 0);
    EXPECT_EQ(get_poe_tick(), 5000u);
}

TEST_F(tick_clock, the_thread_starts_from_0_without_the_lock_and_counts_for_ever) {
    GTEST_FLAG_SET(death_test_style, POE_DEATH_TEST_STYLE);
    EXPECT_EXIT(
        {
            g_poe_thread_tick_cnt.set(4711);
            the_world.witness = [](const std::string& line) {
                const std::uint32_t count = g_poe_thread_tick_cnt.get();
                std::fprintf(stderr, "%s at %u\n", line.c_str(), count);
                if (count == 3) std::_Exit(0);
            };
            poe_tick_thread(nullptr);
        },
        testing::ExitedWithCode(0), "^sleep 200000 at 0\nsleep 200000 at 1\nsleep 200000 at 2\nsleep 200000 at 3\n$");
}

}  // namespace
