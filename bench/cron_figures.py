#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""What cron_next costs: bench/cron_figures.py BUILD_FOLDER

The median and the 90th percentile over expressions as people write them. Debian has no package of the library that it
stands in for, so the yardstick of the same run is the C library's way to turn a time into a date and back.
"""
import json
import subprocess

from report import Report, arguments

options = arguments(__doc__)
output = subprocess.run([options.build / "bench/cron-bench", "--benchmark_format=json", "--benchmark_repetitions=5",
                         f"--benchmark_min_time={0.02 if options.short else 0.2}"],
                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
found = {run["name"]: run for run in json.loads(output)["benchmarks"] if run.get("aggregate_name") == "median"}
parse, following, yardstick = (found[f"{name}_median"] for name in ("CronParse", "CronNext", "CTime"))
row = lambda name, run: [name, *(f"{run[f'{what}_ns']:.0f}" for what in ("median", "p90", "max"))]
report = Report()
report.add_table("Cron specifications, nanoseconds a call (medians of 5)", ["", "median", "p90", "slowest"], [
    row("cron_next", following), row("cron_parse_expr", parse), ["gmtime_r and timegm", f"{yardstick['real_time']:.0f}", "", ""]],
    ["median, p90 and slowest of 20 expressions, each with 200 dates of 30 years"])
report.add_figures(cron_next_median_ns=following["median_ns"], cron_next_p90_ns=following["p90_ns"],
                   cron_next_x_ctime=following["median_ns"] / yardstick["real_time"])
report.finish(options.json)
