#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# scripts/setup says little, and what has to be known: with a stand-in for apt-get, and a /usr/sbin that takes what is written
# and forgets it. Runs inside tests/system/sandbox, as root.
set -uo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
clone="/tmp/a clone" fakes=/tmp/fakes
mkdir -p "$clone/scripts" "$fakes" /tmp/upper /tmp/work
cp "$source/scripts/setup" "$clone/scripts/"
mount -t overlay -o lowerdir=/usr/sbin,upperdir=/tmp/upper,workdir=/tmp/work overlay /usr/sbin || exit
# This machine may have one of its own.
rm -f /usr/sbin/policy-rc.d
# All that it may use as somebody who is neither root nor knows sudo.
for program in bash cat dirname env mkdir sort; do ln -s "$(command -v $program)" "$fakes/$program"; done
failures=0
expect() {  # DESCRIPTION PATTERN ACTUAL
  # shellcheck disable=SC2053  # a pattern
  if [[ $3 == $2 ]]; then echo "ok: $1"; return; fi
  failures=$((failures + 1))
  printf 'FAILED: %s\nexpected: %s\nfound: %s\n' "$@"
}

fake() { printf '#!/bin/bash\n%s\n' "$2" >"$fakes/$1"; chmod 755 "$fakes/$1"; }
fake dpkg-query '[[ ${*: -1} != snmpd && ${*: -1} != jq ]] && echo installed'
fake update-rc.d 'echo "$*" >>/tmp/disabled'
setup() { PATH=$fakes:$PATH "$clone/scripts/setup" demo 2>&1; }

fake apt-get 'echo "invoke-rc.d: could not determine current runlevel" >&2; echo "Setting up"; [[ $* != *install* ]] || cat /usr/sbin/policy-rc.d >/tmp/policy'
said=$(setup)
expect "setting up succeeds" 0 $?
expect "it says what it installs, and nothing else" "Installing 2 packages from Debian: jq snmpd" "$said"
expect "what the packages say is in the log" *"could not determine current runlevel"* "$(<"$clone/build/logs/setup.log")"
expect "servers could not start meanwhile" *"exit 101" "$(</tmp/policy)"
expect "and may afterwards" no "$([[ ! -e /usr/sbin/policy-rc.d ]] && echo no)"
expect "nor do they at the next start" "snmpd disable" "$(</tmp/disabled)"

fake apt-get 'echo "E: no space left" >&2; exit 100'
said=$(setup)
expect "a failure is one" 1 $?
expect "it shows the log, and what is missing" *"E: no space left"*"missing are jq snmpd" "$said"

chmod 755 /tmp/fakes
if setpriv --reuid 65534 true 2>/dev/null; then
  said=$(PATH=$fakes /usr/bin/setpriv --reuid 65534 --clear-groups "$clone/scripts/setup" demo 2>&1)
  expect "without root and sudo it fails" 1 $?
  expect "and says what is missing" *"neither root nor sudo"*"jq snmpd" "$said"
fi

fake dpkg-query 'echo installed'
expect "it says nothing when nothing is missing" "" "$(setup)"
exit $((failures > 0))
