#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""What the worst legal messages cost in memory: bench/message_figures.py BUILD_FOLDER [--armhf FOLDER]

Messages of 1, 4 and 16 MiB of each kind that a server could send to cost much: the most that the agent held of the heap
meanwhile, and what it still holds afterwards; with --armhf also of what was built there for 32-bit ARM, under an emulator.
"""
import pathlib

from report import Report, arguments, lines_of

SYSROOT = pathlib.Path(__file__).resolve().parent.parent / "build/sysroot-armhf"
PROGRAM = "bench/messages/message-memory"
MEBIBYTE = 1 << 20


def measure(*command):
    """Peak and rest in bytes by kind and by size in MiB, the size as the limit that just lets the message pass."""
    return {(" ".join(kind).removesuffix(" (refused)"), -(-int(size) // MEBIBYTE)): (int(peak), int(kept))
            for size, *kind, peak, kept in lines_of(*map(str, command))}


def in_megabytes(figures):
    return " ".join(f"{value / 1e6:.0f}" for value in figures)


options = arguments(__doc__, armhf={"type": pathlib.Path, "metavar": "FOLDER", "help": "a build for 32-bit ARM"})
machines = {"64 bits": measure(options.build / PROGRAM)}
if options.armhf:
    machines["32 bits"] = measure("qemu-arm-static", "-L", SYSROOT, options.armhf / PROGRAM)
kinds = {kind: None for kind, _ in machines["64 bits"]}
sizes = sorted({size for _, size in machines["64 bits"]})
columns = ["", *(f"{size} MiB, {machine}" for machine in machines for size in sizes)]
rows = [[kind, *(in_megabytes(measured[kind, size]) for measured in machines.values() for size in sizes)] for kind in kinds]
worst = [f"{max(measured[kind, size][0] for kind in kinds) / 1e6:.0f}" for measured in machines.values() for size in sizes]
report = Report()
report.add_table("Messages of the worst kinds, megabytes of the heap: at the peak, and kept", columns, [*rows, ["worst peak", *worst]])
report.finish(options.json)
