#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""What the agent adds to its tools: bench/sequence_figures.py BUILD_FOLDER [PAIRS]

In the lab, measures a sequence of a node scan, a service scan and a status scan from its event "running" to its event
"successful", and then the commands that it ran, with the same arguments and files, one after another from here.
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

HERE = pathlib.Path(__file__).resolve().parent
LAB = HERE.parent / "lab"
PLAN = [{"id": "find", "scanType": "sequence", "schedule": {"firstRun": "now"}, "jobs": [
    {"scanType": "node"},
    {"scanType": "service", "services": {"sip": {"ports": [5060]}, "http": {"ports": [80, 8080]}, "https": {"ports": [443]},
                                         "snmp": {"ports": [161]}, "ping": {"ports": [0]}}},
    {"scanType": "status", "servicePriorities": ["ping", "snmp", "http", "https", "sip"]}]}]
# As the agent shows a command before it starts it.
COMMAND = re.compile(r"\] +((?:arp-scan|discovery-client|/usr/bin/servicescan) .*)$")


def run_agent(agent, folder):
    """Seconds that the sequence took, how many nodes it found, and the commands that it ran."""
    plan, log = folder / "plan", folder / "log"
    plan.write_text(json.dumps(PLAN))
    with open(log, "w", encoding="utf-8") as errors:
        process = subprocess.Popen([agent, "run", "--verbosity", "1", "--plan", plan], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=errors)
    start = seconds = None
    for line in process.stdout:
        job = json.loads(line)["jobStatus"]
        if job["status"] == "running":
            start = time.monotonic()
        else:
            seconds = time.monotonic() - start
            break
    process.stdin.close()
    process.wait()
    return seconds, len(json.loads(line)["nodes"]), [match[1] for match in map(COMMAND.search, log.read_text().splitlines()) if match]


def run_raw(commands):
    start = time.monotonic()
    for command in commands:
        try:
            subprocess.run(command.split(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        except FileNotFoundError:
            pass  # discovery-client where it is not built: it fails for the agent, too
    return time.monotonic() - start


def measure(agent, pairs):
    added = []
    with tempfile.TemporaryDirectory() as folder:
        for _ in range(pairs):
            whole, nodes, commands = run_agent(agent, pathlib.Path(folder))
            raw = run_raw(commands)
            added.append(whole - raw)
            print(f"{nodes} nodes, {len(commands)} commands: agent {whole:.3f} s, the commands alone {raw:.3f} s, "
                  f"added {(whole / raw - 1) * 100:+.2f} %", flush=True)
    print(f"added, median of {pairs}: {statistics.median(added) * 1000:+.0f} ms")


if "LAB_HOSTS" in os.environ:
    measure(sys.argv[1], int(sys.argv[2]))
else:
    build = pathlib.Path(sys.argv[1]).resolve()
    pairs = sys.argv[2] if len(sys.argv) > 2 else "3"
    sys.exit(subprocess.call([LAB / "overlay", build / "tools/bin", LAB / "lan", "run", __file__,
                              build / "agent/discovery-agent", pairs]))
