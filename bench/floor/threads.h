// Two threads beside the main one, which wait as the daemon's do: one for the clock, one for nothing.
#pragma once

#include <ctime>
#include <initializer_list>

#include <pthread.h>
#include <unistd.h>

inline void* wait_for_ticks(void*) {
    constexpr timespec tick{.tv_sec = 0, .tv_nsec = 200000000};
    for (;;)
        nanosleep(&tick, nullptr);
}

inline void* wait_for_ever(void*) {
    for (;;)
        pause();
}

inline void start_two_threads() {
    for (void* (*const entry)(void*) : {wait_for_ticks, wait_for_ever}) {
        pthread_t thread;
        pthread_create(&thread, nullptr, entry, nullptr);
        pthread_detach(thread);
    }
}
