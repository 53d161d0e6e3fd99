// The set queue by itself: what a queued setting costs when 100,000 stand before it, what a record weighs, and how long
// 100,000 of them take to leave, taken by a thread of their own as in the
// daemon.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <malloc.h>
#include <unistd.h>

#include "core/records.h"
#include "inside/measuring.h"
#include "ipc/protocol.h"
#include "ipc/set_queue.h"

namespace {

constexpr int burst = 100000;
constexpr int few = 1000;

std::array<unsigned char, sizeof(one_port_parameters_message)> port_setting() {
    std::array<unsigned char, sizeof(one_port_parameters_message)> message{};
    message[0] = static_cast<unsigned char>(ipc_type::set_one_port_pmt);
    return message;
}

void push(int count) {
    static const auto message = port_setting();
    for (int i = 0; i < count; i++)
        poe_internal_tx_queue_data(message.data(), message.size());
}

int drain() {
    int records = 0;
    std::array<unsigned char, longest_set_record> record;
    int length = longest_set_record;
    for (; poe_internal_rx_queue_data(record.data(), &length) == 0; length = longest_set_record)
        records++;
    return records;
}

double resident_bytes() {
    std::FILE* const file = std::fopen("/proc/self/statm", "r");
    unsigned long whole = 0;
    unsigned long resident = 0;
    const int got = file == nullptr ? 0 : std::fscanf(file, "%lu %lu", &whole, &resident);
    if (file != nullptr) std::fclose(file);
    return got == 2 ? static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) : 0;
}

struct course {
    double first_s = 0;  // of the first few
    double last_s = 0;   // of as many, behind a burst
    double drain_s = 0;
    double grown = 0;      // bytes a record
    double allocated = 0;  // bytes a record, as the allocator counts them
    int drained = 0;
};

course run() {
    course one;
    const double before = resident_bytes();
    const double allocated_before = static_cast<double>(mallinfo2().uordblks);
    one.first_s = bench::seconds_of([] { push(few); });
    push(burst - few);
    one.grown = (resident_bytes() - before) / burst;
    one.allocated = (static_cast<double>(mallinfo2().uordblks) - allocated_before) / burst;
    one.last_s = bench::seconds_of([] { push(few); });
    std::thread supervision([&one] { one.drain_s = bench::seconds_of([&one] { one.drained = drain(); }); });
    supervision.join();
    return one;
}

}  // namespace

int main() {
    initialise_mutex(g_mutex_poe_share_data_thread);
    g_dbg_read_mixed_info.set(0);
    poe_internal_set_queue_init();
    std::thread([] {}).join();  // from here on nothing is spared because there is but one thread
    run();                      // meets every page for the first time

    const course one = run();
    if (one.drained != burst + few) bench::give_up("what was queued did not come out");
    std::printf(
        "{\"first_ns\": %.4f, \"last_ns\": %.4f, \"record_bytes\": %.4f, \"resident_bytes\": %.4f,"
        " \"drain_ms\": %.4f}\n",
        one.first_s / few * 1e9, one.last_s / few * 1e9, one.allocated, one.grown,
        one.drain_s * 1e3 * burst / (burst + few));
    return EXIT_SUCCESS;
}
