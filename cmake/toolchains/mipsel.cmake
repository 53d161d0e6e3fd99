# 32-bit MIPS, little-endian: g++-mipsel-linux-gnu, qemu-user.
set(CMAKE_SYSTEM_PROCESSOR mips)
set(machine_triple mipsel-linux-gnu)
set(machine_emulator qemu-mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
