# 32-bit ARM with floating-point registers, little-endian: g++-arm-linux-gnueabihf, qemu-user.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(machine_triple arm-linux-gnueabihf)
set(machine_emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
