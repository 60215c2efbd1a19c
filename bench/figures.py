#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""All figures, beside the goals: bench/figures.py BUILD_FOLDER [--short|--record] [--write FILE] [--armhf FOLDER] [GROUP…]

Runs the command of each group, prints its tables and which goals are met, and with --write makes the document of it.
With --short only figures that show a regression are measured and compared with bench/expected.json; --record keeps
today's there. scripts/bench builds and sets up what this needs.
"""
import argparse
import datetime
import json
import os
import pathlib
import subprocess
import sys

import regression
from goals import GOALS
from report import machine, markdown

HERE = pathlib.Path(__file__).resolve().parent
SANDBOX = HERE.parent / "tests/system/sandbox"
# group: (what it is about, what runs it, further arguments of the long form)
GROUPS = {
    "servicescan": ("servicescan beside the limit, nmap, fping and curl", [], []),
    "sync": ("The node list", [], []),
    "spawn": ("Commands", [], []),
    "nodescan": ("Node scans", [SANDBOX], ["--real"]),
    "agent": ("The idle agent", [SANDBOX], []),
    "size": ("Sizes", [], []),
    "cron": ("Cron specifications", [], []),
}
ON_ARMHF_TOO = ["sync", "size"]
INTRODUCTION = """# Performance

What this system reaches and what it wants to reach. `scripts/bench` wrote this page; [bench/README.md](../bench/README.md) says how
each figure is obtained. Most of them are ratios to a limit, a tight program that does nothing but the same input and
output, measured in the same run.
"""


def command(group, *words):
    _, prefix, more = GROUPS[group]
    if options.armhf and group in ON_ARMHF_TOO:
        more = [*more, "--armhf", options.armhf]
    more = [] if "--short" in words else more
    return [*prefix, HERE / f"{group}_figures.py", options.build, *more, *words]


def measure(group, *words):
    return json.loads(subprocess.run(command(group, "--json", *words), stdout=subprocess.PIPE, check=True).stdout)


def measure_shortly(group):
    return measure(group, "--short")


def compare(figures):
    """The goals that these figures are about, as a table."""
    rows = [[goal.text, f"at most {goal.show(goal.at_most)}", goal.show(figures[goal.figure]), "met" if goal.is_met(figures[goal.figure]) else "**missed**"]
            for goal in GOALS if goal.figure in figures]
    return {"title": "Goals", "columns": ["", "goal", "measured", ""], "rows": rows, "notes": []}


def shown_command(group):
    words = [str(word) for word in command(group)]
    return " ".join(os.path.relpath(word, HERE.parent) if word.startswith("/") else word for word in words)


def document(reports, goals):
    parts = [INTRODUCTION, f"Measured on {datetime.date.today():%d %B %Y}: {machine()}.\n", markdown(goals)]
    for group, report in reports.items():
        parts += [f"## {GROUPS[group][0]}\n", f"`{shown_command(group)}`\n", *map(markdown, report["tables"])]
    return "\n".join(parts)


def measure_all(groups):
    reports, figures = {}, {}
    for group in groups:
        print(f"\n{GROUPS[group][0]}\n", flush=True)
        reports[group] = measure(group)
        figures |= reports[group]["figures"]
        print("\n".join(map(markdown, reports[group]["tables"])), flush=True)
    goals = compare(figures)
    if goals["rows"]:
        print(markdown(goals))
    return reports, goals


parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
parser.add_argument("build", type=lambda text: pathlib.Path(text).resolve())
parser.add_argument("groups", nargs="*", metavar="GROUP", choices=[*GROUPS, []], help="one of: " + " ".join(GROUPS))
parser.add_argument("--short", action="store_true")
parser.add_argument("--record", action="store_true")
parser.add_argument("--write", type=pathlib.Path, metavar="FILE")
parser.add_argument("--armhf", type=lambda text: pathlib.Path(text).resolve(), metavar="FOLDER", help="what was built for 32-bit ARM")
options = parser.parse_intermixed_args()
if options.record or options.short:
    groups = options.groups or list(json.loads(regression.EXPECTED.read_text()))
    if options.record:
        regression.record(measure_shortly, groups)
    elif not regression.check(measure_shortly, groups):
        sys.exit(1)
else:
    reports, goals = measure_all(options.groups or GROUPS)
    if options.write:
        options.write.write_text(document(reports, goals))
