#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""The agent in the lab, with the real tools and devices: lab/overlay TOOLS lab/lan run agent_lab_test.py AGENT CASE

The lab's table of hosts says what there is to find, and a case is passed by exactly that.
"""
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import time

from lab import Agent, by_address, check, hosts, live_hosts, responding_hosts, wait_for

AGENT, CASE = sys.argv[1:]
NOW = {"firstRun": "now"}
ALWAYS = {"cron": "* * * * * *"}  # due whenever the scheduler looks, which is every 15 seconds
SERVICES = {"sip": [5060], "http": [80, 8080], "https": [443], "snmp": [161], "ping": [0]}
NODE_JOB = {"scanType": "node"}
SERVICE_JOB = {"scanType": "service", "services": {name: {"ports": ports} for name, ports in SERVICES.items()}}
STATUS_JOB = {"scanType": "status", "servicePriorities": ["ping", "snmp", "http", "https", "sip"]}


def event(job, status, *nodes):
    """An event as it is expected; one without nodes has no such member."""
    return {"jobStatus": {**job, "status": status}, **({"nodes": by_address(nodes)} if nodes else {})}


def check_events(wanted, agent):
    got = agent.events()
    for number, (one, other) in enumerate(zip(wanted, got), 1):
        check(f"event {number} is the one expected", one, other, agent.log)
    check("no further event is sent", len(wanted), len(got), agent.log)


def plan_file(*jobs):
    path = pathlib.Path(tempfile.mkdtemp()) / "plan.json"
    path.write_text(json.dumps(jobs))
    return path


def usual(host):
    """The host as a scan by hand finds it, which asks for services at their usual ports only."""
    services = {name: port for name, port in host.services.items() if port["port"] == SERVICES[name][0]}
    return {**host.tested("up"), "services": services} if services else host.found()


def scan():
    """Scans by hand, one for programs and one for people."""
    result = subprocess.run([AGENT, "scan", "--json"], stdout=subprocess.PIPE, check=True)
    nodes = json.loads(result.stdout)
    for node in nodes:
        node.pop("statusChangeDate")
    check("it finds exactly the live hosts and their services", by_address(usual(host) for host in live_hosts()),
          by_address(nodes))
    without_rights = ["setpriv", "--bounding-set=-all", "--inh-caps=-all", "--no-new-privs", "--reuid=65534", "--regid=65534",
                      "--clear-groups"]
    result = subprocess.run([*without_rights, AGENT, "scan", "--json"], stdout=subprocess.PIPE, check=True)
    check("it finds them without any right", sorted(host.address for host in live_hosts()),
          sorted(node["ipAddress"] for node in json.loads(result.stdout)))
    result = subprocess.run([AGENT, "scan", "--interface", "lan0"], stdout=subprocess.PIPE, check=True, text=True)
    header, *lines, total, _ = result.stdout.splitlines()
    starts = {name: header.index(name) for name in ("ADDRESS", "MODEL", "SERVICES", "ONBOARDING")}
    found = [host for host in live_hosts() if host.interface == "lan0"]
    check("the table shows what they are", {host.address: (usual(host).get("model", ""),
                                                           "supported" if host.supports_onboarding else "") for host in found},
          {line.split()[0]: (line[starts["MODEL"]:starts["SERVICES"]].strip(), line[starts["ONBOARDING"]:].strip())
           for line in lines})
    check("and counts them", f"{len(found)} nodes with", " ".join(total.split()[:3]))


def devices():
    """What devices say of themselves is in the nodes, the others are found by arp-scan alone, and a second scan is no news."""
    for interface in ("lan0", "lan1"):
        result = subprocess.run(["discovery-client", "-j", "-i", interface], stdout=subprocess.PIPE, check=True)
        check(f"the devices on {interface} speak for themselves, and no other host", [
            {"physicalAddress": host.mac.upper(), "ipAddress": host.address, **host.description}
            for host in responding_hosts() if host.interface == interface], json.loads(result.stdout)["nodes"])
    jobs = [{"id": name, "schedule": NOW, **NODE_JOB} for name in "ab"]
    agent = Agent(AGENT, "--plan", plan_file(*jobs))
    known = []
    for job in jobs:
        agent.until("message", lambda message: message.get("jobStatus") == {**job, "status": "successful"})
        known.append(agent.request("syncNodes", nodes=[])["nodes"])
    agent.end()
    check_events([event(jobs[0], "running"), event(jobs[0], "successful", *(host.found() for host in live_hosts())),
                  event(jobs[1], "running"), event(jobs[1], "successful")], agent)
    check("the second scan leaves all nodes as they were", known[0], known[1])
    check("which is as they were sent", by_address(host.found() for host in live_hosts()), by_address(
        {key: value for key, value in node.items() if key != "statusChangeDate"} for node in known[1]))


def sequence():
    """Nodes, their services, their status: a plan of one sequence, and what the changes of a run leave for later events."""
    job = {"id": "s", "scanType": "sequence", "schedule": NOW, "jobs": [NODE_JOB, SERVICE_JOB, STATUS_JOB]}
    later = {"id": "t", "schedule": ALWAYS, **STATUS_JOB}
    agent = Agent(AGENT, "--plan", plan_file(job, later))
    for run in range(3):
        agent.until_logged(f"[Job t.{run}] Job succeeded")
    agent.end()

    offering = [host for host in live_hosts() if host.services]
    with_services = [{**host.tested("up"), "services": host.services} for host in offering]
    check_events([event(job, "running"),
                  event(job, "successful", *with_services, *(host.found() for host in live_hosts() if not host.services)),
                  # A new node is sent for each of three reasons: that it is new, its services, its status.
                  event(later, "successful", *with_services),
                  event(later, "successful", *(host.tested("up") for host in offering))], agent)


def killed():
    """An arp-scan that somebody kills costs those of its LAN that do not speak for themselves, and nothing else."""
    job = {"id": "k", "schedule": NOW, **NODE_JOB}
    agent = Agent(AGENT, "--plan", plan_file(job))
    agent.until_logged("Invoking scan 1:")
    sent = pathlib.Path("/sys/class/net/lan0/statistics/tx_packets")
    wait_for(lambda: int(sent.read_text()) > 100)
    [pid] = agent.children()
    check("it is at arp-scan on the first LAN", ["arp-scan", "--interface=lan0"],
          pathlib.Path(f"/proc/{pid}/cmdline").read_text().split("\0")[:2])
    os.kill(pid, signal.SIGKILL)
    agent.until_logged("Network scan failed: Killed by signal 9")
    agent.until_status("successful")
    agent.end()
    check_events([event(job, "running"),
                  event(job, "successful", *(host.found() for host in live_hosts() if host.interface == "lan1" or host.responds))],
                 agent)


def status():
    """Hosts go down and come up again: each change is sent once, and nothing when nothing changed."""
    known = hosts()
    gone, flaky, silent = known["192.168.77.253"], known["192.168.77.31"], known["10.77.1.201"]
    followed = [host for host in known.values() if host.services] + [silent]
    job = {"id": "s", "schedule": ALWAYS, **STATUS_JOB}
    agent = Agent(AGENT)
    agent.request("syncNodes", nodes=[
        {**host.tested(), "services": host.services or {"ping": {"port": 0}}} for host in followed])
    agent.request("updateJobDescriptions", jobDescriptions=[job])

    def runs(number):
        agent.until_logged(f"[Job s.{number}] Job succeeded")

    runs(0)
    runs(1)
    gone.take_down()
    flaky.be_deaf()
    agent.until_logged("[Job s.2] Invoking second scan:")
    flaky.hear_again()
    runs(2)
    runs(3)
    gone.bring_up()
    runs(4)
    agent.end()
    check_events([event(job, "successful", silent.tested("down"), *(host.tested("up") for host in followed if host != silent)),
                  event(job, "successful", gone.tested("down"), flaky.tested("up")),
                  event(job, "successful", gone.tested("up"))], agent)
    check("whoever turns down is asked twice, and nobody else",
          {"s.0": [silent], "s.2": [flaky, gone]}, asked_again(agent, followed))


def asked_again(agent, followed):
    """The hosts in the second scan of each job, by the job's id."""
    result = {}
    for line in agent.log:
        job, _, text = line.partition("[Job ")[2].partition("] ")
        if text == "Invoking second scan:":
            result[job] = []
        elif job in result and " (service " in text:
            result[job] += [host for host in followed if text.split()[0] == host.address]
    return result


