#include "core/tick.h"

#include "platform/system.h"

static_assert(tick_period_us * ticks_per_second == 1000000);

relaxed<std::uint32_t> g_poe_thread_tick_cnt;

std::uint32_t get_poe_tick() {
    const tick_lock held;
    return g_poe_thread_tick_cnt.get();
}

void poe_tick_once() {
    system_sleep_us(tick_period_us);
    const tick_lock held;
    g_poe_thread_tick_cnt.set(g_poe_thread_tick_cnt.get() + 1);
}

void* poe_tick_thread(void*) {
    g_poe_thread_tick_cnt.set(0);
    for (;;)
        poe_tick_once();
}
