// What a program asks of the two device files, by the numbers that it passes to ioctl.
#pragma once

inline constexpr unsigned transact = 0xC010DD03;
inline constexpr unsigned write_register = 0x8003D203;
inline constexpr unsigned read_register = 0x4002D201;
