#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""The real servicescan against good servers and hostile ones: servicescan_test.py TOOL [unittest options]

Runs inside tests/system/sandbox: every address of 127.0.0.0/8 is a host, and those of 198.51.100.0/24 are silent.
"""
import itertools
import json
import os
import pathlib
import pty
import random
import resource
import shutil
import signal
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import warnings

TOOL = sys.argv.pop(1)
HANG_SECONDS = 60
# The wait in these tests, and what a busy machine may add to it.
TIMEOUT_MS = 300
SLACK_SECONDS = 3
QUICK = ("--timeout", str(TIMEOUT_MS))
PATIENT = ("--timeout", "5000")
HEAD = b"HTTP/1.1 200 OK\r\nServer: test\r\n\r\n"
SILENT = "198.51.100.1"
PING_GROUPS = pathlib.Path("/proc/sys/net/ipv4/ping_group_range")
NO_RIGHTS = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"]


class Server:
    """A socket and the thread that serves it until the test is over."""

    def __init__(self, test, kind, address, port):
        self.socket = socket.socket(socket.AF_INET, kind)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.socket.bind((address, port))
        if kind == socket.SOCK_STREAM:
            self.socket.listen(512)
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()
        test.addCleanup(self.end)

    def end(self):
        try:
            self.socket.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        # A datagram socket that is shut down may still wait; one more datagram wakes it.
        if self.socket.type == socket.SOCK_DGRAM:
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as waker:
                waker.sendto(b"", self.socket.getsockname())
        self.thread.join(5)
        self.socket.close()


class TcpServer(Server):
    """Each connection is handed to a function in a thread of its own; what is left of it is closed."""

    def __init__(self, test, address, port, talk):
        self.talk = talk
        self.most = 0
        self.open = 0
        self.lock = threading.Lock()
        super().__init__(test, socket.SOCK_STREAM, address, port)

    def serve(self):
        while True:
            try:
                connection = self.socket.accept()[0]
            except OSError:
                return
            threading.Thread(target=self.attend, args=(connection,), daemon=True).start()

    def attend(self, connection):
        with self.lock:
            self.open += 1
            self.most = max(self.most, self.open)
        try:
            self.talk(connection)
        except (OSError, ssl.SSLError, ValueError):
            pass
        with self.lock:
            self.open -= 1
        connection.close()


class UdpServer(Server):
    """Sends what a function makes of each request, perhaps from another socket; the times of the requests are kept."""

    def __init__(self, test, address, port, answer, source=None):
        self.answer = answer
        self.source = source
        self.times = []
        super().__init__(test, socket.SOCK_DGRAM, address, port)

    def serve(self):
        while True:
            try:
                request, sender = self.socket.recvfrom(65536)
                if not request:
                    return
                self.times.append(time.monotonic())
                for reply in self.answer(request):
                    (self.source or self.socket).sendto(reply, sender)
            except OSError:
                return


def flood(_):
    deadline = time.monotonic() + 2 * TIMEOUT_MS / 1000
    while time.monotonic() < deadline:
        yield b"\xff" * 1000


def answer_with(*pieces):
    def talk(connection):
        connection.recv(4096)
        for piece in pieces:
            connection.sendall(piece)
    return talk


def answer_for_ever(start, piece):
    def talk(connection):
        connection.sendall(start)
        while True:
            connection.sendall(piece)
    return talk


def drip(connection):
    for byte in itertools.cycle(HEAD[:-2]):
        connection.sendall(bytes([byte]))
        time.sleep(0.02)


def stay_silent(connection):
    while connection.recv(4096):
        pass


def reset(connection):
    connection.recv(4096)
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


def close_at_once(_):
    pass


def over_tls(context, talk):
    def secure(connection):
        with context.wrap_socket(connection, server_side=True) as wrapped:
            talk(wrapped)
    return secure


def element(tag, content):
    if len(content) < 128:
        return bytes([tag, len(content)]) + content
    return bytes([tag, 0x82]) + len(content).to_bytes(2, "big") + content


def take(data):
    """The content of the first element, and what follows it."""
    size, start = data[1], 2
    if size & 0x80:
        start += size & 0x7F
        size = int.from_bytes(data[2:start], "big")
    return data[start:start + size], data[start + size:]


def snmp(request, values=(element(4, b"Varnel 7"), element(6, bytes.fromhex("2b06010401868d1f07"))), shift=0, community=None):
    """The response to a GET of sysDescr.0 and sysObjectID.0, or none for another community."""
    _, rest = take(take(request)[0])
    asked, rest = take(rest)
    if community not in (None, asked):
        return []
    identity = int.from_bytes(take(take(rest)[0])[0], "big") + shift
    names = (bytes.fromhex("2b06010201010100"), bytes.fromhex("2b06010201010200"))
    pairs = b"".join(element(0x30, element(6, name) + value) for name, value in zip(names, values))
    head = element(2, identity.to_bytes(5, "big")[-4:]) + element(2, b"\0") * 2
    return [element(0x30, element(2, b"\1") + element(4, asked) + element(0xA2, head + element(0x30, pairs)))]


def sip(request, status="200 OK", headers="User-Agent: Varnel Phone 3\r\n", call_id=None):
    kept = [line for line in request.decode().split("\r\n") if line.split(":")[0] in ("Via", "From", "To", "Call-ID", "CSeq")]
    if call_id is not None:
        kept = [f"Call-ID: {call_id}" if line.startswith("Call-ID") else line for line in kept]
    return ["\r\n".join([f"SIP/2.0 {status}", *kept, f"{headers}Content-Length: 0\r\n\r\n"]).encode("latin-1")]


class ServiceScan(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def serve(self, address, port, talk):
        return TcpServer(self, address, port, talk)

    def reply(self, address, port, answer, source=None):
        return UdpServer(self, address, port, answer, source)

    def file(self, *lines):
        path = self.folder / "targets"
        path.write_bytes(b"".join(line.encode("utf-8", "surrogateescape") + b"\n" for line in lines))
        return path

    def run_tool(self, *arguments, prefix=(), **options):
        """Exit status, stdout and stderr, and how many seconds it took."""
        options = {"stdout": subprocess.PIPE, **options}
        start = time.monotonic()
        tool = subprocess.run([*prefix, TOOL, *map(str, arguments)], stdin=subprocess.DEVNULL, stderr=subprocess.PIPE,
                              timeout=HANG_SECONDS, **options)
        self.seconds = time.monotonic() - start
        return tool.returncode, (tool.stdout or b"").decode(), tool.stderr.decode()

    def scan(self, lines, *options, complaints="", **others):
        """The nodes of a scan that goes well."""
        status, output, errors = self.run_tool("-j", *options, "-t", self.file(*lines), **others)
        self.assertEqual((status, errors), (0, complaints))
        self.assertEqual((output.count("\n"), output[-1:]), (1, "\n"), output)
        return json.loads(output)["nodes"]

    def outcomes(self, lines, *options, **others):
        """For each line of one service, True or the reason why not."""
        nodes = self.scan(lines, *options, **others)
        self.assertEqual([node["ipAddress"] for node in nodes], [line.split()[0] for line in lines])
        return [service.get("reason", service["successful"]) for node in nodes for service in node["services"]]

    def assert_took(self, least_ms, most_ms):
        self.assertGreaterEqual(self.seconds, least_ms / 1000)
        self.assertLess(self.seconds, most_ms / 1000 + SLACK_SECONDS)


class Ping(ServiceScan):
    def setUp(self):
        super().setUp()
        groups = PING_GROUPS.read_text()
        try:
            PING_GROUPS.write_text(groups)
        except OSError:
            self.skipTest("a user namespace of one identity has no range of groups")
        self.addCleanup(PING_GROUPS.write_text, groups)

    def test_over_a_raw_socket(self):
        PING_GROUPS.write_text("1 0")
        self.assertEqual(self.outcomes(["127.0.0.1 ping:0", f"{SILENT} ping:0", "127.200.0.9 ping:7"], *QUICK),
                         [True, "No answer", True])
        self.assert_took(2 * TIMEOUT_MS, 2 * TIMEOUT_MS)

    def test_over_a_ping_socket_without_any_rights(self):
        PING_GROUPS.write_text("0 2147483647")
        lines = ["127.0.0.1 ping:0", f"{SILENT} ping:0", "127.200.0.9 ping:7"]
        self.assertEqual(self.outcomes(lines, *QUICK, prefix=NO_RIGHTS), [True, "No answer", True])

    def test_without_either_it_says_so_and_asks_the_others(self):
        PING_GROUPS.write_text("1 0")
        self.serve("127.1.0.1", 80, answer_with(HEAD))
        self.assertEqual(self.outcomes(["127.1.0.1 ping:0 http:80"], *QUICK, prefix=NO_RIGHTS),
                         ["Operation not permitted", True])

    def test_a_network_that_cannot_be_reached_costs_no_time(self):
        self.assertEqual(self.outcomes([f"203.0.113.1 {service}" for service in ("ping:0", "http:80", "snmp:161")], *PATIENT),
                         ["Network is unreachable"] * 3)
        self.assert_took(0, 0)

    def test_thousands_are_all_found(self):
        hosts = [f"127.{a}.{b}.7 ping:0" for a in range(1, 21) for b in range(200)]
        self.assertEqual(set(self.outcomes(hosts, *PATIENT)), {True})


class Http(ServiceScan):
    def test_any_well_formed_response_is_an_answer(self):
        statuses = ["200 OK", "301 Moved", "401 Unauthorized", "404 Not Found", "500 Oops"]
        for host, status in enumerate(statuses):
            self.serve(f"127.2.0.{host}", 8080, answer_with(f"HTTP/1.0 {status}\r\n".encode(), b"\r\n"))
        lines = [f"127.2.0.{host} http:8080" for host in range(len(statuses))]
        self.assertEqual(self.outcomes(lines, *PATIENT), [True] * len(statuses))
        self.assert_took(0, 0)

    def test_the_request_is_one_that_servers_understand(self):
        asked = []

        def talk(connection):
            asked.append(connection.recv(4096))
            connection.sendall(HEAD)

        self.serve("127.2.1.1", 80, talk)
        self.assertEqual(self.outcomes(["127.2.1.1 http:80"]), [True])
        [request] = asked
        head = request.decode().split("\r\n")
        self.assertEqual((head[0], head[-2:]), ("GET / HTTP/1.1", ["", ""]))
        self.assertIn("Host: 127.2.1.1:80", head)

    def test_a_closed_port_costs_no_time(self):
        self.assertEqual(self.outcomes(["127.2.2.1 http:80", "127.2.2.1 https:443"], *PATIENT), ["Connection refused"] * 2)
        self.assert_took(0, 0)

    def test_hostile_servers_cost_their_timeout_and_nothing_else(self):
        cases = [(answer_with(HEAD), True),
                 (stay_silent, "No answer to the request"),
                 (answer_for_ever(HEAD, b"x" * 4096), True),
                 (answer_for_ever(HEAD[:-2], b"X: y\r\n"), "Not an HTTP response"),
                 (answer_for_ever(b"HTTP/1.1 200 ", b"OK"), "Not an HTTP response"),
                 (drip, "No answer to the request"),
                 (reset, "Connection reset by peer"),
                 (answer_with(), "Connection closed"),
                 (answer_with(HEAD[:-2]), "Connection closed"),
                 (answer_with(b"\xff\0" * 50), "Not an HTTP response"),
                 (answer_with(b"SSH-2.0-x\r\n"), "Not an HTTP response"),
                 (answer_with(HEAD), True)]
        for host, (talk, _) in enumerate(cases):
            self.serve(f"127.2.3.{host}", 80, talk)
        self.serve("127.2.3.200", 80, close_at_once)
        lines = [f"127.2.3.{host} http:80" for host in range(len(cases))]
        outcomes = self.outcomes([*lines, "127.2.3.200 http:80", f"{SILENT} http:80"], *QUICK)
        self.assertEqual(outcomes[:len(cases)], [outcome for _, outcome in cases])
        self.assertIn(outcomes[-2], ("Connection closed", "Connection reset by peer"))
        self.assertEqual(outcomes[-1], "No answer")
        self.assert_took(2 * TIMEOUT_MS, 2 * TIMEOUT_MS)

    def test_a_connection_has_the_time_of_all_tries(self):
        def talk(connection):
            connection.recv(4096)
            time.sleep(1.5 * TIMEOUT_MS / 1000)
            connection.sendall(HEAD)

        server = self.serve("127.2.4.1", 80, talk)
        self.assertEqual(self.outcomes(["127.2.4.1 http:80"], *QUICK, "--tries", "9"), [True])
        self.assertEqual(self.outcomes(["127.2.4.1 http:80"], *QUICK, "--tries", "1"), ["No answer to the request"])
        self.assertEqual(server.most, 1)

    @unittest.skipIf(b"__ubsan_" in pathlib.Path(TOOL).read_bytes(),
                     "the sanitizer looks at memory through a pipe, and takes what it cannot look at for wrong")
    def test_few_descriptors_are_enough_for_many_hosts(self):
        self.serve("0.0.0.0", 8081, answer_with(HEAD))
        lines = [f"127.2.5.{host} http:8081" for host in range(200)]
        few = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (32, 32))}
        self.assertEqual(set(self.outcomes(lines, *PATIENT, **few)), {True})


class Https(ServiceScan):
    @classmethod
    def setUpClass(cls):
        cls.keys = pathlib.Path(tempfile.mkdtemp())
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", "/CN=device",
                        "-keyout", cls.keys / "key", "-out", cls.keys / "certificate"], check=True, capture_output=True)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.keys)

    def context(self):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.keys / "certificate", self.keys / "key")
        return context

    def test_certificates_are_not_verified(self):
        self.serve("127.3.0.1", 443, over_tls(self.context(), answer_with(HEAD)))
        self.assertEqual(self.outcomes(["127.3.0.1 https:443"], *PATIENT), [True])
        self.assert_took(0, 0)

    def test_old_protocol_versions_are_taken(self):
        for host, version in enumerate((ssl.TLSVersion.TLSv1, ssl.TLSVersion.TLSv1_1, ssl.TLSVersion.TLSv1_2)):
            context = self.context()
            context.set_ciphers("ALL:@SECLEVEL=0")
            with warnings.catch_warnings(action="ignore"):
                context.minimum_version = context.maximum_version = version
            self.serve(f"127.3.1.{host}", 443, over_tls(context, answer_with(HEAD)))
        self.assertEqual(self.outcomes([f"127.3.1.{host} https:443" for host in range(3)], *PATIENT), [True] * 3)

    def test_hostile_servers_cost_their_timeout_and_nothing_else(self):
        context = self.context()
        hello_requests = bytes.fromhex("160303000400000000") * 400
        cases = [(over_tls(context, answer_with(HEAD)), True),
                 (stay_silent, "No answer to TLS"),
                 (over_tls(context, stay_silent), "No answer to the request"),
                 (over_tls(context, answer_for_ever(HEAD[:-2], b"X: y\r\n")), "Not an HTTP response"),
                 (over_tls(context, answer_for_ever(HEAD, b"x" * 4096)), True),
                 (over_tls(context, answer_with(b"nothing")), "Not an HTTP response"),
                 (over_tls(context, answer_with(HEAD[:-2])), "Connection closed"),
                 (answer_for_ever(b"", hello_requests), "Connection closed"),
                 (answer_with(HEAD), "TLS: "),
                 (answer_for_ever(b"", b"\x16\3\3\x40\0" + b"\xff" * 0x4000), "TLS: "),
                 (reset, "Connection reset by peer"),
                 (over_tls(context, answer_with(HEAD)), True)]
        for host, (talk, _) in enumerate(cases):
            self.serve(f"127.3.2.{host}", 443, talk)
        lines = [f"127.3.2.{host} https:443" for host in range(len(cases))]
        outcomes = self.outcomes(lines, *QUICK)
        shown = ["TLS: " if str(outcome).startswith("TLS: ") else outcome for outcome in outcomes]
        self.assertEqual(shown, [outcome for _, outcome in cases])
        self.assert_took(2 * TIMEOUT_MS, 2 * TIMEOUT_MS)

    def test_more_silent_hosts_than_sessions_do_not_hide_a_good_one(self):
        self.serve("0.0.0.0", 8443, stay_silent)
        self.serve("127.3.4.1", 443, over_tls(self.context(), answer_with(HEAD)))
        silent = [f"127.3.3.{host} https:8443" for host in range(250)] + [f"127.3.5.{host} https:8443" for host in range(50)]
        self.assertEqual(self.outcomes([*silent, "127.3.4.1 https:443"], *QUICK), ["No answer to TLS"] * 300 + [True])
        # There were too many to be asked at once: the last had to wait until the first were given up.
        self.assert_took(4 * TIMEOUT_MS, 4 * TIMEOUT_MS)


class Datagrams(ServiceScan):
    def services(self, lines, *options):
        """The members of each service that say what was learned."""
        return [{key: value for key, value in service.items() if key not in ("service", "port")}
                for node in self.scan(lines, *options) for service in node["services"]]

    def test_snmp_tells_the_model_and_its_object(self):
        self.reply("127.4.0.1", 161, snmp)
        self.reply("127.4.0.2", 1161, lambda request: snmp(request, (element(0x80, b""), element(0x81, b""))))
        self.assertEqual(self.services(["127.4.0.1 snmp:161", "127.4.0.2 snmp:1161"], *PATIENT), [
            {"successful": True, "model": "Varnel 7", "systemObjectID": "1.3.6.1.4.1.99999.7"}, {"successful": True}])
        self.assert_took(0, 0)

    def test_sip_tells_user_agent_or_else_server(self):
        self.reply("127.4.1.1", 5060, sip)
        self.reply("127.4.1.2", 5060, lambda request: sip(request, "404 Not Found", "Server: Varnel PBX\r\n"))
        self.reply("127.4.1.3", 5060, lambda request: sip(request, "100 Trying") + sip(request, "486 Busy", ""))
        self.assertEqual(self.services([f"127.4.1.{host} sip:5060" for host in (1, 2, 3)], *PATIENT), [
            {"successful": True, "model": "Varnel Phone 3"}, {"successful": True, "model": "Varnel PBX"},
            {"successful": True}])
        self.assert_took(0, 0)

    def test_a_model_is_one_line_of_valid_utf8(self):
        text = b"\x1b[2J\r\nR\xe9seau\0\xc2\x9b\xff" + b"m" * 1500
        self.reply("127.4.2.1", 161, lambda request: snmp(request, (element(4, text), element(5, b""))))
        self.reply("127.4.2.1", 5060, lambda request: sip(request, headers="User-Agent: R\xe9seau\x1b\r\n"))
        description, agent = self.services(["127.4.2.1 snmp:161 sip:5060"], *PATIENT)
        self.assertEqual(description, {"successful": True, "model": "[2J  R\ufffdseau  \ufffd" + "m" * 237})
        self.assertEqual(agent, {"successful": True, "model": "R\ufffdseau"})

    def test_a_closed_port_costs_no_time(self):
        self.assertEqual(self.outcomes(["127.4.3.1 snmp:161", "127.4.3.2 sip:5060"], *PATIENT), ["Connection refused"] * 2)
        self.assert_took(0, 0)

    def check_hostile(self, service, port, good, *wrong):
        garbage = [random.Random(seed).randbytes(seed * 10) for seed in range(100)]
        answers = [lambda _: garbage, lambda _: [b"\xff" * 60000], lambda request: [request], flood,
                   lambda request: [good(request)[0][:length] for length in range(1, len(good(request)[0]) // 2)], *wrong]
        for host, answer in enumerate(answers):
            self.reply(f"127.5.0.{host}", port, answer)
        stranger = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(stranger.close)
        stranger.bind(("127.5.0.200", port))
        self.reply("127.5.0.100", port, good, source=stranger)
        self.reply("127.5.0.101", port, good)
        self.reply("127.5.0.102", port, lambda request: good(request) * 1000)
        silent = [100, 200, *range(len(answers))]
        lines = [f"127.5.0.{host} {service}:{port}" for host in (101, *silent, 102)]
        self.assertEqual(self.outcomes([*lines, f"{SILENT} {service}:{port}"], *QUICK),
                         [True, *["No answer"] * len(silent), True, "No answer"])
        self.assert_took(2 * TIMEOUT_MS, 2 * TIMEOUT_MS)

    def test_hostile_snmp_costs_its_timeout_and_nothing_else(self):
        self.check_hostile("snmp", 161, snmp, lambda request: snmp(request, shift=1), lambda request: snmp(request, shift=-1),
                           lambda request: snmp(request, (element(4, b"m" * 2048), element(5, b""))))

    def test_hostile_sip_costs_its_timeout_and_nothing_else(self):
        self.check_hostile("sip", 5060, sip, lambda request: sip(request, "100 Trying"), lambda request: sip(request, "20 OK"),
                           lambda request: sip(request, "-200 OK"), lambda request: sip(request, call_id="0" * 16 + "-00000000"),
                           lambda request: sip(request, call_id="x"))

    def test_hostile_answers_leave_the_output_alone(self):
        self.reply("127.5.1.1", 5060, lambda _: [b"SIP/2.0 nothing\r\n\r\n", b"SIP/2.0 200 OK\r\n",
                                                   b"SIP/2.0 200 OK\r\nx\r\n\r\n"])
        self.reply("127.5.1.1", 161, lambda request: [b"\x30\x82\xff", request[:-4], b"\x30\x03\x02\x01\x01"])
        self.assertEqual(self.outcomes(["127.5.1.1 sip:5060 snmp:161"], *QUICK), ["No answer"] * 2)

    def test_what_one_host_is_asked_with_says_nothing_of_what_another_is(self):
        hosts, heard = range(1, 9), {"snmp": [], "sip": [], "ping": []}

        def hear(service, good):
            def answer(request):
                heard[service].append(request)
                return good(request)
            return answer
        for host in hosts:
            self.reply(f"127.5.5.{host}", 161, hear("snmp", snmp))
            self.reply(f"127.5.5.{host}", 5060, hear("sip", sip))
        pings = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
        self.addCleanup(pings.close)
        lines = [f"127.5.5.{host} snmp:161 sip:5060 ping:0" for host in hosts]
        self.assertEqual(self.outcomes(lines, *PATIENT), [True] * 3 * len(hosts))
        pings.settimeout(0.2)
        try:
            while True:
                packet = pings.recv(2048)
                if packet[20] == 8:
                    heard["ping"].append(packet[36:44])
        except TimeoutError:
            pass
        identities = sorted(int.from_bytes(take(take(take(take(take(request)[0])[1])[1])[0])[0], "big")
                            for request in heard["snmp"])
        cookies = [line.split()[1].split("-")[0] for request in heard["sip"] for line in request.decode().split("\r\n")
                   if line.startswith("Call-ID")]
        self.assertGreater(min(after - before for before, after in itertools.pairwise(identities)), 1)
        for numbers in (identities, cookies, heard["ping"]):
            self.assertEqual((len(numbers), len(set(numbers))), (len(hosts), len(hosts)))

    def test_a_lost_request_is_repeated(self):
        for service, port, good in (("snmp", 161, snmp), ("sip", 5060, sip)):
            with self.subTest(service=service):
                heard = []

                def answer_the_second(request):
                    heard.append(request)
                    return good(request) if len(heard) == 2 else []

                self.reply(f"127.5.2.{port % 256}", port, answer_the_second)
                line = f"127.5.2.{port % 256} {service}:{port}"
                self.assertEqual(self.outcomes([line], *QUICK, "--tries", "1"), ["No answer"])
                heard.clear()
                self.assertEqual(self.outcomes([line], *QUICK), [True])
                self.assert_took(TIMEOUT_MS, TIMEOUT_MS)
                self.assertEqual(heard[0], heard[1])

    def test_tries_are_as_many_as_is_said(self):
        server = self.reply("127.5.3.1", 161, lambda _: [])
        self.assertEqual(self.outcomes(["127.5.3.1 snmp:161"], "--timeout", "100", "--tries", "5"), ["No answer"])
        self.assertEqual(len(server.times), 5)
        self.assert_took(500, 500)

    def test_the_community_is_that_which_is_said(self):
        self.reply("127.5.4.1", 161, lambda request: snmp(request, community=b"s3cret"))
        self.reply("127.5.4.2", 161, lambda request: snmp(request, community=b"public"))
        lines = ["127.5.4.1 snmp:161", "127.5.4.2 snmp:161"]
        self.assertEqual(self.outcomes(lines, *QUICK), ["No answer", True])
        self.assertEqual(self.outcomes(lines, *QUICK, "--community", "s3cret"), [True, "No answer"])


class Pace(ServiceScan):
    def test_the_rate_is_that_which_is_said(self):
        server = self.reply("0.0.0.0", 1161, lambda _: [])
        lines = [f"127.6.0.{host} snmp:1161" for host in range(60)]
        for rate, wanted in ((0, 0), (100, 0.5)):
            server.times.clear()
            self.outcomes(lines, "--tries", "1", "--timeout", "100", "--rate", str(rate))
            self.assertEqual(len(server.times), 60)
            took = server.times[-1] - server.times[0]
            self.assertGreaterEqual(took, wanted)
        # Without a limit they would all have left at once.
        self.assertLess(self.seconds, 0.6 + 0.1 + SLACK_SECONDS)

    def test_no_more_are_asked_at_a_time_than_is_said(self):
        def talk(connection):
            connection.recv(4096)
            time.sleep(0.1)
            connection.sendall(HEAD)
            stay_silent(connection)

        server = self.serve("0.0.0.0", 8082, talk)
        lines = [f"127.6.1.{host} http:8082" for host in range(12)]
        self.assertEqual(set(self.outcomes(lines, *PATIENT, "--parallel", "3")), {True})
        self.assertLessEqual(server.most, 4)
        self.assert_took(400, 400)
        server.most = 0
        self.assertEqual(set(self.outcomes(lines, *PATIENT)), {True})
        self.assertGreater(server.most, 4)


class TargetsAndResults(ServiceScan):
    def test_the_results_stand_in_the_order_of_the_file(self):
        self.serve("0.0.0.0", 8083, answer_with(HEAD))
        self.reply("127.7.0.3", 161, snmp)
        services = ["ping:0", "http:8083", "http:8084", "snmp:161"]
        lines = []
        shuffle = random.Random(7)
        for host in shuffle.sample(range(250), 100):
            lines.append(" ".join([f"127.7.0.{host}", *shuffle.sample(services, shuffle.randrange(5))]))
        nodes = self.scan([*lines, f"{SILENT} ping:0", lines[0]], *QUICK)
        described = [" ".join([node["ipAddress"], *(f"{service['service']}:{service['port']}" for service in node["services"])])
                     for node in nodes]
        self.assertEqual(described, [*lines, f"{SILENT} ping:0", lines[0]])
        for node in nodes[:-2]:
            for service in node["services"]:
                expected = service["port"] in (0, 8083) or (service["port"] == 161 and node["ipAddress"] == "127.7.0.3")
                self.assertEqual(service["successful"], expected, node)

    def test_what_cannot_be_asked_has_a_reason_and_a_line(self):
        lines = ["127.7.1.1 ftp:21 ping:0 http:0", "", "printer ping:0", "127.7.1.2 sip:65536 http:", "127.7.1.300 x:1",
                 "127.7.1.1 ping:0"]
        nodes = self.scan(lines, *QUICK, complaints="".join(f"servicescan: warning: line {line}\n" for line in (
            "1: Unknown service: ftp:21", "1: Invalid port: http:0", "3: Not an IPv4 address: printer",
            "4: Invalid port: sip:65536", "4: Invalid port: http:", "5: Not an IPv4 address: 127.7.1.300",
            "5: Unknown service: x:1")))

        def service(name, port, reason=None):
            return {"service": name, "port": port, "successful": reason is None, **({"reason": reason} if reason else {})}

        no_address = {"successful": False, "reason": "Not an IPv4 address"}
        self.assertEqual(nodes, [
            {"ipAddress": "127.7.1.1", "services": [service("ftp", 21, "Unknown service"), service("ping", 0),
                                                    service("http", 0, "Invalid port")]},
            {"ipAddress": "printer", **no_address, "services": [service("ping", 0, "Not an IPv4 address")]},
            {"ipAddress": "127.7.1.2", "services": [service("sip", 0, "Invalid port"), service("http", 0, "Invalid port")]},
            {"ipAddress": "127.7.1.300", **no_address, "services": [service("x", 1, "Not an IPv4 address")]},
            {"ipAddress": "127.7.1.1", "services": [service("ping", 0)]}])

    def test_bytes_of_any_kind_are_no_harm(self):
        status, output, errors = self.run_tool("-j", "-t", self.file("127.0.0.1\0 ping:0", "\udcff\udce9 \udcc3:1", "\x1b[2J"))
        self.assertEqual((status, len(json.loads(output)["nodes"])), (1, 3))
        self.assertNotRegex(errors, "[\0-\t\v-\x1f\x7f-\x9f]")

    def test_a_file_of_which_every_line_is_wrong_is_status_1(self):
        for lines in (["printer ping"], ["127.7.1.1 ftp:21 http:0", "", "127.7.1.300 ping"]):
            status, output, errors = self.run_tool("-j", "-t", self.file(*lines))
            self.assertEqual((status, errors.splitlines()[-1]), (1, "servicescan: every line is wrong"))
            self.assertNotIn("true", output)
        self.assertEqual(self.run_tool("-j", "-t", self.file("printer ping", "127.7.1.1 ping"))[0], 0)

    def test_the_port_of_ping_is_not_used(self):
        self.assertEqual(self.outcomes(["127.7.1.1 ping ping:70000 ping:-1 ping:x ping:7"], *QUICK), [True] * 5)

    def test_the_file_may_be_stdin(self):
        tool = subprocess.run([TOOL, "-j", "-t", "-"], input=b"# the printers\n127.7.4.1 ping\n", capture_output=True,
                              timeout=HANG_SECONDS, check=True)
        self.assertEqual([node["ipAddress"] for node in json.loads(tool.stdout)["nodes"]], ["127.7.4.1"])

    def test_hosts_may_stand_on_the_command_line(self):
        self.serve("127.7.5.2", 80, answer_with(HEAD))
        self.reply("127.7.5.3", 1161, snmp)
        status, output, errors = self.run_tool("-j", *QUICK, "127.7.5.0/29", "http", "snmp:1161", "127.7.6.1")
        self.assertEqual((status, errors), (0, ""))
        found = {node["ipAddress"]: [service["service"] for service in node["services"] if service["successful"]]
                 for node in json.loads(output)["nodes"]}
        self.assertEqual(found, {**{f"127.7.5.{host}": [] for host in range(1, 7)}, "127.7.6.1": [], "127.7.5.2": ["http"],
                                 "127.7.5.3": ["snmp"]})
        self.assertRegex(self.run_tool(*QUICK, "127.7.5.9")[1], r"\n127\.7\.5\.9 +ping +http:80 https:443 snmp:161 sip:5060\n")

    def test_an_empty_file_has_no_nodes(self):
        for lines in ([], ["", "  \t\r"], ["# nobody"]):
            self.assertEqual(self.run_tool("-j", "-t", self.file(*lines)), (0, '{"nodes":[]}\n', ""))

    def test_a_file_that_cannot_be_read_is_status_1_and_one_line(self):
        for path, reason in ((self.folder / "missing", "No such file or directory"), (self.folder, "Is a directory")):
            self.assertEqual(self.run_tool("-j", "-t", path), (1, "", f"servicescan: {path}: {reason}\n"))

    def test_a_wrong_command_line_is_status_2_and_one_line(self):
        for arguments in ([], ["-j"], ["-t"], ["-t", "x", "127.0.0.1"], ["127.0.0.1", "htp"], ["http"],
                          ["127.0.0.0/8"], ["127.0.0.1", "http:0"], ["-t", "x", "--fast"], ["-t", "x", "--tries", "0"]):
            status, output, errors = self.run_tool(*arguments)
            self.assertEqual((status, output, errors.count("\n")), (2, "", 1), arguments)
            self.assertTrue(errors.startswith("servicescan: "))

    def test_version_and_help_go_to_stdout(self):
        self.assertRegex(self.run_tool("--version")[1], r"^servicescan \d+\.\d+\.\d+\n$")
        self.assertIn("Usage: servicescan", self.run_tool("--help")[1])

    def test_by_hand_it_is_a_table(self):
        self.reply("127.7.2.1", 161, snmp)
        path = self.file("127.7.2.1 ping:0 snmp:161 http:80", "127.7.2.22 ping:0", "127.7.2.3 http:80")
        self.assertEqual(self.run_tool(*PATIENT, "-t", path), (0, (
            "ADDRESS     AVAILABLE      MISSING  MODEL\n"
            "127.7.2.1   ping snmp:161  http:80  Varnel 7\n"
            "127.7.2.22  ping\n"
            "127.7.2.3                  http:80\n"), ""))

    def test_a_result_that_cannot_be_written_is_status_1_and_one_line(self):
        path = self.file("127.0.0.1 ping:0")
        reader, writer = os.pipe()
        os.close(reader)
        with open(writer, "wb") as closed, open("/dev/full", "wb") as full:
            for stdout, reason in ((closed, "Broken pipe"), (full, "No space left on device")):
                for arguments in (["-j", "-t", path], ["-t", path], ["--help"], ["--version"]):
                    self.assertEqual(self.run_tool(*arguments, stdout=stdout),
                                     (1, "", f"servicescan: cannot write the result: {reason}\n"))

    def test_standard_descriptors_may_be_closed(self):
        command = f"exec {TOOL} -j -t {self.file('127.0.0.1 ping:0', 'nonsense')}"
        for redirections, status in (("<&-", 0), ("2>&-", 0), ("<&- 2>&-", 0), (">&-", 1), ("<&- >&- 2>&-", 1)):
            shell = subprocess.run(["sh", "-c", f"{command} {redirections}"], capture_output=True, timeout=HANG_SECONDS)
            self.assertEqual(shell.returncode, status, redirections)
            nodes = json.loads(shell.stdout)["nodes"] if shell.stdout else []
            self.assertEqual(len(nodes), 2 if status == 0 else 0, redirections)

    def test_a_signal_ends_it_at_once_and_nothing_is_printed(self):
        heard = threading.Event()

        def hear(_):
            heard.set()
            return []

        self.reply("127.7.3.1", 161, hear)
        for number in (signal.SIGTERM, signal.SIGINT):
            heard.clear()
            tool = subprocess.Popen([TOOL, "-j", "--timeout", "50000", "-t", self.file("127.7.3.1 snmp:161 ping:0")],
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self.assertTrue(heard.wait(HANG_SECONDS))
            tool.send_signal(number)
            self.assertEqual(tool.communicate(timeout=SLACK_SECONDS), (b"", b""))
            self.assertEqual(tool.returncode, -number)


class Progress(ServiceScan):
    def test_a_terminal_shows_how_far_it_has_come(self):
        master, slave = pty.openpty()
        path = self.file("127.0.0.1 ping:0", f"{SILENT} ping:0", f"{SILENT} http:80")
        tool = subprocess.Popen([TOOL, "-j", *QUICK, "-t", path], stdout=subprocess.PIPE, stderr=slave)
        os.close(slave)
        output = tool.communicate(timeout=HANG_SECONDS)[0]
        shown = b""
        try:
            while piece := os.read(master, 4096):
                shown += piece
        except OSError:
            pass
        os.close(master)
        self.assertEqual((tool.returncode, len(json.loads(output)["nodes"])), (0, 3))
        updates = shown.decode().split("\r\033[K")
        self.assertEqual((updates[0], updates[-1]), ("", ""), "begins and ends with an empty line")
        self.assertEqual(updates[1], "1 of 3 probes, 1 answered")


if __name__ == "__main__":
    subprocess.run(["ip", "route", "add", "198.51.100.0/24", "dev", "lo"], check=True)
    unittest.main(verbosity=2)
