# SPDX-License-Identifier: Apache-2.0
"""What a command of this folder measured: tables to read, and figures by name for the comparison with the goals."""
import argparse
import json
import os
import pathlib
import platform
import statistics
import subprocess


class Report:
    def __init__(self):
        self.tables, self.figures = [], {}

    def add_table(self, title, columns, rows, notes=()):
        """Cells are texts; notes are lines below the table."""
        self.tables.append({"title": title, "columns": columns, "rows": rows, "notes": list(notes)})

    def add_figures(self, **figures):
        self.figures |= figures

    def merge(self, other):
        self.tables += other["tables"]
        self.figures |= other["figures"]

    def finish(self, as_json):
        print(json.dumps(vars(self)) if as_json else "\n".join(map(markdown, self.tables)), flush=True)


def markdown(table):
    """The table as one of Markdown that can be read as it is."""
    rows = [table["columns"], *table["rows"]]
    widths = [max(len(row[column]) for row in rows) for column in range(len(table["columns"]))]
    def line(cells):
        return "| " + " | ".join(cell.ljust(width) if index == 0 else cell.rjust(width)
                                 for index, (cell, width) in enumerate(zip(cells, widths))) + " |"
    rule = "|" + "|".join("-" * (width + 1) + ("-" if index == 0 else ":") for index, width in enumerate(widths)) + "|"
    notes = "".join(f"\n- {note}" for note in table["notes"])
    return "\n".join([f"**{table['title']}**", "", line(rows[0]), rule, *map(line, rows[1:])]) + ("\n" + notes if notes else "") + "\n"


def arguments(description, **more):
    """The command line that all commands share; `more` are further options as argparse wants them."""
    parser = argparse.ArgumentParser(description=description.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="where the preset bench was built")
    parser.add_argument("--json", action="store_true", help="print what figures.py collects")
    parser.add_argument("--short", action="store_true", help="only what tells a regression, in seconds")
    for name, options in more.items():
        parser.add_argument(f"--{name}", **options)
    options = parser.parse_args()
    options.build = options.build.resolve()
    return options


def lines_of(*command, **environment):
    """What a command printed, as lists of words."""
    output = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, env=dict(os.environ, **environment)).stdout
    return [line.split() for line in output.splitlines()]


def ratio(ours, others):
    """The median over pairs of what stands side by side."""
    return statistics.median(mine / other for mine, other in zip(ours, others))


def machine():
    model = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")), "")
    return f"{os.cpu_count()} cores ({model}), {platform.machine()}, kernel {platform.release()}"
