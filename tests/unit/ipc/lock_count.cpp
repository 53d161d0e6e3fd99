#include "lock_count.h"

extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
}

namespace {

thread_local const pthread_mutex_t* counted = nullptr;
thread_local int count = 0;

}  // namespace

lock_count::lock_count(const poe_mutex& mutex) {
    count = 0;
    counted = &mutex.native;
}

lock_count::~lock_count() {
    counted = nullptr;
}

int lock_count::taken() const {
    return count;
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    if (mutex == counted) count++;
    return __real_pthread_mutex_lock(mutex);
}
