// Parts of pages that more than one verb shows. Pure.
#pragma once

#include <string>

#include "poectl/picture.h"
#include "poectl/readings.h"

namespace poectl {

inline constexpr const char* unknown_cell = "-";

// "delivering (1)"; the shade only says again what the words say.
tone tone_of_status(std::uint32_t status);
std::string status_words(std::uint32_t status);
cell status_cell(std::uint32_t status);

std::string class_words(std::uint32_t status, std::uint8_t detected_class);

// Thousandths as tenths, "-" when they are not known.
std::string known_tenths(bool known, std::int64_t thousandths);

// "-", "on period" or "off period".
std::string schedule_words(std::int8_t obeys, std::int8_t period_on);

inline constexpr const char* controller_is_silent = "the controller does not answer poe_drv";
inline constexpr const char* all_is_old = "; all that is told is old";

// Whether the controller answers, and above all else on the page that its figures are old when it does not.
void add_controller(bool answers, picture& into);

// A line a port that is being power-cycled.
block power_cycle_lines(std::span<const port_reading> ports);

}  // namespace poectl
