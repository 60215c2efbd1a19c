# SPDX-License-Identifier: Apache-2.0
# Configures and builds a small program against each kind of cron library that the build can be given, and runs it. The
# copies know one expression: each second matches. Needs CXX_COMPILER, C_COMPILER, GENERATOR and SCRATCH.
cmake_minimum_required(VERSION 3.25)

get_filename_component(repository ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
set(builtin ${repository}/cron)
file(REMOVE_RECURSE ${SCRATCH})
file(MAKE_DIRECTORY ${SCRATCH})

# ---- The copies. Their header does not say extern "C".

function(write_source_copy name)
  file(READ ${builtin}/ccronexpr.h header)
  string(REPLACE "#ifdef __cplusplus" "#if 0" header "${header}")
  file(WRITE ${SCRATCH}/${name}/ccronexpr.h "${header}")
  file(WRITE ${SCRATCH}/${name}/ccronexpr.c [[
#include "ccronexpr.h"
void cron_parse_expr(const char* expression, cron_expr* target, const char** error)
{
    target->seconds[0] = (uint8_t)expression[0];
    *error = 0;
}
time_t cron_next(cron_expr* expr, time_t date) { return expr ? date + 1 : -1; }
]])
endfunction()

# install_copy(NAME COMPILER [flags...]): a prefix with a static library.
function(install_copy name compiler)
  set(prefix ${SCRATCH}/${name})
  write_source_copy(${name}/include)
  run(${compiler} ${ARGN} -fPIC -c ${prefix}/include/ccronexpr.c -o ${prefix}/copy.o)
  file(MAKE_DIRECTORY ${prefix}/lib)
  run(ar rcs ${prefix}/lib/libccronexpr.a ${prefix}/copy.o)
endfunction()

# ---- Running things.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
endfunction()

# configure(PREFIX [options...]): leaves `status` and `output`. Starts afresh in `build`, but for what CMake found out there
# about the compiler.
function(configure prefix)
  file(REMOVE ${build}/CMakeCache.txt)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -S ${SCRATCH}/consumer -B ${build}
      -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_C_COMPILER=${C_COMPILER}
      -DCMAKE_PREFIX_PATH=${SCRATCH}/${prefix} ${ARGN}
    RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  set(status ${status} PARENT_SCOPE)
  set(output "${output}" PARENT_SCOPE)
endfunction()

# CMake wraps its messages anywhere.
function(expect_text name expected)
  string(REGEX REPLACE "[ \n]+" " " flat "${output}")
  string(FIND "${flat}" "${expected}" position)
  if(position EQUAL -1)
    message(FATAL_ERROR "${name}: expected \"${expected}\" in\n${output}")
  endif()
endfunction()

function(expect_works name prefix expected)
  configure(${prefix} ${ARGN})
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${name}: does not configure\n${output}")
  endif()
  expect_text(${name} "${expected}")
  run(${CMAKE_COMMAND} --build ${build})
  run(${CMAKE_COMMAND} --build ${build} --target check)
  message(STATUS "${name}: ok")
endfunction()

function(expect_refuses name prefix expected)
  configure(${prefix} ${ARGN})
  if(status EQUAL 0)
    message(FATAL_ERROR "${name}: configures\n${output}")
  endif()
  expect_text(${name} "${expected}")
  message(STATUS "${name}: ok")
endfunction()

# ---- The program.

file(CONFIGURE OUTPUT ${SCRATCH}/consumer/CMakeLists.txt @ONLY CONTENT [[
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C CXX)
# A copy that this machine happens to have must not be found.
set(CMAKE_FIND_USE_CMAKE_SYSTEM_PATH FALSE)
set(CMAKE_FIND_USE_SYSTEM_ENVIRONMENT_PATH FALSE)
if(TIME_BITS)
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=${TIME_BITS})
endif()
add_subdirectory(@builtin@ cron)
add_executable(consumer main.cpp)
target_link_libraries(consumer PRIVATE ccronexpr::ccronexpr)
if(NOT UNRUNNABLE)
  set(run consumer)
endif()
add_custom_target(check COMMAND ${run})
]])
file(WRITE ${SCRATCH}/consumer/main.cpp [[
#include <ccronexpr.h>
int main()
{
    cron_expr expression;
    const char* error = "not set";
    cron_parse_expr("* * * * * *", &expression, &error);
    return error == nullptr && cron_next(&expression, 1354354929) == 1354354930 ? 0 : 1;
}
]])

