# SPDX-License-Identifier: Apache-2.0
"""What this system wants to reach, as ratios in one run where there is something to compare with."""
import typing


class Goal(typing.NamedTuple):
    figure: str
    text: str
    at_most: float
    unit: str = ""

    def is_met(self, value):
        return value <= self.at_most

    def show(self, value):
        digits = 0 if abs(value) >= 100 or value == int(value) else 3 if abs(self.at_most - 1) < 0.01 else 2
        return f"{value:.{digits}f}{self.unit}"


# The reference took 1.0 microseconds at the median and 9 at the 90th percentile, on another machine.
CRON_REFERENCE_NS = (1000, 9000)

GOALS = [
    Goal("answering_wall_x_limit", "servicescan, 1,000 hosts x 5 services, all answering: time over the limit's", 1.3, unit=" x"),
    Goal("answering_cpu_x_limit", "the same: processor time over the limit's", 1.4, unit=" x"),
    Goal("answering_missed", "the same: services missed in any run", 0),
    Goal("answering_wall_x_nmap", "the same: time over nmap's", 1 / 7, unit=" x"),
    Goal("answering_wall_x_curl", "the same: time over that of `curl -Z` for http and https alone", 1.0, unit=" x"),
    Goal("few_wall_x_limit", "servicescan, 64 hosts x 5 services: time over the limit's", 1.5, unit=" x"),
    Goal("alone_http_wall_x_curl", "servicescan, 1,000 hosts, http alone: time over that of `curl -Z`", 1.0, unit=" x"),
    Goal("alone_https_wall_x_curl", "https alone: time over that of `curl -Z`", 1.0, unit=" x"),
    Goal("alone_ping_wall_x_fping", "ping alone: time over fping's", 1.5, unit=" x"),
    Goal("alone_sip_wall_x_limit", "sip alone, 70 % of the limit's rate: time over the limit's", 1 / 0.70, unit=" x"),
    Goal("alone_snmp_wall_x_limit", "snmp alone, 70 % of the limit's rate: the same", 1 / 0.70, unit=" x"),
    Goal("alone_http_wall_x_limit", "http alone, 75 % of the limit's rate: the same", 1 / 0.75, unit=" x"),
    Goal("alone_https_wall_x_limit", "https alone, 85 % of the limit's rate: the same", 1 / 0.85, unit=" x"),
    Goal("silent_wall_x_limit", "servicescan, 1,000 hosts x 5 services, one in ten silent: time over the limit's", 1.3, unit=" x"),
    Goal("silent_wall_x_nmap", "the same: time over nmap's", 1 / 7, unit=" x"),
    Goal("silent_missed", "the same: services missed in any run", 0),
    Goal("mixed_patient_beyond_waiting_x_limit",
         "servicescan --patient, silent and absent hosts: time beyond tries x time-out, over the limit's for the live hosts", 1.3, unit=" x"),
    Goal("mixed_wall", "servicescan on the same LAN, time-outs adapted", 1.6, unit=" s"),
    Goal("mixed_missed", "the same: services missed in any of 20 runs", 0),
    Goal("many_missed", "servicescan, 4,000 hosts and room for 1,024 neighbours: services missed in any run", 0),
    Goal("many_wall_x_room", "the same: time over that with room for all", 2, unit=" x"),
    Goal("many_mib", "the same: memory at the peak", 30, unit=" MiB"),
    Goal("many_plain_mib", "the same without https", 10, unit=" MiB"),
    Goal("sync_1k_x_limit", "a sync of 1,000 nodes, text in to text out: time over the limit's", 2, unit=" x"),
    Goal("sync_10k_x_limit", "of 10,000 nodes", 2, unit=" x"),
    Goal("sync_100k_x_limit", "of 100,000 nodes", 2, unit=" x"),
    Goal("sync_growth", "a sync's time a node: 100,000 nodes over 1,000", 2, unit=" x"),
    Goal("export_growth", "an export's: the same", 1.2, unit=" x"),
    Goal("removal_growth", "a removal's, whatever the order: the same", 8, unit=" x"),
    Goal("removal_seconds", "removing 100,000 nodes in any order", 0.2, unit=" s"),
    Goal("changes_percent", "an export of ten changes among 100,000 nodes: share of a full one", 2, unit=" %"),
    Goal("comparison_percent_of_sync", "telling whether a service update changes anything, worst of three sizes: share of a sync's time a node", 5, unit=" %"),
    Goal("comparison_percent_of_texts", "the same: share of what comparing the node's texts takes", 5, unit=" %"),
    Goal("sync_bytes_a_node", "memory a node of three services", 350, unit=" bytes"),
    Goal("sync_bytes_a_node_armhf", "on 32-bit ARM", 240, unit=" bytes"),
    Goal("sync_peak_x_text", "a sync's passing memory: times its text", 3, unit=" x"),
    Goal("spawn_x_limit", "a command from start to end: time over that of posix_spawn and a pipe", 1.15, unit=" x"),
    Goal("spawn_large_x_small", "from a parent of 200 MB: time over that from a small one", 1.1, unit=" x"),
    Goal("spawn_output_x_limit", "10 MB of output at 80 % of the raw loop's rate: time over its", 1 / 0.8, unit=" x"),
    Goal("nodescan_share_of_allowance", "a node scan over its child: share of 2 ms and a microsecond a line", 1.0),
    Goal("nodescan_x_arpscan", "a node scan over arp-scan of a /20", 1.002, unit=" x"),
    Goal("agent_more_wakeups", "idle agent: wake-ups in 62 s beyond those of a bare timer loop of 15 s", 1),
    Goal("agent_more_kib", "idle agent: anonymous memory beyond that of the bare loop", 1024, unit=" KiB"),
    Goal("agent_start_ms", "agent: from its start to its first answer", 50, unit=" ms"),
    Goal("library_kb", "the library, stripped, -O2", 300, unit=" kB"),
    Goal("library_armhf_kb", "the library, stripped, 32-bit ARM, -Os", 200, unit=" kB"),
    Goal("servicescan_kb", "servicescan, stripped", 150, unit=" kB"),
    Goal("cron_next_median_ns", "cron_next at the median: a quarter of the reference", CRON_REFERENCE_NS[0] / 4, unit=" ns"),
    Goal("cron_next_p90_ns", "cron_next at the 90th percentile: the same", CRON_REFERENCE_NS[1] / 4, unit=" ns"),
]
