# SPDX-License-Identifier: Apache-2.0
# What the static libraries need of the system is named here; the shared ones find it by themselves.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
find_dependency(PkgConfig)
foreach(library libuv re2 sqlite3 libmnl)
  pkg_check_modules(${library} QUIET IMPORTED_TARGET GLOBAL ${library})
endforeach()
include(${CMAKE_CURRENT_LIST_DIR}/kxdiscovery.cmake)
