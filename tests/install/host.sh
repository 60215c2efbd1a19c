# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# check_development PREFIX SCRATCH: what is installed in PREFIX is all that a host needs. The example is copied out of the
# repository, built against the shared and the static libraries, with CMake and with pkg-config, and asked for its nodes.
check_development() {
  local prefix=$1 scratch=$2 tests static host
  tests=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
  cp -r "$tests/../../examples/host" "$tests/development" "$scratch/"

  build_with_cmake "$prefix" "$scratch/development" "$scratch/headers"
  for static in OFF ON; do
    host=$scratch/cmake-static-$static
    build_with_cmake "$prefix" "$scratch/host" "$host" -DHOST_STATIC=$static
    "$host/plan-test"
    "$tests/ask_host.py" "$host/host"

    host=$scratch/pkg-config-static-$static
    mkdir "$host"
    build_with_pkg_config "$prefix" $static "$scratch/host/main.cpp" "$host/host" kxdiscovery kxlinks
    build_with_pkg_config "$prefix" $static "$scratch/host/PlanTest.cpp" "$host/plan-test" kxdiscovery kxtesting
    LD_LIBRARY_PATH=$(libraries_in "$prefix") "$host/plan-test"
    LD_LIBRARY_PATH=$(libraries_in "$prefix") "$tests/ask_host.py" "$host/host"
  done
  for host in "$scratch"/*-static-ON/host; do
    ! readelf --dynamic "$host" | grep 'NEEDED.*libkx' || return 1
  done
}

build_with_cmake() {  # PREFIX SOURCE BUILD [OPTION…]
  cmake -G Ninja -S "$2" -B "$3" -DCMAKE_PREFIX_PATH="$1" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
    -DCMAKE_CXX_FLAGS="${CXXFLAGS:-}" "${@:4}" >"$3.log" && cmake --build "$3" >>"$3.log" || { cat "$3.log"; return 1; }
}

build_with_pkg_config() {  # PREFIX STATIC SOURCE PROGRAM PACKAGE…
  local flags linked=()
  [[ $2 == OFF ]] || linked=(--static)
  # pkg-config knows what a static library needs, but not how to ask for one.
  flags=$(PKG_CONFIG_PATH=$(libraries_in "$1")/pkgconfig pkg-config --cflags --libs "${linked[@]}" "${@:5}")
  [[ $2 == OFF ]] || flags=$(sed -E 's/-l(kx[a-z]+)/-l:lib\1.a/g' <<<"$flags")
  # shellcheck disable=SC2086  # words
  ccache c++ -std=c++20 ${CXXFLAGS:-} -c -o "$4.o" "$3" $flags && c++ ${CXXFLAGS:-} -o "$4" "$4.o" $flags
}

libraries_in() { dirname "$(find "$1/lib" -name libkxplatform.so)"; }
