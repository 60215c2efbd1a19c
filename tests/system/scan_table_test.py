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
        return subprocess.Popen([OVERLAY, self.bin, AGENT, "scan", "--thorough", "--database", self.database, *arguments],
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


    def assert_summary(self, lines, nodes=3, services=5):
        self.assertRegex(lines[0], rf"^{nodes} nodes with {services} services on 1 network in \d+\.\d s$")
        self.assertEqual(lines[1:], ["looked for sip:5060 http:80 https:443 snmp:161 ping"])


class Table(Scan):
    def test_a_wide_terminal_shows_everything(self):
        lines = self.show_plainly(200)
        self.assertEqual(lines[0].split(), HEADINGS)
        self.assertEqual(re.split("  +", lines[1]), [
            "10.1.0.5", "00:00:5E:00:53:05", "LAN1", 'ICANN, "IANA" Department', MODEL, "http:80 https:443 ping sip:5060", "up"])
        self.assertEqual(re.split("  +", lines[2]), ["10.1.0.6", "02:00:5E:00:00:06", "LAN1", "http:80", "down"])
        self.assertEqual(re.split("  +", lines[3]), ["10.1.0.7", "00:00:5E:00:53:07", "LAN1", 'ICANN, "IANA" Department', "(silent)"])
        self.assert_summary(lines[4:])

    def test_an_ordinary_terminal_gets_its_longest_columns_cut(self):
        lines = self.show_plainly(80)
        self.assertEqual(lines[0].split(), [name for name in HEADINGS if name != "INTERFACE"])
        self.assertEqual(lines[1].count("…"), 3)
        self.assertRegex(lines[1], "Réseau.*…  +http.*…  up$")

    def test_a_narrow_terminal_shows_who_answers(self):
        self.assertEqual(self.show_plainly(40), [
            "ADDRESS   SERVICES                STATUS", "10.1.0.5  http:80 https:443 pin…  up",
            "10.1.0.6  http:80                 down", "10.1.0.7  (silent)",
            "3 nodes with 5 services on 1 network in…", "looked for sip:5060 http:80 https:443 s…"])

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
        self.assertEqual(status, 0, errors)
        self.assert_summary(output.splitlines()[-2:])


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
        self.assertEqual((status, output.splitlines()[0].split()), (0, [*HEADINGS[:4], "SERVICES"]))
        self.assertEqual(output.count("(not asked)"), 3)
        self.assertEqual(self.warnings(errors), [
            "discovery-agent: warning: some scans failed: service scan (servicescan): Exit status 3"])

    def test_a_servicescan_that_is_not_there_is_no_more(self):
        (self.bin / "servicescan").unlink()
        (self.bin / "other").touch()
        if os.path.exists("/usr/bin/servicescan"):
            self.skipTest("this machine has a servicescan")
        status, output, errors = self.pipe()
        self.assertEqual(status, 0)
        self.assert_summary(output.splitlines()[-2:], services=0)
        [missing, warning] = self.warnings(errors)
        self.assertIn("/usr/bin/servicescan: not found (Debian package discovery-tools)", missing)
        self.assertRegex(warning, "some scans failed: service scan .servicescan.: .*No such file")

    def test_a_status_scan_that_fails_leaves_the_services(self):
        (self.folder / "status").unlink()
        status, output, errors = self.pipe()
        self.assertEqual((status, output.splitlines()[0].split()), (0, HEADINGS[:-1]))
        [warning] = self.warnings(errors)
        self.assertIn("some scans failed: status scan (servicescan): Exit status 1 (FileNotFoundError", warning)

    def test_no_interface_is_one_line_and_one_an_interface(self):
        self.assertEqual(self.pipe("--interface", "^nothing$"),
                         (1, "", "discovery-agent: no interface was selected\n  LAN1: no match\n"))

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
        self.assertEqual(agent.returncode, 128 + signal.SIGTERM)
        self.assertEqual(output.decode().count("(not asked)"), 3)
        self.assertEqual(errors.decode().splitlines()[-1], "discovery-agent: interrupted")
        self.assertFalse(pathlib.Path(f"/proc/{children[0]}").exists())
        self.assertEqual(list(pathlib.Path("/tmp").glob(f"servicescan-input-scan.{agent.pid}.*")), [])


class Interfaces(Scan):
    def interfaces(self, *arguments):
        agent = subprocess.run([AGENT, "interfaces", "--database", self.database, *arguments], env=self.environment,
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=TIMEOUT)
        return agent.returncode, [line.split() for line in agent.stdout.decode().splitlines()], agent.stderr.decode()

    def setUp(self):
        super().setUp()
        connection = sqlite3.connect(self.database)
        connection.executescript("""
            INSERT INTO dyn_if VALUES (2, 'eth2');
            INSERT INTO ip_interface VALUES (2, 1, 2, 10, 'LAN2', 2, 1);
            INSERT INTO ip_interface VALUES (3, 1, 2, 10, 'WAN', 2, 3);
            INSERT INTO ip_interface_address VALUES (3, 3, 2, 10, '203.0.113.0/24');
            INSERT INTO ip_interface VALUES (4, 1, 2, 10, 'LOOSE', NULL, 3);""")
        connection.close()

    def test_they_are_shown_with_the_reason_and_nothing_is_run(self):
        self.assertEqual(self.interfaces(), (0, [
            ["INTERFACE", "DEVICE", "SCAN", "WHY"], ["LAN1", "eth1", "yes", "private", "network"],
            ["LAN2", "eth2", "no", "down"], ["WAN", "eth2", "no", "public"], ["LOOSE", "no", "not", "bound"]], ""))
        self.assertFalse((self.folder / "calls").exists())

    def test_names_choose(self):
        status, rows, _ = self.interfaces("--interface", "^WAN$")
        self.assertEqual((status, [row[-2:] for row in rows[1:]]), (0, [["no", "match"], ["match,", "down"], ["asked", "for"], ["not", "bound"]]))

    def test_a_scan_without_an_interface_says_the_same(self):
        status, output, errors = self.pipe("--interface", "^(LAN2|LOOSE)$")
        self.assertEqual((status, output), (1, ""))
        self.assertEqual(errors.splitlines(), ["discovery-agent: no interface was selected", "  LAN1: no match",
                                               "  LAN2: down", "  WAN: no match", "  LOOSE: not bound"])


class BeforeTheFirstPacket(Scan):
    def run_with(self, *programs, prefix=()):
        """A scan in whose PATH there are these fakes, and no folder of the system's own programs."""
        for name in programs:
            shutil.copy(FAKE_BIN / name, self.bin)
        agent = subprocess.run([OVERLAY, self.bin, "env", f"PATH={self.folder}:/usr/bin", *prefix, AGENT, "scan", "--thorough", "--database", self.database],
                               env={**self.environment, "PATH": os.environ["PATH"]}, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=TIMEOUT)
        return agent.returncode, agent.stdout.decode(), agent.stderr.decode()

    WITHOUT_RAW_SOCKETS = ("setpriv", "--bounding-set=-net_raw", "--inh-caps=-net_raw")

    def test_what_is_missing_and_what_is_left_is_one_line(self):
        status, _, errors = self.run_with("arp-scan")
        self.assertEqual(status, 0, errors)
        self.assertTrue(errors.startswith("discovery-agent: warning: discovery-client: not found (Debian package discovery-tools); "
                                          "devices are not asked what they are\n"), errors)

    def test_without_the_right_to_raw_sockets_devices_are_left(self):
        status, _, errors = self.run_with("arp-scan", "discovery-client", prefix=self.WITHOUT_RAW_SOCKETS)
        self.assertEqual(status, 0, errors)
        self.assertTrue(errors.startswith("discovery-agent: warning: arp-scan: may not open raw sockets (run as root, or with "
                                          "CAP_NET_RAW); only devices that speak for themselves are found"), errors)

    def test_nothing_useful_left_is_status_1_and_one_line(self):
        status, output, errors = self.run_with("arp-scan", prefix=self.WITHOUT_RAW_SOCKETS)
        self.assertEqual((status, output), (1, ""))
        self.assertEqual(len(errors.splitlines()), 1, errors)
        self.assertTrue(errors.startswith("discovery-agent: nothing can be scanned: "), errors)
        self.assertFalse((self.folder / "calls").exists())

    def test_the_folders_of_the_systems_programs_are_looked_through(self):
        if not os.path.exists("/usr/sbin/arp-scan"):
            self.skipTest("this machine has no arp-scan")
        _, _, errors = self.run_with("discovery-client")
        self.assertNotIn("not found", errors)


class Output(Scan):
    def test_a_full_disk_is_status_1_and_a_line(self):
        for arguments in ((), ("--json",)):
            (self.folder / "asked").unlink(missing_ok=True)
            with open("/dev/full", "w") as full:
                agent = self.start(*arguments, stdout=full, stderr=subprocess.PIPE)
                errors = agent.communicate(timeout=TIMEOUT)[1].decode()
            self.assertEqual(agent.returncode, 1)
            self.assertRegex(errors, "discovery-agent: .*No space left on device")

    def test_a_closed_pipe_is_status_1_and_a_line(self):
        reader, writer = os.pipe()
        os.close(reader)
        agent = self.start(stdout=writer, stderr=subprocess.PIPE)
        os.close(writer)
        errors = agent.communicate(timeout=TIMEOUT)[1].decode()
        self.assertEqual(agent.returncode, 1)
        self.assertRegex(errors, "discovery-agent: .*Broken pipe")

    def test_the_last_word_of_a_failed_command_is_shown(self):
        (self.folder / "discovery-client.eth1").unlink()
        status, _, errors = self.pipe()
        self.assertEqual(status, 0)
        self.assertIn("discovery-agent: warning: some scans failed: Discovery scan on LAN1: Exit status 1 (no answer on eth1)\n", errors)

    def test_signals_end_it_with_what_was_found_and_leave_no_child(self):
        for number in (signal.SIGINT, signal.SIGHUP):
            (self.folder / "asked").unlink(missing_ok=True)
            self.write("seconds", "45")
            agent = self.start(stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            deadline = time.monotonic() + TIMEOUT
            while not (self.folder / "asked").exists():
                self.assertLess(time.monotonic(), deadline)
                time.sleep(0.02)
            [child] = pathlib.Path(f"/proc/{agent.pid}/task/{agent.pid}/children").read_text().split()
            agent.send_signal(number)
            output, errors = agent.communicate(timeout=TIMEOUT)
            self.assertEqual(agent.returncode, 128 + number)
            self.assertEqual(output.decode().count("00:00:5E:00:53:05"), 1)
            self.assertEqual(errors.decode(), "discovery-agent: interrupted\n")
            self.assertFalse(pathlib.Path(f"/proc/{child}").exists())


class Progress(Scan):
    def test_it_counts_through_all_scans(self):
        self.write("sleep", "0.2")
        self.write("seconds", "2.2")
        shown = self.show(80, shown="stderr")
        for text in ("Scan 1 of 4: ARP on LAN1, 0 s of about 24 s, 0 nodes", "Scan 3 of 4: services of 3 nodes, 0 s of about 3 s, 3 nodes",
                     "Scan 3 of 4: services of 3 nodes, [12] s", "Scan 4 of 4: status of 2 nodes, 0 s", "10.1.0.5 +00:00:5E:00:53:05  LAN1"):
            self.assertRegex(shown, "\r\033\\[K" + text)
        # Nothing is left of it at the end: the three nodes are taken back.
        self.assertTrue(shown.endswith("\r\033[K\033[3A\033[J"), repr(shown[-80:]))

    def test_log_lines_stand_on_lines_of_their_own(self):
        shown = self.show(80, "--verbosity", "1", shown="stderr")
        self.assertIn("Scan succeeded", shown)
        for line in shown.split("\n"):
            self.assertRegex(line.rpartition("\r\033[K")[2], r"^\d{4}-\d\d-\d\d |^10\.1\.0\.\d |^$")
        self.assertNotIn("Scan succeeded", self.show(80, shown="stderr"))

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
