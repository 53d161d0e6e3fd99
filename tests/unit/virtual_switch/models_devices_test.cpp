#include "models/powered_device.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace vswitch {
namespace {

TEST(powered_device, a_class_has_its_power) {
    const std::uint32_t expected[] = {15400, 4000, 7000, 15400, 30000, 45000, 60000, 75000, 90000};
    for (unsigned power_class = 0; power_class <= 8; power_class++) {
        EXPECT_EQ(class_power_mw(power_class), expected[power_class]);
    }
    EXPECT_THROW(class_power_mw(9), std::out_of_range);
}

TEST(powered_device, its_signature_is_what_its_wiring_shows) {
    powered_device device{};
    EXPECT_EQ(signature_of(device), signature::open);
    device.kind = device_kind::legacy;
    EXPECT_EQ(signature_of(device), signature::valid);
    device.broken = breakage::open;
    EXPECT_EQ(signature_of(device), signature::open);
    device.broken = breakage::bad_signature;
    EXPECT_EQ(signature_of(device), signature::bad);
    device.broken = breakage::short_circuit;
    EXPECT_EQ(signature_of(device), signature::valid);
    device.broken = breakage::overload;
    EXPECT_EQ(signature_of(device), signature::valid);
}

TEST(powered_device, an_odd_load_is_split_without_loss) {
    powered_device device{.kind = device_kind::dual_signature, .power_class = 4};
    set_total_load(device, 12501);
    EXPECT_EQ(device.load_mw[0], 6251U);
    EXPECT_EQ(device.load_mw[1], 6250U);
    EXPECT_EQ(total_load_mw(device), 12501U);
}

TEST(powered_device, is_described_in_a_few_words) {
    EXPECT_EQ(device_text({}), "-");
    EXPECT_EQ(device_text({.kind = device_kind::legacy}), "legacy");
    EXPECT_EQ(device_text({.kind = device_kind::single_signature, .power_class = 6, .four_pairs = true}),
              "class 6, 4 pairs");
    EXPECT_EQ(device_text({.kind = device_kind::dual_signature, .power_class = 3, .broken = breakage::short_circuit}),
              "dual class 3, broken: short");
}

}  // namespace
}  // namespace vswitch
