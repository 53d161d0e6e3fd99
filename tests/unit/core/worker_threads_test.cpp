#include "core/worker_threads.h"

#include <cerrno>
#include <cstring>

#include "stats/sampler.h"
#include "supervision/cycle.h"
#include "world/records.h"

void* poe_talk_with_kernel_thread(void*) {
    return nullptr;
}
void* poe_power_usage_with_thread(void*) {
    return nullptr;
}

namespace {

using testing::ElementsAre;

bool is_usable(poe_mutex& mutex) {
    if (pthread_mutex_trylock(&mutex.native) != 0) return false;
    return pthread_mutex_unlock(&mutex.native) == 0;
}

class worker_threads : public records_test {
  protected:
    worker_threads() {
        std::memset(&g_mutex_poe_tick_thread, 0xFF, sizeof g_mutex_poe_tick_thread);
        std::memset(&g_mutex_poe_share_data_thread, 0xFF, sizeof g_mutex_poe_share_data_thread);
    }
};

TEST_F(worker_threads, the_tick_thread_starts_after_its_lock_was_initialised) {
    EXPECT_EQ(poe_thread_tick_init_and_start(), 0);
    EXPECT_THAT(the_world.started_threads, ElementsAre(&poe_tick_thread));
    EXPECT_TRUE(is_usable(g_mutex_poe_tick_thread));
}

TEST_F(worker_threads, the_supervision_thread_starts_after_the_share_data_lock_was_initialised) {
    EXPECT_EQ(poe_thread_init_and_start(), 0);
    EXPECT_THAT(the_world.started_threads, ElementsAre(&poe_talk_with_kernel_thread));
    EXPECT_TRUE(is_usable(g_mutex_poe_share_data_thread));
}

TEST_F(worker_threads, the_sampling_thread_can_be_started) {
    EXPECT_EQ(poe_thread_power_usage_start(), 0);
    EXPECT_THAT(the_world.started_threads, ElementsAre(&poe_power_usage_with_thread));
}

TEST_F(worker_threads, a_thread_that_cannot_be_created_gives_the_error_and_leaves_the_lock_initialised) {
    the_world.start_thread_result = EAGAIN;
    EXPECT_EQ(poe_thread_tick_init_and_start(), EAGAIN);
    EXPECT_EQ(poe_thread_init_and_start(), EAGAIN);
    EXPECT_EQ(poe_thread_power_usage_start(), EAGAIN);
    EXPECT_TRUE(is_usable(g_mutex_poe_tick_thread));
    EXPECT_TRUE(is_usable(g_mutex_poe_share_data_thread));
}

}  // namespace
