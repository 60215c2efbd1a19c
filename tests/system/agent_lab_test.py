#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The agent in the lab, with the real arp-scan: lab/lan run agent_lab_test.py AGENT scan|plan|interfaces

Finds exactly the hosts that answer, with their MAC addresses, on the interfaces that they live on. In the lab $LAB_HOSTS
names the table of hosts: interface, address, MAC address, live or silent.
"""
import json
import os
import subprocess
import sys
import tempfile

AGENT, MODE = sys.argv[1:]


def expected():
    with open(os.environ["LAB_HOSTS"]) as table:
        hosts = [line.rstrip("\n").split("\t") for line in table]
    return sorted([i, ip, mac.upper()] for i, ip, mac, kind in hosts if kind == "live")


def found(nodes):
    return sorted([node["interface"], node["ipAddress"], node["physicalAddress"]] for node in nodes)


def check(description, wanted, got):
    if wanted != got:
        sys.exit(f"FAILED: {description}\nexpected {wanted}\nfound    {got}")
    print(f"ok: {description}")


def scan():
    result = subprocess.run([AGENT, "scan", "--json"], stdout=subprocess.PIPE, check=True)
    check("one scan finds exactly the live hosts", expected(), found(json.loads(result.stdout)))


def plan():
    with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
        json.dump([{"id": "p", "scanType": "node", "schedule": {"firstRun": "now"}}], file)
        file.flush()
        agent = subprocess.Popen([AGENT, "run", "--plan", file.name], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        events = []
        for line in agent.stdout:
            events.append(json.loads(line))
            if events[-1]["jobStatus"]["status"] != "running":
                break
        agent.stdin.close()
        check("the agent ends with its input", 0, agent.wait(timeout=30))
    check("the job runs and succeeds", ["running", "successful"], [event["jobStatus"]["status"] for event in events])
    check("its last event carries exactly the live hosts", expected(), found(events[-1]["nodes"]))


def interfaces():
    """Interfaces that change while the agent runs are seen by the next scan, without arp-scan's 24 seconds."""
    agent = subprocess.Popen([AGENT, "run", "--verbosity", "1"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, env=dict(os.environ, PATH="/usr/sbin-without-arp-scan"))
    subprocess.run(["ip", "link", "set", "lan0", "down"], check=True)
    subprocess.run(["ip", "address", "flush", "dev", "lan1"], check=True)
    request = {"kind": "request", "service": "discovery", "name": "updateJobDescriptions", "id": 1, "jobDescriptions": [
        {"id": "p", "scanType": "node", "schedule": {"firstRun": "now"}}]}
    agent.stdin.write((json.dumps(request) + "\n").encode())
    agent.stdin.flush()
    decisions = {}
    for line in agent.stderr:
        text = line.decode().rstrip("\n").partition("[Job p.0] ")[2]
        if text.startswith("  - IP Interface "):
            name = text[len("  - IP Interface "):-1]
        elif "is interface" in text or " IP interface" in text:
            decisions[name] = text.strip()
        if "No need to invoke" in line.decode():
            break
    agent.stdin.close()
    agent.wait(timeout=30)
    check("no interface is left to scan", {name: "X Skip this IP interface" for name in ("lan0", "lan1", "lan2", "wan0")},
          decisions)


{"scan": scan, "plan": plan, "interfaces": interfaces}[MODE]()
