#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The whole agent from outside, over its links, with fake tools first in PATH: agent_test.py AGENT [unittest options]

Runs inside tests/system/sandbox, with the programs of tests/fakebin/usr-bin in /usr/bin. The device configuration is a
database of the test's own, so which interfaces the machine has does not matter.
"""
import json
import os
import pathlib
import shutil
import signal
import socket
import sqlite3
import stat
import subprocess
import sys
import tempfile
import threading
import time
import unittest

AGENT = sys.argv.pop(1)
HANG_SECONDS = 90
FAKE_BIN = pathlib.Path(__file__).parent.parent / "fakebin"
SCHEMA = """
CREATE TABLE context_ip (id INTEGER PRIMARY KEY, object_type INTEGER, object_status INTEGER, name TEXT);
CREATE TABLE dyn_if (id INTEGER PRIMARY KEY, name TEXT);
CREATE TABLE ip_interface (id INTEGER PRIMARY KEY, context_ip_id INTEGER, object_type INTEGER, object_status INTEGER,
                           name TEXT, dyn_if_id INTEGER, if_state INTEGER);
CREATE TABLE ip_interface_address (id INTEGER PRIMARY KEY, ip_interface_id INTEGER, object_type INTEGER,
                                   object_status INTEGER, subnet TEXT);
