#include "supervision/leds.h"

#include "core/cpld.h"
#include "core/diagnostics.h"
#include "core/records.h"
#include "platform/orv_com.h"

namespace {

bool is_set(const unsigned char& bitmap, int bit) {
    return utilBitmapCheck(&bitmap, bit) == 1;
}

void assign(unsigned char& bitmap, int bit, bool value) {
    if (value) {
        utilBitmapSet(&bitmap, bit);
    } else {
        utilBitmapClear(&bitmap, bit);
    }
}

// Touches one bit of the LED register.
void write_led_bit(int bit, bool value) {
    unsigned char values = 0;
    unsigned char mask = 0;
    assign(values, bit, value);
    assign(mask, bit, true);
    __poe_drv_cpld_write_mask(cpld_led_register, values, mask);
}

}  // namespace

void update_port_led(std::uint8_t port, bool lit, bool blinking) {
    if (port >= port_count) return;
    if (is_set(g_port_led_stu, port) != lit) {
        say_out(lit ? "[Port%d] Turn on PoE LED\n" : "[Port%d] Turn off PoE LED\n", port);
        assign(g_port_led_stu, port, lit);
        write_led_bit(port, lit);
    }
    if (is_set(g_port_led_blk, port) != blinking) {
        say_out(blinking ? "[Port%d] Set PoE LED to blinking\n" : "[Port%d] Set PoE LED to always on\n", port);
        assign(g_port_led_blk, port, blinking);
        write_led_bit(port + cpld_led_blink_shift, blinking);
    }
}
