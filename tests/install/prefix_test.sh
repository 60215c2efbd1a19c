#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What is installed is enough to build hosts and to run the agent: prefix_test.sh BUILD_FOLDER
set -euo pipefail
. "$(dirname "$0")/host.sh"
# In the same place each time, so that the compiler cache knows the sources.
scratch=$1/installed
rm -rf "$scratch"
mkdir "$scratch"

cmake --install "$1" --prefix "$scratch/prefix" >/dev/null
check_development "$scratch/prefix" "$scratch"
[[ $(LD_LIBRARY_PATH=$scratch/prefix/lib "$scratch/prefix/bin/discovery-agent" --version) == discovery-agent* ]]
rm -rf "$scratch"
echo "ok: installed headers and libraries are enough"
