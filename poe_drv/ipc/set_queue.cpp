#include "ipc/set_queue.h"

#include <cstdlib>
#include <cstring>

#include "core/diagnostics.h"
#include "core/records.h"
#include "ipc/set_records.h"
#include "platform/system.h"

set_record* __g_poe_set_data;

static_assert(sizeof(set_record) <= 80);
static_assert(set_record_length(ipc_type::set_all_port_pmt) == longest_set_record);

namespace {

set_record* oldest GUARDED_BY(g_mutex_poe_internal_set_queue);
std::uint32_t depth GUARDED_BY(g_mutex_poe_internal_set_queue);

// A queue that was this deep left enough free memory (20 KiB) behind to be worth the allocator's walk through its heap.
constexpr std::uint32_t burst_depth = 256;
// The deepest since the queue was last empty.
std::uint32_t deepest_of_burst GUARDED_BY(g_mutex_poe_internal_set_queue);

// Returns the depth that the queue has now; 0 when there was no memory for the record.
std::uint32_t push_newest(const void* data, unsigned length) REQUIRES(g_mutex_poe_internal_set_queue) {
    auto* record = static_cast<set_record*>(std::malloc(sizeof(set_record)));
    if (record == nullptr) return 0;
    std::memset(record->data, 0, sizeof record->data);
    if (length > 0) std::memcpy(record->data, data, length);

    record->newer = nullptr;
    record->older = __g_poe_set_data;
    if (record->older != nullptr) record->older->newer = record;
    __g_poe_set_data = record;
    if (oldest == nullptr) oldest = record;

    depth++;
    if (depth > deepest_of_burst) deepest_of_burst = depth;
    return depth;
}

void drop_oldest() REQUIRES(g_mutex_poe_internal_set_queue) {
    set_record* const record = oldest;
    oldest = record->newer;
    if (oldest != nullptr) {
        oldest->older = nullptr;
    } else {
        __g_poe_set_data = nullptr;
    }
    depth--;
    std::free(record);
}

int pop_oldest(void* out, int* length) REQUIRES(g_mutex_poe_internal_set_queue) {
    if (oldest == nullptr) return -1;
    const std::size_t wanted = set_record_length(static_cast<ipc_type>(oldest->data[0]));
    const bool fits = *length >= static_cast<int>(wanted);
    if (fits) {
        if (wanted > 0) std::memcpy(out, oldest->data, wanted);
        *length = static_cast<int>(wanted);
    }
    drop_oldest();
    return fits ? 0 : -1;
}

// True once, when the last record of a burst has gone.
bool burst_has_drained() REQUIRES(g_mutex_poe_internal_set_queue) {
    if (depth > 0) return false;
    const bool was_burst = deepest_of_burst >= burst_depth;
    deepest_of_burst = 0;
    return was_burst;
}

}  // namespace

void poe_internal_set_queue_init() {
    initialise_mutex(g_mutex_poe_internal_set_queue);
    const set_queue_lock held;
    __g_poe_set_data = nullptr;
    oldest = nullptr;
    depth = 0;
    deepest_of_burst = 0;
}

int poe_internal_tx_queue_data(const void* data, unsigned length) {
    if (length > longest_set_record) {
        say("[%s() , %d]: data length=(%d) , to big! max define(%d) \n", __func__, __LINE__, static_cast<int>(length),
            static_cast<int>(longest_set_record));
        return -1;
    }
    std::uint32_t counted = 0;
    {
        const set_queue_lock held;
        counted = push_newest(data, length);
    }
    if (counted == 0) {
        say("[%s() , %d]: can not allocate memory for internal ipc set data!!!\n", __func__, __LINE__);
    }
    // Nobody else raises the mark, so it cannot have grown between the look and the lock.
    if (g_dbg_read_mixed_info.get() < counted) {
        const share_data_lock held;
        g_dbg_read_mixed_info.set(counted);
    }
    return 0;
}

int poe_internal_rx_queue_data(void* out, int* length) {
    int result = 0;
    bool drained = false;
    {
        const set_queue_lock held;
        result = pop_oldest(out, length);
        drained = burst_has_drained();
    }
    if (drained) system_return_free_memory();
    return result;
}
