#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The check of the list of texts, on a small tree that keeps its rules and breaks them.
set -euo pipefail
script=$(cd "$(dirname "$0")/../../scripts" && pwd)/check-texts
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failures=0
mkdir -p "$tree"/{discovery/scans,tests/texts}
source=$tree/discovery/scans/Scan.cpp list=$tree/tests/texts/discovery-scans.txt
unreachable=$tree/tests/texts/unreachable.txt corpus=$tree/corpus

cat > "$source" <<'SOURCE'
void f() {
  DISCOVERY_TRACE(1, logPrefix_, "Starting %s, scan %u:", g("(", 2).c_str(), 3);
  DISCOVERY_NOTE(FAILURE, String::format("[%s] ", tag.c_str()), "Scan "
                 "failed: %s", text.c_str());
  DISCOVERY_TRACE(3, p, "  %s", chunk.c_str());  // DISCOVERY_TRACE(1, p, "in a comment");
  if (bad) return XCode::error(String::format("Invalid id \"%s\"", id.c_str()));
  failed("No \"scan\" (yet)"_s);
  failed(code.toString());
}
SOURCE
all=$'Starting %s, scan %u:\nScan failed: %s\n  %s\nInvalid id \\"%s\\"\nNo \\"scan\\" (yet)'

expect() {  # DESCRIPTION EXPECTED_OUTPUT [ARGUMENT…]   (no output means success)
  local output status=0 expected=0
  output=$("$script" --root "$tree" "${@:3}" 2>&1) || status=$?
  [[ -z $2 ]] || expected=1
  if [[ $output == "$2" && $status == "$expected" ]]; then echo "ok: $1"; return; fi
  failures=$((failures + 1))
  printf 'FAILED: %s\nexpected (%s): %s\nfound (%s): %s\n' "$1" "$expected" "$2" "$status" "$output"
}

: > "$unreachable"
printf '%s\n' "$all" > "$list"
expect "a list of exactly the source's texts passes" ""
printf '%s\n' "$all" | sed 2d > "$list"
expect "a text missing from the list fails" "tests/texts/discovery-scans.txt misses: Scan failed: %s"
printf '%s\n' "$all" "Scan gone" > "$list"
expect "a text that is gone fails" "tests/texts/discovery-scans.txt holds what is gone: Scan gone"
rm "$list"
expect "--write makes the list" "" --write
[[ $(<"$list") == "$all" ]] || { echo "FAILED: --write wrote $(<"$list")"; failures=1; }

printf '%s\n' "Starting ARP, scan 3:" "Scan failed: No \"scan\" (yet)" "  /usr/bin/x" '{"reason":"Invalid id "7""}' > "$corpus"
expect "texts that were all produced pass" "" "$corpus"
printf '%s\n' "Starting ARP, scan x:" "  /usr/bin/x" "Scan failed: Invalid id \"7\" or so" > "$corpus"
expect "texts that were not produced fail" \
  $'no test produces: Starting %s, scan %u:\nno test produces: Invalid id \\"%s\\"\nno test produces: No \\"scan\\" (yet)' "$corpus"

printf '%s\n' "Starting ARP, scan 3:" "Scan failed: No \"scan\" (yet)" "Invalid id \"7\"" > "$corpus"
expect "a line counts for the text that fixes most of it" "no test produces:   %s" "$corpus"
printf '  %%s\tnobody prints\n' > "$unreachable"
expect "what cannot be needs not be produced" "" "$corpus"
echo "  x" >> "$corpus"
expect "what is produced can be" "tests/texts/unreachable.txt: a test produces:   %s" "$corpus"
printf '  %%s\nScan gone\tfor a reason\n' > "$unreachable"
expect "what cannot be needs a text and a reason" \
  $'tests/texts/unreachable.txt: gone, or without a reason:   %s\ntests/texts/unreachable.txt: gone, or without a reason: Scan gone\tfor a reason'

: > "$unreachable"
echo 'void g() { DISCOVERY_TRACE(1, p, isUp ? "up" : "down"); }' > "$source"
: > "$list"
expect "a line whose text is no literal fails" \
  "discovery/scans/Scan.cpp: the text of this line is no literal: DISCOVERY_TRACE['1', ' p', ' isUp ? \"up\" : \"down\"']"

exit $((failures > 0))
