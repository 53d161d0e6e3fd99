#include "core/tick.h"

std::uint32_t tick_under_lock() {
    const tick_lock held;
    return get_poe_tick();
}
