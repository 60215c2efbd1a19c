#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The sandbox, the overlay and the lab work for a checkout and a build wherever they are, for whoever may make namespaces; and
# say why not where nobody may. Runs inside tests/system/sandbox, whose /tmp is its own.
set -uo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
unset LAB_ROOT BUILD_FOLDER
failures=0
expect_same() {  # DESCRIPTION EXPECTED ACTUAL
  if [[ $2 == "$3" ]]; then echo "ok: $1"; return; fi
  failures=$((failures + 1))
  printf 'FAILED: %s\nexpected: %s\nfound: %s\n' "$@"
}

mount -t tmpfs run /run
# A folder of the machine's own for the homes, so that none is written to.
mount -t tmpfs home /home

# What it prints names where it ran; what it writes into the private folders stays there.
checkout() {  # FOLDER
  mkdir -p "$1/tests/system" "$1/build/bin"
  cp -r "$source/lab" "$1"
  cp "$source/tests/system/sandbox" "$1/tests/system"
  # shellcheck disable=SC2016  # expanded when it runs
  printf '#!/bin/sh\ntouch /tmp/left-behind\n%s\n' 'echo "$1 in $PWD"' >"$1/build/bin/program"
  chmod 755 "$1/build/bin/program"
}

for place in /tmp/clone "/tmp/with blanks, a comma/and:a colon" /run/user/0/clone "/home/some body/clone" "/tmp/ends in a blank "; do
  checkout "$place"
  cd "$place" || exit
  expect_same "the sandbox, from $place" "sandbox in $place" "$(tests/system/sandbox "$place/build/bin/program" sandbox 2>&1)"
  expect_same "nothing is left in /tmp, from $place" "" "$(find /tmp -name left-behind)"
  expect_same "the overlay, from $place" "overlay in $place" "$(lab/overlay build/bin program overlay 2>&1)"
  expect_same "a working folder elsewhere, for $place" "sandbox in /" \
    "$(cd / && "$place/tests/system/sandbox" "$place/build/bin/program" sandbox 2>&1)"
  rm -f /tmp/left-behind
done

# A build outside of its checkout.
checkout /home/clone
mkdir "/tmp/a build"
cp /home/clone/build/bin/program "/tmp/a build/"
cd /home/clone || exit
expect_same "a build folder in /tmp is kept" "sandbox in /home/clone" \
  "$(BUILD_FOLDER="/tmp/a build" tests/system/sandbox "/tmp/a build/program" sandbox 2>&1)"

# The lab, which replaces /run as well.
for place in "/tmp/with blanks, a comma/and:a colon" /run/user/0/clone; do
  cd "$place" || exit
  expect_same "the lab, from $place" "lab in $place" "$(lab/lan run "$place/build/bin/program" lab 2>/dev/null)"
done

# As another user, where the kernel lets him have a namespace of his own, and where it does not.
cd /tmp/clone || exit
nobody() { setpriv --reuid 65534 --regid 65534 --clear-groups --no-new-privs "$@"; }
if nobody unshare --user true 2>/dev/null; then
  expect_same "who is not root uses a user namespace" user "$(nobody lab/root --how)"
  expect_same "and has the sandbox" "sandbox in /tmp/clone" "$(nobody tests/system/sandbox build/bin/program sandbox 2>&1)"
  expect_same "and the lab" "lab in /tmp/clone" "$(nobody lab/lan run build/bin/program lab 2>/dev/null)"
fi
# This holds for the namespaces below it only.
denied() { unshare --user --map-root-user sh -c 'echo 0 >/proc/sys/user/max_user_namespaces; echo 0 >/proc/sys/user/max_net_namespaces; exec "$@"' sh "$@"; }
for command in "lab/root --how" "tests/system/sandbox true" "lab/overlay build/bin true" "lab/lan run true"; do
  # shellcheck disable=SC2086  # words
  said=$(denied $command 2>&1)
  expect_same "where nobody may: status of $command" 77 $?
  [[ $said == "skipped: namespaces cannot be made here (as root: unshare:"*"user namespace: unshare:"* ]] ||
    expect_same "where nobody may: the reason of $command" "two reasons" "$said"
done
exit $((failures > 0))
