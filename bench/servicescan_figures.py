#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""Figures of servicescan beside the fastest that there is: bench/servicescan_figures.py BUILD_FOLDER

Runs servicescan, the limit program (one epoll loop with the same probes), nmap, fping and curl one after another on the same
LAN, several times, and prints medians: time on the clock, processor time, memory at the peak, and what each missed or
invented. Needs root and `scripts/setup bench`. bench/README.md says how to read it.
"""
import json
import os
import pathlib
import shlex
import statistics
import subprocess
import sys
import time

import contenders
from contenders import PORTS, STATE
from report import Report, arguments, ratio

HERE = pathlib.Path(__file__).resolve().parent
ALL = [list(PORTS)]
EACH = [[name] for name in PORTS]
TIMEOUT, TRIES = 1.0, 2
# How often servicescan looks for a service that it loses by waiting less than it could.
RUNS_FOR_LOSSES = 20
# Into as many parts 4,000 hosts are divided so that each fits into the kernel's table of neighbours.
PARTS = 5

# name: (options of the LAN, the groups of services to ask for one after another, what it is)
SCENARIOS = {
    "answering": (["--hosts", "1000"], ALL, "1,000 hosts x 5 services, all answering"),
    "few": (["--hosts", "64"], ALL, "64 hosts x 5 services, all answering"),
    "alone": (["--hosts", "1000"], EACH, "1,000 hosts, all answering"),
    "mixed": (["--hosts", "1000", "--silent", "10", "--absent", "19", "--closed", "9"], ALL,
              "1,000 hosts x 5 services, of which 100 silent, 47 absent and 95 with closed ports"),
    "many": (["--hosts", "4000"], [list(PORTS), [name for name in PORTS if name != "https"]],
             "4,000 hosts, all answering, neighbour table of 1,024"),
    "silent": (["--hosts", "1000", "--silent", "10"], ALL, "1,000 hosts x 5 services, one in ten silent"),
    "rsa": (["--hosts", "1000", "--silent", "10", "--certificate", "rsa"], ALL,
            "1,000 hosts x 5 services, one in ten silent, RSA certificates"),
    "short": (["--hosts", "300"], ALL, "300 hosts x 5 services, all answering"),
}
# nmap takes minutes where hosts are many.
WITH_NMAP = ["answering", "alone", "silent"]


class Lan:
    """The hosts as bench/lan/lan tells, and the files that name them to the contenders."""

    def __init__(self):
        self.hosts = [line.split("\t") for line in pathlib.Path(os.environ["LAN_HOSTS"]).read_text().splitlines()]

    def truth(self, services, hosts=None):
        """What a faultless scan finds: a host with closed ports answers ping."""
        return {(address, name) for address, kind in hosts or self.hosts for name in services
                if kind == "live" or (kind == "closed" and name == "ping")}

    def write_targets(self, services, name="targets", hosts=None):
        words = " ".join(f"{service}:{PORTS[service]}" for service in services)
        (STATE / name).write_text("".join(f"{address} {words}\n" for address, _ in hosts or self.hosts))
        (STATE / "addresses").write_text("".join(f"{address}\n" for address, _ in self.hosts))
        return STATE / name


def field(lan, scenario, services):
    """Who competes here: the limit first, servicescan second."""
    truth, targets = lan.truth(services), lan.write_targets(services)
    result = [contenders.limit(LIMIT, options.inside, targets, truth, services),
              contenders.servicescan(SERVICESCAN, targets, truth)]
    if scenario == "mixed":
        live = [host for host in lan.hosts if host[1] == "live"]
        clean = lan.write_targets(services, "clean", live)
        result += [contenders.servicescan(SERVICESCAN, targets, truth, "--patient", name="servicescan --patient"),
                   contenders.limit(LIMIT, options.inside, clean, lan.truth(services, live), services, "limit, live hosts alone")]
    if scenario == "many" and services == list(PORTS):
        result.append(in_parts(lan, services))
    if options.alone:
        return result
    if scenario in WITH_NMAP:
        result.append(contenders.nmap(services, truth, MEASURE))
    if services == ["ping"]:
        result.append(contenders.fping(truth))
    if services in (["http"], ["https"]):
        result.append(contenders.curl(services, lan.hosts, truth))
    if scenario == "answering":
        web = ["http", "https"]
        result.append(contenders.curl(web, lan.hosts, lan.truth(web)))
    return result


def in_parts(lan, services):
    """servicescan with room for all, without a raised limit of the neighbour table, which is one for the whole machine and is
    left as it is: every part of the hosts fits into the table, which is emptied between them."""
    parts = []
    for number in range(PARTS):
        hosts = lan.hosts[number::PARTS]
        targets = lan.write_targets(services, name=f"part{number}", hosts=hosts)
        parts.append(contenders.servicescan(SERVICESCAN, targets, lan.truth(services, hosts)))
    return contenders.Parts(f"servicescan, in {PARTS} parts", parts)


def table(report, title, rows):
    best = rows[0]
    body = [[row.name, f"{statistics.median(row.figures('wall')):.3f}", f"{ratio(row.figures('wall'), best.figures('wall')):.2f}",
             f"{statistics.median(row.figures('cpu')):.3f}", f"{ratio(row.figures('cpu'), best.figures('cpu')):.2f}",
             f"{statistics.median(row.figures('memory')):.0f}", str(max(row.figures("missed"))), str(max(row.figures("invented")))]
            for row in rows]
    notes = ["missed and invented: the most of all runs"]
    if any(best.figures("missed")):
        notes.append("**The limit missed some itself, so its figures are no yardstick here: the machine was busy.**")
    for row in rows:
        statuses = f" (exit statuses {row.figures('status')})" if any(row.figures("status")) else ""
        notes.append(f"{row.name}: `{shlex.join(row.command)}`{statuses}")
    report.add_table(title, ["", "wall s", "x limit", "cpu s", "x limit", "KiB", "missed", "invented"], body, notes)


def add_figures(report, scenario, services, rows):
    """What the goals look at: of servicescan, and where others compete, of it over theirs."""
    best, ours = rows[:2]
    prefix = scenario if services == list(PORTS) else f"{scenario}_{services[0]}" if len(services) == 1 else f"{scenario}_plain"
    figures = {"wall_x_limit": ratio(ours.figures("wall"), best.figures("wall")),
               "cpu_x_limit": ratio(ours.figures("cpu"), best.figures("cpu")),
               "missed": max(ours.figures("missed")), "wall": statistics.median(ours.figures("wall")),
               "mib": statistics.median(ours.figures("memory")) / 1024}
    figures |= {f"wall_x_{row.name.split()[0]}": ratio(ours.figures("wall"), row.figures("wall"))
                for row in rows[2:] if row.name.startswith(("nmap", "fping", "curl"))}
    named = {row.name: row for row in rows}
    if patient := named.get("servicescan --patient"):
        clean = statistics.median(named["limit, live hosts alone"].figures("wall"))
        figures["patient_beyond_waiting_x_limit"] = (statistics.median(patient.figures("wall")) - TRIES * TIMEOUT) / clean
        figures["patient_missed"] = max(patient.figures("missed"))
    if room := named.get(f"servicescan, in {PARTS} parts"):
        figures["wall_x_room"] = ratio(ours.figures("wall"), room.figures("wall"))
    report.add_figures(**{f"{prefix}_{name}": value for name, value in figures.items()})


def measure(scenario, pairs):
    lan, report = Lan(), Report()
    _, groups, title = SCENARIOS[scenario]
    for services in groups:
        rows = field(lan, scenario, services)
        for number in range(pairs):
            for row in rows if number % 2 == 0 else reversed(rows):
                row.run(MEASURE)
        if scenario == "mixed" and not options.short:
            for _ in range(RUNS_FOR_LOSSES - pairs):
                rows[1].run(MEASURE)
        asked = "" if groups is ALL else ": " + (", ".join(services))
        table(report, f"{title}{asked} (medians of {pairs}; {len(lan.truth(services))} answers to find)", rows)
        add_figures(report, scenario, services, rows)
    report.finish(True)


def room_for_neighbours():
    """The kernel's table of neighbours is one for all namespaces: waits until others have left it."""
    size = int(pathlib.Path("/proc/sys/net/ipv4/neigh/default/gc_thresh3").read_text())
    def entries():
        return int(pathlib.Path("/proc/net/stat/arp_cache").read_text().splitlines()[1].split()[0], 16)
    deadline = time.monotonic() + 30
    while entries() > 20 and time.monotonic() < deadline:
        time.sleep(0.5)
    if entries() > 20:
        print(f"Others hold {entries()} of this machine's {size} neighbours: figures may suffer.", file=sys.stderr)
    return size - entries() - 4


def run_scenario(name, report):
    again = [sys.executable, "-B", __file__, options.build, "--inside", str(room_for_neighbours()), "--pairs", str(options.pairs),
             "--scenario", name, *(["--alone"] if options.alone else []), *(["--short"] if options.short else [])]
    command = [HERE / "lan/lan", *SCENARIOS[name][0], options.build, *again]
    report.merge(json.loads(subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout))


options = arguments(
    __doc__,
    scenario={"action": "append", "choices": SCENARIOS, "help": "only this one (repeatable)"},
    pairs={"type": int, "default": 5, "help": "how often each runs"},
    alone={"action": "store_true", "help": "servicescan and the limit only, without nmap, fping and curl"},
    inside={"metavar": "ROOM", "help": "(for its own use: on the LAN's client)"})
LIMIT = options.build / "bench/limit/limit"
SERVICESCAN = options.build / "tools/bin/servicescan"
MEASURE = options.build / "bench/lan/measure"
if options.inside:
    measure(options.scenario[0], options.pairs)
else:
    options.alone |= options.short
    everything = Report()
    for scenario in options.scenario or (["short"] if options.short else [name for name in SCENARIOS if name != "short"]):
        run_scenario(scenario, everything)
    everything.finish(options.json)
