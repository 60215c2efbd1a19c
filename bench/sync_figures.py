#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""What the node list costs: bench/sync_figures.py BUILD_FOLDER [--armhf FOLDER]

A sync from text in to text out beside the limit, a program of simdjson and a compact table that answers the same, and
beside what one would write by hand with a JSON library; exports, updates and removals as the list grows; bytes a node,
with --armhf also of what was built there for 32-bit ARM, under an emulator.
"""
import pathlib
import re
import subprocess

from report import Report, arguments

SYSROOT = pathlib.Path(__file__).resolve().parent.parent / "build/sysroot-armhf"
KEPT = r"bytes a node, kept +([\d.]+)"


def kept_on_armhf(build):
    command = ["qemu-arm-static", "-L", SYSROOT, build / "bench/sync/sync-bench", "memory"]
    return float(re.search(KEPT, subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout)[1])


options = arguments(__doc__, armhf={"type": pathlib.Path, "metavar": "FOLDER", "help": "a build for 32-bit ARM"})
bench = options.build / "bench/sync/sync-bench"


def run(*words):
    return subprocess.run([bench, *words], stdout=subprocess.PIPE, text=True, check=True).stdout


def times_of(output):
    """As sync-bench writes them: a name, and columns two blanks or more apart from it; ours comes before what is by hand."""
    rows = [re.split(r"  +", line.strip().replace(" x", "x")) for line in output.splitlines() if re.search(r"\S  +\S", line)]
    return [row for row in rows if len(row) in (4, 5)]


output = run("limit") + run("memory") if options.short else run()
times = times_of(output)
sync = next(([float(word.rstrip("x")) for word in row[1:]] for row in times if row[0] == "times the limit"), None)
kept = re.search(KEPT, output)
peak = re.search(r"times its text +([\d.]+)", output)
by_hand = re.findall(r"by hand with (.+)\n.*kept +([\d.]+)\n.*times its text +([\d.]+)", output)
changes = re.search(r"changes-only export .*, ([\d.]+) %", output)
report = Report()
on_armhf = kept_on_armhf(options.armhf) if options.armhf else None
header, *body = times
report.add_table("The node list, nanoseconds a node", ["", *header[1:]], [[*row, ""][:len(header)] for row in body], [
    f"kept of 100,000 nodes: {kept[1]} bytes a node; a sync's most beyond that: {peak[1]} times its text",
    *([f"kept on 32-bit ARM: {on_armhf} bytes a node"] if on_armhf else []),
    *(f"by hand with {name}: {bytes_a_node} bytes a node, and {times_text} times the text" for name, bytes_a_node, times_text in by_hand),
    *([f"export of ten changes among 100,000: {changes[1]} % of a full one"] if changes else [])])
if not options.short:
    warm_header, *warm = times_of(run("warm"))
    report.add_table("A sync on a heap that keeps what it got, nanoseconds a node", ["", *warm_header[1:]],
                     [[*row, ""][:len(warm_header)] for row in warm],
                     ["no goal; without this, two fifths of what the limit takes for 1,000 nodes is for memory that is new to the process"])
report.add_figures(sync_bytes_a_node=float(kept[1]), sync_peak_x_text=float(peak[1]))
if on_armhf:
    report.add_figures(sync_bytes_a_node_armhf=on_armhf)
if sync:
    report.add_figures(sync_1k_x_limit=sync[0], sync_10k_x_limit=sync[1])
    if len(sync) > 2:
        report.add_figures(sync_100k_x_limit=sync[2])
# Growth is the last of five columns; of removals the worst of the three orders counts.
growth = {row[0]: float(row[4].rstrip("x")) for row in times if len(row) == 5 and re.fullmatch(r"[\d.]+x", row[4])}
if "export of all" in growth:
    removals = [row for row in times if row[0].startswith("removal")]
    report.add_figures(sync_growth=growth["sync"], export_growth=growth["export of all"],
                       removal_growth=max(growth[row[0]] for row in removals),
                       removal_seconds=max(float(row[3]) for row in removals) * 100_000 / 1e9)
# What telling a change takes, beside a comparison by texts and beside a sync; the worst size counts.
nanoseconds = {row[0]: [float(word) for word in row[1:4]] for row in body if len(row) == 5}
if texts := nanoseconds.get("the two texts that a comparison would need"):
    update = nanoseconds["service update without a change"]
    comparison = [whole - find for whole, find in zip(update, nanoseconds["of which to find the node"])]
    share = lambda others: max(100 * mine / other for mine, other in zip(comparison, others))
    report.add_figures(comparison_percent_of_sync=share(nanoseconds["sync"]), comparison_percent_of_texts=share(texts))
if changes:
    report.add_figures(changes_percent=float(changes[1]))
report.finish(options.json)
