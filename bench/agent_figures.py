#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""Figures of the whole agent: tests/system/sandbox bench/agent_figures.py BUILD_FOLDER

The time from its start to the first answer on its link, from the end of arp-scan to its event, and what it costs while
idle for a minute, beside a bare timer loop of the same period. The arp-scan is a stand-in that ends at once, so that no
packet is sent.
"""
import contextlib
import json
import os
import pathlib
import re
import statistics
import subprocess
import tempfile
import time

from report import Report, arguments

STARTS = 11
# Each waits for the scheduler, which looks at its plan every 15 seconds.
SCANS = 5
SETTLE_SECONDS, IDLE_SECONDS = 1, 62
REQUEST = b'{"kind":"request","service":"discovery","name":"syncNodes","id":1,"nodes":[]}\n'


@contextlib.contextmanager
def running(*command, **environment):
    process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               env=dict(os.environ, **environment))
    try:
        yield process
    finally:
        process.kill()
        process.communicate()


def time_to_answer():
    """Seconds from the start of the process to its answer to a request that waits on the link."""
    start = time.monotonic()
    with running(agent, "run") as process:
        process.stdin.write(REQUEST)
        process.stdin.flush()
        assert json.loads(process.stdout.readline())["kind"] == "ack"
        return time.monotonic() - start


def time_to_event(folder):
    """Seconds from the end of arp-scan to the event: a plan that runs at once, on the loopback-like interface kx0."""
    stamp = folder / "end"
    fake = folder / "arp-scan"
    fake.write_text("#!/bin/sh\nprintf '10.1.0.5\\t02:00:5e:00:00:05\\n'\nexec date +%s.%N >" + str(stamp) + "\n")
    fake.chmod(0o755)
    plan = folder / "plan.json"
    plan.write_text(json.dumps([{"id": "p", "scanType": "node", "schedule": {"firstRun": "now"}}]))
    with running(agent, "run", "--plan", plan, PATH=f"{folder}:/usr/bin:/bin") as process:
        for line in process.stdout:
            if json.loads(line)["jobStatus"]["status"] != "running":
                break
        return time.time() - float(stamp.read_text())


def status_field(process, name):
    return int(re.search(rf"^{name}:\s+(\d+)", pathlib.Path(f"/proc/{process.pid}/status").read_text(), re.M)[1])


def idle(seconds):
    """Of the agent and of the limit at the same time: wake-ups meanwhile, KiB of anonymous memory, KiB resident."""
    with running(agent, "run") as ours, running(options.build / "bench/limit/idle-limit") as limit:
        time.sleep(SETTLE_SECONDS)
        before = [status_field(process, "voluntary_ctxt_switches") for process in (ours, limit)]
        time.sleep(seconds)
        return [(status_field(process, "voluntary_ctxt_switches") - then, status_field(process, "RssAnon"),
                 status_field(process, "VmRSS")) for process, then in zip((ours, limit), before)]


def milliseconds(call, runs):
    return statistics.median(call() for _ in range(runs)) * 1000


def measure_latency(report):
    subprocess.run("ip link add kx0 type veth peer name kx1 && ip address add 10.1.0.1/16 dev kx0 && ip link set kx0 up"
                   " && ip link set kx1 up", shell=True, check=True)
    with tempfile.TemporaryDirectory() as name:
        event = milliseconds(lambda: time_to_event(pathlib.Path(name)), SCANS)
    answer = milliseconds(time_to_answer, STARTS)
    report.add_table(f"The agent's latency, milliseconds (medians of {STARTS} and {SCANS})", ["", "time"], [
        ["from its start to its first answer", f"{answer:.1f}"], ["from the end of arp-scan to its event", f"{event:.2f}"]])
    report.add_figures(agent_start_ms=answer, agent_event_ms=event)


options = arguments(__doc__)
agent = options.build / "agent/discovery-agent"
report = Report()
seconds = 0 if options.short else IDLE_SECONDS
ours, limit = idle(seconds)
if not options.short:
    measure_latency(report)
report.add_table(f"Idle for {seconds} s", ["", "wake-ups", "anonymous KiB", "resident KiB"], [
    [name, *map(str, figures)] for name, figures in (("bare timer loop (limit)", limit), ("discovery-agent", ours))])
report.add_figures(agent_more_kib=ours[1] - limit[1])
if not options.short:
    report.add_figures(agent_more_wakeups=ours[0] - limit[0])
report.finish(options.json)
