#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""Figures of discovery-client: tests/system/sandbox bench/discovery_client_figures.py BUILD_FOLDER [DEVICES…]

Prints for each number of devices on a LAN (1, 50 and 200 when none are given): how many a run finds, how long it takes, how
long after the run's begin its last answer comes, the packets on its interface with and without ARP, and the peak memory of
the tool and of a responder. Each is the worst of three runs with an empty neighbour table.
"""
import json
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import threading
import time

build = pathlib.Path(sys.argv[1])
sys.path.append(str(pathlib.Path(__file__).parent.parent / "tests/system"))
from devices import PORT, Device, build_lan, command, neighbour_overflows  # noqa: E402

ALL_PROTOCOLS, IPV4, ARP = 3, b"\x08\x00", b"\x08\x06"
RUNS = 3


class Capture:
    """The frames on lan0 while it lasts."""

    def __enter__(self):
        self.frames = []
        self.socket = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ALL_PROTOCOLS))
        self.socket.setsockopt(socket.SOL_SOCKET, 33, 64 << 20)  # SO_RCVBUFFORCE
        self.socket.bind(("lan0", 0))
        self.socket.settimeout(0.1)
        self.isOn = True
        self.thread = threading.Thread(target=self._read)
        self.thread.start()
        return self

    def _read(self):
        while self.isOn:
            try:
                frame = self.socket.recv(2000)
                self.frames.append((time.monotonic(), frame))
            except TimeoutError:
                pass

    def __exit__(self, *_):
        self.isOn = False
        self.thread.join()
        self.socket.close()

    def coap(self):
        port = PORT.to_bytes(2, "big")
        return [(when, frame) for when, frame in self.frames if frame[12:14] == IPV4 and frame[23] == socket.IPPROTO_UDP
                and port in (frame[34:36], frame[36:38])]

    def arp(self):
        return [frame for _, frame in self.frames if frame[12:14] == ARP]


PEAKS = []


def watch_memory(pid):
    """Its peak as last seen: what wait4 tells holds that of the process that it was forked from."""
    peak = 0
    while found := re.search(r"^VmHWM:\s*(\d+)", pathlib.Path(f"/proc/{pid}/status").read_text(), re.M):
        peak = int(found[1])
        time.sleep(0.01)
    PEAKS.append(peak)


def run():
    command("ip", "neighbour", "flush", "dev", "lan0")
    with Capture() as capture:
        began = time.monotonic()
        client = subprocess.Popen([build / "tools/bin/discovery-client", "-j", "-i", "lan0"], stdout=subprocess.PIPE)
        memory = threading.Thread(target=watch_memory, args=(client.pid,))
        memory.start()
        nodes = json.loads(client.stdout.read())["nodes"]
        seconds = time.monotonic() - began
        memory.join()
        assert client.wait() == 0
    answers = [when for when, frame in capture.coap() if frame[42] & 0x30 == 0x10 and frame[43] == 0x45]
    return (len(nodes), seconds, max(answers, default=began) - began, len(capture.coap()), len(capture.arp()),
            PEAKS.pop())


def measure(count, folder):
    devices = [Device(number) for number in range(1, count + 1)]
    responders = [device.start(build / "tools/bin/discovery-responder", "--interface", "eth0", "--model", "X 1",
                               "--build", "7.1", "--user", "nobody", "--state-directory", folder / device.name)
                  for device in devices]
    for responder in responders:
        responder.wait_for("answering on")
    figures = list(zip(*(run() for _ in range(RUNS))))
    found, worst = min(figures[0]), [max(column) for column in figures[1:]]
    memory = [max(int(responder.status(name)[0]) for responder in responders) for name in ("VmHWM", "RssAnon")]
    for device in devices:
        device.remove()
    seconds, last, coap, arp, peak = worst
    print(f"{count:7} {found:6} {seconds:8.2f} {last:12.2f} {coap:6} {arp:5} {peak:15} {memory[0]:14} {memory[1]:16}", flush=True)


build_lan()
before = neighbour_overflows()
print("devices  found  seconds  last answer   CoAP   ARP  tool's peak KiB  responder peak  its own RSS KiB")
with tempfile.TemporaryDirectory() as temporary:
    pathlib.Path(temporary).chmod(0o755)
    for number in [int(word) for word in sys.argv[2:]] or [1, 50, 200]:
        measure(number, pathlib.Path(temporary))
if neighbour_overflows() != before:
    print("Not to be trusted: the kernel's neighbour table, which all namespaces share, was full for a while")
