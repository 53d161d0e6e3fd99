// An empty program with as many threads and the same libraries as the daemon.
#include "floor/threads.h"

int main() {
    start_two_threads();
    wait_for_ever(nullptr);
}
