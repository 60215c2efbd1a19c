# SPDX-License-Identifier: Apache-2.0
"""A switch with hosts and one scanning machine, a namespace each, inside whatever namespace this runs in."""
import subprocess


class Namespace:
    """Lives as long as a process of its own, which ends with this one."""

    def __init__(self):
        self._keeper = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "unshare", "--net", "sh", "-c",
                                         "echo; exec sleep 1000"], stdout=subprocess.PIPE)
        self._keeper.stdout.readline()
        self.pid = self._keeper.pid

    def enter(self, command):
        return ["nsenter", "--net", "--target", str(self.pid), *map(str, command)]

    def command(self, *arguments):
        return subprocess.run(self.enter(["ip", *arguments]), check=True, stdout=subprocess.PIPE).stdout.decode()

    def nft(self, rules):
        return subprocess.run(self.enter(["nft", rules]), check=True, stdout=subprocess.PIPE).stdout.decode()

    def remove(self):
        self._keeper.kill()
        self._keeper.wait()
        self._keeper.stdout.close()


class Host(Namespace):
    def sleep_through(self, requests):
        """Does not hear the next ARP requests."""
        self.nft("table arp asleep { chain input { type filter hook input priority 0; arp operation request "
                 f"limit rate over 1/hour burst {requests} packets accept; arp operation request drop; }}; }}")


class Switch:
    """The device's interface is eth0, with the given address and prefix; more LANs are more interfaces."""
    _count = 0

    def __init__(self, address):
        Switch._count += 1
        self._bridge = f"switch{Switch._count}"
        self._ports = 0
        self._prefix = address.partition("/")[2]
        self.hosts = {}
        self._ip("link", "add", self._bridge, "type", "bridge", "forward_delay", "0", "mcast_snooping", "0")
        self._ip("link", "set", self._bridge, "addrgenmode", "none", "up")
        self._device = Namespace()
        self._device.command("link", "set", "lo", "up")
        self._plug(self._device, "02:99:00:00:00:01", address)

    @staticmethod
    def _ip(*arguments):
        subprocess.run(["ip", *arguments], check=True)

    def _plug(self, namespace, mac, address):
        self._ports += 1
        port = f"{self._bridge}p{self._ports}"
        self._ip("link", "add", port, "type", "veth", "peer", "name", "eth0", "netns", str(namespace.pid))
        self._ip("link", "set", port, "addrgenmode", "none", "master", self._bridge, "up")
        namespace.command("link", "set", "eth0", "addrgenmode", "none", "address", mac, "up")
        namespace.command("address", "add", address, "broadcast", "+", "dev", "eth0")

    def add_host(self, address):
        host = Host()
        host.mac = f"02:00:5e:10:{self._ports >> 8:02x}:{self._ports & 255:02x}"
        host.command("link", "set", "lo", "up")
        self._plug(host, host.mac, f"{address}/{self._prefix}")
        self.hosts[address] = host
        return host

    def device(self, *arguments):
        """Runs ip on the device."""
        return self._device.command(*arguments)

    def run(self, command, **options):
        """Runs a command on the device."""
        return subprocess.run(self._device.enter(command), stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)

    def start(self, command, **options):
        return subprocess.Popen(self._device.enter(command), **options)

    def remove(self):
        for namespace in (*self.hosts.values(), self._device):
            namespace.remove()
        self._ip("link", "delete", self._bridge)
