// How far back the thread sanitizer of a program remembers: as far as it can. A race whose first half it has forgotten is
// not told.
extern "C" const char* __tsan_default_options();

const char* __tsan_default_options() {
    return "history_size=7";
}
