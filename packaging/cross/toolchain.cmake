# Builds for another processor with Debian's cross compiler and a root of that architecture:
#   -DPARLOWEN_CROSS_TRIPLE=arm-linux-gnueabihf -DPARLOWEN_CROSS_ROOT=DIR
# packaging/cross/test makes such a root and uses this file.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PARLOWEN_CROSS_TRIPLE PARLOWEN_CROSS_ROOT)
if(NOT PARLOWEN_CROSS_TRIPLE OR NOT IS_DIRECTORY "${PARLOWEN_CROSS_ROOT}")
    message(FATAL_ERROR "PARLOWEN_CROSS_TRIPLE and PARLOWEN_CROSS_ROOT have to be set")
endif()

set(CMAKE_SYSTEM_NAME Linux)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "${PARLOWEN_CROSS_TRIPLE}")
set(CMAKE_C_COMPILER ${PARLOWEN_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${PARLOWEN_CROSS_TRIPLE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${PARLOWEN_CROSS_TRIPLE})
# Everything in the root was built by compilers of one convention; how the ones before GCC 7 passed
# some arguments on 32-bit ARM is of no interest.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_SYSROOT ${PARLOWEN_CROSS_ROOT})
set(CMAKE_FIND_ROOT_PATH ${PARLOWEN_CROSS_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# What is built runs under emulation, so tests can be listed and run as always.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "arm")
    set(emulator qemu-arm-static)
else()
    set(emulator qemu-${CMAKE_SYSTEM_PROCESSOR}-static)
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator};-L;${PARLOWEN_CROSS_ROOT})
