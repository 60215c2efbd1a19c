#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""What a node scan costs over its arp-scan: tests/system/sandbox bench/nodescan_figures.py BUILD_FOLDER [--real]

Runs the job of a node scan with a stand-in for arp-scan that prints 10, 4,000 and 60,000 nodes, and beside it the stand-in
alone; with --real the real arp-scan, too, on a network of 4,096 addresses without a host, which takes a minute.
"""
import subprocess

from report import Report, arguments, lines_of

SUBNET, DEVICE = "10.1.0.1/20", "kx0"
COLUMNS = ["nodes", "node scan", "command alone", "difference"]

options = arguments(__doc__, real={"action": "store_true", "help": "with the real arp-scan, too"})
bench = options.build / "bench/nodescan"
rounds = 5 if options.short else 31
figures = [[float(word) for word in line] for line in lines_of(bench / "nodescan-bench", "stand-in", bench / "bin", str(rounds))]
row = lambda line: [f"{line[0]:.0f}", *(f"{value:.2f}" for value in line[1:])]
report = Report()
report.add_table(f"A node scan over its child, milliseconds (medians of {rounds})", COLUMNS, list(map(row, figures)),
                 ["until all nodes are in a repository that was empty; the difference is the median of the pairs"])
# The allowance is 2 ms and a microsecond a line.
report.add_figures(nodescan_share_of_allowance=max(added / (2 + nodes / 1000) for nodes, _, _, added in figures),
                   nodescan_microseconds_a_line=figures[-1][3] * 1000 / figures[-1][0])
if options.real:
    subprocess.run(f"ip link add {DEVICE} type veth peer name kx1 && ip address add {SUBNET} dev {DEVICE}"
                   f" && ip link set {DEVICE} up && ip link set kx1 up", shell=True, check=True)
    real = [float(word) for word in lines_of(bench / "nodescan-bench", "real", DEVICE, "10.1.0.0/20")[0]]
    report.add_table("The same with the real arp-scan of a /20 without hosts (one pair)", COLUMNS, [row(real)])
    report.add_figures(nodescan_x_arpscan=real[1] / real[2])
report.finish(options.json)
