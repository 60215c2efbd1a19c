#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The lab, with the real arp-scan: its live hosts answer and no other, and whatever ends it, nothing of it is left.
set -euo pipefail
cd "$(dirname "$0")/../.."
((EUID == 0)) || { echo "skipped: needs root"; exit 77; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0
expect_same() {  # DESCRIPTION EXPECTED ACTUAL
  if [[ $2 == "$3" ]]; then echo "ok: $1"; return; fi
  failures=$((failures + 1))
  echo "FAILED: $1"
  diff <(echo "$2") <(echo "$3") || true
}

# Processes and mounts that hold the network namespace with this inode, wherever they are.
holders() {
  { ls -l /proc/[0-9]*/ns/net; grep -H . /proc/[0-9]*/mountinfo; } 2>/dev/null | grep -F "$1" || true
}

# Ends a lab in mid-run; the command in it has children that ignore signals and one that left its session.
nothing_is_left_after() {  # SIGNAL EXPECTED_STATUS
  local net="$scratch/net.$1" status=0
  # A shell's background children ignore SIGINT unless told otherwise.
  env --default-signal=INT lab/lan run bash -c 'readlink /proc/self/ns/net; setsid sleep 300 & sh -c "trap : TERM INT HUP; sleep 300" & wait' \
    >"$net" 2>/dev/null &
  local lab=$!
  until [[ -s $net ]]; do sleep 0.05; done
  [[ $(holders "$(<"$net")") ]] || expect_same "the lab was running" yes no
  kill -"$1" "$lab"
  wait "$lab" || status=$?
  expect_same "status after SIG$1" "$2" "$status"
  for _ in {1..40}; do [[ $(holders "$(<"$net")") ]] || break; sleep 0.05; done  # the kernel takes a moment
  expect_same "nothing is left after SIG$1" "" "$(holders "$(<"$net")")"
  expect_same "no process is left after SIG$1" "" "$(grep -la "inside.lab$lab-" /proc/[0-9]*/cmdline 2>/dev/null || true)"
}

expected_hosts() { lab/lan hosts | awk -F'\t' -v i="$1" '$1 == i && $4 == "live" {print $2 "\t" $3}' | sort; }
found_hosts() { awk -F'\t' -v i="$1" '$1 == i && $2 ~ /^[0-9]+\./ {print $2 "\t" $3}' "$scratch/found" | sort; }

links_before=$(ip -o link; ip -o address)
namespaces_before=$(ip netns)

status=0
lab/lan run sh -c 'exit 7' || status=$?
expect_same "the status of the command is the lab's" 7 "$status"
expect_same "standard input reaches the command" hello "$(echo hello | lab/lan run cat)"
expect_same "/tmp in the lab is private" "" "$(lab/lan run find /tmp -maxdepth 1 -type f)"

# An arp-scan takes 24 seconds, however small the network.
# shellcheck disable=SC2016  # expanded in the lab
lab/lan run bash -o pipefail -c '
  for interface in lan0 lan1 wan0; do
    arp-scan --interface=$interface --localnet --quiet --timeout=5000 --retry=3 | sed "s/^/$interface\t/" &
    scans+=($!)
  done
  for scan in "${scans[@]}"; do wait "$scan" || exit; done' >"$scratch/found" &
scans=$!

nothing_is_left_after TERM 143
nothing_is_left_after INT 143
nothing_is_left_after HUP 143
nothing_is_left_after KILL 137

status=0
wait "$scans" || status=$?
expect_same "status of the scans" 0 "$status"
expect_same "hosts of the table" "20 hosts, 4 silent" \
  "$(lab/lan hosts | awk '{n++} $4 == "silent" {s++} END {print n " hosts, " s " silent"}')"
expect_same "lan0 answers with its live hosts" "$(expected_hosts lan0)" "$(found_hosts lan0)"
expect_same "lan1 answers with its live hosts" "$(expected_hosts lan1)" "$(found_hosts lan1)"
expect_same "the public side has its gateway only" $'203.0.113.1\t02:4c:41:4e:ff:01' "$(found_hosts wan0)"

expect_same "this machine's interfaces are as before" "$links_before" "$(ip -o link; ip -o address)"
expect_same "this machine's namespaces are as before" "$namespaces_before" "$(ip netns)"
exit $((failures > 0))
