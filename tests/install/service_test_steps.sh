#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What becomes of a device's packages, step by step: service_test.sh runs it in a Debian of its own, where /test holds the
# packages in two versions.
set -eEuo pipefail
trap 'echo "service_test: line $LINENO: $BASH_COMMAND" >&2; journalctl --no-pager --lines 60 --output cat >&2' ERR
export DEBIAN_FRONTEND=noninteractive
services=(discovery-agent discovery-responder)

fail() { echo "service_test: $*" >&2; return 1; }
is() { [[ $1 == "$2" ]] || fail "$1 instead of $2"; }
state() { systemctl show --property "$2" --value "$1"; }
pids() { for service in "${services[@]}"; do state "$service" MainPID; done; }
# Everything that is installed, configured or kept, but for dpkg's own records and what every boot makes anew.
files() {
  find / -xdev \( -path /proc -o -path /sys -o -path /run -o -path /test -o -path /tmp -o -path /var/tmp -o -path /var/log \
    -o -path /var/lib/dpkg -o -path /var/cache -o -path /var/lib/systemd \) -prune -o -print | sort
}

# Two hosts: this one with lan0, and a device behind it that speaks for itself.
make_lan() {
  ip netns add device
  ip link add lan0 type veth peer name eth0 netns device
  ip address add 10.99.0.1/29 dev lan0
  ip link set lan0 up
  ip -netns device address add 10.99.0.2/29 dev eth0
  ip -netns device link set eth0 up
  ip -netns device link set lo up
}

# The agent as its management server meets it: one plan, until its job has ended. Prints what the agent sent.
run_plan() {
  perl -e '
    use IO::Socket::UNIX;
    alarm 120;
    my $link = IO::Socket::UNIX->new(Peer => "/run/discovery-agent/link") or die "cannot connect: $!";
    my $plan = q([{"id": "now", "scanType": "node", "schedule": {"firstRun": "now"}, "interfaces": [{"regex": "^lan0$"}]}]);
    print $link qq({"kind": "request", "service": "discovery", "name": "updateJobDescriptions", "id": 1, "jobDescriptions": $plan}\n);
    $link->flush();
    while (<$link>) { print; last if /"jobStatus"/ && /"status": ?"(successful|failed|cancelled)"/ }'
}

files >/tmp/before

echo "install: everything is there, nothing runs"
dpkg --install /test/first/*.deb
getent passwd discovery-responder
for service in "${services[@]}"; do
  is "$(state "$service" LoadState) $(state "$service" ActiveState) $(state "$service" UnitFileState)" "loaded inactive disabled"
done

echo "start: both run, the responder answers, the agent scans"
make_lan
echo "RESPONDER_OPTIONS=\"--interface lan0 --model 'X 1' --supports-onboarding\"" >/etc/discovery/responder.conf
for side in client responder; do
  echo "lan:0123456789abcdef" >"/etc/discovery/$side.psk"
  chmod 600 "/etc/discovery/$side.psk"
done
systemctl enable --now "${services[@]}"
ip netns exec device discovery-responder --interface eth0 --model "X 2" --user nobody --state-directory /tmp &
ip netns exec device discovery-client -j -i eth0 | tee /tmp/answer
grep -qF '"model":"X 1"' /tmp/answer
# It has read its key, which is root's, has kept no right to do so, and writes where it may.
ip netns exec device discovery-client -d 10.99.0.1 -o organisation-key
grep -qx organisation-key /var/lib/discovery-responder/organisation-key
responder=$(state discovery-responder MainPID)
is "$(stat --format %U "/proc/$responder")" discovery-responder
is "$(grep -c 'Cap\(Inh\|Prm\|Eff\|Amb\):.0*$' "/proc/$responder/status")" 4
run_plan | tee /tmp/scan
grep -qF '"status":"successful"' /tmp/scan
# Its MAC address is from arp-scan, which needs the right to raw sockets, its model from discovery-client.
grep -qE '"ipAddress":"10.99.0.2","physicalAddress":"[0-9A-F:]{17}"[^}]*"model":"[^"]*X 2"' /tmp/scan
for service in "${services[@]}"; do is "$(state "$service" ActiveState)" active; done

echo "watchdog: who turns its loop is left alone, who hangs is started anew"
mkdir -p /run/systemd/system/discovery-responder.service.d
printf '[Service]\nWatchdogSec=1\nRestartSec=0\n' >/run/systemd/system/discovery-responder.service.d/test.conf
systemctl daemon-reload
systemctl restart discovery-responder
responder=$(state discovery-responder MainPID)
sleep 3
is "$(state discovery-responder MainPID)" "$responder"
kill -STOP "$responder"
for ((i = 0; i < 100; i++)); do
  [[ $(state discovery-responder NRestarts) == 0 ]] || break
  sleep 0.1
done
is "$(state discovery-responder NRestarts) $(state discovery-responder ActiveState)" "1 active"
rm -r /run/systemd/system/discovery-responder.service.d
systemctl daemon-reload

echo "upgrade: what runs is restarted, what does not run is not started"
before=$(pids)
dpkg --install /test/second/*.deb
for service in "${services[@]}"; do is "$(state "$service" ActiveState)" active; done
[[ -z $(comm -12 <(sort <<<"$before") <(pids | sort)) ]] || fail "not restarted: $before"
grep -qF 'X 1' /etc/discovery/responder.conf
systemctl stop discovery-agent
dpkg --install --force-downgrade /test/first/*.deb
is "$(state discovery-agent ActiveState)" inactive
is "$(state discovery-responder ActiveState)" active

echo "removal: nothing runs, what was configured stays"
systemctl start discovery-agent
pids=$(pids)
mapfile -t packages < <(for package in /test/first/*.deb; do dpkg-deb --field "$package" Package; done)
dpkg --remove "${packages[@]}"
for pid in $pids; do [[ ! -d /proc/$pid ]] || fail "still runs: $(tr '\0' ' ' <"/proc/$pid/cmdline")"; done
[[ -f /etc/discovery/responder.conf && -f /var/lib/discovery-responder/organisation-key ]]

echo "purge: nothing is left"
rm /etc/discovery/{client,responder}.psk
dpkg --purge "${packages[@]}"
diff /tmp/before <(files)
[[ -z $(getent passwd discovery-responder || true) ]]
echo "ok: the packages do on a device what they should"
