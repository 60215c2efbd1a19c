# SPDX-License-Identifier: Apache-2.0
"""A LAN of devices that run discovery-responder or answer as a test wants, for scripts in tests/system/sandbox.

The script's own network namespace is the management device: its interface lan0, 10.9.0.1/16, is a bridge to which each
device, a namespace of its own, is connected.
"""
import json
import pathlib
import queue
import re
import subprocess
import sys
import threading

GROUP = "224.0.1.187"
PORT = 5683
HANG_SECONDS = 60


def command(*words):
    subprocess.run([str(word) for word in words], check=True)


def build_lan():
    """Once, before any device: lan0, and a place for the names of namespaces that ends with this one."""
    command("mount", "-t", "tmpfs", "devices", "/run")
    pathlib.Path("/run/netns").mkdir()
    # A bridge that learns who listens to which group would want somebody to ask for that.
    command("ip", "link", "add", "lan0", "type", "bridge", "mcast_snooping", "0")
    command("ip", "address", "add", "10.9.0.1/16", "dev", "lan0")
    command("ip", "link", "set", "lan0", "up")
    command("sysctl", "-qw", "net.ipv6.conf.all.disable_ipv6=1", "net.ipv6.conf.default.disable_ipv6=1")


class Device:
    """The n-th: 10.9.A.B and 02:00:5E:00:AA:BB, where A and B are the bytes of n + 1."""

    def __init__(self, number):
        high, low = divmod(number + 1, 256)
        self.name = f"device{number}"
        self.address = f"10.9.{high}.{low}"
        self.mac = f"02:00:5E:00:{high:02X}:{low:02X}"
        self.processes = []
        command("ip", "netns", "add", self.name)
        command("ip", "-n", self.name, "link", "set", "lo", "up")
        self.connect()

    def connect(self):
        command("ip", "link", "add", f"port{self.name[6:]}", "master", "lan0", "type", "veth",
                "peer", "name", "eth0", "address", self.mac, "netns", self.name)
        command("ip", "link", "set", f"port{self.name[6:]}", "up")
        command("ip", "-n", self.name, "link", "set", "eth0", "up")
        command("ip", "-n", self.name, "address", "add", f"{self.address}/16", "dev", "eth0")

    def disconnect(self):
        command("ip", "link", "del", f"port{self.name[6:]}")

    def start(self, *words):
        process = Process("ip", "netns", "exec", self.name, *words)
        self.processes.append(process)
        return process

    def respond(self, responder, folder, *options, model="X 1", interface="eth0"):
        """Starts discovery-responder, and returns it when it answers."""
        process = self.start(responder, "--interface", interface, "--model", model, "--user", "nobody",
                             "--state-directory", folder / self.name, *options)
        process.wait_for("answering on")
        return process

    def act(self, script, *arguments):
        """Starts a Python script, which finds a socket of the group as `s` and prints when it is ready."""
        start = (f"import json, os, socket, struct, sys, time\ns = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)\n"
                 f"s.bind(('', {PORT}))\ns.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton('{GROUP}')"
                 f" + socket.inet_aton('{self.address}'))\nprint('ready', flush=True)\n{ANSWERS}")
        process = self.start(sys.executable, "-c", start + script, *arguments)
        process.wait_for("ready")
        return process

    def remove(self):
        for process in self.processes:
            process.end()
        # Before its namespace, which may live on for a while.
        self.disconnect()
        command("ip", "netns", "del", self.name)


# What the scripts of acting devices have in common: the token of a question, and an answer to it.
ANSWERS = """
def question():
    while True:
        data, sender = s.recvfrom(2000)
        if data[:1] == b'X' and data[1:2] == b'\\x01':
            return data[4:12], sender

def answer(token, payload, code=0x45, options=b'\\xc1\\x32', kind=1):
    return bytes([0x40 | kind << 4 | len(token), code]) + os.urandom(2) + token + options + b'\\xff' + payload

GOOD = json.dumps({'model': 'Good', 'build': '1', 'supportsOnboarding': False}).encode()
"""


class Process:
    """A running program, whose output is collected line by line."""

    def __init__(self, *words):
        self.process = subprocess.Popen([str(word) for word in words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True, errors="replace")
        self.pid = self.process.pid
        self.lines = []
        self._arrived = queue.Queue()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.append(line.rstrip("\n"))
            self._arrived.put(line)

    def wait_for(self, text):
        while text not in self._arrived.get(timeout=HANG_SECONDS):
            pass

    def status(self, field):
        """A line of /proc/PID/status as words."""
        text = pathlib.Path(f"/proc/{self.pid}/status").read_text()
        return re.search(rf"^{field}:\s*(.*)$", text, re.M)[1].split()

    def end(self):
        """Its exit status, after it was asked to end."""
        self.process.terminate()
        status = self.process.wait(timeout=HANG_SECONDS)
        self._reader.join()
        self.process.stdout.close()
        return status


def link(interface="lan0"):
    """What the kernel tells of an interface, its counts of packets among it."""
    shown = subprocess.run(["ip", "-json", "-statistics", "link", "show", interface], stdout=subprocess.PIPE, check=True)
    return json.loads(shown.stdout)[0]


def neighbour_overflows():
    """How often the kernel has had no room for one more neighbour, so that packets were lost. All namespaces share its table,
    and the machine's first process sees the counts."""
    counts = pathlib.Path("/proc/1/net/stat/arp_cache")
    rows = [line.split() for line in counts.read_text().splitlines()[1:]] if counts.exists() else []
    return sum(int(row[12], 16) for row in rows)
