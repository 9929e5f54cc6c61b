#!/usr/bin/python3
"""The manual is what the registry says, and its examples run.

usage: test_manual.py VEL SOURCE_DIR
"""
import filecmp
import json
import os
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

VEL, SOURCE = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
MANUAL = os.path.join(SOURCE, "docs", "manual")


def example_photo(name):
    return os.path.join(SOURCE, "examples", name)


class Manual(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        listing = subprocess.run([VEL, "ops", "--json"], check=True, capture_output=True, text=True).stdout
        cls.operations = json.loads(listing)["operations"]

    def test_pages_are_current(self):
        """`vel manual -o docs/manual` would change nothing."""
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([VEL, "manual", "-o", folder], check=True)
            made = sorted(os.listdir(folder))
            kept = sorted(n for n in os.listdir(MANUAL) if n.endswith(".md") and n != "README.md")
            self.assertEqual(made, kept)
            for name in made:
                same = filecmp.cmp(os.path.join(folder, name), os.path.join(MANUAL, name), shallow=False)
                self.assertTrue(same, f"docs/manual/{name} is not what the registry says")

    def test_every_page_has_its_picture(self):
        for operation in self.operations:
            path = os.path.join(MANUAL, "pictures", operation["name"] + ".jpg")
            self.assertGreater(os.path.getsize(path), 1000, path)

    def test_examples_run(self):
        for operation in self.operations:
            with self.subTest(operation["name"]), tempfile.TemporaryDirectory() as folder:
                with open(os.path.join(MANUAL, operation["name"] + ".md"), encoding="utf-8") as f:
                    line = f.read().split("## Example\n\n```\n")[1].split("\n```")[0]
                words = shlex.split(line)
                self.assertEqual(words[0], "vel")
                colour = 24 in operation["rules"]["acts"]
                photo = example_photo("nature_chelsea.png" if colour else "alpha_magnifier.png")
                for name in ("photo.png", "other.png"):
                    shutil.copy(photo, os.path.join(folder, name))
                shutil.copy(example_photo("measure16_dem.png"), os.path.join(folder, "measure.png"))
                run = subprocess.run([VEL, *words[1:]], cwd=folder, capture_output=True, text=True)
                self.assertEqual(run.returncode, 0, line + "\n" + run.stderr)
                output = words[words.index("-o") + 1]
                self.assertGreater(os.path.getsize(os.path.join(folder, output)), 0, line)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
