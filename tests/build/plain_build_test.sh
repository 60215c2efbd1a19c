#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What somebody types who knows nothing of presets builds the product, in a folder whose name has blanks; tests and benchmarks
# are not built, and a warning of some other compiler is no error.
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
clone="$scratch/a clone"
mkdir "$clone"
# All but what was built.
find "$source" -mindepth 1 -maxdepth 1 ! -name build ! -name .git -exec cp -r {} "$clone/" \;
cd "$clone"
fail() { echo "plain_build_test: $*" >&2; exit 1; }

export CCACHE_BASEDIR=$clone CCACHE_NOHASHDIR=1 CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >"$scratch/log" 2>&1 &&
  cmake --build build -j "$(nproc)" >>"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
for program in agent/discovery-agent tools/bin/{servicescan,discovery-client,discovery-responder}; do
  "build/$program" --version || fail "no $program"
done
! grep -oE -m 1 '"file": ".*/(tests|bench)/.*"' build/compile_commands.json || fail "tests or benchmarks are built"
! grep -qE -- '-Werror( |")' build/compile_commands.json || fail "warnings are errors"
# A checkout whose presets find themselves in such a place, too.
grep -q DISCOVERY_WARNINGS_AS_ERRORS CMakePresets.json || fail "the presets let warnings pass"
cmake --preset debug >"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
cmake --build --preset debug --target platform-time-tests >>"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
ctest --preset debug -R '^ClockTest' >>"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
