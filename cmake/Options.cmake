# SPDX-License-Identifier: Apache-2.0
# Compiler settings that every target of the project gets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LINK_WHAT_YOU_USE OFF)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
# A program takes of the static libraries what it calls, function by function.
add_link_options(-Wl,--gc-sections)
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
