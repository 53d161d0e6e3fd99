// The terminal as a full screen with keys. One of two implementations: with ncurses, or none where there is none
// (full_screen_none.cpp). One screen at a time, on the main thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "poectl/verbs/top_screen.h"

namespace poectl {

enum class key : std::uint8_t { none, quit, help, up, down, port_1, port_2, port_3, port_4, resized };

// Why there is no full screen; empty: it is open, and close_screen() gives the terminal back as it was.
std::string open_screen(bool colour);
void close_screen();

screen_size size_of_screen();
void draw(const std::vector<screen_line>& lines);

// `none` when the time is over, or at a signal.
key wait_for_key(std::chrono::milliseconds time);

}  // namespace poectl
