#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""discovery-client and discovery-responder against each other, and against devices that misbehave:
discovery_client_test.py CLIENT RESPONDER [unittest options]

Runs inside tests/system/sandbox, as root.
"""
import json
import os
import pathlib
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from devices import GROUP, PORT, Device, build_lan, command, link, neighbour_overflows

CLIENT, RESPONDER = sys.argv[1:3]
del sys.argv[1:3]
HANG_SECONDS = 60
SECRET = "Organisation-Secret-7"
PSK = "site:0123456789abcdef-psk"


class DiscoveryTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.folder.chmod(0o755)
        self.addCleanup(shutil.rmtree, self.folder)

    def device(self, number=1):
        device = Device(number)
        self.addCleanup(device.remove)
        return device

    def respond(self, device, *options, **more):
        return device.respond(RESPONDER, self.folder, *options, **more)

    def client(self, *arguments, status=0):
        """Runs the tool; its output, or its one line of error. The organisation key is in neither."""
        started = time.monotonic()
        result = subprocess.run([CLIENT, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, timeout=HANG_SECONDS, text=True, errors="strict")
        self.seconds = time.monotonic() - started
        self.assertEqual(result.returncode, status, result)
        self.assertNotIn(SECRET, result.stdout + result.stderr)
        if status == 0:
            self.assertEqual(result.stderr, "")
            return result.stdout
        self.assertEqual(result.stdout, "")
        self.assertRegex(result.stderr, r"\Adiscovery-client: .*\n\Z")
        return result.stderr

    def scan(self, *arguments):
        """The devices found by a run that ended in time."""
        document = json.loads(self.client("-j", "-i", "lan0", *arguments))
        self.assertEqual(list(document), ["nodes"])
        self.assertLess(self.seconds, 3)
        return document["nodes"]

    def addresses(self, *arguments):
        return [node["ipAddress"] for node in self.scan(*arguments)]

    def file(self, name, content, mode=0o600):
        path = self.folder / name
        path.write_text(content)
        path.chmod(mode)
        return path

    def hook(self, name):
        """A program that writes what it reads into a file, which is there when all of it is."""
        results = self.folder / "results"
        results.mkdir(mode=0o777, exist_ok=True)
        results.chmod(0o777)
        self.file(name, f"#!/bin/sh\ncat >{results}/{name}.new; id -u >>{results}/{name}.new\n"
                        f"mv {results}/{name}.new {results}/{name}\n", 0o755)
        return results / name

    def wait_for(self, condition):
        deadline = time.monotonic() + HANG_SECONDS
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)

    def key_file(self, device):
        return self.folder / device.name / "organisation-key"


class Discovery(DiscoveryTest):
    def test_a_device_is_found_as_it_describes_itself(self):
        device = self.device()
        self.respond(device, "--build", "7.1-é", "--supports-onboarding", model='X "1"')
        wanted = [{"physicalAddress": device.mac, "ipAddress": device.address, "model": 'X "1"', "build": "7.1-é",
                   "supportsOnboarding": True}]
        self.assertEqual(self.scan(), wanted)
        self.assertEqual(self.scan(), wanted)
        table = self.client("-i", "lan0").splitlines()
        self.assertEqual(table[1].split(maxsplit=3), [device.address, device.mac, "yes", 'X "1", 7.1-é'])

    def test_a_lan_without_devices_is_an_empty_document(self):
        self.device()
        self.assertEqual(self.client("-j", "-i", "lan0"), '{"nodes":[]}\n')

    def test_devices_come_in_ascending_order_of_their_addresses(self):
        numbers = [300, 9, 10, 255, 2, 100]
        devices = {number: self.device(number) for number in numbers}
        for device in devices.values():
            self.respond(device)
        self.assertEqual(self.addresses(), [devices[number].address for number in sorted(numbers)])

    def test_an_interface_that_cannot_be_used_is_one_line_and_status_1(self):
        command("ip", "link", "add", "bare0", "type", "bridge")
        self.addCleanup(command, "ip", "link", "del", "bare0")
        command("ip", "link", "set", "bare0", "up")
        self.assertIn("bare0: The interface has no IPv4 address", self.client("-j", "-i", "bare0", status=1))
        command("ip", "address", "add", "10.8.0.1/24", "dev", "bare0")
        command("ip", "link", "set", "bare0", "down")
        self.assertIn("bare0: ", self.client("-j", "-i", "bare0", status=1))
        self.assertIn('--interface: "", expecting INTERFACE', self.client("-j", "-i", "", status=2))
        for name in ("none0", "x" * 300, "la\nn0"):
            self.assertIn("No such device", self.client("-j", "-i", name, status=1))

    def test_a_result_that_cannot_be_written_is_status_1(self):
        with open("/dev/full", "w") as full:
            result = subprocess.run([CLIENT, "-j", "-i", "lan0", "--timeout", "1600"], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual((result.returncode, result.stderr), (
            1, b"discovery-client: cannot write the result: No space left on device\n"))

    def test_a_thousand_answers_from_one_address_are_one_device(self):
        device, honest = self.device(1), self.device(2)
        self.respond(honest)
        device.act("while True:\n token, sender = question()\n for i in range(1000):\n"
                   "  s.sendto(answer(token, GOOD.replace(b'Good', b'M%d' % i)), sender)")
        nodes = self.scan()
        self.assertEqual([(node["ipAddress"], node["model"]) for node in nodes],
                         [(device.address, "M0"), (honest.address, "X 1")])

    def test_a_device_that_answers_for_ever_costs_the_time_and_nothing_else(self):
        device, honest = self.device(1), self.device(2)
        self.respond(honest)
        device.act("token, sender = question()\nwhile True:\n for i in range(20):\n"
                   "  s.sendto(answer(token, GOOD), sender)\n  s.sendto(answer(token, b'{' * 1000), sender)\n"
                   "  s.sendto(os.urandom(1400), sender)\n time.sleep(0.001)")
        self.assertEqual(self.addresses(), [device.address, honest.address])

    def test_hostile_answers_are_cut_down_or_ignored(self):
        device, good = self.device(1), self.device(2)
        good.act("token, sender = question()\ns.sendto(answer(token, json.dumps({'model': ' a\\x1b[2J\\nb\\0' + 'é' * 150,"
                 " 'build': [1], 'supportsOnboarding': 'yes', 'ipAddress': '1.2.3.4', 'physicalAddress': 'x'}).encode()), sender)")
        device.act("""token, sender = question()
