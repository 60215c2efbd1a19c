#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Installs, starts, upgrades, removes and purges the packages for this machine's architecture in a throw-away Debian that has
# systemd as its first process and no network but its own: service_test.sh
# service_test_steps.sh is what runs there. Needs root. The Debian is made once, below build/; what a run changes in it is
# kept in memory and goes with it.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
packages=$here/../../build/packages
root=$here/../../build/systemd-root
skip() { echo "service_test: skipped: $*" >&2; exit 77; }
[[ $EUID == 0 && ${LAB_ROOT:-} != user ]] || skip "needs root itself"
unshare --net --mount --pid --fork true || skip "no namespaces can be made here"

architecture=$(dpkg --print-architecture)
debs=("$packages"/*_"$architecture.deb")
[[ -e ${debs[0]} ]] || { echo "service_test: no packages in $packages: run scripts/package" >&2; exit 1; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
"$here/systemd_root" "$root" "${debs[@]}"

# The same packages once more, as a later version.
mkdir "$scratch/first" "$scratch/second"
cp "${debs[@]}" "$scratch/first/"
for package in "${debs[@]}"; do
  rm -rf "$scratch/unpacked"
  dpkg-deb --raw-extract "$package" "$scratch/unpacked"
  version=$(dpkg-deb --field "$package" Version)
  sed -i "s/$version/$version+later/" "$scratch/unpacked/DEBIAN/control"
  dpkg-deb --root-owner-group --build "$scratch/unpacked" "$scratch/second/$(basename "$package")" >/dev/null
done

cp "$here/service_test_steps.sh" "$scratch/"
cat >"$scratch/test.service" <<UNIT
[Unit]
SuccessAction=exit
FailureAction=exit
FailureActionExitStatus=1
[Service]
Type=oneshot
ExecStart=/test/service_test_steps.sh
StandardOutput=file:/test/log
StandardError=inherit
TimeoutStartSec=300
UNIT
# What the machine's own systemd would keep of it is none of this test's business, hence a mount namespace of its own.
status=0
unshare --mount --propagation private timeout --kill-after=10 330 systemd-nspawn --quiet --register=no --keep-unit \
  --private-network --volatile=overlay --bind="$scratch:/test" \
  --bind-ro="$scratch/test.service:/etc/systemd/system/test.service" --directory="$root" --boot \
  systemd.unit=multi-user.target systemd.wants=test.service systemd.show_status=no </dev/null >"$scratch/console" 2>&1 || status=$?
[[ -f $scratch/log ]] || cat "$scratch/console" >&2
cat "$scratch/log"
exit "$status"
