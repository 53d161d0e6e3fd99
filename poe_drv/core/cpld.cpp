#include "core/cpld.h"

#include "core/diagnostics.h"
#include "core/paths.h"
#include "platform/system.h"

namespace {

// The CPLD driver's requests and their buffers.
constexpr unsigned long ioc_cpld_write_mask = 0x8003D203;
constexpr unsigned long ioc_cpld_read = 0x4002D201;

struct cpld_masked_write {
    std::uint8_t register_number;  // 0
    std::uint8_t value;            // 1
    std::uint8_t mask;             // 2  only the bits set here change
};
static_assert(sizeof(cpld_masked_write) == 3);

struct cpld_read {
    std::uint8_t register_number;  // 0
    std::uint8_t value;            // 1  filled in by the driver
};
static_assert(sizeof(cpld_read) == 2);

// The open device, or -1 once its failure was said.
int open_cpld() {
    const int device = system_open_device(cpld_device_path);
    if (device < 0) say("poe_drv open /dev/ cpld_rtl819x FAIL!!\n");
    return device;
}

}  // namespace

void __poe_drv_cpld_write_mask(std::uint8_t register_number, std::uint8_t value, std::uint8_t mask) {
    const int device = open_cpld();
    if (device < 0) return;
    cpld_masked_write buffer{.register_number = register_number, .value = value, .mask = mask};
    if (system_ioctl(device, ioc_cpld_write_mask, &buffer) == -1) {
        // The number printed is the request's, not the register's: that is how this line has always read.
        say("poe_drv registerID(0x%x) failed\n", static_cast<unsigned>(ioc_cpld_write_mask));
    }
    system_close(device);
}

void __poe_drv_cpld_read(std::uint8_t register_number, std::uint8_t& value) {
    const int device = open_cpld();
    if (device < 0) return;
    cpld_read buffer{.register_number = register_number, .value = 0};
    if (system_ioctl(device, ioc_cpld_read, &buffer) == -1) {
        say("poe_drv IOC_CPLD_READ failed\n");
    } else {
        value = buffer.value;
    }
    system_close(device);
}
