// Sweeps of the supervision over four powered ports, or the same 23 calls of the same device a sweep, made by nobody
// but the C library.
//   sweep daemon|bare instant|system_call|bus COUNT
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "inside/daemon.h"
#include "inside/device.h"
#include "inside/measuring.h"

namespace {

struct device_name {
    std::string_view name;
    device_kind kind;
};
constexpr std::array devices{
    device_name{.name = "instant", .kind = device_kind::instant},
    device_name{.name = "system_call", .kind = device_kind::system_call},
    device_name{.name = "bus", .kind = device_kind::bus},
};

device_kind device_called(std::string_view name) {
    for (const device_name& row : devices) {
        if (row.name == name) return row.kind;
    }
    bench::give_up("no such device");
}

template <typename work>
double seconds_of_one(int times, work&& what) {
    const int times_to_warm_up = times / 10;
    for (int i = 0; i < times_to_warm_up; i++)
        what();
    return bench::seconds_of([&] {
               for (int i = 0; i < times; i++)
                   what();
           }) /
           times;
}

void check_calls(bench::daemon_inside& daemon) {
    the_device.calls = 0;
    daemon.sweep();
    if (the_device.calls != calls_a_sweep) bench::give_up("a sweep does not make 23 calls of the device");
}

}  // namespace

int main(int count, char** words) {
    if (count != 4) bench::give_up("usage: sweep daemon|bare instant|system_call|bus COUNT");
    const int device = open_bench_device();
    bench::daemon_inside daemon(device);
    daemon.sweep();
    check_calls(daemon);

    the_device.kind = device_called(words[2]);
    const int sweeps = std::atoi(words[3]);
    const bool bare = std::string_view(words[1]) == "bare";
    const double seconds = bare ? seconds_of_one(sweeps, [&] { bare_sweep(device); })  //
                                : seconds_of_one(sweeps, [&] { daemon.sweep(); });
    std::printf("{\"us\": %.4f}\n", seconds * 1e6);
    return EXIT_SUCCESS;
}
