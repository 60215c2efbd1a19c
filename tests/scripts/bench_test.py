#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""What decides about figures: when a goal is met, when a figure is a regression, and that one bad try does not count."""
import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest

sys.path.append(str(pathlib.Path(__file__).parents[2] / "bench"))
import regression  # noqa: E402
from goals import GOALS, Goal  # noqa: E402
from report import Report, markdown, ratio  # noqa: E402


class BenchTest(unittest.TestCase):
    def expect(self, expected):
        file = tempfile.NamedTemporaryFile("w", suffix=".json")
        self.addCleanup(file.close)
        file.write(json.dumps(expected))
        file.flush()
        self.addCleanup(setattr, regression, "EXPECTED", regression.EXPECTED)
        regression.EXPECTED = pathlib.Path(file.name)

    def check(self, *tries):
        """Whether a figure that is expected to be 3 passes when it is measured so, one try after another."""
        self.expect({"group": {"figure": 3}})
        left = list(tries)
        with contextlib.redirect_stdout(io.StringIO()):
            return regression.check(lambda group: {"figures": left.pop(0)}, ["group"])

    def test_a_third_worse_is_a_regression(self):
        self.assertTrue(self.check({"figure": 3.99}))
        self.assertFalse(self.check(*[{"figure": 4.01}] * 3))

    def test_one_good_try_of_three_is_enough(self):
        self.assertTrue(self.check({"figure": 9}, {"figure": 9}, {"figure": 3}))

    def test_a_figure_that_is_missing_is_a_regression(self):
        self.assertFalse(self.check({}, {}, {}))

    def test_nothing_may_be_missed_where_nothing_was(self):
        self.assertEqual(regression.worse({"missed": 1}, {"missed": 0}), {"missed": 1})
        self.assertEqual(regression.worse({"missed": 0}, {"missed": 0}), {})

    def test_only_figures_that_are_kept_are_recorded(self):
        self.expect({"group": {"figure": 3}, "other": {"a": 1}})
        regression.record(lambda group: {"figures": {"figure": 2.00049, "more": 7}}, ["group"])
        self.assertEqual(json.loads(regression.EXPECTED.read_text()), {"group": {"figure": 2.0}, "other": {"a": 1}})

    def test_a_goal_is_met_up_to_its_limit(self):
        self.assertTrue(Goal("f", "t", 2).is_met(2))
        self.assertFalse(Goal("f", "t", 2).is_met(2.1))

    def test_every_goal_has_a_figure_of_its_own(self):
        self.assertEqual(len({goal.figure for goal in GOALS}), len(GOALS))

    def test_ratios_are_taken_pair_by_pair(self):
        self.assertEqual(ratio([2, 30, 4], [1, 10, 2]), 2)

    def test_a_table_is_aligned(self):
        report = Report()
        report.add_table("T", ["", "n"], [["long name", "1"], ["x", "22"]], ["note"])
        self.assertEqual(markdown(report.tables[0]),
                         "**T**\n\n|           |  n |\n|-----------|---:|\n| long name |  1 |\n| x         | 22 |\n\n- note\n")


unittest.main()
