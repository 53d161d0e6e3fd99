# What Debian's cross compilers have in common. The including file sets `machine_triple` and `machine_emulator`.
#   cmake --preset mipsel
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${machine_triple}-gcc)
set(CMAKE_CXX_COMPILER ${machine_triple}-g++)

# The machine's own libraries and headers, the build machine's programs. More of the machine's packages may lie unpacked
# in a folder of their own.
set(POE_MACHINE_PACKAGES "" CACHE PATH "Where packages of the machine that is built for were unpacked")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES POE_MACHINE_PACKAGES)
set(CMAKE_LIBRARY_ARCHITECTURE ${machine_triple})
set(CMAKE_FIND_ROOT_PATH /usr/${machine_triple} ${POE_MACHINE_PACKAGES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Runs what was built, here.
set(CMAKE_CROSSCOMPILING_EMULATOR ${machine_emulator} -L /usr/${machine_triple})