INSERT INTO context_ip VALUES (1, 2, 10, 'main');
INSERT INTO dyn_if VALUES (1, 'eth1'), (2, 'eth2');
INSERT INTO ip_interface VALUES (1, 1, 2, 10, 'LAN1', 1, 3), (2, 1, 2, 10, 'WAN', 2, 3);
INSERT INTO ip_interface_address VALUES (1, 1, 2, 10, '10.1.0.0/16'), (2, 2, 2, 10, '203.0.113.0/24');
"""
ARP_OUTPUT = "Interface: eth1\n10.1.0.5\t02:00:5e:00:00:05\n10.1.0.6\t02:00:5e:00:00:06\n\nEnding arp-scan\n"
DISCOVERY_OUTPUT = '{"nodes":[{"physicalAddress":"02:00:5E:00:00:06","ipAddress":"10.1.0.6","model":"X","build":"1.2"}]}'


class AgentTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.database = self.folder / "config.db"
        connection = sqlite3.connect(self.database)
        connection.executescript(SCHEMA)
        connection.close()
        self.environment = dict(os.environ, PATH=f"{self.folder}:{FAKE_BIN}:{os.environ['PATH']}", TZ="UTC")
        self.write("arp-scan.eth1", ARP_OUTPUT)
        self.write("discovery-client.eth1", DISCOVERY_OUTPUT)

    def write(self, name, text):
        path = self.folder / name
        path.write_text(text)
        return path

    def start(self, *arguments, **options):
        options = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        agent = subprocess.Popen([AGENT, *map(str, arguments)], env=self.environment, **options)
        # An agent that hangs fails its test instead of holding it.
        watchdog = threading.Timer(HANG_SECONDS, agent.kill)
        watchdog.start()

        def end():
            watchdog.cancel()
            if agent.poll() is None:
                agent.kill()
            agent.wait()
            for stream in (agent.stdin, agent.stdout, agent.stderr):
                if stream and not stream.closed:
                    stream.close()

        self.addCleanup(end)
        return agent

    def run_agent(self, *arguments, input=b"", **options):
        """Exit status, stdout and stderr of a run to its end."""
        agent = self.start(*arguments, **options)
        output, errors = agent.communicate(input, timeout=60)
        return agent.returncode, (output or b"").decode(), (errors or b"").decode()

    def converse(self, lines, *arguments):
        """What an agent answers to the lines."""
        status, output, _ = self.run_agent("run", "--database", self.database, *arguments,
                                           input="".join(line + "\n" for line in lines).encode())
        self.assertEqual(status, 0)
        return [json.loads(line) for line in output.splitlines()]

    def read_until(self, agent, condition):
        """The messages up to the first that fulfils the condition."""
        messages = []
        for line in agent.stdout:
            messages.append(json.loads(line))
            if condition(messages[-1]):
                return messages
        self.fail(f"not seen among {messages}")

    def diagnose(self, agent):
        """The rows that the agent shows of itself."""
        agent.send_signal(signal.SIGUSR1)
        rows = []
        for line in agent.stderr:
            rows.append(line.decode().rstrip("\n"))
            if "Connected" in rows[-1]:
                break
        return rows

    def wait_for(self, condition, seconds=20):
        deadline = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)

    def assert_one_line(self, text, *parts):
        self.assertEqual(text.count("\n"), 1, text)
        for part in parts:
            self.assertIn(part, text)


def request(name, identity, **members):
    return json.dumps({"kind": "request", "service": "discovery", "name": name, "id": identity, **members})


class CommandLine(AgentTest):
    def test_version_and_help_go_to_stdout(self):
        for arguments in (["--version"], ["run", "--version"]):
            status, output, errors = self.run_agent(*arguments)
            self.assertEqual((status, errors), (0, ""))
            self.assertRegex(output, r"^discovery-agent \d+\.\d+\.\d+\n$")
        for arguments in (["--help"], ["run", "--help"], ["scan", "--help"]):
            status, output, errors = self.run_agent(*arguments)
            self.assertEqual((status, errors), (0, ""))
            self.assertIn("Usage: discovery-agent run", output)

    def test_what_cannot_be_used_is_status_2_and_one_line(self):
        for arguments in ([], ["walk"], ["run", "--nonsense"], ["run", "extra"], ["run", "--link"], ["run", "--link", "x"],
                          ["run", "--link", "unix:"], ["run", "--link", "mqtt://host"], ["run", "--link", "mqtts://host"],
                          ["run", "--verbosity", "4"], ["run", "--verbosity", "-1"], ["run", "--verbosity", "1x"],
                          ["run", "--verbosity", ""], ["run", "--log", "paper"], ["run", "--command-limit", "4294967296"],
                          ["run", "--output-limit", "many"], ["run", "--message-limit", "-5"], ["run", "--node-limit", "few"], ["run", "--json"],
                          ["scan", "--plan", "x"], ["scan", "--interface", "("], ["scan", "--link", "stdio"],
                          ["run", "--clear-before-update=yes"], ["run", "--database", ""], ["run", "--plan", ""],
                          ["scan", "--interface", ""], ["scan", "--service", ""], ["run", "--\x1b[2J\n"]):
            with self.subTest(arguments=arguments):
                status, output, errors = self.run_agent(*arguments)
                self.assertEqual((status, output), (2, ""))
                self.assert_one_line(errors, "discovery-agent: ", "; try --help")
                self.assertNotRegex(errors, "[\0-\t\v-\x1f\x7f]")

    def test_what_cannot_be_written_is_status_1_and_one_line(self):
        for arguments in (["--help"], ["--version"], ["scan", "--help"], ["run", "-h"]):
            with self.subTest(arguments=arguments), open("/dev/full", "w") as full:
                result = subprocess.run([AGENT, *arguments], stdout=full, stderr=subprocess.PIPE, timeout=20)
                self.assertEqual((result.returncode, result.stderr), (
                    1, b"discovery-agent: cannot write the result: No space left on device\n"))

    def test_what_cannot_be_opened_is_status_1_and_one_line(self):
        text_file = self.write("text", "no database, but longer than the header of one" * 50)
        other = self.folder / "other.db"
        connection = sqlite3.connect(other)
        connection.execute("CREATE TABLE something (id INTEGER)")
        connection.commit()
        connection.close()
        not_json = self.write("plan1", "[{]")
        no_array = self.write("plan2", "{}")
        for arguments in (["--database", self.folder / "missing.db"], ["--database", text_file], ["--database", other],
                          ["--plan", self.folder / "missing.json"], ["--plan", not_json], ["--plan", no_array],
                          ["--plan", self.folder], ["--link", f"unix:{self.folder}/missing/socket"],
                          ["--link", "unix:" + "x" * 200], ["--link", f"unix:{text_file}"]):
            with self.subTest(arguments=arguments):
                if "--database" not in arguments:
                    arguments = [*arguments, "--database", self.database]
                status, output, errors = self.run_agent("run", *arguments)
                self.assertEqual((status, output), (1, ""))
                self.assert_one_line(errors, "discovery-agent: ")
        self.assertTrue(text_file.read_text().startswith("no database"))


class StdioLink(AgentTest):
    def test_the_end_of_input_ends_the_agent(self):
        self.assertEqual(self.run_agent("run", "--database", self.database), (0, "", ""))

    def test_without_a_database_the_kernels_interfaces_are_read(self):
        self.assertEqual(self.run_agent("run")[0], 0)

    def test_every_malformed_line_is_answered_and_the_link_lives(self):
        bad = ["nonsense", "{", "[]", "null", '"x"', "{}", '{"kind":"request"}', '{"kind":"x","name":"addNodes"}',
               '{"kind":"request","service":"discovery","name":5}', "[" * 70 + "]" * 70, '{"a":1}{"b":2}', "\x00",
               '{"kind":"request","service":"discovery","name":"addNodes","id":1,"nodes":[{"ipAddress":"\\udc00"}]}']
        answers = self.converse([request("addNodes", "first", nodes=[{"ipAddress": "10.0.0.1"}]), *bad, "", "  ",
                                 request("syncNodes", "last", nodes=[])])
        self.assertEqual(len(answers), len(bad) + 2)
        self.assertEqual((answers[0]["kind"], answers[0]["id"]), ("ack", "first"))
        for answer, line in zip(answers[1:-1], bad):
            self.assertEqual((answer["kind"], answer["code"], answer["reason"]), ("nak", 1, "Invalid message"), line)
        self.assertEqual((answers[-1]["kind"], answers[-1]["id"]), ("ack", "last"))
        self.assertEqual([node["ipAddress"] for node in answers[-1]["nodes"]], ["10.0.0.1"])

    def test_invalid_utf8_is_a_malformed_line(self):
        status, output, _ = self.run_agent("run", "--database", self.database, input=b'{"kind":"\xff"}\n\xc3\x28\n')
        self.assertEqual(status, 0)
        self.assertEqual([json.loads(line)["reason"] for line in output.splitlines()], ["Invalid message"] * 2)

    def test_messages_above_the_limit_are_refused_in_order(self):
        small = request("addNodes", 1, nodes=[{"ipAddress": "10.0.0.1"}])
        large = request("addNodes", 2, nodes=[{"ipAddress": "10.0.0.2"}], padding="x" * 2000)
        answers = self.converse([small, large, request("syncNodes", 3, nodes=[])], "--message-limit", "1000")
        self.assertEqual([answer["kind"] for answer in answers], ["ack", "nak", "ack"])
        self.assertEqual([node["ipAddress"] for node in answers[2]["nodes"]], ["10.0.0.1"])
        self.assertEqual([answer["kind"] for answer in self.converse([large], "--message-limit", "0")], ["ack"])

    def test_nodes_above_the_limit_are_not_kept(self):
        add = request("addNodes", 1, nodes=[{"ipAddress": f"10.0.0.{i}"} for i in range(5)])
        answers = self.converse([add, request("syncNodes", 2, nodes=[])], "--node-limit", "3")
        self.assertEqual([node["ipAddress"] for node in answers[1]["nodes"]], ["10.0.0.0", "10.0.0.1", "10.0.0.2"])
        answers = self.converse([add, request("syncNodes", 2, nodes=[])], "--node-limit", "0")
        self.assertEqual(len(answers[1]["nodes"]), 5)

    def test_unknown_requests_and_services_are_refused(self):
        answers = self.converse([request("blinkNode", 1, nodes=[]), request("OnboardNodes", 2, nodes=[]),
                                 '{"kind":"request","service":"x","name":"addNodes","id":3}'])
        self.assertEqual([answer["reason"] for answer in answers], ["Unknown request"] * 2 + ["Unknown service"])

    def test_a_last_line_without_its_end_is_a_message(self):
        status, output, _ = self.run_agent("run", "--database", self.database, input=b'{"x":1}')
        self.assertEqual((status, json.loads(output)["reason"]), (0, "Invalid message"))

    def test_standard_descriptors_may_be_anything(self):
        message = self.write("in", request("syncNodes", 1, nodes=[]) + "\n")
        out = self.folder / "out"
        with open(message) as stdin, open(out, "w") as stdout:
            self.assertEqual(self.run_agent("run", "--database", self.database, stdin=stdin, stdout=stdout, input=None)[0], 0)
        self.assertEqual(json.loads(out.read_text())["id"], 1)
        self.assertEqual(self.run_agent("run", "--database", self.database, stdin=subprocess.DEVNULL, input=None)[0], 0)
        for redirections in ("<&-", "<&- >&-", "<&- >&- 2>&-"):
            command = f"exec {AGENT} run --database {self.database} {redirections}"
            self.assertEqual(subprocess.run(["sh", "-c", command], env=self.environment, timeout=60).returncode, 0)

    def test_a_reader_who_is_gone_ends_the_agent(self):
        agent = self.start("run", "--database", self.database)
        agent.stdout.close()
        agent.stdin.write((request("syncNodes", 1, nodes=[]) + "\n").encode())
        agent.stdin.flush()
        self.assertEqual(agent.wait(timeout=60), 0)

    def test_a_signal_ends_the_agent(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            agent = self.start("run", "--database", self.database)
            agent.stdin.write((request("syncNodes", 1, nodes=[]) + "\n").encode())
            agent.stdin.flush()
            self.assertTrue(agent.stdout.readline())
            agent.send_signal(number)
            self.assertEqual(agent.wait(timeout=60), 0)

    def test_a_plan_is_run_and_its_events_go_out(self):
        plan = self.write("plan", json.dumps([{"id": "p", "scanType": "node", "schedule": {"firstRun": "now"}}]))
        agent = self.start("run", "--database", self.database, "--plan", plan, stderr=subprocess.DEVNULL)
        events = self.read_until(agent, lambda m: m["jobStatus"]["status"] == "successful")
        self.assertEqual([event["jobStatus"]["status"] for event in events], ["running", "successful"])
        self.assertEqual([event["sequence"] for event in events], [1, 2])
        nodes = events[-1]["nodes"]
        for node in nodes:
            node.pop("statusChangeDate")
        self.assertEqual(nodes, [
            {"ipAddress": "10.1.0.5", "physicalAddress": "02:00:5E:00:00:05", "interface": "LAN1", "status": "unknown"},
            {"ipAddress": "10.1.0.6", "physicalAddress": "02:00:5E:00:00:06", "interface": "LAN1",
             "model": "Varnel X 1.2", "status": "unknown"}])
        self.assertEqual((self.folder / "calls").read_text().splitlines(), [
            "arp-scan --interface=eth1 --localnet --quiet --timeout=5000 --retry=3", "discovery-client -j -i eth1"])
        if not AGENT.endswith("valgrind_agent"):
            children = pathlib.Path(f"/proc/{agent.pid}/task/{agent.pid}/children")
            self.assertEqual(children.read_text(), "", "no child is left, and no zombie")
        agent.stdin.close()
        self.assertEqual(agent.wait(timeout=60), 0)

    def test_shutdown_cancels_the_job_reports_it_and_leaves_no_child(self):
        self.write("sleep", "12345")
        agent = self.start("run", "--database", self.database, stderr=subprocess.DEVNULL)
        plan = [{"id": "p", "scanType": "node", "schedule": {"firstRun": "now"}}]
        agent.stdin.write((request("updateJobDescriptions", 1, jobDescriptions=plan) + "\n").encode())
        agent.stdin.flush()
        self.read_until(agent, lambda m: m.get("jobStatus", {}).get("status") == "running")
        self.wait_for((self.folder / "calls").exists)
        agent.send_signal(signal.SIGTERM)
        events = self.read_until(agent, lambda m: m["jobStatus"]["status"] == "cancelled")
        self.assertEqual(len(events), 1)
        self.assertEqual(agent.wait(timeout=60), 0)
        self.assertEqual(agent.stdout.read(), b"")
        self.assertNotEqual(subprocess.run(["pgrep", "-f", "sleep 12345"], stdout=subprocess.DEVNULL).returncode, 0)

    def test_a_new_plan_cancels_a_running_job_and_clear_before_update_leaves_nothing_of_it(self):
        self.write("sleep", "23456")
        agent = self.start("run", "--database", self.database, "--clear-before-update", stderr=subprocess.PIPE)
        plan = [{"id": "p", "scanType": "node", "schedule": {"cron": "0 0 0 * * *", "firstRun": "now"}}]
        agent.stdin.write((request("updateJobDescriptions", 1, jobDescriptions=plan) + "\n").encode())
        agent.stdin.flush()
        self.read_until(agent, lambda m: m.get("jobStatus", {}).get("status") == "running")
        agent.stdin.write((request("updateJobDescriptions", 2, jobDescriptions=plan) + "\n").encode())
        agent.stdin.flush()
        messages = self.read_until(agent, lambda m: m.get("id") == 2)
        self.assertEqual([m["jobStatus"]["status"] for m in messages[:-1]], ["cancelled"])
        rows = self.diagnose(agent)
        self.assertIn("  Scheduled Scans: 1", rows)
        self.assertIn("    Cancelled Jobs: 1", rows)
        agent.stdin.close()
        self.assertEqual(agent.wait(timeout=60), 0)

    def test_diagnostics_show_repository_scheduler_and_client(self):
        agent = self.start("run", "--database", self.database)
        agent.stdin.write((request("addNodes", 1, nodes=[{"ipAddress": "10.0.0.1"}]) + "\n").encode())
        agent.stdin.flush()
        agent.stdout.readline()
        rows = self.diagnose(agent)
        for row in ("Local Node Repository", "  Manual Node: 10.0.0.1 (recently added)", "Network Scanning Scheduler",
                    "  Scheduled Scans: 0", "Quelix Discovery Client", "  Connected: yes"):
            self.assertIn(row, rows)

    def test_an_unread_stderr_holds_up_nothing(self):
        agent = self.start("run", "--database", self.database, "--verbosity", "3")
        for number in range(1000):
            nodes = [{"ipAddress": f"10.0.{number // 250}.{number % 250}", "model": "x" * 2000}]
            agent.stdin.write((request("addNodes", number, nodes=nodes) + "\n").encode())
            if number % 100 == 99:
                agent.stdin.flush()
                agent.send_signal(signal.SIGUSR1)
                for _ in range(100):
                    self.assertEqual(json.loads(agent.stdout.readline())["kind"], "ack")
        agent.send_signal(signal.SIGTERM)
        self.assertEqual(agent.wait(timeout=20), 0)
        lines = agent.stderr.read().decode().splitlines()
        self.assertTrue(all(line.startswith(("20", " ", "Local", "Network", "Quelix")) for line in lines[:-1]), lines[-2:])

    def test_a_slow_reader_of_stderr_is_told_how_many_lines_it_lost(self):
        agent = self.start("run", "--database", self.database)
        nodes = [{"ipAddress": f"10.0.{number // 250}.{number % 250}"} for number in range(5000)]
        for _ in range(30):
            agent.stdin.write((request("addNodes", 1, nodes=nodes) + "\n").encode())
            agent.stdin.flush()
            agent.stdout.readline()
            agent.send_signal(signal.SIGUSR1)
        told = next(line for line in agent.stderr if line.endswith(b" lines lost\n"))
        self.assertRegex(told.decode(), r"^\d{4,} lines lost$")

    def test_a_database_in_wal_mode_is_read_where_nothing_may_be_written(self):
        connection = sqlite3.connect(self.database)
        connection.execute("PRAGMA journal_mode = WAL")
        connection.execute("UPDATE ip_interface SET if_state = 3")
        connection.commit()
        self.database.chmod(0o444)
        self.folder.chmod(0o555)
        # Root without the right to write everywhere.
        command = ["setpriv", "--bounding-set=-dac_override", AGENT, "run", "--database", self.database]
        for what in ("with its log", "without it"):
            with self.subTest(what):
                before = sorted(self.folder.iterdir())
                agent = subprocess.run(command, env=self.environment, stdin=subprocess.DEVNULL, capture_output=True, timeout=60)
                self.assertEqual((agent.returncode, agent.stdout, agent.stderr), (0, b"", b""))
                self.assertEqual(sorted(self.folder.iterdir()), before)
            connection.close()
        self.folder.chmod(0o755)

    def test_commands_are_bounded(self):
        self.write("sleep", "34567")
        plan = self.write("plan", json.dumps([{"id": "p", "scanType": "node", "schedule": {"firstRun": "now"}}]))
        agent = self.start("run", "--database", self.database, "--plan", plan, "--command-limit", "1")
        self.read_until(agent, lambda m: m["jobStatus"]["status"] == "successful")
        agent.stdin.close()
        self.assertEqual(agent.wait(timeout=60), 0)
        self.assertIn("Network scan failed: Run time limit of 1 s exceeded", agent.stderr.read().decode())

    def tool(self, name, commands):
        """A tool of the test's own, in front of the others in PATH."""
        path = self.write(name, f"#!/bin/sh\n{commands}\n")
        path.chmod(0o755)

    def start_node_scan(self, *arguments, **options):
        plan = self.write("plan", json.dumps([{"id": "p", "scanType": "node", "schedule": {"firstRun": "now"}}]))
        return self.start("run", "--database", self.database, "--plan", plan, *arguments, **options)

    def test_error_output_costs_no_tool_its_result(self):
        self.tool("arp-scan", f"head -c 100000 /dev/zero >&2; cat {self.folder}/arp-scan.eth1")
        agent = self.start_node_scan("--output-limit", "1000", stderr=subprocess.DEVNULL)
        events = self.read_until(agent, lambda m: m["jobStatus"]["status"] == "successful")
        self.assertEqual([node["ipAddress"] for node in events[-1]["nodes"]], ["10.1.0.5", "10.1.0.6"])

    def test_tools_get_nothing_of_the_environment_but_path_language_and_zone(self):
        self.environment.update(AGENT_SECRET="x", LANG="C.UTF-8", LD_LIBRARY_PATH="/nowhere")
        self.tool("arp-scan", f"tr '\\0' '\\n' </proc/$$/environ >{self.folder}/environment")
        agent = self.start_node_scan(stderr=subprocess.DEVNULL)
        self.read_until(agent, lambda m: m["jobStatus"]["status"] == "successful")
        variables = (self.folder / "environment").read_text().splitlines()
        self.assertEqual(sorted(variables), ["LANG=C.UTF-8", f"PATH={self.environment['PATH']}", "TZ=UTC"])

    def test_a_parent_that_ignored_its_children_makes_no_scan_fail(self):
        ignore = lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN)
        agent = self.start_node_scan(stderr=subprocess.DEVNULL, preexec_fn=ignore)
        events = self.read_until(agent, lambda m: m["jobStatus"]["status"] == "successful")
        self.assertEqual(len(events[-1]["nodes"]), 2)

    def test_a_tool_dies_with_an_agent_that_is_killed(self):
        alive = self.folder / "alive"
        os.mkfifo(alive)
        self.tool("arp-scan", f"exec sleep 56789 >{alive}")
        agent = self.start_node_scan(stderr=subprocess.DEVNULL)
        with open(alive) as end:
            agent.kill()
            self.assertEqual(end.read(), "")

    def test_a_plan_in_a_pipe_is_refused_at_once(self):
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        status, _, errors = self.run_agent("run", "--database", self.database, "--plan", pipe)
        self.assertEqual(status, 1)
        self.assert_one_line(errors, "Not a regular file")

    def ask_to_blink(self, agent, count):
        nodes = [{"ipAddress": f"10.1.0.{number}"} for number in range(count)]
        agent.stdin.write((request("blinkNodes", 1, nodes=nodes) + "\n").encode())
        agent.stdin.flush()
        return [{**node, "status": "successful"} for node in nodes]

    def test_the_limit_of_commands_bounds_node_actions(self):
        self.write("action-sleep", "67890")
        agent = self.start("run", "--database", self.database, "--command-limit", "1")
        start = time.monotonic()
        nodes = self.ask_to_blink(agent, 2)
        self.assertEqual(json.loads(agent.stdout.readline())["nodes"], nodes)
        self.assertLess(time.monotonic() - start, 20)

    def test_a_stop_signal_ends_node_actions_and_their_request_is_answered_once(self):
        self.write("action-sleep", "78901")
        for number in (signal.SIGTERM, signal.SIGINT):
            agent = self.start("run", "--database", self.database)
            nodes = self.ask_to_blink(agent, 50)
            self.wait_for((self.folder / "actions").exists)
            agent.send_signal(number)
            self.assertEqual(agent.wait(timeout=10), 0)
            answers = [json.loads(line) for line in agent.stdout]
            self.assertEqual([(answer["kind"], answer["nodes"]) for answer in answers], [("ack", nodes)])
            self.assertEqual((self.folder / "actions").read_text(), "[-d][10.1.0.0][-b]\n")
            (self.folder / "actions").unlink()
            self.assertNotEqual(subprocess.run(["pgrep", "-f", "sleep 78901"], stdout=subprocess.DEVNULL).returncode, 0)

    def test_log_lines_cannot_be_forged_by_what_is_logged(self):
        agent_input = request("updateJobDescriptions", 1, jobDescriptions=[
            {"id": "a\n2026-01-01 discovery refusal [x] forged\x1b[2J", "scanType": "node", "schedule": "* * * * *"}])
        _, _, errors = self.run_agent("run", "--database", self.database, "--verbosity", "2", input=agent_input.encode() + b"\n")
        self.assertNotIn("\x1b", errors)
        self.assertFalse([line for line in errors.splitlines() if line.startswith("2026-01-01 discovery refusal")])


