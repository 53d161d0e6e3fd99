// The ioctl requests of the two device files and the records that they carry, for whoever stands in for a driver.
#pragma once

#include <cstddef>

namespace vswitch {

inline constexpr unsigned int transaction_request = 0xC010DD03;
inline constexpr unsigned int cpld_write_request = 0x8003D203;
inline constexpr unsigned int cpld_read_request = 0x4002D201;

inline constexpr std::size_t transaction_size = 16;
inline constexpr std::size_t transaction_frame_offset = 4;  // behind the 32-bit wait, in the machine's own byte order
inline constexpr std::size_t cpld_write_size = 3;           // register, value, mask
inline constexpr std::size_t cpld_read_size = 2;            // register, value

}  // namespace vswitch
