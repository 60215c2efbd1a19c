#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""What a person sees of a scan by hand, on a terminal and in a pipe: scan_table_test.py AGENT [unittest options]

Runs inside tests/system/sandbox. arp-scan and discovery-client are fakes in PATH, servicescan is one in /usr/bin of the
agent's own mount namespace, and the folder of the registries of MAC addresses is the test's own.
"""
import fcntl
import json
import os
import pathlib
import pty
import re
import shutil
import signal
import sqlite3
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import time
import unicodedata
import unittest

AGENT = sys.argv.pop(1)
HERE = pathlib.Path(__file__).parent
OVERLAY = HERE.parent.parent / "lab" / "overlay"
FAKE_BIN = HERE.parent / "fakebin"
VENDORS = pathlib.Path("/usr/share/arp-scan/ieee-oui.txt")
TIMEOUT = 60
SCHEMA = """
CREATE TABLE context_ip (id INTEGER PRIMARY KEY, object_type INTEGER, object_status INTEGER, name TEXT);
CREATE TABLE dyn_if (id INTEGER PRIMARY KEY, name TEXT);
CREATE TABLE ip_interface (id INTEGER PRIMARY KEY, context_ip_id INTEGER, object_type INTEGER, object_status INTEGER,
                           name TEXT, dyn_if_id INTEGER, if_state INTEGER);
CREATE TABLE ip_interface_address (id INTEGER PRIMARY KEY, ip_interface_id INTEGER, object_type INTEGER,
                                   object_status INTEGER, subnet TEXT);