class Jobs(AgentTest):
    """Service scans, status scans and sequences; /usr/bin/servicescan is the one of tests/fakebin/usr-bin."""

    def setUp(self):
        super().setUp()
        for left_behind in pathlib.Path("/tmp").glob("servicescan-input-*"):
            left_behind.unlink()
        self.agent = self.start("run", "--database", self.database, stderr=subprocess.DEVNULL)

    def ask(self, name, **members):
        """The answer, and the messages that came before it."""
        self.agent.stdin.write((request(name, name, **members) + "\n").encode())
        self.agent.stdin.flush()
        messages = self.read_until(self.agent, lambda m: m.get("id") == name)
        return messages[-1], messages[:-1]

    def plan(self, **description):
        self.ask("updateJobDescriptions", jobDescriptions=[{"schedule": {"firstRun": "now"}, **description}])

    def events_of(self, job):
        """The events up to the success of a job."""
        return self.read_until(self.agent, lambda m: m["jobStatus"]["id"] == job and m["jobStatus"]["status"] == "successful")

    def calls(self):
        return (self.folder / "calls").read_text().splitlines()

    def sync_one_node_up(self):
        self.ask("syncNodes", nodes=[{"ipAddress": "10.1.0.5", "status": "up", "statusChangeDate": "2026-01-01T00:00:00Z",
                                      "services": {"http": {"port": 8080}, "snmp": {"port": 161}}}])

    def test_a_sequence_finds_nodes_their_services_and_their_status(self):
        self.write("answers", "10.1.0.5 http:80\n10.1.0.5 snmp:161\n10.1.0.6 http:8080\n10.1.0.6 http:80\n")
        self.write("answers.2", "10.1.0.5 snmp:161\n")
        self.plan(id="all", scanType="sequence", jobs=[
            {"scanType": "node"}, {"scanType": "unknown"}, {"scanType": "service", "services": {
                "http": {"ports": [8080, 80]}, "snmp": {"ports": [161]}, "ftp": {"ports": [21]}}},
            {"scanType": "status", "servicePriorities": ["snmp", "http"]}])
        events = self.events_of("all")
        self.assertEqual([event["jobStatus"]["status"] for event in events], ["running", "successful"])
        self.assertEqual([(node["ipAddress"], node["status"], node["services"]) for node in events[-1]["nodes"]], [
            ("10.1.0.5", "up", {"snmp": {"port": 161}, "http": {"port": 80}}),
            ("10.1.0.6", "up", {"http": {"port": 8080}})])
        self.assertEqual([node["ipAddress"] for node in self.ask("syncNodes", nodes=[])[0]["nodes"]], ["10.1.0.5", "10.1.0.6"])
        self.assertEqual(self.calls()[2:], ["servicescan -j -t /tmp/servicescan-input-all.0.1"] +
                         ["servicescan -j -t /tmp/servicescan-input-all.0.2"] * 2)
        inputs = [(self.folder / f"input.{number}").read_text() for number in (1, 2, 3)]
        self.assertEqual(inputs, ["10.1.0.5 http:8080 http:80 snmp:161\n10.1.0.6 http:8080 http:80 snmp:161\n",
                                  "10.1.0.5 snmp:161\n10.1.0.6 http:8080\n", "10.1.0.6 http:8080\n"])

    def test_a_node_that_fails_two_scans_is_reported_down_once(self):
        self.sync_one_node_up()
        self.write("answers", "")
        self.plan(id="st", scanType="status", servicePriorities=["ping", "http", "snmp"])
        events = self.events_of("st")
        self.assertEqual([(e["jobStatus"]["status"], e["nodes"][0]["status"]) for e in events], [("successful", "down")])
        self.assertEqual(self.calls(), ["servicescan -j -t /tmp/servicescan-input-st.0"] * 2)
        self.assertEqual((self.folder / "input.2").read_text(), "10.1.0.5 http:8080\n")
        self.assertNotIn("services", events[0]["nodes"][0])

    def test_a_node_that_answers_the_second_scan_is_not_reported_down(self):
        self.sync_one_node_up()
        self.write("answers.1", "")
        self.write("answers.2", "10.1.0.5 http:8080\n")
        self.plan(id="st", scanType="status", servicePriorities=["http"])
        self.assertEqual([[node["status"] for node in event["nodes"]] for event in self.events_of("st")], [["up"]])

    def test_what_was_planted_in_place_of_an_input_file_is_left_alone(self):
        self.ask("addNodes", nodes=[{"ipAddress": "10.1.0.5"}])
        victim = self.write("victim", "precious")
        os.symlink(victim, "/tmp/servicescan-input-all.0.0")
        os.mkfifo("/tmp/servicescan-input-all.0.1")
        self.write("answers", "10.1.0.5 http:80\n")
        service = {"scanType": "service", "services": {"http": {"ports": [80]}}}
        self.plan(id="all", scanType="sequence", jobs=[{**service, "repeat": 3}])
        self.assertEqual(self.events_of("all")[-1]["nodes"][0]["services"], {"http": {"port": 80}})
        self.assertEqual(self.calls(), ["servicescan -j -t /tmp/servicescan-input-all.0.2"])
        self.assertEqual(victim.read_text(), "precious")

    def test_nodes_blink_and_are_onboarded(self):
        self.write("action", "3")  # a command that fails is not reported
        answer, _ = self.ask("blinkNodes", nodes=[{"ipAddress": "10.1.0.5", "label": [1]}, {"ipAddress": "a b"}])
        self.assertEqual((answer["kind"], answer["nodes"]), ("ack", [
            {"ipAddress": "10.1.0.5", "label": [1], "status": "successful"}, {"ipAddress": "a b", "status": "successful"}]))
        nodes = [{"ipAddress": "10.1.0.5", "organizationKey": "K", "server": "nms.example"},
                 {"ipAddress": "10.1.0.6", "organizationKey": "$(reboot); x", "server": 5}]
        answer, _ = self.ask("onboardNodes", nodes=nodes)
        self.assertEqual((answer["kind"], answer["nodes"]), ("ack", [{**node, "status": "successful"} for node in nodes]))
        self.assertEqual((self.folder / "actions").read_text().splitlines(), [
            "[-d][10.1.0.5][-b]", "[-d][a b][-b]", "[-d][10.1.0.5][-o][K:nms.example]", "[-d][10.1.0.6][-o][$(reboot); x]"])

    def test_bad_node_actions_are_refused_and_nothing_is_run(self):
        good = {"ipAddress": "10.1.0.5", "organizationKey": "K"}
        for name, nodes, reason in (("blinkNodes", None, "Expecting nodes array"),
                                    ("onboardNodes", {}, "Expecting nodes array"),
                                    ("blinkNodes", [good, {"ipAddress": 5}], "Expecing node IP address"),
                                    ("onboardNodes", [good, 7], "Expecing node IP address"),
                                    ("onboardNodes", [good, {"ipAddress": "a"}], "Expecting node organization key")):
            answer, _ = self.ask(name, nodes=nodes)
            self.assertEqual((answer["kind"], answer["code"], answer["reason"]), ("nak", 1, reason))
        self.assertEqual(self.ask("blinkNodes", nodes=[])[0]["nodes"], [])
        self.assertFalse((self.folder / "actions").exists())


