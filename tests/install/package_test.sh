#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Looks at the packages of scripts/package, unpacked into a folder of the test's own: package_test.sh amd64|armhf
# Nothing is installed on this machine.
set -euo pipefail
architecture=$1
source=$(cd "$(dirname "$0")/../.." && pwd)
. "$source/tests/install/host.sh"
packages=$source/build/packages
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
root=$scratch/root

fail() { echo "package_test: $*" >&2; exit 1; }
deb() { echo "$packages/$1"_*_"$architecture.deb"; }
field() { dpkg-deb --field "$(deb "$1")" "$2"; }

# What each package holds besides its documentation, with folders and versions left out.
contents() {
  dpkg-deb --fsys-tarfile "$(deb "$1")" | tar -t | sed -e '/\/$/d' -e '\,/share/doc/,d' -e 's/[0-9.]*$//' -e 's,^\./,,'
}
expect_contents() {  # PACKAGE PATH…
  local found wanted
  found=$(contents "$1" | sort -u)
  wanted=$(printf '%s\n' "${@:2}" | sort -u)
  diff <(echo "$wanted") <(echo "$found") >&2 || fail "contents of $1"
}
expect_field() {  # PACKAGE FIELD PART…
  local value part
  value=$(field "$1" "$2")
  for part in "${@:3}"; do
    [[ ", $value," == *", $part"[\ ,]* ]] || fail "$1: no $part in $2: $value"
  done
}

case $architecture in
  amd64) folder=usr/lib/x86_64-linux-gnu type="ELF 64-bit LSB*x86-64*" run=() ;;
  armhf) folder=usr/lib/arm-linux-gnueabihf type="ELF 32-bit LSB*ARM, EABI5*" sysroot=$source/build/sysroot-armhf
         run=(qemu-arm-static -L "$sysroot") ;;
  *) fail "amd64 or armhf" ;;
esac

all=(libkxdiscovery0 libkxdiscovery-dev discovery-agent discovery-tools discovery-responder)
for package in "${all[@]}"; do
  [[ -f $(deb "$package") ]] || fail "no $package in $packages: run scripts/package $architecture"
  dpkg-deb -x "$(deb "$package")" "$root"
  [[ $(field "$package" Architecture) == "$architecture" ]] || fail "$package is for another architecture"
  [[ -s $root/usr/share/doc/$package/copyright && -s $root/usr/share/doc/$package/changelog.gz ]] || fail "$package is undocumented"
done

completions=usr/share/bash-completion/completions
expect_contents libkxdiscovery0 $folder/libkx{discovery,platform}.so
expect_contents discovery-agent usr/bin/discovery-agent usr/lib/systemd/system/discovery-agent.service \
  usr/share/man/man{1/discovery-agent.1,5/discovery-plan.5,5/discovery-database.5}.gz $completions/discovery-agent \
  etc/default/discovery-agent
expect_contents discovery-tools usr/bin/{servicescan,discovery-client} \
  usr/share/man/man{1/servicescan.1,5/servicescan-targets.5,1/discovery-client.1}.gz $completions/{servicescan,discovery-client}
expect_contents discovery-responder usr/sbin/discovery-responder usr/lib/systemd/system/discovery-responder.service \
  usr/lib/sysusers.d/discovery-responder.conf usr/share/man/man8/discovery-responder.8.gz $completions/discovery-responder \
  etc/discovery/responder.conf
! contents libkxdiscovery-dev |
  grep -vE "^usr/include/kxdiscovery/.*\.h$|^$folder/(libkx(discovery|platform)\.(a|so)|libkx(links|testing)\.a|cmake/|pkgconfig/kx)" ||
  fail "contents of libkxdiscovery-dev"

