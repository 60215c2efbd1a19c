#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The checks of the source tree, each on small trees that keep its rule and break it.
set -euo pipefail
scripts=$(cd "$(dirname "$0")/../../scripts" && pwd)
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failures=0

fresh_tree() {
  rm -rf "${tree:?}"/*
  mkdir -p "$tree"/{docs,platform/{base,loop,service},discovery/client,agent,tests}
  cat > "$tree/docs/architecture.md" <<'TABLE'
| folder | content |
|---|---|
| platform/base | this is another table |

| folder | may include |
|---|---|
| platform/base | |
| `platform/loop` | `platform/base` |
| discovery/client | platform |
| agent | platform/loop, discovery/client |
| platform/service | platform/base |
TABLE
}

write() {  # FILE LINE…
  printf '%s\n' "${@:2}" > "$tree/$1"
}

expect() {  # DESCRIPTION CHECK EXPECTED_OUTPUT   (no output means success)
  local output status=0 expected=0
  output=$("$scripts/$2" "$tree" 2>&1) || status=$?
  [[ -z $3 ]] || expected=1
  if [[ $output == "$3" && $status == "$expected" ]]; then echo "ok: $1"; return; fi
  failures=$((failures + 1))
  printf 'FAILED: %s\nexpected (%s): %s\nfound (%s): %s\n' "$1" "$expected" "$3" "$status" "$output"
}

fresh_tree
write platform/loop/Loop.h '#include <vector>' '#include "platform/base/String.h"' '#include "platform/loop/Timer.h"' '#include "Near.h"'
write discovery/client/Client.cpp '#include "platform/loop/Loop.h"' '// #include "agent/Agent.h"'
write agent/main.cpp '#include "discovery/client/Client.h"'
expect "allowed includes pass" check-dependencies ""

write platform/base/String.h '#include "platform/loop/Loop.h"'
expect "an upward include fails" check-dependencies "platform/base/String.h:1: platform/base may not include platform/loop"

write platform/base/String.h '' '#  include <discovery/client/Client.h>'
expect "angle brackets and blanks hide nothing" check-dependencies \
  "platform/base/String.h:2: platform/base may not include discovery/client"

write platform/base/String.h '#include "../loop/Loop.h"'
expect "a relative path hides nothing" check-dependencies "platform/base/String.h:1: platform/base may not include ../loop"

fresh_tree
write discovery/client/Client.h '#include "platform/service/Service.h"'
expect "a layer's name stands only for its folders above" check-dependencies \
  "discovery/client/Client.h:1: discovery/client may not include platform/service"

fresh_tree
mkdir "$tree/platform/time"
write platform/time/Clock.h '#pragma once'
expect "a folder missing from the table fails" check-dependencies \
  "platform/time/Clock.h: platform/time has no row in docs/architecture.md"

fresh_tree
echo '| links | agent tools |' >> "$tree/docs/architecture.md"
expect "a row that names a folder not above it fails" check-dependencies \
  "docs/architecture.md: links names tools, which has no row above it"

fresh_tree
echo '| agent | agent |' >> "$tree/docs/architecture.md"
expect "a folder with two rows fails" check-dependencies "docs/architecture.md: agent has two rows"

fresh_tree
write docs/architecture.md 'No table.'
expect "a document without the table fails" check-dependencies "docs/architecture.md has no table of dependencies"

fresh_tree
seq 200 > "$tree/platform/base/String.h"
seq 400 > "$tree/agent/main.cpp"
seq 999 > "$tree/tests/StringTest.cpp"
expect "files at the limit pass, and tests are not measured" check-sizes ""
seq 201 > "$tree/platform/base/String.h"
seq 401 > "$tree/agent/main.cpp"
expect "files above the limit fail" check-sizes \
  $'agent/main.cpp has 401 lines; a source has at most 400\nplatform/base/String.h has 201 lines; a header has at most 200'

fresh_tree
write agent/main.cpp 'int main() {}'
write agent/CMakeLists.txt 'add_executable(agent main.cpp)'
expect "a source in its folder's list passes" check-sources ""
write agent/CMakeLists.txt 'add_executable(agent domain.cpp main.cpp.in) # main.cpp'
expect "a source not in the list fails" check-sources "agent/main.cpp does not stand in agent/CMakeLists.txt"
rm "$tree/agent/CMakeLists.txt"
expect "a source in a folder without a list fails" check-sources "agent/main.cpp does not stand in agent/CMakeLists.txt"

exit $((failures > 0))
