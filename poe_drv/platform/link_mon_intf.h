// liblink_mon_intf: the link monitor's view of the ports. A switch's own copy of the library takes the place of ours
// without a rebuild.
#pragma once

#include <cstddef>
#include <cstdint>

//   offset  size
//        0     4   not used by the daemon
//        4  2 x 4  one word a port, in port order and native byte order; bit 8 is set while the port's link is up
//       12    28   not used by the daemon
inline constexpr std::size_t link_mon_record_size = 40;
inline constexpr std::size_t link_mon_port_words_offset = 4;
inline constexpr std::uint16_t link_mon_link_up = 0x100;

extern "C" {

// Fills the 40 bytes at `record`. Returns 0, or non-zero with the record's contents unspecified when the link state
// cannot be told. Any thread may call it.
int link_mon_intf_param_get(void* record);

}  // extern "C"