for package in "${all[@]}"; do
  [[ $(field "$package" Homepage) == https://* ]] || fail "$package has no home page"
  [[ $(field "$package" Description | wc -l) -ge 2 && $(field "$package" Maintainer) == *'<'*@*'>' ]] || fail "$package says too little"
done
expect_field libkxdiscovery0 Depends libc6 libstdc++6 libuv1 libre2-9 libsqlite3-0 libmnl0
for package in libkxdiscovery0 libkxdiscovery-dev; do
  [[ $(field "$package" Multi-Arch) == same ]] || fail "$package stands alone"
done
expect_field libkxdiscovery-dev Depends libkxdiscovery0 libuv1-dev libre2-dev libsqlite3-dev libmnl-dev
expect_field discovery-agent Depends libkxdiscovery0 libc6 libstdc++6
expect_field discovery-agent Recommends arp-scan discovery-tools
expect_field discovery-tools Depends libc6 libssl3 libosip2-15 libhttp-parser2.9 libmnl0
expect_field discovery-responder Depends libc6 libssl3
"$source"/bench/closure_figures.py --architecture "$architecture" --limit discovery-tools:12 "$packages" ||
  fail "discovery-tools brings too much onto a device"
# A package of the machine that the build ran on, and none of a cross compiler.
[[ $(field discovery-agent Depends) != *-cross* ]] || fail "discovery-agent needs a cross compiler's library"

# A service is neither enabled nor started by its installation, restarted by an upgrade and stopped by its removal.
# service_test.sh sees it done; here for architectures that do not start on this machine, too.
expect_line() {  # PACKAGE SCRIPT LINE
  grep -qE "^ *$3( |\$)" "$scratch/$1/$2" || fail "$1: $2 does not say: $3"
}
for package in discovery-agent discovery-responder; do
  dpkg-deb --control "$(deb "$package")" "$scratch/$package"
  expect_line "$package" postinst "deb-systemd-helper update-state $package.service"
  expect_line "$package" postinst "deb-systemd-invoke restart $package.service"
  expect_line "$package" prerm "deb-systemd-invoke stop $package.service"
  expect_line "$package" postrm "deb-systemd-helper purge $package.service"
  shellcheck "$scratch/$package"/{postinst,prerm,postrm}
  ! grep -E 'enable|invoke start|systemctl.* start' "$scratch/$package/postinst" | grep -v '^ *#' || fail "$package starts its service"
  [[ ! -e $root/etc/systemd ]] || fail "$package enables its service"
done
expect_line discovery-responder postinst "systemd-sysusers discovery-responder.conf"
expect_line discovery-agent conffiles /etc/default/discovery-agent
expect_line discovery-responder conffiles /etc/discovery/responder.conf
dpkg-deb --control "$(deb libkxdiscovery0)" "$scratch/libkxdiscovery0"
[[ -s $scratch/libkxdiscovery0/symbols && ! -e $scratch/libkxdiscovery0/postinst ]] || fail "libkxdiscovery0: symbols, and no script"
"$source/scripts/symbols" "$architecture" || fail "libkxdiscovery0 exports other names than packaging says"

programs=("$root"/usr/{bin,sbin}/* "$root/$folder"/*.so.*.*)
for program in "${programs[@]}"; do
  # shellcheck disable=SC2053  # $type is a pattern
  [[ $(file --brief "$program") == $type*" stripped" ]] || fail "$program is $(file --brief "$program")"
done

# Debian's hardening, as far as the files show it.
for program in "${programs[@]}"; do
  name=$(basename "$program")
  seen=$(LC_ALL=C readelf --wide --program-headers --dynamic --dyn-syms "$program")
  shows() { grep -E "$1" <<<"$seen" >/dev/null; }
  shows ' GNU_RELRO ' || fail "$name: no RELRO"
  shows 'FLAGS_1.*NOW' || fail "$name: its symbols are not bound at its start"
  ! shows ' GNU_STACK .*RWE' || fail "$name: a stack that can be run"
  shows '__stack_chk_fail' || fail "$name: no stack protector"
  [[ $name == libkxdiscovery.so* ]] || shows 'UND __[a-z]*printf_chk' || fail "$name: not fortified"
  [[ $name == *.so.* ]] || shows 'FLAGS_1.*PIE' || fail "$name: not position independent"
  ! shows 'R(UN)?PATH' || fail "$name: looks for libraries elsewhere"
done
for program in "$root"/usr/{bin,sbin}/*; do
  version=$(LD_LIBRARY_PATH=$root/$folder "${run[@]}" "$program" --version)
  [[ $version == "$(basename "$program") "[0-9]* ]] || fail "$program says $version"
done
[[ $(echo '{}' | LD_LIBRARY_PATH=$root/$folder "${run[@]}" "$root/usr/bin/discovery-agent" run) == *'"Invalid message"'* ]] ||
  fail "the agent does not answer"

if [[ $architecture == amd64 ]]; then
  check_development "$root/usr" "$scratch"
  # The units name programs that are not installed here, so they are shown where they are.
  for unit in discovery-agent discovery-responder; do
    sed "s|^ExecStart=/|&${root#/}/|" "$root/usr/lib/systemd/system/$unit.service" >"$scratch/$unit.service"
    systemd-analyze verify --man=no "$scratch/$unit.service"
    systemd-analyze security --offline=true --threshold=20 --no-pager "$root/usr/lib/systemd/system/$unit.service" >"$scratch/security" ||
      { cat "$scratch/security" >&2; fail "$unit.service is exposed"; }
    grep -q '^MemoryMax=' "$scratch/$unit.service" && grep -q '^WatchdogSec=' "$scratch/$unit.service" || fail "$unit.service is not bounded"
  done
  lintian --pedantic --fail-on error,warning,info,pedantic --tag-display-limit 0 "$packages"/*_amd64.deb >"$scratch/lintian" ||
    { cat "$scratch/lintian" >&2; fail "lintian"; }
fi
(cd "$packages" && stat -c '%8s bytes  %n' -- *_"$architecture.deb")
echo "ok: the packages for $architecture are complete"
