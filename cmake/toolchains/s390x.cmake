# 64-bit s390x, big-endian: g++-s390x-linux-gnu, qemu-user.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(machine_triple s390x-linux-gnu)
set(machine_emulator qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