INSERT INTO context_ip VALUES (1, 2, 10, 'main');
INSERT INTO dyn_if VALUES (1, 'eth1');
INSERT INTO ip_interface VALUES (1, 1, 2, 10, 'LAN1', 1, 3);
INSERT INTO ip_interface_address VALUES (1, 1, 2, 10, '10.1.0.0/16');
"""
# Notes what it is asked, and answers for the services that the file "services" lists at first, then "status".
SERVICESCAN = r'''#!/usr/bin/python3
import json, os, pathlib, sys, time
folder = pathlib.Path(os.environ["PATH"].partition(":")[0])
asked = pathlib.Path(sys.argv[sys.argv.index("-t") + 1]).read_text()
first = not (folder / "asked").exists()
with open(folder / "asked", "a") as log:
    log.write(asked + "--\n")
orders = {name: float((folder / name).read_text()) for name in ("seconds", "exit-status") if (folder / name).exists()}
time.sleep(orders.get("seconds", 0))
if "exit-status" in orders:
    sys.exit(int(orders["exit-status"]))
answers = json.loads((folder / ("services" if first else "status")).read_text())
nodes = []
for line in asked.splitlines():
    address, *pairs = line.split()
    services = []
    for pair in pairs:
        name, port = pair.split(":")
        answer = answers.get(address, {}).get(name)
        services.append({"service": name, "port": int(port), "successful": answer is not None, **(answer or {})})
    nodes.append({"ipAddress": address, "services": services})
print(json.dumps({"nodes": nodes}))
'''
MODEL = "Réseau 日本 telephone with a model name of some length"
HEADINGS = ["ADDRESS", "MAC", "INTERFACE", "VENDOR", "MODEL", "SERVICES", "STATUS"]


def width_of(text):
    return sum(2 if unicodedata.east_asian_width(character) in "WF" else 1 for character in text)


class Scan(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.database = self.folder / "config.db"
        connection = sqlite3.connect(self.database)
        connection.executescript(SCHEMA)
        connection.close()
        self.bin = self.folder / "bin"
        self.bin.mkdir()
        (self.bin / "servicescan").write_text(SERVICESCAN)
        (self.bin / "servicescan").chmod(0o755)
        self.write("arp-scan.eth1", "10.1.0.5\t00:00:5e:00:53:05\n10.1.0.6\t02:00:5e:00:00:06\n10.1.0.7\t00:00:5e:00:53:07\n")
        self.write("discovery-client.eth1", '{"nodes":[]}')
        self.write("services", json.dumps({"10.1.0.5": {"ping": {}, "http": {"model": MODEL}, "sip": {}, "https": {}},
                                           "10.1.0.6": {"http": {}}}))
        self.write("status", json.dumps({"10.1.0.5": {"ping": {}}}))
        self.environment = {"PATH": f"{self.folder}:{FAKE_BIN}:{os.environ['PATH']}", "TERM": "xterm",
                            **{key: value for key, value in os.environ.items() if key.endswith("SAN_OPTIONS")}}
        self.provide_vendors(b'# a comment\n\n00005E\tICANN, "IANA" Department\n02005E\tNobody\n')

    def write(self, name, text):
        (self.folder / name).write_text(text)

    @staticmethod
    def provide_vendors(table):
        """Replaces the table of MAC addresses; without one it is not there."""
        VENDORS.unlink(missing_ok=True)
        if table is not None:
            VENDORS.write_bytes(table)

    def start(self, *arguments, **streams):
        return subprocess.Popen([OVERLAY, self.bin, AGENT, "scan", "--database", self.database, *arguments],
                                env=self.environment, stdin=subprocess.DEVNULL, **streams)

    def pipe(self, *arguments):
        """Exit status, stdout and stderr when all are pipes."""
        agent = self.start(*arguments, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        output, errors = agent.communicate(timeout=TIMEOUT)
        return agent.returncode, output.decode(), errors.decode()

    def show(self, columns, *arguments, shown="stdout"):
        """What a terminal of that width gets of one of the streams; the other one is a pipe that nobody reads."""
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        other = {"stdout": "stderr", "stderr": "stdout"}[shown]
        agent = self.start(*arguments, **{shown: slave, other: subprocess.DEVNULL})
        os.close(slave)
        watchdog = threading.Timer(TIMEOUT, agent.kill)
        watchdog.start()
        output = b""
        try:
            while chunk := os.read(master, 65536):
                output += chunk
        except OSError:  # the terminal's way to say that nobody has it open any more
            pass
        self.assertEqual(agent.wait(), 0)
        watchdog.cancel()
        os.close(master)
        return output.decode().replace("\r\n", "\n")

    def show_plainly(self, columns, *arguments):
        """The lines of a table without its colours."""
        lines = re.sub(r"\033\[\d*m", "", self.show(columns, *arguments)).splitlines()
        for line in lines:
            self.assertLessEqual(width_of(line), columns)
        return lines


class Table(Scan):
    def test_a_wide_terminal_shows_everything(self):
        lines = self.show_plainly(200)
        self.assertEqual(lines[0].split(), HEADINGS)
        self.assertEqual(re.split("  +", lines[1]), [
            "10.1.0.5", "00:00:5E:00:53:05", "LAN1", 'ICANN, "IANA" Department', MODEL, "http:80 https:443 ping sip:5060", "up"])
        self.assertEqual(re.split("  +", lines[2]), ["10.1.0.6", "02:00:5E:00:00:06", "LAN1", "http:80", "down"])
        self.assertEqual(re.split("  +", lines[3]), ["10.1.0.7", "00:00:5E:00:53:07", "LAN1", 'ICANN, "IANA" Department'])
        self.assertEqual(lines[4:], ["3 nodes"])

    def test_an_ordinary_terminal_gets_its_longest_columns_cut(self):
        lines = self.show_plainly(80)
        self.assertEqual(lines[0].split(), [name for name in HEADINGS if name != "INTERFACE"])
        self.assertEqual(lines[1].count("…"), 3)
        self.assertRegex(lines[1], "Réseau.*…  +http.*…  up$")

    def test_a_narrow_terminal_shows_who_answers(self):
        self.assertEqual(self.show_plainly(40), [
            "ADDRESS   SERVICES                STATUS", "10.1.0.5  http:80 https:443 pin…  up",
            "10.1.0.6  http:80                 down", "10.1.0.7", "3 nodes"])

    def test_columns_is_heard_where_the_terminal_does_not_say(self):
        whole = self.show(0)
        self.assertIn(MODEL, whole)
        (self.folder / "asked").unlink()
        self.environment["COLUMNS"] = "40"
        self.assertIn("10.1.0.5  http:80 https:443 pin…  \033[32mup\033[0m\n", self.show(0))

    def test_a_pipe_gets_everything_without_colour(self):
        self.environment["COLUMNS"] = "40"
        status, output, errors = self.pipe()
        self.assertEqual(status, 0, errors)
        self.assertNotIn("\033", output)
        self.assertIn(MODEL, output)
        self.assertNotIn("warning", errors)

    def test_colours_show_the_heading_and_the_status(self):
        output = self.show(40)
        self.assertIn("\033[1mADDRESS   SERVICES                STATUS\033[0m\n", output)
        self.assertIn("\033[32mup\033[0m\n", output)
        self.assertIn("\033[31mdown\033[0m\n", output)

    def test_nobody_has_to_take_colours(self):
        for name, value in (("NO_COLOR", "1"), ("TERM", "dumb")):
            (self.folder / "asked").unlink(missing_ok=True)
            self.environment[name] = value
            output = self.show(40)
            self.assertNotIn("\033", output)
            self.assertIn("10.1.0.5  http:80 https:443 pin…  up\n", output)
            self.environment["TERM"] = "xterm"

    def test_what_the_network_says_cannot_command_the_terminal(self):
        self.write("services", json.dumps({"10.1.0.5": {"http": {"model": "\033[2J\nx\u009b"}}}))
        output = self.show(200)
        self.assertIn("\\x1b[2J\\nx\\u009b", output)
        self.assertNotRegex(re.sub(r"\033\[\d*m", "", output), "[\0-\t\v-\x1f\x7f-\x9f]")


class Vendors(Scan):
    def test_without_a_table_the_column_is_left_out(self):
        self.provide_vendors(None)
        status, output, errors = self.pipe()
        self.assertEqual((status, output.splitlines()[0].split()), (0, [name for name in HEADINGS if name != "VENDOR"]), errors)

    def test_a_malformed_table_does_no_harm(self):
        self.provide_vendors(b"00005E\n" + b"\t" * 5001 + b"00005E\0\t\xff\n" * 100000 + bytes(range(256)) * 1000)
        status, output, errors = self.pipe()
        self.assertEqual((status, output.splitlines()[-1]), (0, "3 nodes"), errors)


class Scans(Scan):
    def asked(self):
        return (self.folder / "asked").read_text().split("--\n")

    def test_json_is_an_array_of_nodes_with_services_and_status(self):
        status, output, errors = self.pipe("--json")
        self.assertEqual(status, 0, errors)
        nodes = json.loads(output)
        for node in nodes:
            self.assertRegex(node.pop("statusChangeDate"), r"^\d{4}-.*Z$")
        common = {"interface": "LAN1"}
        services = {name: {"port": port} for name, port in (("ping", 0), ("http", 80), ("sip", 5060), ("https", 443))}
        self.assertEqual(nodes, [
            {"ipAddress": "10.1.0.5", "physicalAddress": "00:00:5E:00:53:05", **common, "model": MODEL, "status": "up",
             "services": services},
            {"ipAddress": "10.1.0.6", "physicalAddress": "02:00:5E:00:00:06", **common, "status": "down",
             "services": {"http": {"port": 80}}},
            {"ipAddress": "10.1.0.7", "physicalAddress": "00:00:5E:00:53:07", **common, "status": "unknown"}])

    def test_every_node_is_asked_for_all_services_then_for_the_first_it_has(self):
        self.assertEqual(self.pipe()[0], 0)
        services = "sip:5060 http:80 https:443 snmp:161 ping:0"
        self.assertEqual(self.asked(), ["".join(f"10.1.0.{host} {services}\n" for host in (5, 6, 7)),
                                        "10.1.0.5 ping:0\n10.1.0.6 http:80\n", "10.1.0.6 http:80\n", ""])

    def test_services_are_those_given(self):
        self.assertEqual(self.pipe("--service", "http:8080", "--service", "http:80", "--service", "http:8080")[0], 0)
        self.assertEqual(self.asked()[0], "".join(f"10.1.0.{host} http:8080 http:80\n" for host in (5, 6, 7)))

    def test_a_service_that_cannot_be_used_is_status_2_and_one_line(self):
        for value in ("ftp:21", "http", "http:65536"):
            self.assertEqual(self.pipe("--service", value), (2, "", (
                f'discovery-agent: unusable value for --service: "{value}", expecting sip, http, https, snmp or ping, a colon '
                "and a port up to 65535; try --help\n")))

    def test_no_file_is_left(self):
        before = sorted(pathlib.Path("/tmp").glob("servicescan-input-*"))
        self.assertEqual(self.pipe()[0], 0)
        self.assertEqual(sorted(pathlib.Path("/tmp").glob("servicescan-input-*")), before)

    def warnings(self, errors):
        return [line for line in errors.splitlines() if line.startswith("discovery-agent: ")]

    def test_a_servicescan_that_fails_costs_its_columns_and_is_a_warning(self):
        self.write("exit-status", "3")
        status, output, errors = self.pipe()
        self.assertEqual((status, output.splitlines()[0].split()), (0, HEADINGS[:4]))
        self.assertEqual(self.warnings(errors), [
            "discovery-agent: warning: some scans failed: service scan (servicescan): Exit status 3"])

    def test_a_servicescan_that_is_not_there_is_no_more(self):
        (self.bin / "servicescan").unlink()
        (self.bin / "other").touch()
        if os.path.exists("/usr/bin/servicescan"):
            self.skipTest("this machine has a servicescan")
        status, output, errors = self.pipe()
        self.assertEqual((status, output.splitlines()[-1]), (0, "3 nodes"))
        [warning] = self.warnings(errors)
        self.assertRegex(warning, "some scans failed: service scan .servicescan.: .*No such file")

    def test_a_status_scan_that_fails_leaves_the_services(self):
        (self.folder / "status").unlink()
        status, output, errors = self.pipe()
        self.assertEqual((status, output.splitlines()[0].split()), (0, HEADINGS[:-1]))
        self.assertEqual(self.warnings(errors), [
            "discovery-agent: warning: some scans failed: status scan (servicescan): Exit status 1"])

    def test_no_interface_is_one_line(self):
        self.assertEqual(self.pipe("--interface", "^nothing$"), (1, "", "discovery-agent: no interface was selected\n"))

    def test_interrupted_at_the_services_it_leaves_no_child_and_no_file(self):
        self.write("seconds", "45")
        agent = self.start(stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        deadline = time.monotonic() + TIMEOUT
        while not (self.folder / "asked").exists():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)
        children = pathlib.Path(f"/proc/{agent.pid}/task/{agent.pid}/children").read_text().split()
        self.assertEqual(len(children), 1)
        agent.send_signal(signal.SIGTERM)
        output, errors = agent.communicate(timeout=TIMEOUT)
        self.assertEqual((agent.returncode, output), (1, b""))
        self.assertEqual(errors.decode().splitlines()[-1], "discovery-agent: interrupted")
        self.assertFalse(pathlib.Path(f"/proc/{children[0]}").exists())
        self.assertEqual(list(pathlib.Path("/tmp").glob(f"servicescan-input-scan.{agent.pid}.*")), [])


class Progress(Scan):
    def test_it_counts_through_all_scans(self):
        self.write("sleep", "0.2")
        self.write("seconds", "2.2")
        shown = self.show(80, shown="stderr")
        for text in ("Scan 1 of 4: ARP on LAN1, 0 s", "Scan 3 of 4: services of 3 nodes, 0 s",
                     "Scan 3 of 4: services of 3 nodes, [12] s", "Scan 4 of 4: status of 2 nodes, 0 s"):
            self.assertRegex(shown, "\r\033\\[K" + text)
        # Log lines stand on lines of their own, and nothing is left of the progress at the end.
        for line in shown.split("\n"):
            self.assertRegex(line.rpartition("\r\033[K")[2], r"^\d{4}-\d\d-\d\d |^$")

    def test_it_stays_on_one_line(self):
        self.write("sleep", "0.2")
        self.assertIn("\r\033[KScan 1 of 4: ARP on…", self.show(21, shown="stderr"))

    def test_a_dumb_terminal_gets_none(self):
        self.write("sleep", "0.2")
        self.environment["TERM"] = "dumb"
        shown = self.show(80, shown="stderr")
        self.assertNotIn("Scan 1", shown)
        self.assertNotIn("\033", shown)


def hide_registries():
    """From here on the folder is empty and can be written, and nobody else sees it; the sandbox's mounts end with it."""
    subprocess.run(["mount", "-t", "tmpfs", "vendors", VENDORS.parent], check=True)


if __name__ == "__main__":
    hide_registries()
    unittest.main(verbosity=2)