class UnixLink(AgentTest):
    def setUp(self):
        super().setUp()
        self.path = self.folder / "socket"

    def listen(self, *arguments):
        agent = self.start("run", "--link", f"unix:{self.path}", "--database", self.database, *arguments)
        self.wait_for(self.path.exists)
        return agent

    def connect(self):
        peer = socket.socket(socket.AF_UNIX)
        self.addCleanup(peer.close)
        peer.settimeout(30)
        peer.connect(str(self.path))
        return peer

    def ask(self, peer, line):
        peer.sendall((line + "\n").encode())
        answer = b""
        while not answer.endswith(b"\n"):
            piece = peer.recv(65536)
            if not piece:
                break
            answer += piece
        return json.loads(answer)

    def test_one_peer_at_a_time_each_with_an_instance_of_its_own(self):
        self.listen()
        self.assertEqual(stat.S_IMODE(self.path.stat().st_mode), 0o600)
        first = self.connect()
        self.assertEqual(self.ask(first, request("addNodes", 1, nodes=[{"ipAddress": "10.0.0.1"}]))["kind"], "ack")
        second = self.connect()
        self.assertEqual(second.recv(1), b"")
        first.close()
        third = self.connect()
        self.assertEqual(len(self.ask(third, request("syncNodes", 2, nodes=[]))["nodes"]), 1)

    def test_the_socket_file_goes_with_the_agent(self):
        agent = self.listen()
        peer = self.connect()
        self.ask(peer, request("syncNodes", 1, nodes=[]))
        agent.terminate()
        self.assertEqual(agent.wait(timeout=60), 0)
        self.assertEqual(peer.recv(1), b"")
        self.assertFalse(self.path.exists())

    def test_a_socket_file_that_nobody_listens_on_is_replaced(self):
        abandoned = socket.socket(socket.AF_UNIX)
        abandoned.bind(str(self.path))
        abandoned.close()
        self.listen()
        self.wait_for(lambda: stat.S_IMODE(self.path.stat().st_mode) == 0o600)
        self.assertEqual(self.ask(self.connect(), request("syncNodes", 1, nodes=[]))["kind"], "ack")

    def test_a_socket_that_somebody_listens_on_is_left_alone(self):
        self.listen()
        status, _, errors = self.run_agent("run", "--link", f"unix:{self.path}", "--database", self.database)
        self.assertEqual(status, 1)
        self.assert_one_line(errors, "discovery-agent: cannot open the server link: ")
        self.assertEqual(self.ask(self.connect(), request("syncNodes", 1, nodes=[]))["kind"], "ack")

    def test_the_end_of_stdin_means_nothing(self):
        agent = self.listen()
        agent.stdin.close()
        self.assertEqual(self.ask(self.connect(), request("syncNodes", 1, nodes=[]))["kind"], "ack")
        self.assertIsNone(agent.poll())


