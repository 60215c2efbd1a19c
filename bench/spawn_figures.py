#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""What starting a command costs: bench/spawn_figures.py BUILD_FOLDER

The library's runner and libuv's uv_spawn beside posix_spawn with a pipe, from a small parent and from one of 200 MB, and
with 10 MB of output. Prints medians of the time from start to end, and of the ratio to the limit round by round.
"""
from report import Report, arguments, lines_of

options = arguments(__doc__)
rounds = 150 if options.short else 600
found = {(what, who): (float(time), float(times)) for what, who, time, times in
         lines_of(options.build / "bench/spawn/spawn-bench", str(rounds))}
kinds = {"small": "/bin/true", "large": "/bin/true, parent of 200 MB", "output": "10 MB of output"}
report = Report()
report.add_table(f"A command from start to end, milliseconds ({rounds} rounds)", ["", *kinds.values()], [
    [name, *(f"{found[kind, who][0]:.2f} ({found[kind, who][1]:.2f} x)" for kind in kinds)]
    for name, who in (("posix_spawn and a pipe (limit)", "limit"), ("the library's runner", "runner"), ("libuv", "libuv"))],
    ["from the large parent over the small one, block by block: "
     + ", ".join(f"{name} {found['growth', who][1]:.2f} x" for name, who in (("limit", "limit"), ("runner", "runner"), ("libuv", "libuv")))])
report.add_figures(
    spawn_x_limit=found["small", "runner"][1],
    spawn_large_x_limit=found["large", "runner"][1],
    spawn_large_x_small=found["growth", "runner"][1],
    spawn_output_x_limit=found["output", "runner"][1])
report.finish(options.json)
