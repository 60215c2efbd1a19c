#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Documents name what is there: documents_test.py [FOLDER-OF-RENDERED-MAN-PAGES]"""
import os
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).parent.parent.parent
RENDERED = pathlib.Path(sys.argv.pop(1)) if len(sys.argv) > 1 else None
SOURCES = sorted((ROOT / "docs" / "man").glob("*.scd"))


class DocumentsTest(unittest.TestCase):
    def test_the_readme_shows_the_example_as_it_is(self):
        shown = re.search(r"<!-- (\S+) -->\n```cpp\n(.*?)```\n", (ROOT / "README.md").read_text(), re.S)
        self.assertEqual(shown[2], (ROOT / shown[1]).read_text())

    def test_links_lead_somewhere(self):
        documents = [path for path in ROOT.rglob("*.md") if "build" not in path.relative_to(ROOT).parts]
        self.assertGreater(len(documents), 5)
        for document in documents:
            for link in re.findall(r"\]\(([^)#]+)[^)]*\)", document.read_text()):
                if ":" not in link:
                    self.assertTrue((document.parent / link).exists(), f"{document}: {link}")

    def test_pages_of_ours_that_are_named_are_there(self):
        pages = {path.stem for path in SOURCES}
        self.assertGreater(len(pages), 5)
        for source in SOURCES:
            for name, number in re.findall(r"\*((?:discovery|servicescan)[a-z-]*)\*\((\d)\)", source.read_text()):
                self.assertIn(f"{name}.{number}", pages, source)

    def test_pages_are_rendered_without_a_warning(self):
        if not RENDERED or not RENDERED.exists():
            self.skipTest("built without scdoc")
        environment = dict(os.environ, LC_ALL="C.UTF-8", MANWIDTH="80", MANROFFSEQ="")
        for source in SOURCES:
            page = RENDERED / f"{source.stem}.gz"
            shown = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-Tutf8", "-Z", "-l", page], env=environment,
                                   capture_output=True, text=True, check=True)
            self.assertEqual(shown.stderr, "", page)


if __name__ == "__main__":
    unittest.main()