class Scan(AgentTest):
    def test_the_nodes_are_printed_as_a_table(self):
        status, output, errors = self.run_agent("scan", "--thorough", "--database", self.database)
        self.assertEqual(status, 0, errors)
        self.assertRegex(output, "^ADDRESS   MAC                INTERFACE  MODEL         SERVICES\n"
                                 r"10.1.0.5  02:00:5E:00:00:05  LAN1                     \(.*\)\n"
                                 r"10.1.0.6  02:00:5E:00:00:06  LAN1       Varnel X 1.2  \(.*\)\n"
                                 r"2 nodes with 0 services on 1 network in \d+\.\d s\n"
                                 "looked for sip:5060 http:80 https:443 snmp:161 ping\n$")

    def test_the_nodes_are_printed_as_json(self):
        status, output, _ = self.run_agent("scan", "--thorough", "--json", "--database", self.database)
        self.assertEqual(status, 0)
        self.assertEqual([node["ipAddress"] for node in json.loads(output)], ["10.1.0.5", "10.1.0.6"])

    def test_interfaces_are_chosen_by_name_private_or_not(self):
        self.write("arp-scan.eth2", "203.0.113.9\t02:00:5e:00:00:09\n")
        status, output, _ = self.run_agent("scan", "--thorough", "--json", "--database", self.database, "--interface", "^WAN", "--interface", "x")
        self.assertEqual(status, 0)
        self.assertEqual([(node["ipAddress"], node["interface"]) for node in json.loads(output)], [("203.0.113.9", "WAN")])

    def test_no_interface_is_status_1_and_a_reason(self):
        status, output, errors = self.run_agent("scan", "--thorough", "--database", self.database, "--interface", "^nothing$")
        self.assertEqual((status, output), (1, ""))
        self.assertEqual(errors, "discovery-agent: no interface was selected\n  LAN1: no match\n  WAN: no match\n")

    def test_no_successful_scan_is_status_1_and_a_reason(self):
        (self.folder / "arp-scan.eth1").unlink()
        (self.folder / "discovery-client.eth1").unlink()
        status, output, errors = self.run_agent("scan", "--thorough", "--database", self.database)
        self.assertEqual((status, output), (1, ""))
        self.assertIn("no scan succeeded: ARP scan on LAN1: Exit status 1; Discovery scan on LAN1: Exit status 1 (no answer on eth1)", errors)

    def test_what_a_device_says_of_itself_cannot_command_the_terminal(self):
        self.write("discovery-client.eth1", json.dumps({"nodes": [
            {"physicalAddress": "A", "ipAddress": "10.1.0.7", "model": "\x1b[2Jx\ny"}]}))
        _, output, _ = self.run_agent("scan", "--thorough", "--database", self.database)
        self.assertIn("Varnel \\x1b[2Jx\\ny", output)
        self.assertNotIn("\x1b", output)

    def test_interrupted_it_leaves_no_child(self):
        self.write("sleep", "45678")
        agent = self.start("scan", "--thorough", "--database", self.database)
        self.wait_for((self.folder / "calls").exists)
        agent.send_signal(signal.SIGINT)
        self.assertEqual(agent.wait(timeout=60), 130)
        self.assertNotEqual(subprocess.run(["pgrep", "-f", "sleep 45678"], stdout=subprocess.DEVNULL).returncode, 0)

    def test_progress_is_shown_on_a_terminal(self):
        self.write("sleep", "1.5")
        command = f"{AGENT} scan --thorough --json --database {self.database} >{self.folder}/out"
        shown = subprocess.run(["script", "-qec", command, "/dev/null"], env=self.environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, timeout=60).stdout.decode()
        self.assertIn("Scan 1 of 4: ARP on LAN1, 0 s", shown)
        self.assertEqual(len(json.loads((self.folder / "out").read_text())), 2)


if __name__ == "__main__":
    unittest.main(verbosity=2)
