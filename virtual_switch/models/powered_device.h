// What can be plugged into a port: its signature, its class, its pairs, what it draws, and what is wrong with it.
// Pure data and functions of it.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace vswitch {

enum class device_kind { none, legacy, single_signature, dual_signature };
enum class breakage { none, open, short_circuit, overload, bad_signature };
enum class signature { open, bad, valid };

inline constexpr unsigned highest_class = 8;
inline constexpr unsigned highest_dual_class = 5;          // of one pair set
inline constexpr unsigned highest_two_pair_class = 4;      // above, a device takes all four pairs
inline constexpr std::uint32_t highest_load_mw = 1000000;  // no device draws a kilowatt

struct powered_device {
    device_kind kind = device_kind::none;
    unsigned power_class = 0;                    // of each pair set when dual-signature
    bool four_pairs = false;                     // single-signature: powered over both pair sets
    std::array<std::uint32_t, 2> load_mw{0, 0};  // whole load in [0], or one load a pair set when dual-signature
    breakage broken = breakage::none;
};

// What the controller grants a class, in milliwatts, at the port.
std::uint32_t class_power_mw(unsigned power_class);

// What detection finds.
signature signature_of(const powered_device& device);

std::uint32_t total_load_mw(const powered_device& device);

// A load is the whole device's; a dual-signature device splits it evenly.
void set_total_load(powered_device& device, std::uint32_t load_mw);

const char* breakage_name(breakage broken);
std::string device_text(const powered_device& device);

}  // namespace vswitch
