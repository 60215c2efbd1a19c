# SPDX-License-Identifier: Apache-2.0
# Debian's cross compiler for 32-bit ARM with hardware floating point, and the libraries that scripts/sysroot-armhf unpacked.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# All of it is compiled by one compiler, so that what older ones did otherwise is no news.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(ARMHF_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-armhf" CACHE PATH "Debian armhf libraries and headers")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ARMHF_SYSROOT)
get_filename_component(CMAKE_SYSROOT "${ARMHF_SYSROOT}" ABSOLUTE)
if(NOT EXISTS "${CMAKE_SYSROOT}/.complete")
  message(FATAL_ERROR "No armhf libraries in ${CMAKE_SYSROOT}: run scripts/sysroot-armhf")
endif()

# Libraries only from the sysroot, programs (generators, the emulator) only from this machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

# Tests run on this machine, under an emulator.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L "${CMAKE_SYSROOT}")
