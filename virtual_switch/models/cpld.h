// The CPLD: 256 registers of a byte. Register 10 holds the port LEDs, bit p lit and bit p + 4 blinking; register 9 the
// inline mode of the ports.
#pragma once

#include <array>
#include <cstdint>

namespace vswitch {

inline constexpr std::uint8_t led_register = 10;
inline constexpr std::uint8_t inline_mode_register = 9;

enum class led_state { off, on, blinking };

class cpld {
  public:
    // After power-up every port LED is lit until someone says otherwise.
    cpld() { registers_[led_register] = 0x0F; }

    void write(std::uint8_t reg, std::uint8_t value, std::uint8_t mask) {
        registers_[reg] = static_cast<std::uint8_t>((registers_[reg] & ~mask) | (value & mask));
    }
    std::uint8_t read(std::uint8_t reg) const { return registers_[reg]; }

    led_state led(unsigned port) const {
        const unsigned leds = registers_[led_register];
        if ((leds >> port & 1) == 0) return led_state::off;
        return (leds >> (port + 4) & 1) != 0 ? led_state::blinking : led_state::on;
    }

  private:
    std::array<std::uint8_t, 256> registers_{};
};

constexpr const char* led_name(led_state state) {
    switch (state) {
        case led_state::off:
            return "off";
        case led_state::on:
            return "on";
        case led_state::blinking:
            return "blinking";
    }
    return "off";
}

}  // namespace vswitch
