# SPDX-License-Identifier: Apache-2.0
"""What the tests in the lab share: its table of hosts, what a server should hear of them, and an agent to talk to."""
import difflib
import json
import os
import pathlib
import queue
import subprocess
import sys
import threading
import time
from datetime import datetime, timezone

HANG_SECONDS = 120


class Host:
    """A line of the table of hosts; the n-th line is the network namespace $LAB-hostn."""

    def __init__(self, number, line):
        self.namespace = f"{os.environ['LAB']}-host{number}"
        (self.interface, self.address, self.mac, state, services, self.model, self.object_id, onboarding, own_model, build,
         self.found_model) = line.rstrip("\n").split("\t")
        self.is_live = state == "live"
        self.supports_onboarding = onboarding == "yes"
        self.responds = own_model != "-"
        self.description = {"model": own_model, "build": build.strip("-"), "supportsOnboarding": self.supports_onboarding}
        self.device = pathlib.Path(f"/run/devices/{number}")
        pairs = [service.partition(":") for service in services.split() if service != "-"]
        self.services = {name: {"port": int(port or 0)} for name, _, port in pairs}

    def found(self, status="unknown"):
        """The host as it goes over the link when its services are not known, without the time of its last change."""
        node = {"ipAddress": self.address, "physicalAddress": self.mac.upper(), "interface": self.interface, "status": status}
        if self.found_model != "-":
            node["model"] = self.found_model
        if self.supports_onboarding:
            node["supportsOnboarding"] = True
        return node

    def tested(self, status="unknown"):
        """The host when its services are known, without the list of them."""
        named = {"model": self.model, "systemObjectID": self.object_id}
        return {**self.found(status), **{key: value for key, value in named.items() if value != "-"}}

    def asked(self):
        """What the device was asked to do, as its programs noted it: how often to blink, and the lines that it was handed."""
        blinks, keys = (path.read_text().splitlines() if path.exists() else []
                        for path in (self.device / "blinks", self.device / "keys"))
        return len(blinks), keys

    def take_down(self):
        subprocess.run(["ip", "-netns", self.namespace, "link", "set", "eth0", "down"], check=True)

    def bring_up(self):
        subprocess.run(["ip", "-netns", self.namespace, "link", "set", "eth0", "up"], check=True)

    def be_deaf(self):
        self._nft("table ip deaf { chain input { type filter hook input priority -1; policy drop; }; }")

    def hear_again(self):
        self._nft("delete table ip deaf")

    def _nft(self, rules):
        subprocess.run(["ip", "netns", "exec", self.namespace, "nft", rules], check=True)


def hosts():
    with open(os.environ["LAB_HOSTS"]) as table:
        return {host.address: host for host in (Host(number, line) for number, line in enumerate(table, 1))}


def live_hosts():
    return [host for host in hosts().values() if host.is_live]


def responding_hosts():
    return [host for host in live_hosts() if host.responds]


def check(description, wanted, got, log=()):
    if wanted != got:
        sides = [json.dumps(value, indent=1, sort_keys=True, default=str).splitlines() for value in (wanted, got)]
        differences = difflib.unified_diff(*sides, "expected", "found", n=5, lineterm="")
        sys.exit("\n".join([f"FAILED: {description}", *differences, *log[-60:]]))
    print(f"ok: {description}", flush=True)


def by_address(nodes):
    return sorted(nodes, key=lambda node: node["ipAddress"])


def wait_for(condition):
    deadline = time.monotonic() + HANG_SECONDS
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.02)


class Agent:
    """A running agent: what it says comes as pairs ("message", object) and ("log", text), in order of arrival."""

    def __init__(self, program, *arguments, **environment):
        self.process = subprocess.Popen([program, "run", "--verbosity", "1", *arguments], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, env={**os.environ, **environment})
        self.started = datetime.now(timezone.utc)
        self.messages = []
        self.log = []
        self._arrived = queue.Queue()
        self._readers = [threading.Thread(target=self._read, args=reader, daemon=True)
                         for reader in (("message", self.process.stdout), ("log", self.process.stderr))]
        for reader in self._readers:
            reader.start()

    def children(self):
        pids = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children")
        return [int(pid) for pid in pids.read_text().split()]

    def _read(self, kind, stream):
        for line in stream:
            self._arrived.put((kind, json.loads(line) if kind == "message" else line.decode().rstrip("\n")))

    def request(self, name, **members):
        """The answer to a request."""
        self.process.stdin.write((json.dumps(
            {"kind": "request", "service": "discovery", "name": name, "id": name, **members}) + "\n").encode())
        self.process.stdin.flush()
        return self.until("message", lambda message: message.get("id") == name)

    def until(self, kind, condition, seconds=HANG_SECONDS):
        """The first that arrives from now on and fulfils the condition."""
        deadline = time.monotonic() + seconds
        while True:
            try:
                arrived, value = self._arrived.get(timeout=max(0, deadline - time.monotonic()))
            except queue.Empty:
                log = "\n".join(self.log)
                sys.exit(f"FAILED: nothing arrived that was waited for\nmessages {self.messages}\nlog\n{log}")
            (self.messages if arrived == "message" else self.log).append(value)
            if arrived == kind and condition(value):
                return value

    def until_logged(self, text):
        return self.until("log", lambda line: line.endswith(text))

    def until_status(self, status):
        return self.until("message", lambda message: message.get("jobStatus", {}).get("status") == status)

    def end(self):
        """Ends the agent by the end of its input; then all that it ever said has arrived."""
        self.process.stdin.close()
        check("the agent ends with its input", 0, self.process.wait(timeout=30))
        for reader in self._readers:
            reader.join()
        while not self._arrived.empty():
            kind, value = self._arrived.get()
            (self.messages if kind == "message" else self.log).append(value)

    def events(self):
        """The events, each once as its members that the job and its nodes decide; the others are checked here."""
        events = [message for message in self.messages if message["kind"] == "event"]
        for sequence, event in enumerate(events, 1):
            head = {"kind": "event", "service": "discovery", "name": "jobStatus", "version": 1, "sequence": sequence}
            assert {key: event[key] for key in head} == head, event
            for node in event.get("nodes", []):
                changed = datetime.fromisoformat(node.pop("statusChangeDate").replace("Z", "+00:00"))
                assert abs((changed - self.started).total_seconds()) < 600, changed
        return [{key: by_address(value) if key == "nodes" else value for key, value in event.items() if key not in head}
                for event in events]
