#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""Stripped sizes: bench/size_figures.py BUILD_FOLDER [--armhf FOLDER]

Of what was built with -O2, and with --armhf also of the libraries that were built there for 32-bit ARM with -Os.
"""
import os
import pathlib
import subprocess
import tempfile

from report import Report, arguments

LIBRARIES = ["discovery/libkxdiscovery.so", "platform/libkxplatform.so"]
PROGRAMS = ["agent/discovery-agent", "tools/bin/servicescan", "tools/bin/discovery-client", "tools/bin/discovery-responder"]


def stripped_kb(path, strip):
    with tempfile.NamedTemporaryFile() as copy:
        subprocess.run([strip, "-o", copy.name, path], check=True)
        return os.stat(copy.name).st_size / 1000


options = arguments(__doc__, armhf={"type": pathlib.Path, "metavar": "FOLDER", "help": "a build for 32-bit ARM"})
sizes = {path: stripped_kb(options.build / path, "strip") for path in LIBRARIES + PROGRAMS if (options.build / path).exists()}
report = Report()
report.add_table("Stripped sizes with -O2, kB", ["", "size"], [[path, f"{size:.0f}"] for path, size in sizes.items()])
report.add_figures(library_kb=sizes["discovery/libkxdiscovery.so"], platform_kb=sizes["platform/libkxplatform.so"],
                   servicescan_kb=sizes["tools/bin/servicescan"])
if options.armhf:
    small = {path: stripped_kb(options.armhf / path, "arm-linux-gnueabihf-strip") for path in LIBRARIES}
    report.add_table("Stripped sizes for 32-bit ARM with -Os, kB", ["", "size"], [[path, f"{size:.0f}"] for path, size in small.items()])
    report.add_figures(library_armhf_kb=small["discovery/libkxdiscovery.so"])
report.finish(options.json)
