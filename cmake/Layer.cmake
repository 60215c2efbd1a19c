# SPDX-License-Identifier: Apache-2.0
# A layer is one library made of folders: built once as objects, offered shared and static, with its headers installed
# under the path that the sources include them by. A companion is one folder that a host may take in beside the layers.
# Both are described to CMake (find_package(kxdiscovery)) and to pkg-config.

# kx_layer(NAME DESCRIPTION text FOLDERS base time ...): defines NAME (shared) and NAME-static. Each folder's
# CMakeLists.txt lists its files with kx_sources(...).
function(kx_layer name)
  cmake_parse_arguments(arg "" "DESCRIPTION" "FOLDERS;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name}-objects OBJECT)
  kx_public_target(${name}-objects)
  # Nobody replaces single functions of the shared libraries, so they may call their own directly and inline them.
  target_compile_options(${name}-objects PRIVATE -fno-exceptions -fno-semantic-interposition -ffunction-sections)
  target_link_libraries(${name}-objects PRIVATE $<BUILD_INTERFACE:kxwarnings> ${arg_PRIVATE} PUBLIC ${arg_PUBLIC})
  set(KX_LAYER ${name})
  foreach(folder IN LISTS arg_FOLDERS)
    add_subdirectory(${folder})
  endforeach()
  foreach(kind SHARED STATIC)
    string(REPLACE SHARED "" suffix ${kind})
    string(REPLACE STATIC "-static" suffix "${suffix}")
    add_library(${name}${suffix} ${kind} $<TARGET_OBJECTS:${name}-objects>)
    kx_public_target(${name}${suffix})
    set(public_libraries ${arg_PUBLIC})
    if(suffix)
      list(TRANSFORM public_libraries REPLACE "^(kx.*)$" "\\1-static")
    endif()
    target_link_libraries(${name}${suffix} PRIVATE ${arg_PRIVATE} PUBLIC ${public_libraries})
    add_library(kxdiscovery::${name}${suffix} ALIAS ${name}${suffix})
  endforeach()
  # What they were linked with of static libraries is nobody's business either.
  target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions -Wl,--exclude-libs,ALL)
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 0)
  set_target_properties(${name}-static PROPERTIES OUTPUT_NAME ${name})
  install(TARGETS ${name} ${name}-static EXPORT kxdiscovery
    LIBRARY COMPONENT libraries NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)
  kx_pkgconfig(${name} "${arg_DESCRIPTION}" "${arg_PUBLIC}" "${arg_PRIVATE}")
endfunction()

# kx_companion(NAME DESCRIPTION text USES layer FILES ...): defines NAME, for hosts of the shared layer, and NAME-static,
# for those of the static one. Both are the same static library: what few programs use needs no package on the device.
function(kx_companion name)
  cmake_parse_arguments(arg "" "DESCRIPTION;USES" "FILES" ${ARGN})
  add_library(${name}-objects OBJECT)
  target_compile_options(${name}-objects PRIVATE -fno-exceptions)
  target_link_libraries(${name}-objects PRIVATE $<BUILD_INTERFACE:kxwarnings> PUBLIC ${arg_USES})
  set(KX_LAYER ${name})
  kx_sources(${arg_FILES})
  foreach(suffix "" -static)
    add_library(${name}${suffix} STATIC $<TARGET_OBJECTS:${name}-objects>)
    kx_public_target(${name}${suffix})
    target_link_libraries(${name}${suffix} PUBLIC ${arg_USES}${suffix})
    add_library(kxdiscovery::${name}${suffix} ALIAS ${name}${suffix})
  endforeach()
  set_target_properties(${name}-static PROPERTIES OUTPUT_NAME ${name} ARCHIVE_OUTPUT_DIRECTORY static)
  install(TARGETS ${name} ${name}-static EXPORT kxdiscovery ARCHIVE COMPONENT development)
  kx_pkgconfig(${name} "${arg_DESCRIPTION}" ${arg_USES} "")
endfunction()

# Where a target's headers are, here and installed, and the language that they are written in.
function(kx_public_target target)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kxdiscovery>)
  target_compile_features(${target} PUBLIC cxx_std_20)
endfunction()

# kx_pkgconfig(NAME DESCRIPTION PUBLIC PRIVATE): NAME.pc. What only the static library needs stands in Requires.private;
# paths are relative to the file, so that an installation may be moved.
function(kx_pkgconfig name description public private)
  list(TRANSFORM private REPLACE "^PkgConfig::" "")
  list(FILTER public INCLUDE REGEX "^kx")
  list(FILTER private EXCLUDE REGEX "^\\$<")
  list(JOIN public " " public)
  list(JOIN private " " private)
  set(folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH prefix /${folder} /)
  string(REGEX REPLACE "/$" "" prefix ${prefix})
  configure_file(${CMAKE_SOURCE_DIR}/cmake/library.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${folder} COMPONENT development)
endfunction()

# kx_sources(files...): the files of one folder; headers are installed and compiled on their own, too.
function(kx_sources)
  foreach(file IN LISTS ARGN)
    if(file MATCHES "\\.h$")
      list(APPEND headers ${CMAKE_CURRENT_SOURCE_DIR}/${file})
    else()
      target_sources(${KX_LAYER}-objects PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/${file})
    endif()
  endforeach()
  file(RELATIVE_PATH folder ${CMAKE_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  target_sources(${KX_LAYER}-objects PUBLIC FILE_SET HEADERS BASE_DIRS ${CMAKE_SOURCE_DIR} FILES ${headers})
  install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kxdiscovery/${folder} COMPONENT development)
endfunction()
