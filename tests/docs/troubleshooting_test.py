#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The commands of docs/troubleshooting.md say what it says that they say, in the lab: troubleshooting_test.py AGENT

A section's first indented lines are commands; the next ones are parts of what these print, or of what the agent logs.
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

AGENT = pathlib.Path(sys.argv.pop(1)).resolve()
DOCUMENT = pathlib.Path(__file__).parent.parent.parent / "docs" / "troubleshooting.md"
SECTIONS = re.findall(r"^## (.*)\n((?:(?!## ).*\n)*)", DOCUMENT.read_text(), re.M)
PLAN = """[{"id": "nightly", "scanType": "node", "schedule": "0 0 2 * * *"},
          {"id": "bad id", "scanType": "node", "schedule": {"firstRun": "now"}}]"""
WITHOUT_RIGHTS = ["setpriv", "--bounding-set=-all", "--inh-caps=-all", "--reuid=65534", "--clear-groups"]
COMMAND_SECONDS = 20


def indented(text):
    return [re.sub("^    ", "", block, flags=re.M) for block in re.findall(r"(?:^    .*\n)+", text, re.M)]


class TroubleshootingTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(dir="/run"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.folder.chmod(0o755)
        (self.folder / "discovery-agent").symlink_to(AGENT)
        (self.folder / "plan.json").write_text(PLAN)
        self.environment = dict(os.environ, PATH=f"{self.folder}:{os.environ['PATH']}", TZ="UTC")
        self.start_agent()

    def start_agent(self):
        socket = pathlib.Path("/run/discovery-agent/link")
        socket.parent.mkdir(exist_ok=True)
        self.log = open(self.folder / "log", "wb")
        self.addCleanup(self.log.close)
        agent = subprocess.Popen(["discovery-agent", "run", "--plan", self.folder / "plan.json", "--link", f"unix:{socket}"],
                                 env=self.environment, stderr=self.log)
        self.addCleanup(agent.wait)
        self.addCleanup(agent.send_signal, signal.SIGTERM)
        deadline = time.monotonic() + COMMAND_SECONDS
        while not socket.exists():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)

    def answer(self, commands, runner):
        done = subprocess.run([*runner, "bash", "-c", commands], cwd=self.folder, env=self.environment, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=COMMAND_SECONDS)
        return done.stdout

    def test_every_command_says_what_the_document_says(self):
        self.assertGreaterEqual(len(SECTIONS), 8)
        for question, text in SECTIONS:
            commands, *answers = indented(text)
            if commands.startswith("tcpdump"):
                continue  # runs until it is stopped, and is no package that a test may count on
            runner = WITHOUT_RIGHTS if "only devices that speak for themselves" in question else []
            with self.subTest(question):
                said = self.answer(commands, runner)
                self.assertNotIn("command not found", said)
                for part in (answers[0].splitlines() if answers else []):
                    self.await_part(part.strip(), said)

    def await_part(self, part, said):
        deadline = time.monotonic() + 5
        while part not in said and part not in pathlib.Path(self.log.name).read_text():
            self.assertLess(time.monotonic(), deadline, f"{part} is not in:\n{said}")
            time.sleep(0.02)


if __name__ == "__main__":
    unittest.main()
