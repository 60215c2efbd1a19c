#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The installed headers mean the same whatever a host defines: on a 32-bit machine, where they make a difference, the
# widths of times and offsets change the size of no class.
set -euo pipefail
cd "$(dirname "$0")/../.."
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# sizes NAME [OPTION…]: "class size" of each of our classes, into the file NAME. Only the headers of the 64-bit machine are
# there; they are the 32-bit one's too, but for a list of functions that do nothing, which is empty here.
mkdir "$scratch/gnu"
touch "$scratch/gnu/stubs-32.h"
machine=$(g++ -print-multiarch)
sizes() {
  g++ -m32 -std=c++20 -fsyntax-only -fdump-lang-class="$scratch/classes" -I. -I"$scratch" \
    -isystem "/usr/include/$machine/c++/$(g++ -dumpversion)" -idirafter "/usr/include/$machine" "${@:2}" "$scratch/all.cpp"
  awk '/^Class / { name = substr($0, 7) }
       /size=/ && name ~ /^(KX|DB|RTD|CObject|String|XCode)/ && name !~ /</ { print name, $1; name = "" }' "$scratch/classes" |
    sort >"$scratch/$1"
}

find platform discovery links -name '*.h' -printf '#include "%p"\n' | sort >"$scratch/all.cpp"
sizes narrow
sizes wide -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64
(($(wc -l <"$scratch/narrow") > 100)) || { echo "few classes were looked at"; exit 1; }
diff "$scratch/narrow" "$scratch/wide"

# That the comparison can fail.
printf '#include <sys/stat.h>\nnamespace KX { struct Planted { struct stat status; }; Planted planted; }\n' >>"$scratch/all.cpp"
sizes narrow
sizes wide -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64
! diff "$scratch/narrow" "$scratch/wide" >/dev/null || { echo "a planted difference was not seen"; exit 1; }
echo "ok: the same classes, whatever a host defines"
