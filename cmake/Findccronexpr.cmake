# SPDX-License-Identifier: Apache-2.0
# Finds an installed ccronexpr: header ccronexpr.h, library ccronexpr.
#
# Sets ccronexpr_FOUND, ccronexpr_LIBRARY, ccronexpr_LINKAGE (C or CXX) and defines the target ccronexpr::ccronexpr. Copies
# differ in whether they were compiled as C or, with a header that does not say extern "C", as C++: the one that links is
# taken, and the target's <ccronexpr.h> is a generated header that declares the functions with that linkage.
#
# A copy must have been compiled with our size of time_t. Where pointers have 64 bits there is only one size. On 32-bit
# machines there are two, and C symbols do not tell them apart (C++ symbols do, so a wrong copy does not link). There the
# probe is also run, on this machine or in CMAKE_CROSSCOMPILING_EMULATOR: a wrong copy answers wrongly. Where it cannot be
# run nothing proves the size, and the copy is refused.

find_path(ccronexpr_INCLUDE_DIR ccronexpr.h)
find_library(ccronexpr_LIBRARY ccronexpr)
mark_as_advanced(ccronexpr_INCLUDE_DIR ccronexpr_LIBRARY)

# The next second after a date before the epoch and one after it: the upper half of a 64-bit time_t is all ones in one
# and zero in the other, so that no register or stack slot with a stale value passes for both.
set(_ccronexpr_probe [[
#include <ccronexpr.h>
int main()
{
    cron_expr expression;
    const char* error = nullptr;
    cron_parse_expr("* * * * * *", &expression, &error);
    const bool before = cron_next(&expression, -86401) == -86400;
    const bool after = cron_next(&expression, 1354354930) == 1354354931;
    return error == nullptr && before && after ? 0 : 1;
}
]])

# Definitions of the folder do not reach try_compile by themselves; these two decide the size of time_t.
function(_ccronexpr_time_definitions result)
  get_directory_property(definitions COMPILE_DEFINITIONS)
  list(FILTER definitions INCLUDE REGEX "^_(TIME_BITS|FILE_OFFSET_BITS)=")
  list(TRANSFORM definitions PREPEND -D)
  set(${result} ${definitions} PARENT_SCOPE)
endfunction()

function(_ccronexpr_try_linkage extern result)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/ccronexpr-${extern})
  set(ccronexpr_LINKAGE ${extern})
  set(ccronexpr_HEADER ${ccronexpr_INCLUDE_DIR}/ccronexpr.h)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/ccronexpr.h.in ${folder}/ccronexpr.h @ONLY)
  file(CONFIGURE OUTPUT ${folder}/probe.cpp CONTENT "${_ccronexpr_probe}" @ONLY)
  _ccronexpr_time_definitions(definitions)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE EXECUTABLE)
  try_compile(_ccronexpr_links ${folder}/build SOURCES ${folder}/probe.cpp
    CMAKE_FLAGS "-DINCLUDE_DIRECTORIES=${folder}"
    COMPILE_DEFINITIONS ${definitions}
    LINK_LIBRARIES ${ccronexpr_LIBRARY}
    COPY_FILE ${folder}/probe)
  set(${result} ${_ccronexpr_links} PARENT_SCOPE)
  set(_ccronexpr_folder ${folder} PARENT_SCOPE)
  unset(_ccronexpr_links CACHE)
endfunction()

# Empty when the copy found by the probe in `folder` has our size of time_t, else why that is not so.
function(_ccronexpr_check_time_size folder result)
  set(${result} "" PARENT_SCOPE)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    return()
  endif()
  if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(${result} "the size of its time_t cannot be checked without an emulator" PARENT_SCOPE)
    return()
  endif()
  execute_process(COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} ${folder}/probe
    RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET TIMEOUT 10)
  if(NOT status EQUAL 0)
    set(${result} "it answers wrongly, probably compiled with another size of time_t" PARENT_SCOPE)
  endif()
endfunction()

unset(ccronexpr_LINKAGE)
unset(_ccronexpr_refusal)
if(ccronexpr_INCLUDE_DIR AND ccronexpr_LIBRARY)
  foreach(_ccronexpr_extern C C++)
    _ccronexpr_try_linkage(${_ccronexpr_extern} _ccronexpr_usable)
    if(_ccronexpr_usable)
      _ccronexpr_check_time_size(${_ccronexpr_folder} _ccronexpr_refusal)
      string(REPLACE C++ CXX ccronexpr_LINKAGE ${_ccronexpr_extern})
      break()
    endif()
    set(_ccronexpr_refusal "a program that calls it links neither as C nor as C++")
  endforeach()
  if(_ccronexpr_refusal)
    unset(ccronexpr_LINKAGE)
    set(_ccronexpr_refusal "${ccronexpr_LIBRARY} is not usable: ${_ccronexpr_refusal}")
  endif()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ccronexpr
  REQUIRED_VARS ccronexpr_LIBRARY ccronexpr_INCLUDE_DIR ccronexpr_LINKAGE
  REASON_FAILURE_MESSAGE "${_ccronexpr_refusal}")

if(ccronexpr_FOUND AND NOT TARGET ccronexpr::ccronexpr)
  add_library(ccronexpr::ccronexpr UNKNOWN IMPORTED)
  set_target_properties(ccronexpr::ccronexpr PROPERTIES
    IMPORTED_LOCATION ${ccronexpr_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${_ccronexpr_folder})
endif()
