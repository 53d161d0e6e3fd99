// The ports' PoE LEDs: lit or not, blinking or always on. A change is said on standard output and written to the CPLD;
// the LED's state is remembered as changed even when that write fails. Supervision thread only, no lock.
#pragma once

#include <cstdint>

void update_port_led(std::uint8_t port, bool lit, bool blinking);
