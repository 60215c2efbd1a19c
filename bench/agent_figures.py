#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Figures of the whole agent: bench/agent_figures.py BUILD_FOLDER

Prints the time from the end of arp-scan to its event on the link, the idle agent's memory and wake-ups in a minute, and the
stripped sizes of the libraries and the agent. The arp-scan is a stand-in that ends at once, so that no packet is sent; run it
with tests/system/sandbox.
"""
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time

build = pathlib.Path(sys.argv[1])
agent = build / "agent/discovery-agent"
RUNS = 5


def start(*arguments, **environment):
    return subprocess.Popen([agent, "run", *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL, env=dict(os.environ, **environment))


def end(process):
    process.stdin.close()
    process.wait()


def time_to_event(folder):
    """Seconds from the end of arp-scan to the event: a plan that runs at once, on the loopback-like interface kx0."""
    stamp = folder / "end"
    fake = folder / "arp-scan"
    fake.write_text("#!/bin/sh\nprintf '10.1.0.5\\t02:00:5e:00:00:05\\n'\nexec date +%s.%N >" + str(stamp) + "\n")
    fake.chmod(0o755)
    plan = folder / "plan.json"
    plan.write_text(json.dumps([{"id": "p", "scanType": "node", "schedule": {"firstRun": "now"}}]))
    process = start("--plan", str(plan), PATH=f"{folder}:/usr/bin:/bin")
    for line in process.stdout:
        if json.loads(line)["jobStatus"]["status"] != "running":
            break
    seconds = time.time() - float(stamp.read_text())
    end(process)
    return seconds


def status_field(process, name):
    return int(re.search(rf"^{name}:\s+(\d+)", pathlib.Path(f"/proc/{process.pid}/status").read_text(), re.M)[1])


def idle():
    process = start()
    time.sleep(2)
    before = status_field(process, "voluntary_ctxt_switches")
    time.sleep(60)
    figures = (status_field(process, "VmRSS"), status_field(process, "RssAnon"),
               status_field(process, "voluntary_ctxt_switches") - before)
    end(process)
    return figures


def stripped_size(path):
    with tempfile.NamedTemporaryFile() as copy:
        subprocess.run(["strip", "-o", copy.name, path], check=True)
        return os.stat(copy.name).st_size


subprocess.run("ip link add kx0 type veth peer name kx1 && ip address add 10.1.0.1/16 dev kx0 && ip link set kx0 up"
               " && ip link set kx1 up", shell=True, check=True)
with tempfile.TemporaryDirectory() as name:
    times = [time_to_event(pathlib.Path(name)) * 1000 for _ in range(RUNS)]
    print(f"end of arp-scan to event written: {statistics.median(times):.2f} ms (median of {RUNS})")
resident, anonymous, wakeups = idle()
print(f"idle agent: {resident} KiB resident, {anonymous} KiB of it anonymous, {wakeups} wake-ups in 60 s")
for path in ("platform/libkxplatform.so", "discovery/libkxdiscovery.so", "agent/discovery-agent"):
    print(f"{path}: {stripped_size(build / path) / 1000:.0f} kB stripped")
