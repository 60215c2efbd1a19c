#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What is installed is enough to build a host, shared and static: install_test.sh BUILD_FOLDER
set -euo pipefail
. "$(dirname "$0")/host.sh"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$1" --prefix "$scratch/prefix" >/dev/null
build_host "$scratch/prefix" "$scratch"
[[ $(LD_LIBRARY_PATH=$scratch/prefix/lib "$scratch/prefix/sbin/discovery-agent" --version) == discovery-agent* ]]
echo "ok: installed headers and libraries are enough"
