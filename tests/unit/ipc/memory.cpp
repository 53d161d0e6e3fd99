#include "memory.h"

#include <utility>

extern "C" {
void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size);
}

namespace {

thread_local memory_watch* watching = nullptr;

}  // namespace

watched_memory::watched_memory(memory_watch& watch) {
    watch.requests.reserve(64);
    watching = &watch;
}

watched_memory::~watched_memory() {
    watching = nullptr;
}

void* __wrap_malloc(std::size_t size) {
    memory_watch* const watch = std::exchange(watching, nullptr);
    if (watch == nullptr) return __real_malloc(size);
    watch->requests.push_back(size);
    if (watch->on_request) watch->on_request();
    watching = watch;
    return watch->out_of_memory ? nullptr : __real_malloc(size);
}
