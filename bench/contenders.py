# SPDX-License-Identifier: Apache-2.0
"""The programs that a LAN is scanned with, how each is called by one who knows it, and what its output says it found."""
import json
import pathlib
import subprocess
import sys
import types
import xml.etree.ElementTree

PORTS = {"ping": 0, "snmp": 161, "sip": 5060, "http": 80, "https": 443}
OBJECT_ID = "1.3.6.1.4.1.99999.1.7"
STATE = pathlib.Path("/run")  # the LAN's own
NMAP_SCRIPTS = {"http": "http-title", "https": "http-title", "snmp": "snmp-sysdescr", "sip": "sip-methods"}
NMAP_TUNINGS = [
    "--min-parallelism 1000 --min-rate 5000",
    "--min-parallelism 300 --min-rate 5000",
    "--min-parallelism 300",
    "--min-parallelism 100",
]


class Contender:
    """A command, a function that takes what it found out of its output (pairs of address and service, or counts), and what
    is to be found with it."""

    def __init__(self, name, command, findings, truth):
        self.name, self.command, self.findings, self.truth = name, list(map(str, command)), findings, truth
        self.runs = []

    def run(self, measure):
        self.runs.append(Run(self.command, measure))
        self.runs[-1].compare(self.truth, self.findings(self.runs[-1].output))

    def figures(self, field):
        return [getattr(run, field) for run in self.runs]


class Parts:
    """Several contenders one after another, as one."""

    def __init__(self, name, parts):
        self.name, self.parts, self.runs = name, parts, []
        self.command = parts[0].command

    def run(self, measure):
        for part in self.parts:
            part.run(measure)
        runs = [part.runs[-1] for part in self.parts]
        add = lambda field: sum(getattr(run, field) for run in runs)
        self.runs.append(types.SimpleNamespace(
            wall=add("wall"), cpu=add("cpu"), memory=max(run.memory for run in runs),
            status=max(run.status for run in runs), missed=add("missed"), invented=add("invented")))

    figures = Contender.figures


class Run:
    def __init__(self, command, measure):
        subprocess.run(["ip", "neighbour", "flush", "all"], check=True)
        output, report = STATE / "output", STATE / "report"
        with open(output, "wb") as out, open(STATE / "errors", "wb") as errors:
            subprocess.run([measure, report, *command], stdin=subprocess.DEVNULL, stdout=out, stderr=errors, check=True)
        wall, cpu, memory, status = report.read_text().split()
        self.wall, self.cpu, self.memory, self.status = float(wall), float(cpu), int(memory), int(status)
        self.output = output.read_text()
        if self.status and not self.output:
            sys.exit(f"{command[0]}: exit status {self.status}: {(STATE / 'errors').read_text()}")
        self.missed = self.invented = 0

    def compare(self, truth, found):
        if isinstance(found, dict):
            expected = {service: sum(1 for _, name in truth if name == service) for service in found}
            self.missed = sum(max(0, expected[service] - count) for service, count in found.items())
            self.invented = sum(max(0, count - expected[service]) for service, count in found.items())
        else:
            self.missed, self.invented = len(truth - found), len(found - truth)


def found_by_servicescan(output):
    """An SNMP agent counts as found with the right object identifier only."""
    return {(node["ipAddress"], service["service"]) for node in json.loads(output)["nodes"] for service in node["services"]
            if service["successful"] and (service["service"] != "snmp" or service["systemObjectID"].lstrip(".") == OBJECT_ID)}


def limit(program, room, targets, truth, services, name="limit"):
    def found(output):
        counts = {service: int(count) for service, count in (line.split() for line in output.splitlines())}
        return {service: count for service, count in counts.items() if service in services}
    return Contender(name, [program, room, targets], found, truth)


def servicescan(program, targets, truth, *options, name="servicescan", prefix=()):
    return Contender(name, [*prefix, program, "-j", "-t", targets, *options], found_by_servicescan, truth)


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


def nmap(services, truth, measure):
    """With the tuning that misses least, and of those the fastest."""
    def cost(tuning):
        run = Run(nmap_command(services, tuning), measure)
        run.compare(truth, found_by_nmap(run.output) & truth)
        return run.missed, run.wall
    return Contender("nmap", nmap_command(services, min(NMAP_TUNINGS, key=cost)),
                     lambda output: {finding for finding in found_by_nmap(output) if finding[1] in services}, truth)


def fping(truth):
    """As patient as the others: two tries, a second each; and at the pace that it allows root."""
    return Contender("fping", ["fping", "-a", "-q", "-i", "0", "-r", "1", "-t", "1000", "-B", "1", "-f", STATE / "addresses"],
                     lambda output: {(address, "ping") for address in output.split()}, truth)


def curl(services, hosts, truth):
    """All URLs from one process, as many at once as it can; it prints a line for each that answered."""
    configuration = STATE / "curl"
    configuration.write_text("".join(f'url = "{service}://{address}/"\noutput = "/dev/null"\n'
                                     for address, _ in hosts for service in services))
    command = ["curl", "-s", "-Z", "--parallel-max", "300", "--parallel-immediate", "-k", "--connect-timeout", "2",
               "-w", "%{http_code} %{remote_ip} %{scheme}\\n", "-K", configuration]
    def found(output):
        lines = [line.split() for line in output.splitlines()]
        return {(words[1], words[2].lower()) for words in lines if len(words) == 3 and words[0] == "200"}
    return Contender(f"curl -Z, {' and '.join(services)}", command, found, truth)
