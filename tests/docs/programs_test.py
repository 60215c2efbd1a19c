#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""What a program says of itself, its man page says, and bash completes: programs_test.py PROGRAM MAN-PAGE-SOURCE [unittest options]"""
import pathlib
import re
import subprocess
import sys
import unittest

PROGRAM = sys.argv.pop(1)
PAGE = pathlib.Path(sys.argv.pop(1)).read_text()
NAME = pathlib.Path(PROGRAM).name
HERE = pathlib.Path(__file__).parent
COMPLETION = HERE.parent.parent / "packaging" / "completion" / f"{NAME}.bash"
# A paragraph of --help that begins so is about these commands.
PARAGRAPH = re.compile(r"^([a-z]+(?:, [a-z]+)*):")


def without_markup(line):
    return re.sub(r"[*_\\]|\+\+$", "", line)


def section(title):
    return PAGE.split(f"\n# {title}\n", 1)[1].split("\n# ", 1)[0]


def read_help():
    """The usage lines, and the options with the paragraph that each stands in."""
    usages, options, paragraph = [], [], ""
    for line in subprocess.run([PROGRAM, "--help"], check=True, capture_output=True, text=True).stdout.splitlines():
        if re.match(rf"(Usage:| {{6}}) {NAME}", line):
            usages.append(line[7:])
        elif PARAGRAPH.match(line):
            paragraph = PARAGRAPH.match(line)[1]
        elif line.startswith("  -"):
            options.append((paragraph, re.split(r" {2,}", line.strip())[0]))
    return usages, options


USAGES, OPTIONS = read_help()
COMMANDS = [usage.split()[1] for usage in USAGES if re.fullmatch("[a-z]+", usage.split()[1])]


def long_name(option):
    return re.search(r"--[a-z-]+", option)[0]


def takes_value(option):
    return " " in option.removeprefix(option.split(", ")[0] + ", ")


def offers(*lines):
    """What is offered at the end of each line."""
    answer = subprocess.run([HERE / "completions.sh", PROGRAM, COMPLETION], input="".join(f"{line}\n" for line in lines),
                            check=True, capture_output=True, text=True)
    return [offered.split() for offered in answer.stdout.splitlines()]


class ProgramsTest(unittest.TestCase):
    maxDiff = None

    def test_the_page_has_the_options_of_the_help(self):
        self.assertTrue(OPTIONS)
        described = [without_markup(line) for line in PAGE.splitlines() if re.match(r"\*-", line)]
        self.assertEqual(sorted(described), sorted(option for _, option in OPTIONS))

    def test_the_page_has_the_command_lines_of_the_help(self):
        self.assertTrue(USAGES)
        described = [without_markup(line) for line in section("SYNOPSIS").splitlines() if line]
        self.assertEqual(described, USAGES)

    def test_every_option_is_completed(self):
        lines = [f"{command} --" for command in COMMANDS] or ["--"]
        self.assertEqual({word for words in offers(*lines) for word in words}, {long_name(option) for _, option in OPTIONS})

    def test_services_are_offered_behind_targets(self):
        if NAME != "servicescan":
            self.skipTest("asks for no services")
        self.assertEqual(offers("10.0.0.1 ht", "10.0.0.1 http s"), [["http", "https"], ["snmp", "sip"]])

    def test_a_command_is_offered_its_own_options(self):
        if not COMMANDS:
            self.skipTest("has no commands")
        self.assertEqual(offers("")[0], [*COMMANDS, "--help", "--version"])
        self.assertEqual(offers(COMMANDS[0][:2])[0], [COMMANDS[0]])
        for command, offered in zip(COMMANDS, offers(*[f"{command} --" for command in COMMANDS])):
            with self.subTest(command):
                alien = [long_name(option) for paragraph, option in OPTIONS
                         if set(paragraph.split(", ")) <= set(COMMANDS) - {command}]
                self.assertFalse(set(alien) & set(offered))

    def test_no_option_is_offered_in_place_of_a_value(self):
        command = f"{COMMANDS[0]} " if COMMANDS else ""
        for _, option in OPTIONS:
            if long_name(option) in ("--help", "--version"):
                continue
            for name in re.findall(r"(?<!\S)--?[a-z-]+", option):
                with self.subTest(name):
                    offered = offers(f"{command}{name} --")[0]
                    self.assertEqual(not takes_value(option), bool(offered), offered)


if __name__ == "__main__":
    unittest.main()
