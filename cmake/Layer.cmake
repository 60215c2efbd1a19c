# SPDX-License-Identifier: Apache-2.0
# A layer is one library made of folders: built once as objects, offered shared and static, with its headers installed
# under the path that the sources include them by.

# kx_layer(NAME FOLDERS base time ...): defines NAME (shared) and NAME-static. Each folder's CMakeLists.txt lists its
# files with kx_sources(...).
function(kx_layer name)
  cmake_parse_arguments(arg "" "" "FOLDERS;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name}-objects OBJECT)
  target_include_directories(${name}-objects PUBLIC
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kxdiscovery>)
  # Nobody replaces single functions of the shared libraries, so they may call their own directly and inline them.
  target_compile_options(${name}-objects PRIVATE -fno-exceptions -fno-semantic-interposition -ffunction-sections)
  # Nor does anybody look for their inline functions, whose names would be a good part of the library.
  set_target_properties(${name}-objects PROPERTIES VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${name}-objects PRIVATE $<BUILD_INTERFACE:kxwarnings> ${arg_PRIVATE} PUBLIC ${arg_PUBLIC})
  set(KX_LAYER ${name})
  foreach(folder IN LISTS arg_FOLDERS)
    add_subdirectory(${folder})
  endforeach()
  foreach(kind SHARED STATIC)
    string(REPLACE SHARED "" suffix ${kind})
    string(REPLACE STATIC "-static" suffix "${suffix}")
    add_library(${name}${suffix} ${kind} $<TARGET_OBJECTS:${name}-objects>)
    target_include_directories(${name}${suffix} PUBLIC
      $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kxdiscovery>)
    set(public_libraries ${arg_PUBLIC})
    if(suffix)
      list(TRANSFORM public_libraries REPLACE "^(kx.*)$" "\\1-static")
    endif()
    target_link_libraries(${name}${suffix} PRIVATE ${arg_PRIVATE} PUBLIC ${public_libraries})
    add_library(kxdiscovery::${name}${suffix} ALIAS ${name}${suffix})
  endforeach()
  target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions)
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 0)
  set_target_properties(${name}-static PROPERTIES OUTPUT_NAME ${name})
  install(TARGETS ${name} ${name}-static EXPORT kxdiscovery
    LIBRARY COMPONENT libraries NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)
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
