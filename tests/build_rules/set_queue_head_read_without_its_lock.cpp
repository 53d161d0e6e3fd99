#include "ipc/set_queue.h"

bool queue_is_empty() {
    return __g_poe_set_data == nullptr;
}