# ---- The cases.

set(build ${SCRATCH}/build)
install_copy(c-copy ${C_COMPILER})
install_copy(cxx-copy ${CXX_COMPILER} -x c++)
install_copy(broken-copy ${C_COMPILER} -Dcron_next=cron_other)
write_source_copy(source-copy)

expect_works(auto-takes-an-installed-copy c-copy "(C linkage)")
expect_works(auto-takes-a-copy-compiled-as-cxx cxx-copy "(CXX linkage)")
expect_works(auto-falls-back-to-the-builtin none "Cron library: builtin")
expect_works(auto-passes-by-a-broken-copy broken-copy "links neither as C nor as C++")
expect_works(auto-prefers-a-named-source c-copy "Cron library: ${SCRATCH}/source-copy"
  -DCCRONEXPR_SOURCE_DIR=${SCRATCH}/source-copy)
expect_works(ccronexpr-takes-a-named-source none "Cron library: ${SCRATCH}/source-copy"
  -DDISCOVERY_CRON=ccronexpr -DCCRONEXPR_SOURCE_DIR=${SCRATCH}/source-copy)
expect_works(builtin-passes-by-an-installed-copy c-copy "Cron library: builtin" -DDISCOVERY_CRON=builtin)
expect_refuses(ccronexpr-needs-a-copy none "no usable copy is installed" -DDISCOVERY_CRON=ccronexpr)
expect_refuses(ccronexpr-needs-a-working-copy broken-copy "no usable copy is installed" -DDISCOVERY_CRON=ccronexpr)
expect_refuses(a-named-source-must-exist c-copy "has no ${SCRATCH}/none/ccronexpr.c"
  -DCCRONEXPR_SOURCE_DIR=${SCRATCH}/none)
expect_refuses(only-known-choices c-copy "must be auto, ccronexpr or builtin" -DDISCOVERY_CRON=libcron)

# Two sizes of time_t exist on 32-bit machines only: with the cross compiler and an emulator, where there are both.
find_program(cross_compiler arm-linux-gnueabihf-g++)
find_program(cross_c_compiler arm-linux-gnueabihf-gcc)
find_program(emulator qemu-arm-static)
if(NOT cross_compiler OR NOT cross_c_compiler OR NOT emulator)
  message(STATUS "No 32-bit cross compiler with an emulator: sizes of time_t not tested")
  return()
endif()
set(CXX_COMPILER ${cross_compiler})
set(C_COMPILER ${cross_c_compiler})
set(cross -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=armv7l)
file(WRITE ${SCRATCH}/emulator.cmake
  "set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/arm-linux-gnueabihf)\n")
set(build ${SCRATCH}/build-emulated)
set(emulated ${cross} -DCMAKE_TOOLCHAIN_FILE=${SCRATCH}/emulator.cmake)

set(wide -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64)
install_copy(narrow-c ${C_COMPILER})
install_copy(wide-c ${C_COMPILER} ${wide})
install_copy(narrow-cxx ${CXX_COMPILER} -x c++)
install_copy(wide-cxx ${CXX_COMPILER} -x c++ ${wide})
set(wrong_size "probably compiled with another size of time_t")
expect_works(narrow-time-with-a-narrow-copy narrow-c "(C linkage)" ${emulated})
expect_works(wide-time-with-a-wide-copy wide-c "(C linkage)" ${emulated} -DTIME_BITS=64)
expect_works(narrow-time-refuses-a-wide-copy wide-c ${wrong_size} ${emulated})
expect_works(wide-time-refuses-a-narrow-copy narrow-c ${wrong_size} ${emulated} -DTIME_BITS=64)
expect_works(wide-time-with-a-wide-cxx-copy wide-cxx "(CXX linkage)" ${emulated} -DTIME_BITS=64)
expect_works(wide-time-does-not-link-a-narrow-cxx-copy narrow-cxx "links neither" ${emulated} -DTIME_BITS=64)
set(build ${SCRATCH}/build-not-emulated)
expect_works(no-emulator-no-proof narrow-c "cannot be checked without an emulator" ${cross} -DUNRUNNABLE=ON)
