# SPDX-License-Identifier: Apache-2.0
# Compiler settings that every target of the project gets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LINK_WHAT_YOU_USE OFF)
# What a host calls bears KX_EXPORT; all else stays inside.
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# What is built does not depend on where: neither by the paths of the sources nor by those of the libraries.
add_compile_options($<$<CONFIG:Release>:-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.>)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
# A program takes of the static libraries what it calls, function by function.
add_link_options(-Wl,--gc-sections)
if(DISCOVERY_HARDENING)
  # What dpkg-buildflags says for hardening=+all, but for what the compiler does by itself (PIE), and a look at each page of
  # the stack before it is used, so that no object can reach over its end.
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -Werror=format-security)
  add_compile_definitions(_FORTIFY_SOURCE=2)
  add_link_options(-Wl,-z,relro,-z,now)
endif()
# Code on pages of its own would be padded by some kilobytes in every file.
add_link_options(-Wl,-z,noseparate-code)

# Seconds have 64 bits everywhere, so the clock survives 2038 on 32-bit machines too.
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)

add_library(kxwarnings INTERFACE)
target_compile_options(kxwarnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wold-style-cast -Wcast-qual -Wformat=2 -Wundef)
if(DISCOVERY_WARNINGS_AS_ERRORS)
  target_compile_options(kxwarnings INTERFACE -Werror)
endif()

if(DISCOVERY_SANITIZE)
  list(JOIN DISCOVERY_SANITIZE "," sanitizers)
  add_compile_options(-fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${sanitizers})
endif()
if(DISCOVERY_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