for data in (b'', b'X', os.urandom(1400), bytes(1400), b'\\xff' * 1400, token, answer(token, b''), answer(token, b'[]'),
             answer(token, b'{' * 1000), answer(token, b'{"model":"\\xff"}'), answer(b'12345678', GOOD), answer(b'', GOOD),
             answer(token, GOOD, code=0x84), answer(token, GOOD, code=1), answer(token, GOOD, options=b'\\xdd\\xff\\xff'),
             answer(token, GOOD, options=b'\\xc1\\x28'), answer(token, GOOD + b' ' * 1200), answer(token, GOOD, kind=2)):
    s.sendto(data, sender)
for i in range(2000):
    s.sendto(answer(token, os.urandom(200)), sender)""")
        [node] = self.scan()
        self.assertEqual(node, {"physicalAddress": good.mac, "ipAddress": good.address, "model": "a [2J b " + "é" * 123,
                                "build": "", "supportsOnboarding": False})

    def test_an_answer_that_is_to_be_confirmed_is(self):
        device = self.device()
        path = self.folder / "confirmed"
        device.act("token, sender = question()\ndata = answer(token, GOOD, kind=0)\ns.sendto(data, sender)\n"
                   "open(sys.argv[1], 'wb').write(s.recvfrom(100)[0] == b'\\x60\\0' + data[2:4] and b'yes' or b'no')", path)
        self.assertEqual(self.addresses(), [device.address])
        self.wait_for(lambda: path.exists() and path.read_text())
        self.assertEqual(path.read_text(), "yes")

    def test_two_runs_at_once_do_not_disturb_each_other(self):
        devices = [self.device(number) for number in (1, 2, 3)]
        for device in devices:
            self.respond(device)
        runs = [subprocess.Popen([CLIENT, "-j", "-i", "lan0"], stdout=subprocess.PIPE) for _ in range(2)]
        outputs = [run.communicate(timeout=HANG_SECONDS)[0] for run in runs]
        self.assertEqual([run.returncode for run in runs], [0, 0])
        self.assertEqual(outputs[0], outputs[1])
        self.assertEqual(len(json.loads(outputs[0])["nodes"]), 3)

    def test_other_interfaces_are_not_listened_to(self):
        device = self.device()
        self.respond(device)
        command("ip", "link", "add", "other0", "type", "bridge")
        self.addCleanup(command, "ip", "link", "del", "other0")
        command("ip", "link", "set", "other0", "up")
        command("ip", "address", "add", "10.8.0.1/24", "dev", "other0")
        self.assertEqual(self.client("-j", "-i", "other0"), '{"nodes":[]}\n')

    def test_a_device_whose_mac_address_stays_unknown_is_not_listed(self):
        device, known = self.device(1), self.device(2)
        self.respond(known)
        # It never asks for the tool's address, and does not answer for its own.
        mac = link()["address"]
        command("ip", "-n", device.name, "link", "set", "eth0", "arp", "off")
        command("ip", "-n", device.name, "neighbour", "replace", "10.9.0.1", "lladdr", mac, "dev", "eth0", "nud", "permanent")
        self.respond(device)
        self.assertEqual(self.addresses(), [known.address])

    def test_the_kernel_is_made_to_ask_for_a_mac_address(self):
        device = self.device()
        mac = link()["address"]
        command("ip", "-n", device.name, "neighbour", "replace", "10.9.0.1", "lladdr", mac, "dev", "eth0", "nud", "permanent")
        self.respond(device)
        command("ip", "neighbour", "flush", "dev", "lan0")
        self.assertEqual([node["physicalAddress"] for node in self.scan()], [device.mac])

    def test_the_time_can_be_chosen(self):
        device = self.device()
        self.respond(device)
        found = json.loads(self.client("-j", "-i", "lan0", "--timeout", "1600"))["nodes"]
        self.assertEqual([node["ipAddress"] for node in found], [device.address])
        self.assertLess(self.seconds, 1.7)

    def test_a_time_in_which_a_device_need_not_answer_is_refused(self):
        for milliseconds in ("100", "500", "1599"):
            self.assertIn("expecting a --timeout of at least 1600 for a scan",
                          self.client("-j", "-i", "lan0", "--timeout", milliseconds, status=2))


class Actions(DiscoveryTest):
    def test_the_right_device_blinks(self):
        device, other = self.device(1), self.device(2)
        result, none = self.hook("blink"), self.hook("other")
        self.respond(device, "--blink-program", self.folder / "blink")
        self.respond(other, "--blink-program", self.folder / "other")
        self.assertEqual(self.client("-d", device.address, "-b"), "")
        self.wait_for(result.exists)
        self.assertEqual(result.read_text(), "65534\n")
        self.assertFalse(none.exists())

    def test_an_led_blinks_though_its_files_are_roots(self):
        leds = self.folder / "leds" / "green"
        leds.mkdir(parents=True)
        for name, text in (("trigger", "none [heartbeat]\n"), ("brightness", "1\n")):
            (leds / name).write_text(text)
            (leds / name).chmod(0o600)
        device = self.device()
        self.respond(device, "--blink-led", "green", "--led-directory", leds.parent, "--blink-duration", "1")

        def shown(name):
            return (leds / name).read_text().split("\n")[0]
        self.client("-d", device.address, "-b")
        self.assertEqual(shown("trigger"), "none")
        self.wait_for(lambda: shown("brightness") == "0")
        self.wait_for(lambda: shown("brightness") == "255")
        self.wait_for(lambda: shown("trigger") == "heartbeat")

    def test_a_device_gets_its_key_and_its_server(self):
        device = self.device()
        result = self.hook("onboard")
        responder = self.respond(device, "--supports-onboarding", "--onboard-program", self.folder / "onboard")
        self.client("-d", device.address, "-o", f"{SECRET}:server.example:8443")
        self.wait_for(result.exists)
        self.assertEqual(result.read_text(), f"{SECRET}\nserver.example:8443\n65534\n")
        self.assertEqual(self.key_file(device).read_text(), f"{SECRET}\nserver.example:8443\n")
        self.assertEqual((self.key_file(device).stat().st_mode & 0o7777, self.key_file(device).stat().st_uid), (0o600, 65534))
        self.client("-d", device.address, "-o", SECRET)
        self.assertEqual(self.key_file(device).read_text(), f"{SECRET}\n\n")
        self.assertEqual(responder.end(), 0)
        self.assertNotIn(SECRET, "\n".join(responder.lines))

    def test_what_a_device_does_not_support_is_an_error(self):
        device = self.device()
        self.respond(device)
        self.assertIn("does not support that (4.04)", self.client("-d", device.address, "-b", status=1))
        self.assertIn("does not support that (4.04)", self.client("-d", device.address, "-o", SECRET, status=1))

    def test_a_key_that_cannot_be_stored_is_an_error(self):
        device = self.device()
        responder = self.respond(device, "--supports-onboarding")
        self.key_file(device).mkdir()
        self.assertIn("it failed (5.00)", self.client("-d", device.address, "-o", SECRET, status=1))
        responder.end()
        self.assertIn("failed: ", responder.lines[-1])
        self.assertNotIn(SECRET, "\n".join(responder.lines))

    def test_a_silent_device_is_an_error_in_time(self):
        device = self.device()
        self.assertIn("nothing listens there", self.client("-d", device.address, "-b", status=1))
        self.assertIn("no answer", self.client("-d", "10.9.200.1", "-o", SECRET, "--timeout", "700", status=1))
        self.assertLess(self.seconds, 0.9)

    def test_a_device_that_echoes_the_key_does_not_get_it_shown(self):
        device = self.device()
        device.act("data, sender = s.recvfrom(2000)\nfound = data.partition(b'\\xff')[2]\n"
                   "s.sendto(bytes([0x60 | data[0] & 15, 0x80]) + data[2:4 + (data[0] & 15)] + b'\\xff' + found, sender)\n"
                   "print(found, flush=True)").lines
        self.assertIn("unusable (4.00)", self.client("-d", device.address, "-o", SECRET, status=1))
        self.wait_for(lambda: any(SECRET in line for line in device.processes[0].lines))

    def test_the_key_is_not_in_the_list_of_processes(self):
        run = subprocess.Popen([CLIENT, "-d", "10.9.200.1", "-o", f"{SECRET}:server", "--timeout", "1500"],
                               stderr=subprocess.PIPE)
        time.sleep(0.5)
        words = pathlib.Path(f"/proc/{run.pid}/cmdline").read_bytes().decode().split("\0")
        self.assertEqual(words[1:4], ["-d", "10.9.200.1", "-o"])
        self.assertEqual(set(words[4]), {"*"})
        self.assertNotIn(SECRET.encode(), run.communicate(timeout=HANG_SECONDS)[1])

    def test_an_action_for_a_group_is_none_of_a_device(self):
        device = self.device()
        result = self.hook("blink")
        self.respond(device, "--blink-program", self.folder / "blink")
        question = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(question.close)
        question.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("10.9.0.1"))
        for number in range(3):
            question.sendto(b"\x51\x02" + struct.pack("!H", number) + b"t" + b"\xb6device\x05blink", (GROUP, PORT))
            question.sendto(b"\x51\x01" + struct.pack("!H", 100 + number) + b"t" + b"\xb5other", (GROUP, PORT))
        question.settimeout(2)
        self.assertRaises(TimeoutError, question.recv, 2000)
        self.assertFalse(result.exists())
        self.client("-d", device.address, "-b")
        self.wait_for(result.exists)


class Security(DiscoveryTest):
    def setUp(self):
        super().setUp()
        self.psk = self.file("psk", PSK + "\n")
        self.target = self.device()

    def onboard(self, *arguments, **more):
        return self.client("-d", self.target.address, "-o", SECRET, *arguments, **more)

    def test_actions_are_protected_and_discovery_is_not(self):
        result = self.hook("blink")
        responder = self.respond(self.target, "--supports-onboarding", "--blink-program", self.folder / "blink",
                                 "--psk-file", self.psk)
        self.assertEqual(self.addresses(), [self.target.address])
        self.assertIn("(4.01)", self.onboard(status=1))
        self.assertIn("(4.01)", self.client("-d", self.target.address, "-b", status=1))
        self.assertFalse(self.key_file(self.target).exists() or result.exists())
        self.onboard("--psk-file", self.psk)
        self.assertEqual(self.key_file(self.target).read_text(), f"{SECRET}\n\n")
        self.client("-d", self.target.address, "-b", "--psk-file", self.psk)
        self.wait_for(result.exists)
        self.assertEqual(responder.end(), 0)
        for secret in (SECRET, PSK.partition(":")[2]):
            self.assertNotIn(secret, "\n".join(responder.lines))

    def test_a_wrong_key_or_identity_gets_nothing(self):
        self.respond(self.target, "--supports-onboarding", "--psk-file", self.psk)
        for line in (PSK + "x", "other:" + PSK.partition(":")[2], "site:fedcba9876543210"):
            self.onboard("--psk-file", self.file("wrong", line), "--timeout", "1500", status=1)
        self.assertFalse(self.key_file(self.target).exists())
        self.onboard("--psk-file", self.psk)

    def test_a_configured_key_is_never_left_out(self):
        self.respond(self.target, "--supports-onboarding")
        self.onboard("--psk-file", self.psk, "--timeout", "1500", status=1)
        self.assertFalse(self.key_file(self.target).exists())

    def test_the_usual_file_is_used_when_it_is_there(self):
        command("mount", "-t", "tmpfs", "etc", "/mnt")
        self.addCleanup(command, "umount", "/mnt")
        folder = pathlib.Path("/etc/discovery")
        command("mkdir", "/mnt/upper", "/mnt/work")
        command("mount", "-t", "overlay", "etc", "-o", "lowerdir=/etc,upperdir=/mnt/upper,workdir=/mnt/work", "/etc")
        self.addCleanup(command, "umount", "/etc")
        folder.mkdir(exist_ok=True)
        for name in ("client.psk", "responder.psk"):
            (folder / name).write_text(PSK)
            (folder / name).chmod(0o600)
        self.respond(self.target, "--supports-onboarding")
        self.onboard()
        (folder / "client.psk").chmod(0o644)
        self.assertIn("client.psk: others than its owner", self.onboard(status=1))
        (folder / "client.psk").unlink()
        self.assertIn("(4.01)", self.onboard(status=1))

    def test_a_key_file_that_others_can_read_is_refused(self):
        bad = self.file("open", PSK, 0o640)
        self.assertIn("others than its owner", self.onboard("--psk-file", bad, status=1))
        self.assertIn("No such file", self.onboard("--psk-file", self.folder / "none", status=1))
        result = subprocess.run([RESPONDER, "--interface", "lan0", "--model", "M", "--psk-file", bad], stderr=subprocess.PIPE)
        self.assertEqual(result.returncode, 1)

    def flood(self, make, seconds, a_second=500):
        """Sends datagrams of make(n) to the device meanwhile, each from a port of its own as far as they last."""
        sockets = [socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(800)]

        def send():
            for number in range(a_second * seconds):
                data, port = make(number)
                sockets[number % len(sockets)].sendto(data, (self.target.address, port))
                time.sleep(max(0, started + number / a_second - time.monotonic()))
            for one in sockets:
                one.close()
        started = time.monotonic()
        thread = threading.Thread(target=send)
        thread.start()
        self.addCleanup(thread.join)
        time.sleep(1)
        return thread

    def test_forged_questions_do_not_keep_out_who_holds_the_key(self):
        self.respond(self.target, "--supports-onboarding", "--psk-file", self.psk)
        thread = self.flood(lambda number: (b"\x41\x01" + struct.pack("!H", number) + b"t\xb6device", PORT), 6)
        for _ in range(8):
            # At other moments of a second each time, and before a request is repeated.
            self.onboard("--psk-file", self.psk, "--timeout", "800")
            time.sleep(0.37)
        self.assertTrue(thread.is_alive())

    def test_forged_actions_do_not_keep_out_who_holds_the_key(self):
        responder = self.respond(self.target, "--supports-onboarding", "--psk-file", self.psk)
        thread = self.flood(lambda number: (b"\x41\x02" + struct.pack("!H", number) + b"t\xb6device\x07onboard", PORT), 5)
        for _ in range(5):
            self.onboard("--psk-file", self.psk, "--timeout", "1000")
        self.assertTrue(thread.is_alive())
        responder.end()
        self.assertEqual(sum("without DTLS" in line for line in responder.lines), 1)

    def test_handshakes_with_a_wrong_key_do_not_keep_out_who_holds_it(self):
        responder = self.respond(self.target, "--supports-onboarding", "--psk-file", self.psk)
        wrong = self.file("wrong", "site:fedcba9876543210")
        runs = [subprocess.Popen([CLIENT, "-d", self.target.address, "-b", "--psk-file", wrong, "--timeout", "20000"],
                                 stderr=subprocess.DEVNULL) for _ in range(40)]
        time.sleep(2)
        self.assertEqual([run.poll() for run in runs], [None] * 40)
        self.onboard("--psk-file", self.psk)
        for run in runs:
            run.terminate()
            run.wait()
        self.assertEqual(responder.end(), 0)

    def test_forged_handshakes_do_not_keep_out_who_holds_the_key(self):
        responder = self.respond(self.target, "--supports-onboarding", "--psk-file", self.psk)
        body = b"\xfe\xfd" + bytes(32) + b"\0\0\0\2\0\xa8\1\0"
        message = b"\1" + struct.pack("!I", len(body))[1:] + bytes(5) + struct.pack("!I", len(body))[1:] + body
        record = b"\x16\xfe\xfd" + bytes(8) + struct.pack("!H", len(message)) + message
        thread = self.flood(lambda _: (record, PORT + 1), 8, 200)
        before = int(responder.status("VmHWM")[0])
        # Few are hit when the device drops all that it does not know.
        runs = [subprocess.run([CLIENT, "-d", self.target.address, "-b", "--psk-file", self.psk, "--timeout", "1200"],
                               stderr=subprocess.PIPE, text=True).stderr for _ in range(5)]
        self.assertGreaterEqual(sum("does not support that" in answer for answer in runs), 3, runs)
        self.assertTrue(thread.is_alive())
        thread.join()
        self.assertLess(int(responder.status("VmHWM")[0]) - before, 32000)
        self.assertEqual(responder.end(), 0)


class Responder(DiscoveryTest):
    def test_it_is_nobody_with_no_rights(self):
        device = self.device()
        responder = self.respond(device)
        self.assertEqual((responder.status("Uid"), responder.status("Gid")), (["65534"] * 4, ["65534"] * 4))
        self.assertEqual(responder.status("Groups"), ["65534"])
        for rights in ("CapEff", "CapPrm", "CapInh", "CapAmb"):
            self.assertEqual(int(responder.status(rights)[0], 16), 0)
        self.assertEqual(responder.status("NoNewPrivs"), ["1"])

    def test_what_it_cannot_use_is_one_line_and_status_1(self):
        for options in (["--user", "no-such-user"], ["--state-directory", "/proc/none/x"],
                        ["--blink-led", "none", "--led-directory", str(self.folder)]):
            result = subprocess.run([RESPONDER, "--interface", "lan0", "--model", "M", "--user", "nobody", "--state-directory",
                                     self.folder / "state", *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                    timeout=HANG_SECONDS, text=True)
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertRegex(result.stderr, r"\Adiscovery-responder: .*\n\Z")

    def test_its_resources_can_be_listed(self):
        device = self.device()
        self.respond(device, "--supports-onboarding", "--blink-program", "/bin/true")
        question = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(question.close)
        question.settimeout(10)
        question.sendto(b"\x51\x01\0\1t\xbb.well-known\x04core", (device.address, PORT))
        listed = question.recv(2000).partition(b"\xff")[2].decode()
        for link in ('</device>;ct=50;rt="discovery.device"', '</device/blink>;rt="discovery.blink"',
                     '</device/onboard>;rt="discovery.onboard"'):
            self.assertIn(link, listed)

    def test_it_answers_on_its_interface_only(self):
        device = self.device()
        command("ip", "-n", device.name, "link", "add", "other0", "type", "bridge")
        command("ip", "-n", device.name, "link", "set", "other0", "up")
        command("ip", "-n", device.name, "address", "add", "10.8.0.1/24", "dev", "other0")
        self.respond(device, "--blink-program", "/bin/true", interface="other0")
        self.assertEqual(self.addresses(), [])
        self.assertIn("no answer", self.client("-d", device.address, "-b", "--timeout", "500", status=1))

    def test_it_waits_for_its_interface_and_takes_it_up_again(self):
        device = self.device()
        device.disconnect()
        responder = device.start(RESPONDER, "--interface", "eth0", "--model", "M", "--user", "nobody", "--state-directory",
                                 self.folder / "state")
        responder.wait_for("waiting for an address on eth0")
        for _ in range(3):
            device.connect()
            responder.wait_for("answering on eth0")
            self.assertEqual(self.addresses(), [device.address])
            device.disconnect()
            responder.wait_for("waiting for an address on eth0")
        device.connect()

    def test_the_same_key_again_and_again_costs_neither_writes_nor_log_lines(self):
        device = self.device()
        responder = self.respond(device, "--supports-onboarding")
        self.client("-d", device.address, "-o", SECRET)
        stored = self.key_file(device).stat()
        sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(sender.close)
        body = json.dumps({"key": SECRET}).encode()
        for number in range(200):
            sender.sendto(b"\x51\x02" + struct.pack("!H", number) + b"t\xb6device\x07onboard\x11\x32\xff" + body,
                          (device.address, PORT))
        self.client("-d", device.address, "-b", "--timeout", "300", status=1)
        now = self.key_file(device).stat()
        self.assertEqual((now.st_ino, now.st_mtime_ns), (stored.st_ino, stored.st_mtime_ns))
        responder.end()
        self.assertEqual([line for line in responder.lines if "onboarding" in line],
                         ["discovery-responder: onboarding by 10.9.0.1"])

    def test_strangers_can_have_few_keys_written(self):
        device = self.device()
        responder = self.respond(device, "--supports-onboarding")
        sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(sender.close)
        sender.settimeout(1)
        answers = 0
        for number in range(200):
            body = json.dumps({"key": f"key {number}"}).encode()
            sender.sendto(b"\x51\x02" + struct.pack("!H", number) + b"t\xb6device\x07onboard\x11\x32\xff" + body,
                          (device.address, PORT))
        try:
            while True:
                answers += sender.recv(2000)[1:2] == b"\x44"
        except TimeoutError:
            pass
        self.assertIn(answers, range(10, 15))
        responder.end()
        self.assertEqual(sum("onboarding" in line for line in responder.lines), 1)

    def test_garbage_and_floods_leave_it_alive(self):
        device = self.device()
        responder = self.respond(device, "--supports-onboarding", "--psk-file", self.file("psk", PSK))
        sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(sender.close)
        sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("10.9.0.1"))
        onboard = b"\x51\x02\0\1t\xb6device\x07onboard\x11\x32\xff"
        for data in (b"", b"\0", os.urandom(1400), bytes(1400), b"\x5f" * 100, onboard, onboard + b"{" * 900, onboard + b'{"key":1}'):
            for port in (PORT, PORT + 1):
                sender.sendto(data, (device.address, port))
        for number in range(5000):
            sender.sendto(b"\x51\x01" + struct.pack("!H", number) + b"t\xb6device", (GROUP, PORT))
        time.sleep(2.5)
        self.assertEqual(self.addresses(), [device.address])
        self.assertLess(int(responder.status("VmHWM")[0]), 40000)
        self.assertEqual(responder.end(), 0)


class LargeLan(DiscoveryTest):
    def test_200_devices_are_found_in_three_runs_out_of_three(self):
        devices = [self.device(number) for number in range(1, 201)]
        processes = [device.start(RESPONDER, "--interface", "eth0", "--model", f"Model {number}", "--build", "1",
                                  "--user", "nobody", "--state-directory", self.folder / device.name)
                     for number, device in enumerate(devices, 1)]
        for process in processes:
            process.wait_for("answering on")
        wanted = [{"physicalAddress": device.mac, "ipAddress": device.address, "model": f"Model {number}", "build": "1",
                   "supportsOnboarding": False} for number, device in enumerate(devices, 1)]
        overflows = neighbour_overflows()
        for _ in range(3):
            command("ip", "neighbour", "flush", "dev", "lan0")
            found = self.scan()
            self.assertEqual(neighbour_overflows(), overflows, "something else has filled the kernel's neighbour table")
            self.assertEqual(found, wanted)


if __name__ == "__main__":
    try:
        os.chown(tempfile.mkdtemp(), 65534, 65534)
    except OSError:
        print("skipped: it needs root and a user beside it, and this user namespace has one identity (Debian package uidmap)")
        sys.exit(77)
    build_lan()
    unittest.main(verbosity=2)
