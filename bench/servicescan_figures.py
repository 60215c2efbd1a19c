#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Figures of servicescan beside the fastest that there is: bench/servicescan_figures.py BUILD_FOLDER

Runs servicescan, the limit program (one epoll loop with the same probes), nmap and fping one after another on the same
LAN, several times, and prints medians: time on the clock, processor time, memory at the peak, and what each missed or
invented. Needs root and `scripts/setup bench`. bench/README.md says how to read it.
"""
import argparse
import json
import os
import pathlib
import platform
import shlex
import statistics
import subprocess
import sys
import time
import xml.etree.ElementTree

HERE = pathlib.Path(__file__).resolve().parent
PORTS = {"ping": 0, "snmp": 161, "sip": 5060, "http": 80, "https": 443}
OBJECT_ID = "1.3.6.1.4.1.99999.1.7"
STATE = pathlib.Path("/run")  # the LAN's own

# name: (options of the LAN, the groups of services to ask for one after another, what it is)
ALL = [list(PORTS)]
SCENARIOS = {
    "mixed": (["--hosts", "1000", "--silent", "10"], ALL, "1,000 hosts x 5 services, one in ten silent"),
    "answering": (["--hosts", "1000"], ALL, "1,000 hosts x 5 services, all answering"),
    "alone": (["--hosts", "1000"], [[name] for name in PORTS], "1,000 hosts, all answering, each service alone"),
    "ping": (["--hosts", "1000", "--silent", "10"], [["ping"]], "1,000 hosts, one in ten silent, ping alone"),
    "many": (["--hosts", "4000", "--silent", "10"], ALL, "4,000 hosts x 5 services, one in ten silent, neighbour table of 1,024"),
    "few": (["--hosts", "64", "--silent", "10"], ALL, "64 hosts x 5 services, one in ten silent"),
    "closed": (["--hosts", "1000", "--silent", "10", "--closed", "3"], ALL,
               "1,000 hosts x 5 services, one in ten silent, one in three with closed ports"),
    "rsa": (["--hosts", "1000", "--silent", "10", "--certificate", "rsa"], ALL,
            "1,000 hosts x 5 services, one in ten silent, RSA certificates"),
}
NMAP_SCRIPTS = {"http": "http-title", "https": "http-title", "snmp": "snmp-sysdescr", "sip": "sip-methods"}
NMAP_TUNINGS = [
    "--min-parallelism 1000 --min-rate 5000",
    "--min-parallelism 300 --min-rate 5000",
    "--min-parallelism 300",
    "--min-parallelism 100",
]


class Contender:
    """A command, and a function that takes what it found out of its output: pairs of address and service, or counts."""

    def __init__(self, name, command, findings):
        self.name, self.command, self.findings = name, command, findings
        self.runs = []


class Run:
    def __init__(self, command):
        subprocess.run(["ip", "neighbour", "flush", "all"], check=True)
        output, report = STATE / "output", STATE / "report"
        with open(output, "wb") as out, open(STATE / "errors", "wb") as errors:
            subprocess.run([MEASURE, report, *command], stdin=subprocess.DEVNULL, stdout=out, stderr=errors, check=True)
        wall, cpu, memory, status = report.read_text().split()
        self.wall, self.cpu, self.memory, self.status = float(wall), float(cpu), int(memory), int(status)
        self.output = output.read_text()
        self.missed = self.invented = 0

    def compare(self, truth, found):
        if isinstance(found, dict):
            expected = {service: sum(1 for _, name in truth if name == service) for service in found}
            self.missed = sum(max(0, expected[service] - count) for service, count in found.items())
            self.invented = sum(max(0, count - expected[service]) for service, count in found.items())
        else:
            self.missed, self.invented = len(truth - found), len(found - truth)


def found_by_limit(output):
    return {name: int(count) for name, count in (line.split() for line in output.splitlines())}


def found_by_servicescan(output):
    """An SNMP agent counts as found with the right object identifier only."""
    return {(node["ipAddress"], service["service"]) for node in json.loads(output)["nodes"] for service in node["services"]
            if service["successful"] and (service["service"] != "snmp" or service["systemObjectID"].lstrip(".") == OBJECT_ID)}


def found_by_nmap(_):
    """A service counts as found when its script got an answer; ping, when the host answered."""
    found = set()
    names = {str(port): name for name, port in PORTS.items()}
    for host in xml.etree.ElementTree.parse(STATE / "nmap.xml").iter("host"):
        address = host.find("address").get("addr")
        if host.find("status").get("reason") == "echo-reply":
            found.add((address, "ping"))
        found |= {(address, names[port.get("portid")]) for port in host.iter("port")
                  if port.find("state").get("state") == "open" and port.find("script") is not None}
    return found


def found_by_fping(output):
    return {(address, "ping") for address in output.split()}


def nmap_command(services, tuning):
    """As an expert would call it here: ping sorts the silent hosts out, the scripts ask what the ports' states leave open."""
    command = ["nmap", "-T5", "-n", "-PE", "--disable-arp-ping", "--max-retries", "1", "--min-hostgroup", "1024", *tuning.split(),
               "-iL", str(STATE / "addresses"), "-oX", str(STATE / "nmap.xml")]
    tcp = [str(PORTS[name]) for name in services if name in ("http", "https")]
    udp = [str(PORTS[name]) for name in services if name in ("snmp", "sip")]
    if not tcp and not udp:
        return [*command, "-sn"]
    ports = ",".join(kind + ",".join(numbers) for kind, numbers in (("T:", tcp), ("U:", udp)) if numbers)
    scripts = ",".join(dict.fromkeys(NMAP_SCRIPTS[name] for name in services if name in NMAP_SCRIPTS))
    return [*command, *(["-sS"] if tcp else []), *(["-sU"] if udp else []), "-p", ports, "--script", scripts]


