#include "models/powered_device.h"

#include <stdexcept>

namespace vswitch {

std::uint32_t class_power_mw(unsigned power_class) {
    constexpr std::array<std::uint32_t, highest_class + 1> milliwatts{15400, 4000,  7000,  15400, 30000,
                                                                      45000, 60000, 75000, 90000};
    if (power_class >= milliwatts.size()) throw std::out_of_range("power class");
    return milliwatts[power_class];
}

signature signature_of(const powered_device& device) {
    if (device.kind == device_kind::none || device.broken == breakage::open) return signature::open;
    if (device.broken == breakage::bad_signature) return signature::bad;
    return signature::valid;
}

std::uint32_t total_load_mw(const powered_device& device) {
    return device.kind == device_kind::dual_signature ? device.load_mw[0] + device.load_mw[1] : device.load_mw[0];
}

void set_total_load(powered_device& device, std::uint32_t load_mw) {
    if (device.kind == device_kind::dual_signature) {
        device.load_mw = {load_mw - load_mw / 2, load_mw / 2};
    } else {
        device.load_mw = {load_mw, 0};
    }
}

const char* breakage_name(breakage broken) {
    switch (broken) {
        case breakage::none:
            return "none";
        case breakage::open:
            return "open";
        case breakage::short_circuit:
            return "short";
        case breakage::overload:
            return "overload";
        case breakage::bad_signature:
            return "bad-signature";
    }
    return "none";
}

std::string device_text(const powered_device& device) {
    std::string text;
    switch (device.kind) {
        case device_kind::none:
            return "-";
        case device_kind::legacy:
            text = "legacy";
            break;
        case device_kind::single_signature:
            text = "class " + std::to_string(device.power_class) + (device.four_pairs ? ", 4 pairs" : ", 2 pairs");
            break;
        case device_kind::dual_signature:
            text = "dual class " + std::to_string(device.power_class);
            break;
    }
    if (device.broken != breakage::none) text += std::string(", broken: ") + breakage_name(device.broken);
    return text;
}

}  // namespace vswitch
