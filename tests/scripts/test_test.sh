#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What scripts/test runs, says and counts, with stand-ins for everything that it calls.
set -uo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
tree="$scratch/a clone" fakes=$scratch/fakes
mkdir -p "$tree"/{scripts,lab,tests/install} "$fakes"
cp "$source"/scripts/{test,progress,durations} "$tree/scripts/"
cp -r "$source/.ci" "$tree"
failures=0
expect() {  # DESCRIPTION PATTERN ACTUAL
  # shellcheck disable=SC2053  # a pattern
  if [[ $3 == $2 ]]; then echo "ok: $1"; return; fi
  failures=$((failures + 1))
  printf 'FAILED: %s\nexpected: %s\nfound: %s\n' "$@"
}

# Each notes its call.
fake() { printf '#!/bin/bash\necho "%s $*" >>%q\n%s\n' "${1##*/}" "$scratch/calls" "${2:-}" >"$1"; chmod 755 "$1"; }
for script in setup check check-texts bench package; do fake "$tree/scripts/$script"; done
fake "$tree/tests/install/package_test.sh"
fake "$fakes/cmake" '[[ $* != *"$FAKE_BROKEN_BUILD"* || ! $FAKE_BROKEN_BUILD ]] || { echo "it does not compile"; exit 1; }'
# shellcheck disable=SC2016  # expanded when it runs
fake "$fakes/ctest" '
while (($#)); do [[ $1 != --output-junit ]] || results=$2; shift; done
printf "<testsuite\n\ttests=\"%s\"\n\tfailures=\"%s\"\n\tdisabled=\"0\"\n\tskipped=\"%s\"\n>" ${FAKE_RESULTS:-10 0 0} >"$results"
[[ ! ${FAKE_REASON:-} ]] || printf "<system-out>%s\n</system-out>" "$FAKE_REASON" "$FAKE_REASON" >>"$results"
set -- ${FAKE_RESULTS:-10 0 0}
(($2 == 0))'
may_make_namespaces() { fake "$tree/lab/root" '[[ $1 == --how ]] && echo root || exec "$@"'; }
may_make_namespaces

run() {  # ARG…: leaves what it says in $said, and its status in $status
  : >"$scratch/calls"
  said=$(env -u FAKE_BROKEN_BUILD PATH="$fakes:$PATH" FAKE_BROKEN_BUILD="${broken:-}" FAKE_RESULTS="${results:-}" \
    FAKE_REASON="${reason:-}" "$tree/scripts/test" "$@" 2>&1)
  status=$?
  calls=$(<"$scratch/calls")
}

run
expect "it passes" 0 $status
expect "the last line counts" "20 passed, 0 failed" "${said##*$'\n'}"
expect "the first tier sets up what it needs" "setup quick"* "$calls"
expect "it builds one configuration" 1 "$(grep -c -- '^cmake --build' <<<"$calls")"
expect "it runs unit tests, rules and what is quick" *"-L unit|rules"*"-L quick"* "$calls"
expect "each stage says when, what, and how long it will still take" \
  *"] build debug (gcc): about "*" left"*"] unit tests: about "*" left"*"] system tests: about "*" left"* "$said"
expect "the time that is left falls" yes \
  "$(grep -oP 'about \K\d+ (minutes|seconds)' <<<"$said" | awk '{s = $1 * ($2 == "minutes" ? 60 : 1); if (NR > 1 && s > last) bad = 1; last = s} END {print bad || NR < 4 ? "no" : "yes"}')"
expect "what it took is remembered" *[0-9]$'\t'"unit tests"* "$(<"$tree/build/durations")"
printf '5400\tunit tests\n' >"$tree/build/durations"
run
expect "and used" *"unit tests: about 9"[0-9]" minutes left"* "$said"

run --all
expect "--all has valgrind, sanitizers, checks, benchmarks and packages" \
  *valgrind*"check "*asan*"bench --short"*"package amd64"*"package armhf"* "$calls"
expect "but not what takes long" no "$([[ $calls == *"check --all"* ]] || echo no)"
run --long
expect "--long has what takes long" *"check --all"* "$calls"
run --full --arch armhf
expect "--full has that and, once, 32-bit ARM" *"check --all"*"ctest --preset armhf "* "$calls"
expect "once" 1 "$(grep -c '^ctest --preset armhf ' <<<"$calls")"
run --full
expect "also unasked" *"ctest --preset armhf "* "$calls"
expect "CI runs everything" *"scripts/test --all --arch armhf" "$(<"$tree/.ci/run")"

results="10 2 0" run
expect "tests that fail are counted" "16 passed, 4 failed" "${said##*$'\n'}"
expect "and make it fail" 1 $status
broken=--build run
expect "what does not compile is shown" *"it does not compile"*"FAILED: build debug (gcc)"*"0 passed, 1 failed" "$said"
fake "$tree/lab/root" 'echo "skipped: namespaces cannot be made here (why)"; exit 77'
results="10 0 3" reason="skipped: namespaces cannot be made here (why)" run
expect "without namespaces it passes" 0 $status
expect "what is skipped is counted, with one line that says why" \
  *$'\n6 skipped\n  4 namespaces cannot be made here (why)\n14 passed, 0 failed' "$said"
may_make_namespaces
for wrong in --sometimes "--arch armhf" "--all --arch sparc" "--all --arch"; do
  # shellcheck disable=SC2086  # words
  run $wrong
  expect "$wrong is a usage error" "2: scripts/test"*--all* "$status: $said"
done
exit $((failures > 0))
