# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# build_host PREFIX SCRATCH: builds hosts of the library that is installed in PREFIX, shared and static, and runs them.
build_host() {
  local source host
  source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
  mkdir "$2/source"
  cp -r "$source/agent" "$source/links" "$2/source/"
  cmake -G Ninja -S "$source/tests/install" -B "$2/build" -DHOST_SOURCE_DIR="$2/source" \
    -DCMAKE_PREFIX_PATH="$1" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_FLAGS="${CXXFLAGS:-}" >/dev/null
  cmake --build "$2/build"
  for host in host host-static; do
    [[ $("$2/build/$host" --version) == "discovery-agent installed" ]]
    [[ $(echo '{}' | "$2/build/$host" run) == *'"Invalid message"'* ]]
  done
}
