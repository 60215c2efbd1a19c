#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""A scan by hand of networks whose hosts have a namespace each: quick_scan_test.py AGENT [unittest options]

Runs inside tests/system/sandbox and lab/overlay with the tools. A bridge stands in the sandbox; the hosts and the scanning
device are namespaces on it.
"""
import json
import os
import pty
import re
import signal
import subprocess
import sys
import time
import unittest

from switch import Switch

AGENT = sys.argv.pop(1)
TIMEOUT = 60
# Far above what it takes, and far below what arp-scan would.
SOON_SECONDS = 15


class QuickScan(unittest.TestCase):
    def setUp(self):
        self.switch = Switch("10.98.0.1/24")
        self.addCleanup(self.switch.remove)

    def scan(self, *arguments):
        start = time.monotonic()
        agent = self.switch.run([AGENT, "scan", *arguments], timeout=TIMEOUT, stdin=subprocess.DEVNULL)
        self.seconds = time.monotonic() - start
        return agent.returncode, agent.stdout.decode(), agent.stderr.decode()

    def test_hosts_their_services_and_their_status_are_found_soon(self):
        answering, refusing, silent = (self.switch.add_host(f"10.98.0.{number}") for number in (2, 3, 4))
        for host in (refusing, silent):
            host.nft("table ip quiet { chain input { type filter hook input priority 0; icmp type echo-request drop; }; }")
        silent.nft("table ip deaf { chain input { type filter hook input priority 0; policy drop; }; }")
        status, output, errors = self.scan("--service", "ping:0", "--service", "http:80")
        self.assertEqual((status, errors), (0, ""))
        lines = output.splitlines()
        self.assertEqual([line.split() for line in lines[:4]], [
            ["ADDRESS", "MAC", "INTERFACE", "SERVICES", "STATUS"],
            ["10.98.0.2", answering.mac.upper(), "eth0", "ping", "up"],
            ["10.98.0.3", refusing.mac.upper(), "eth0", "(refused)"], ["10.98.0.4", silent.mac.upper(), "eth0", "(silent)"]])
        self.assertRegex(lines[4], r"^3 nodes with 1 service on 1 network in \d+\.\d s$")
        self.assertEqual(lines[5:], ["looked for ping http:80"])
        self.assertLess(self.seconds, SOON_SECONDS)

    def test_a_sleeper_is_found_and_asked_late(self):
        self.switch.add_host("10.98.0.2")
        self.switch.add_host("10.98.0.3").sleep_through(2)
        status, output, _ = self.scan("--json", "--service", "ping:0")
        self.assertEqual((status, {node["ipAddress"]: node["status"] for node in json.loads(output)}),
                         (0, {"10.98.0.2": "up", "10.98.0.3": "up"}))

    def test_two_networks_of_one_interface_are_swept(self):
        self.switch.device("address", "add", "192.168.98.1/28", "broadcast", "+", "dev", "eth0")
        self.switch.add_host("10.98.0.2")
        self.switch.add_host("10.98.0.3").command("address", "add", "192.168.98.2/28", "dev", "eth0")
        self.switch.hosts["10.98.0.3"].command("address", "del", "10.98.0.3/24", "dev", "eth0")
        _, output, _ = self.scan("--json", "--service", "ping:0")
        self.assertEqual(sorted(node["ipAddress"] for node in json.loads(output)), ["10.98.0.2", "192.168.98.2"])

    def test_of_a_network_that_is_too_large_the_part_around_the_device_is_swept(self):
        for address in ("10.98.0.2", "10.98.0.100"):
            self.switch.add_host(address)
        status, output, errors = self.scan("--json", "--max-addresses", "16", "--service", "ping:0")
        self.assertEqual((status, [node["ipAddress"] for node in json.loads(output)]), (0, ["10.98.0.2"]))
        self.assertIn("of 10.98.0.0/24 only 10.98.0.0/28 was swept", errors)

    def test_nodes_are_on_the_terminal_before_the_scan_ends(self):
        self.switch.add_host("10.98.0.2")
        master, slave = pty.openpty()
        agent = self.switch.start([AGENT, "scan"], stdin=subprocess.DEVNULL, stdout=slave, stderr=slave,
                                  env={**os.environ, "TERM": "xterm"})
        os.close(slave)
        shown = b""
        while not re.search(rb"10\.98\.0\.2 +02:", shown):
            shown += os.read(master, 65536)
        self.assertIsNone(agent.poll())
        agent.send_signal(signal.SIGINT)
        try:
            while piece := os.read(master, 65536):
                shown += piece
        except OSError:
            pass
        os.close(master)
        self.assertEqual(agent.wait(timeout=TIMEOUT), 130)
        self.assertIn(b"1 node with", shown)
        self.assertIn(b"discovery-agent: interrupted\r\n", shown)

    def test_without_a_network_it_fails_and_says_why(self):
        self.switch.device("address", "flush", "dev", "eth0")
        status, output, errors = self.scan("--interface", "^eth0$")
        self.assertEqual((status, output), (1, ""))
        self.assertRegex(errors, "no scan succeeded: ARP sweep on eth0: no IPv4 network; Discovery scan on eth0: Exit status 1 \\(.*\\)")


if __name__ == "__main__":
    unittest.main(verbosity=2)
