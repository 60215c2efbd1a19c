#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What is installed is enough to build a host, shared and static: install_test.sh BUILD_FOLDER
set -euo pipefail
build=$1
source=$(cd "$(dirname "$0")/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
mkdir "$scratch/source"
cp -r "$source/agent" "$source/links" "$scratch/source/"
cmake -G Ninja -S "$source/tests/install" -B "$scratch/build" -DHOST_SOURCE_DIR="$scratch/source" \
  -DCMAKE_PREFIX_PATH="$scratch/prefix" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_FLAGS="${CXXFLAGS:-}" >/dev/null
cmake --build "$scratch/build"
for host in host host-static; do
  [[ $("$scratch/build/$host" --version) == "discovery-agent installed" ]]
  [[ $(echo '{}' | "$scratch/build/$host" run) == *'"Invalid message"'* ]]
done
[[ $(LD_LIBRARY_PATH=$scratch/prefix/lib "$scratch/prefix/sbin/discovery-agent" --version) == discovery-agent* ]]
echo "ok: installed headers and libraries are enough"
