#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""The sweep of a network whose hosts have a namespace each: sweep_test.py SERVICESCAN [unittest options]

Runs inside tests/system/sandbox. A bridge stands in the sandbox; the hosts and the scanning machine are namespaces on it.
"""
import json
import re
import subprocess
import sys
import time
import unittest

from switch import Switch

TOOL = sys.argv.pop(1)
WITHOUT_RIGHTS = ["setpriv", "--bounding-set=-all", "--inh-caps=-all", "--ambient-caps=-all", "--no-new-privs",
                  "--reuid=65534", "--regid=65534", "--clear-groups"]
HANG_SECONDS = 60


class Sweep(unittest.TestCase):
    def setUp(self):
        self.switch = Switch("10.98.0.1/24")
        self.addCleanup(self.switch.remove)

    def sweep(self, *arguments, prefix=()):
        start = time.monotonic()
        tool = self.switch.run([*prefix, TOOL, *arguments], timeout=HANG_SECONDS)
        self.seconds = time.monotonic() - start
        return tool.returncode, tool.stdout.decode(), tool.stderr.decode()

    def found(self, *arguments, prefix=()):
        status, output, errors = self.sweep("-j", "--sweep", *arguments, prefix=prefix)
        self.assertEqual((status, errors), (0, ""))
        return {node["ipAddress"]: node["physicalAddress"] for node in json.loads(output)["nodes"]}

    def add_hosts(self, *addresses):
        return {address: self.switch.add_host(address).mac.upper() for address in addresses}

    def test_hosts_are_found_with_their_mac_addresses(self):
        hosts = self.add_hosts("10.98.0.2", "10.98.0.77", "10.98.0.254")
        self.assertEqual(self.found("10.98.0.0/24"), hosts)
        self.assertEqual(self.found("10.98.0.64/26"), {"10.98.0.77": hosts["10.98.0.77"]})
        self.assertEqual(self.found("10.98.0.2"), {"10.98.0.2": hosts["10.98.0.2"]})

    def test_the_table_is_in_ascending_order(self):
        hosts = self.add_hosts("10.98.0.100", "10.98.0.9")
        status, output, errors = self.sweep("--sweep", "10.98.0.0/24")
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual([line.split() for line in output.splitlines()], [
            ["ADDRESS", "MAC"], ["10.98.0.9", hosts["10.98.0.9"]], ["10.98.0.100", hosts["10.98.0.100"]]])

    def test_it_takes_no_rights(self):
        hosts = self.add_hosts("10.98.0.2", "10.98.0.3")
        self.assertEqual(self.found("10.98.0.0/24", prefix=WITHOUT_RIGHTS), hosts)
        # Once more, where the kernel knows them already.
        self.assertEqual(self.found("10.98.0.0/24", prefix=WITHOUT_RIGHTS), hosts)

    def test_a_host_that_refuses_everything_or_drops_it_is_found(self):
        hosts = self.add_hosts("10.98.0.2", "10.98.0.3")
        self.switch.hosts["10.98.0.2"].nft("table ip deaf { chain input { type filter hook input priority 0; policy drop; }; }")
        self.assertEqual(self.found("10.98.0.0/24"), hosts)

    def test_a_host_that_has_gone_is_not_found(self):
        hosts = self.add_hosts("10.98.0.2", "10.98.0.3")
        self.found("10.98.0.0/24")
        self.switch.hosts["10.98.0.3"].command("link", "set", "eth0", "down")
        del hosts["10.98.0.3"]
        self.assertEqual(self.found("10.98.0.0/24"), hosts)

    def test_what_the_kernel_doubts_is_asked_before_it_is_believed(self):
        hosts = self.add_hosts("10.98.0.2", "10.98.0.3", "10.98.0.4")
        for address, mac in hosts.items():
            self.switch.device("neigh", "add", address, "lladdr", mac, "nud", "stale", "dev", "eth0")
        self.switch.hosts["10.98.0.2"].nft("table ip deaf { chain input { type filter hook input priority 0; policy drop; }; }")
        self.switch.hosts["10.98.0.3"].command("link", "set", "eth0", "down")
        del hosts["10.98.0.3"]
        self.assertEqual(self.found("10.98.0.0/24", prefix=WITHOUT_RIGHTS), hosts)

    def test_sleepers_and_lost_requests_are_asked_again(self):
        hosts = self.add_hosts(*(f"10.98.0.{number}" for number in range(2, 12)))
        for address in list(hosts)[:5]:
            self.switch.hosts[address].sleep_through(2)
        self.assertEqual(self.found("10.98.0.0/24"), hosts)
        for address in list(hosts)[5:]:
            self.switch.hosts[address].sleep_through(2)
        self.switch.device("neigh", "flush", "dev", "eth0")
        self.assertEqual(self.found("10.98.0.0/24", prefix=WITHOUT_RIGHTS), hosts)

    def test_an_entry_of_an_administrator_stays(self):
        self.add_hosts("10.98.0.2")
        self.switch.device("neigh", "add", "10.98.0.9", "lladdr", "02:00:00:00:00:09", "nud", "permanent", "dev", "eth0")
        self.assertNotIn("10.98.0.9", self.found("10.98.0.0/24"))
        self.assertIn("10.98.0.9 lladdr 02:00:00:00:00:09 PERMANENT",
                      self.switch.device("neigh", "show", "dev", "eth0").replace("dev eth0 ", ""))

    def test_only_arp_requests_and_its_own_datagrams_leave(self):
        host = self.switch.add_host("10.98.0.2")
        host.nft("table ip count { chain input { type filter hook input priority 0; udp dport 9 counter; }; }")
        self.found("10.98.0.0/24")
        [packets] = re.findall(r"packets (\d+)", host.nft("list ruleset"))
        self.assertIn(int(packets), range(1, 5))

    def test_a_network_elsewhere_is_an_error(self):
        status, output, errors = self.sweep("--sweep", "10.97.0.0/24")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("no interface is connected to this network", errors)
        status, output, errors = self.sweep("--sweep", "10.98.0.0/16")
        self.assertEqual((status, output), (1, ""))

    def test_more_addresses_than_allowed_are_an_error(self):
        status, output, errors = self.sweep("--max-addresses", "200", "--sweep", "10.98.0.0/24")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("256 addresses are more than 200", errors)

    def test_bad_values_are_usage_errors(self):
        for arguments in (["--sweep", "lan"], ["--sweep", ""], ["--sweep", "10.98.0.0/33"], ["--sweep"],
                          ["--sweep", "10.98.0.0/24", "-t", "x"], ["--max-addresses", "0", "--sweep", "10.98.0.0/24"]):
            self.assertEqual(self.sweep(*arguments)[0], 2, arguments)

    def test_a_result_that_cannot_be_written_is_an_error(self):
        tool = self.switch.run(["sh", "-c", f"exec {TOOL} -j --sweep 10.98.0.0/24 >/dev/full"], timeout=HANG_SECONDS)
        self.assertEqual(tool.returncode, 1)
        self.assertIn(b"cannot write", tool.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)
