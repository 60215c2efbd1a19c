#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The product compiles without a warning: build_type_test.sh gcc|clang TYPE FOLDER. The folder is kept, so that what has not
# changed is not compiled again, and Release is what the presets release and bench compile, for ccache.
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
compiler=$1 type=$2 folder=$3
case $compiler in
  gcc) c=gcc cxx=g++ ;;
  clang) c=clang-14 cxx=clang++-14 ;;
  *) echo "build_type_test: gcc or clang" >&2; exit 2 ;;
esac
cmake -G Ninja -S "$source" -B "$folder" -DCMAKE_BUILD_TYPE="$type" -DCMAKE_C_COMPILER=$c -DCMAKE_CXX_COMPILER=$cxx \
  -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DDISCOVERY_WARNINGS_AS_ERRORS=ON >/dev/null
cmake --build "$folder" -j "$(nproc)" >"$folder/log" 2>&1 || { cat "$folder/log"; exit 1; }
# Warnings of the linker are no errors.
! grep -i 'warning' "$folder/log"
"$folder/agent/discovery-agent" --version
