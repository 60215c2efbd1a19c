#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""How soon a scan by hand shows the first host, has the whole table, and what it misses, beside arp-scan -l and nmap -sn:

scan_figures.py BUILD [NAME…]   runs the cases of those names, or all of them, as root; ends with status 1 where a goal is missed

Each case is a LAN of its own (bench/lan/lan) whose hosts have a MAC address each and HTTP, HTTPS, SNMP, SIP and ping. All
contenders run in it one after another, and each begins with an empty neighbour table.
"""
import json
import os
import pathlib
import pty
import re
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
# LAN, seconds for the whole table. Sleepers miss the first ARP request; silent hosts answer nothing else.
CASES = {
    "a /24": (["--hosts", "253", "--client", "10.80.0.254/24"], 4),
    "a /24, 50 hosts, every 10th silent": (["--hosts", "50", "--silent", "10", "--client", "10.80.0.254/24"], 4),
    "a /24 with sleepers": (["--hosts", "253", "--sleepers", "5", "--client", "10.80.0.254/24"], 4),
    "a /24, 5 percent of ARP lost": (["--hosts", "253", "--loss", "5", "--client", "10.80.0.254/24"], 4),
    "1,000 hosts": (["--hosts", "1000", "--client", "10.80.3.254/22"], 8),
}
FIRST_HOST_SECONDS = 0.3
# Sleepers have to fall asleep again.
SLEEP_SECONDS = 11


def forget():
    subprocess.run(["ip", "neigh", "flush", "dev", "eth0"], check=True)
    if CASE and "sleepers" in CASE:
        time.sleep(SLEEP_SECONDS)


def addresses(text):
    return set(re.findall(r"(?m)^(?:Nmap scan report for )?(10\.80\.\d+\.\d+)\b", text))


def timed(command):
    forget()
    start = time.monotonic()
    output = subprocess.run(command, stdout=subprocess.PIPE, check=True, stdin=subprocess.DEVNULL).stdout.decode()
    return time.monotonic() - start, addresses(output)


def first_host(command):
    """Seconds until a terminal shows the address of a host."""
    forget()
    start = time.monotonic()
    child, terminal = pty.fork()
    if child == 0:
        os.execv(command[0], [str(word) for word in command])
    shown, first = b"", None
    while True:
        try:
            piece = os.read(terminal, 65536)
        except OSError:
            break
        shown += piece
        if first is None and re.search(rb"10\.80\.\d+\.\d+ +02:", shown):
            first = time.monotonic() - start
    os.waitpid(child, 0)
    os.close(terminal)
    return first


def measure(agent, client):
    own = client.partition("/")[0]
    hosts = {line.split()[0] for line in open(os.environ["LAN_HOSTS"])}
    scan = timed([agent, "scan", "--interface", "eth0"])
    contenders = {"scan": scan, "servicescan --sweep": timed(["/usr/bin/servicescan", "--sweep", network_of(client)]),
                  "arp-scan -l": timed(["arp-scan", "-l", "-I", "eth0", "-q", "-x"]),
                  "nmap -sn": timed(["nmap", "-sn", "-n", network_of(client)])}
    figures = {name: {"seconds": round(seconds, 2), "found": len(found - {own})} for name, (seconds, found) in contenders.items()}
    others = (contenders["arp-scan -l"][1] | contenders["nmap -sn"][1]) - {own}
    first = first_host([agent, "scan", "--interface", "eth0"])
    return {"hosts": len(hosts), "first host after": first and round(first, 2), "missed": sorted(others - scan[1]), **figures}


def network_of(client):
    import ipaddress
    return str(ipaddress.ip_interface(client).network)


def run(build, name, arguments, goal):
    lan = [HERE / "lan" / "lan", "--own-macs", "yes", *arguments, build]
    command = [HERE.parent / "lab" / "overlay", f"{build}/tools/bin", *lan, __file__, "--inside", build, name, arguments[-1]]
    figures = json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)
    print(f"{name}: {json.dumps(figures)}", flush=True)
    problems = []
    if figures["first host after"] is None or figures["first host after"] > FIRST_HOST_SECONDS:
        problems.append(f"the first host within {FIRST_HOST_SECONDS} s")
    if figures["missed"]:
        problems.append("nothing missed that the others find")
    if figures["scan"]["seconds"] > goal:
        problems.append(f"the whole table within {goal} s")
    for problem in problems:
        print(f"  goal missed: {problem}")
    return not problems


CASE = None
if sys.argv[1] == "--inside":
    build, CASE, client = sys.argv[2:]
    print(json.dumps(measure(f"{build}/agent/discovery-agent", client)))
else:
    build = str(pathlib.Path(sys.argv[1]).resolve())
    chosen = sys.argv[2:] or CASES
    sys.exit(0 if all([run(build, name, *CASES[name]) for name in chosen]) else 1)
