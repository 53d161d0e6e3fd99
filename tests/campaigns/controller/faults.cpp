#include "faults.h"

#include <cerrno>

namespace campaign {

namespace {

struct named_error {
    const char* name;
    int number;
};
constexpr named_error errors[] = {{"EIO", EIO}, {"EINTR", EINTR}, {"ENODEV", ENODEV}, {"EBUSY", EBUSY}};

std::vector<named_fault> make_kinds() {
    std::vector<named_fault> kinds;
    kinds.push_back({"silence", {.record = left_behind::request, .error = ETIMEDOUT}});
    for (const char key : {'a', 'b'}) {
        const auto report_key = static_cast<std::uint8_t>(key);
        const std::string name = std::string("report ") + key;
        kinds.push_back({name, {.record = left_behind::report, .report_key = report_key}});
        kinds.push_back(
            {name + ", wrong checksum", {.record = left_behind::report, .report_key = report_key, .checksum_off = 1}});
        for (const named_error& error : errors) {
            kinds.push_back({name + " and " + error.name,
                             {.record = left_behind::report, .error = error.number, .report_key = report_key}});
        }
    }
    for (const named_error& error : errors) {
        kinds.push_back({error.name, {.record = left_behind::request, .error = error.number}});
        kinds.push_back({std::string(error.name) + " over the answer", {.error = error.number}});
        kinds.push_back(
            {std::string(error.name) + " over zeros", {.record = left_behind::zeros, .error = error.number}});
        kinds.push_back({std::string(error.name) + " over ones", {.record = left_behind::ones, .error = error.number}});
    }
    kinds.push_back({"wrong checksum", {.checksum_off = 1}});
    kinds.push_back({"zeros", {.record = left_behind::zeros}});
    kinds.push_back({"ones", {.record = left_behind::ones}});
    kinds.push_back({"previous answer", {.record = left_behind::previous}});
    kinds.push_back({"the request itself", {.record = left_behind::request}});
    kinds.push_back({"wrong command echo", {.set_at = 0, .set_to = 0x40, .resealed = true}});
    kinds.push_back({"wrong port echo", {.set_at = 2, .set_to = 9, .resealed = true}});
    kinds.push_back({"wrong selector echo", {.set_at = 1, .set_to = 7, .resealed = true}});
    kinds.push_back({"torn command echo", {.set_at = 0, .set_to = 0x20}});
    return kinds;
}

void flip(befalling& what, std::size_t bit) {
    what.flips[bit / 8] = static_cast<std::uint8_t>(what.flips[bit / 8] ^ 1U << bit % 8);
}

std::vector<befalling> make_flips() {
    std::vector<befalling> flips;
    for (std::size_t one = 0; one < frame_bits; one++) {
        befalling single;
        flip(single, one);
        flips.push_back(single);
    }
    for (std::size_t one = 0; one < frame_bits; one++) {
        for (std::size_t other = one + 1; other < frame_bits; other++) {
            befalling both;
            flip(both, one);
            flip(both, other);
            flips.push_back(both);
        }
    }
    return flips;
}

}  // namespace

const std::vector<named_fault>& fault_kinds() {
    static const std::vector<named_fault> kinds = make_kinds();
    return kinds;
}

const std::vector<befalling>& all_flips() {
    static const std::vector<befalling> flips = make_flips();
    return flips;
}

}  // namespace campaign
