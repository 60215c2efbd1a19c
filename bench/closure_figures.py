#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""What each of our packages brings onto a device: closure_figures.py [--architecture NAME] [--json] [--limit PACKAGE:MB]... FOLDER

FOLDER holds our .deb files of one architecture, or of several. Of each package it adds up the installed sizes of all packages
that it needs, directly or not, and its own, without the C and C++ libraries, and without systemd. They are read from dpkg's records: this machine's, or for another architecture those of the sysroot that
scripts/sysroot-armhf made. Fails when a package is larger than its limit.
"""
import argparse
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BASE = ("libc6", "libstdc++6")
# A device has it, or something else in its place; what it needs itself may well be what only we bring.
NOT_COUNTED = ("systemd", "init-system-helpers")


def parse(text):
    """The records of a file of control fields: name -> fields."""
    records = {}
    for paragraph in text.strip().split("\n\n"):
        fields = dict(re.findall(r"^([\w-]+): ?(.*(?:\n[ \t].*)*)", paragraph, re.M))
        records[fields["Package"]] = fields
    return records


def records_of(architecture):
    own = subprocess.check_output(["dpkg", "--print-architecture"], text=True).strip()
    folder = pathlib.Path("/var/lib/dpkg") if architecture == own else ROOT / f"build/sysroot-{architecture}/var/lib/dpkg"
    if not (folder / "status").exists():
        sys.exit(f"closure_figures: {folder}/status: not there (scripts/sysroot-{architecture} makes it)")
    return {name: fields for name, fields in parse((folder / "status").read_text()).items()
            if fields.get("Status", "").endswith(" installed")}


def closure(names, records):
    """All packages that these need, themselves among them. Of alternatives the first that is there counts."""
    wanted, found = list(names), set()
    while wanted:
        name = wanted.pop()
        if name in found or name in NOT_COUNTED:
            continue
        found.add(name)
        needs = ", ".join(filter(None, (records[name].get(field) for field in ("Pre-Depends", "Depends"))))
        for need in filter(None, needs.split(",")):
            alternatives = [re.match(r"\s*([^\s:(]+)", alternative)[1] for alternative in need.split("|")]
            present = [alternative for alternative in alternatives if alternative in (*records, *NOT_COUNTED)]
            if not present:
                sys.exit(f"closure_figures: {name} needs {need.strip()}, of which dpkg's records know nothing")
            wanted.append(present[0])
    return found


def measure(folder, architecture_wanted):
    """Rows of one architecture after the other: our packages, what they bring, and of what that consists."""
    ours = {}
    for path in sorted(folder.glob("*.deb")):
        [fields] = parse(subprocess.check_output(["dpkg-deb", "--field", str(path)], text=True)).values()
        if architecture_wanted in (None, fields["Architecture"]):
            ours.setdefault(fields["Architecture"], {})[fields["Package"]] = fields
    rows = []
    for architecture, packages in ours.items():
        records = {**records_of(architecture), **packages}
        base = closure(BASE, records)
        for name in packages:
            if name.endswith("-dev"):
                continue
            sizes = {one: int(records[one]["Installed-Size"]) for one in closure([name], records) - base}
            parts = dict(sorted(sizes.items(), key=lambda item: -item[1]))
            rows.append({"package": name, "architecture": architecture, "kilobytes": sum(sizes.values()), "parts": parts})
    return rows


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--architecture", help="only this one of those in the folder")
    parser.add_argument("--json", action="store_true")
    parser.add_argument("--limit", action="append", default=[], metavar="PACKAGE:MB")
    arguments = parser.parse_args()
    rows = measure(arguments.folder, arguments.architecture)
    if not rows:
        sys.exit(f"closure_figures: {arguments.folder}: no packages")
    if arguments.json:
        print(json.dumps(rows))
    else:
        for row in rows:
            parts = ", ".join(f"{name} {size / 1024:.1f}" for name, size in row["parts"].items())
            print(f"{row['package']} {row['architecture']}: {row['kilobytes'] / 1024:.1f} MB ({parts})")
    limits = dict(limit.split(":") for limit in arguments.limit)
    for row in rows:
        if row["package"] in limits and row["kilobytes"] > float(limits[row["package"]]) * 1024:
            sys.exit(f"closure_figures: {row['package']} ({row['architecture']}) is larger than {limits[row['package']]} MB")


if __name__ == "__main__":
    main()
