#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""The real servicescan in a network with more hosts than the kernel's table of neighbours holds.

neighbour_table_test.py TOOL [unittest options]

Runs inside tests/system/sandbox, whose other side is a second namespace with all the hosts. The table is shared by all
namespaces of the machine, so nothing that needs a network may run beside it.
"""
import ipaddress
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

TOOL = sys.argv.pop(1)
HANG_SECONDS = 100
# 10.99.0.0/17 answers and the upper half of 10.99.0.0/16 does not, but for the device itself.
LIVE = ipaddress.ip_address("10.99.0.1")
DEAD = ipaddress.ip_address("10.99.128.1")
SETTINGS = pathlib.Path("/proc/sys/net")
WITHOUT_ADMINISTRATION = ["setpriv", "--bounding-set=-net_admin", "--inh-caps=-all"]


def run(command):
    return subprocess.run(command.split(), check=True, stdout=subprocess.PIPE).stdout.decode()


def limits():
    """What the kernel says of its table's limits and times."""
    return re.sub(r"\n\s+(stats|config)[^\n]*|\s+entries \d+", "", run("ip ntable show name arp_cache"))


def settings():
    values = {}
    for path in SETTINGS.rglob("*"):
        try:
            values[path] = path.read_bytes() if path.is_file() else None
        except OSError:
            pass
    return values


def neighbours():
    return [line.split()[0] for line in run("ip -4 neigh show dev device").splitlines()]


class NeighbourTable(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.hosts = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "unshare", "--net", "sh", "-c",
                                      "echo; exec sleep 1000"], stdout=subprocess.PIPE)
        cls.hosts.stdout.readline()
        there = f"nsenter --net --target {cls.hosts.pid}"
        for command in (f"ip link add device type veth peer name hosts netns {cls.hosts.pid}",
                        "ip address add 10.99.255.254/16 dev device", "ip link set device up",
                        f"{there} ip link set lo up", f"{there} ip address add 10.99.255.253/16 dev hosts",
                        f"{there} ip link set hosts up", f"{there} ip route add local 10.99.0.0/17 dev lo"):
            run(command)
        cls.capacity = int(re.search(r"thresh3 (\d+)", run("ip ntable show name arp_cache"))[1])
        cls.count = cls.capacity + cls.capacity // 2

    @classmethod
    def tearDownClass(cls):
        cls.hosts.kill()
        cls.hosts.wait()
        cls.hosts.stdout.close()

    def setUp(self):
        if self.count > 16000:
            self.skipTest(f"this machine has room for {self.capacity} neighbours")
        run("ip neigh flush dev device")

    def scan(self, lines, *options, prefix=()):
        """The outcomes of each host's services: True or the reason why not."""
        with tempfile.NamedTemporaryFile("w") as file:
            file.writelines(line + "\n" for line in lines)
            file.flush()
            start = time.monotonic()
            tool = subprocess.run([*prefix, TOOL, "-j", *options, "-t", file.name], stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, timeout=HANG_SECONDS)
        self.seconds = time.monotonic() - start
        self.assertEqual((tool.returncode, tool.stderr), (0, b""))
        nodes = json.loads(tool.stdout)["nodes"]
        self.assertEqual([node["ipAddress"] for node in nodes], [line.split()[0] for line in lines])
        return [tuple(service.get("reason", True) for service in node["services"]) for node in nodes]


class WithTheRightToAdminister(NeighbourTable):
    def test_every_host_is_found_by_every_service(self):
        outcomes = self.scan([f"{LIVE + number} ping:0 http:80" for number in range(self.count)])
        self.assertEqual(set(outcomes), {(True, "Connection refused")})

    def test_silent_hosts_do_not_hide_the_others(self):
        lines = [f"{first + number} ping:0" for number in range(self.count) for first in (LIVE, DEAD)]
        outcomes = self.scan(lines, "--timeout", "300")
        self.assertEqual(set(outcomes[0::2]), {(True,)})
        self.assertLessEqual(set(outcomes[1::2]), {("No answer",), ("No route to host",)})

    def test_the_table_is_given_back_but_for_what_belongs_to_others(self):
        permanent, foreign = str(LIVE + 7), str(LIVE + 30000)
        run(f"ip neigh add {permanent} lladdr 02:00:00:00:00:02 nud permanent dev device")
        run(f"ip neigh add {foreign} lladdr 02:00:00:00:00:01 nud reachable dev device")
        self.scan([f"{LIVE + number} ping:0" for number in range(self.count)], "--timeout", "300")
        self.assertEqual(sorted(neighbours()), sorted([permanent, foreign]))
        run(f"ip neigh del {permanent} dev device")

    def test_no_setting_is_changed(self):
        before = limits(), settings()
        self.scan([f"{LIVE + number} ping:0" for number in range(self.count)])
        self.assertEqual((limits(), settings()), before)


class WithoutIt(NeighbourTable):
    def test_it_waits_until_the_kernel_has_made_room(self):
        count = self.capacity + self.capacity // 8  # two slices, so one wait
        outcomes = self.scan([f"{LIVE + number} ping:0" for number in range(count)], prefix=WITHOUT_ADMINISTRATION)
        self.assertEqual(set(outcomes), {(True,)})
        self.assertGreater(self.seconds, 50)


if __name__ == "__main__":
    unittest.main(verbosity=2)