def best_nmap(services, truth):
    """The tuning that misses least, and of those the fastest."""
    def cost(tuning):
        run = Run(nmap_command(services, tuning))
        run.compare(truth, found_by_nmap(run.output) & truth)
        return run.missed, run.wall
    return Contender("nmap", nmap_command(services, min(NMAP_TUNINGS, key=cost)),
                     lambda output: {finding for finding in found_by_nmap(output) if finding[1] in services})


def contenders(services, truth, with_others):
    target_file = str(STATE / "targets")
    result = [Contender("limit", [LIMIT, options.inside, target_file], lambda output: {
                  name: count for name, count in found_by_limit(output).items() if name in services}),
              Contender("servicescan", [SERVICESCAN, "-j", "-t", target_file], found_by_servicescan)]
    if with_others:
        result.append(best_nmap(services, truth))
    if with_others and services == ["ping"]:
        # As patient as the others: two tries, a second each; and at the pace that it allows root.
        result.append(Contender("fping", ["fping", "-a", "-q", "-i", "0", "-r", "1", "-t", "1000", "-B", "1",
                                          "-f", str(STATE / "addresses")], found_by_fping))
    return result


def write_targets(hosts, services):
    words = " ".join(f"{name}:{PORTS[name]}" for name in services)
    (STATE / "targets").write_text("".join(f"{address} {words}\n" for address, _ in hosts))
    (STATE / "addresses").write_text("".join(f"{address}\n" for address, _ in hosts))


def offered(hosts, services):
    """What a faultless scan finds: a host with closed ports answers ping."""
    return {(address, name) for address, kind in hosts for name in services
            if kind == "live" or (kind == "closed" and name == "ping")}


def print_table(rows):
    median = lambda row, field: statistics.median(getattr(run, field) for run in row.runs)
    limit = rows[0]
    print(f"  {'':12} {'wall s':>8} {'x limit':>8} {'cpu s':>8} {'x limit':>8} {'KiB':>8} {'missed':>7} {'invented':>9}")
    for row in rows:
        wall, cpu = median(row, "wall"), median(row, "cpu")
        print(f"  {row.name:12} {wall:8.3f} {wall / median(limit, 'wall'):8.2f} {cpu:8.3f} {cpu / median(limit, 'cpu'):8.2f}"
              f" {median(row, 'memory'):8.0f} {max(run.missed for run in row.runs):7} {max(run.invented for run in row.runs):9}")
    print("  missed and invented: the most of all runs")
    for row in rows:
        print(f"  {row.name}: {shlex.join(map(str, row.command))}")
        if any(run.status for run in row.runs):
            print(f"  {row.name}: exit statuses {[run.status for run in row.runs]}")


def measure(scenario, pairs, with_others):
    hosts = [line.split("\t") for line in pathlib.Path(os.environ["LAN_HOSTS"]).read_text().splitlines()]
    _, groups, title = SCENARIOS[scenario]
    for services in groups:
        write_targets(hosts, services)
        truth = offered(hosts, services)
        rows = contenders(services, truth, with_others)
        for number in range(pairs):
            for row in rows if number % 2 == 0 else reversed(rows):
                row.runs.append(Run(row.command))
                row.runs[-1].compare(truth, row.findings(row.runs[-1].output))
        print(f"\n{title}{': ' + services[0] if len(groups) > 1 else ''} (medians of {pairs}; {len(truth)} answers to find)")
        print_table(rows)
        sys.stdout.flush()


def room_for_neighbours():
    """The kernel's table of neighbours is one for all namespaces: waits until others have left it."""
    size = int(pathlib.Path("/proc/sys/net/ipv4/neigh/default/gc_thresh3").read_text())
    def entries():
        return int(pathlib.Path("/proc/net/stat/arp_cache").read_text().splitlines()[1].split()[0], 16)
    deadline = time.monotonic() + 30
    while entries() > 20 and time.monotonic() < deadline:
        time.sleep(0.5)
    if entries() > 20:
        print(f"\nOthers hold {entries()} of this machine's {size} neighbours: figures may suffer.")
    return size - entries() - 4


def run_scenario(name, options):
    again = [sys.executable, __file__, options.build, "--inside", str(room_for_neighbours()), "--pairs", str(options.pairs),
             "--scenario", name]
    command = [HERE / "lan/lan", *SCENARIOS[name][0], options.build, *again, *(["--alone"] if options.alone else [])]
    if status := subprocess.call(command):
        sys.exit(status)


def machine():
    model = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")), "")
    return f"{os.cpu_count()} cores ({model}), kernel {platform.release()}, load {os.getloadavg()[0]:.1f}"


parser = argparse.ArgumentParser(description=__doc__.splitlines()[0],
                                 epilog="\n".join(f"{name:10} {SCENARIOS[name][2]}" for name in SCENARIOS),
                                 formatter_class=argparse.RawDescriptionHelpFormatter)
parser.add_argument("build", type=pathlib.Path)
parser.add_argument("--scenario", action="append", choices=SCENARIOS, help="only this one (repeatable)")
parser.add_argument("--pairs", type=int, default=5, help="how often each runs")
parser.add_argument("--alone", action="store_true", help="servicescan and the limit only, without nmap and fping")
parser.add_argument("--inside", metavar="ROOM", help=argparse.SUPPRESS)
options = parser.parse_args()
options.build = options.build.resolve()
LIMIT = options.build / "bench/limit/limit"
SERVICESCAN = options.build / "tools/bin/servicescan"
MEASURE = options.build / "bench/lan/measure"
if options.inside:
    measure(options.scenario[0], options.pairs, not options.alone)
else:
    print(machine())
    for scenario in options.scenario or SCENARIOS:
        run_scenario(scenario, options)