def actions():
    """Requests of the server that act on nodes reach the devices that they name, and no other."""
    folder = pathlib.Path(tempfile.mkdtemp())
    agent = Agent(AGENT, "--link", f"unix:{folder}/link")
    wait_for((folder / "link").exists)
    wanted = {host.address: [0, []] for host in responding_hosts()}
    with socket.socket(socket.AF_UNIX) as server:
        server.connect(f"{folder}/link")
        answers = server.makefile("r")

        def act(name, *nodes):
            server.sendall((json.dumps({"kind": "request", "service": "discovery", "name": name, "id": 1, "nodes": nodes}) + "\n").encode())
            check(f"{name} answers for every node", {
                "kind": "ack", "service": "discovery", "name": name, "id": 1,
                "nodes": [{**node, "status": "successful"} for node in nodes]}, json.loads(answers.readline()))

        plain, joining, last = (hosts()[address] for address in ("10.77.1.33", "10.77.1.5", "192.168.77.128"))
        act("blinkNodes", {"ipAddress": plain.address, "label": plain.mac}, {"ipAddress": last.address})
        act("onboardNodes", {"ipAddress": joining.address, "organizationKey": "K 1"},
            {"ipAddress": last.address, "organizationKey": "Kéy-2", "server": "nms.example:8443"})
        # One that takes no key and one that runs no responder; what they answer is not the server's business.
        act("onboardNodes", {"ipAddress": plain.address, "organizationKey": "K 3"})
        act("blinkNodes", {"ipAddress": "10.77.1.254"})
    agent.process.terminate()
    agent.end()
    wanted[plain.address][0] = wanted[last.address][0] = 1
    wanted[joining.address][1] = ["K 1", ""]
    wanted[last.address][1] = ["Kéy-2", "nms.example:8443"]

    def asked():
        return {host.address: list(host.asked()) for host in responding_hosts()}

    # A device's program runs after its answer.
    deadline = time.monotonic() + 10
    while asked() != wanted and time.monotonic() < deadline:
        time.sleep(0.02)
    check("the devices were asked for just that", wanted, asked())
    for host in responding_hosts():
        key = host.device / "state" / "organisation-key"
        stored = (key.read_text().splitlines(), oct(key.stat().st_mode & 0o777)) if key.exists() else None
        keys = wanted[host.address][1]
        check(f"{host.address} keeps its key, if any, to itself", (keys, "0o600") if keys else None, stored)


def interfaces():
    """Interfaces that change while the agent runs are seen by the next scan, without arp-scan's 24 seconds."""
    agent = Agent(AGENT, PATH="/usr/sbin-without-arp-scan")
    subprocess.run(["ip", "link", "set", "lan0", "down"], check=True)
    subprocess.run(["ip", "address", "flush", "dev", "lan1"], check=True)
    agent.request("updateJobDescriptions", jobDescriptions=[{"id": "p", "schedule": NOW, **NODE_JOB}])
    agent.until_logged("No need to invoke")
    agent.end()
    decisions = {}
    for line in agent.log:
        text = line.partition("[Job p.0] ")[2]
        if text.startswith("  - IP Interface "):
            name = text[len("  - IP Interface "):-1]
        elif "is interface" in text or " IP interface" in text:
            decisions[name] = text.strip()
    check("no interface is left to scan", {name: "X Skip this IP interface" for name in ("lan0", "lan1", "lan2", "wan0")},
          decisions)


CASES = {"scan": scan, "devices": devices, "sequence": sequence, "status": status, "killed": killed, "interfaces": interfaces,
         "actions": actions}
CASES[CASE]()
