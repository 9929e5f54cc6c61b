"""compare, completion and manual pages."""
import json
import math
import os
import pty
import select
import shutil
import subprocess
import time
import unittest

from support import (DIFFERENT, INPUT, OUTPUT, USAGE, VEL, Picture, VelTest, example, photo_like, read_png,
                     write_png)


class Compare(VelTest):
    def setUp(self):
        super().setUp()
        write_png(self.path("a.png"), photo_like(30, 20))

    def facts(self, *words, code):
        return json.loads(self.vel("compare", *words, "--json", code=code)[0])

    def test_the_same(self):
        shutil.copy(self.path("a.png"), self.path("b.png"))
        self.assertEqual(self.vel("compare", "a.png", "b.png")[0], "the same\n")
        self.assertTrue(self.facts("a.png", "b.png", code=0)["same"])

    def test_where_and_by_how_much(self):
        changed = photo_like(30, 20)
        changed.rows[4][7] = tuple(min(255, v + 9) for v in changed.rows[4][7])
        red, green, blue = changed.rows[11][3]
        changed.rows[11][3] = (red, green - 20 if green >= 20 else green + 20, blue)
        write_png(self.path("b.png"), changed)
        facts = self.facts("a.png", "b.png", code=DIFFERENT)
        differences = [abs(p - q) for row, other in zip(photo_like(30, 20).rows, changed.rows)
                       for a, b in zip(row, other) for p, q in zip(a, b)]
        self.assertEqual(facts["differing-pixels"], 2)
        self.assertEqual(facts["pixels"], 600)
        self.assertEqual(facts["where"], [3, 4, 7, 11])
        self.assertEqual((facts["largest"], facts["largest-at"], facts["largest-channel"]), (20, [3, 11], "green"))
        # Four channels a pixel, alpha being 255 in both.
        self.assertAlmostEqual(facts["mean"], sum(differences) / 2400)
        self.assertAlmostEqual(facts["psnr"], 10 * math.log10(255 ** 2 * 2400 / sum(d * d for d in differences)))
        text, _ = self.vel("compare", "a.png", "b.png", code=DIFFERENT)
        for part in ("different: a.png, b.png", "2 of 600", "3,4 to 7,11", "largest: 20 in green at 3,11"):
            self.assertIn(part, text)
        self.assertEqual(self.facts("a.png", "b.png", "--tolerance", "9", code=DIFFERENT)["differing-pixels"], 1)
        self.assertTrue(self.facts("a.png", "b.png", "--tolerance", "20", code=0)["same"])
        self.assertEqual(self.vel("compare", "-q", "a.png", "b.png", code=DIFFERENT)[0], "")

        self.vel("compare", "a.png", "b.png", "-o", "d.png", code=DIFFERENT)
        picture = read_png(self.path("d.png"))
        self.assertEqual(picture.rows[11][3], (0, 255, 0))
        self.assertEqual(sum(any(pixel) for row in picture.rows for pixel in row), 2)
        self.refused_with_output(OUTPUT, "compare", "a.png", "b.png", "-o", "d.png", says="--overwrite")

    def refused_with_output(self, code, *words, says):
        _, err = self.vel(*words, code=code)
        self.assertIn(says, err)

    def test_depth_palette_and_size(self):
        self.vel("increase-bpp", "--depth", "32", "-i", "a.png", "-o", "deep.png")
        facts = self.facts("a.png", "deep.png", code=DIFFERENT)
        self.assertEqual(facts["differs-in"], ["depth: 24-bit bgr, 32-bit argb"])
        self.assertEqual(facts["differing-pixels"], 0)
        self.vel("compare", "--colours", "a.png", "deep.png")
        write_png(self.path("p.png"), Picture(3, 1, "palette", 8, [[0, 1, 1]], [(1, 2, 3), (9, 9, 9)]))
        write_png(self.path("q.png"), Picture(3, 1, "palette", 8, [[1, 0, 0]], [(9, 9, 9), (1, 2, 3)]))
        facts = self.facts("p.png", "q.png", code=DIFFERENT)
        self.assertEqual((facts["differs-in"], facts["differing-pixels"]), (["palette: 2 entries, 2 entries"], 0))
        write_png(self.path("wide.png"), photo_like(31, 20))
        facts = self.facts("a.png", "wide.png", code=DIFFERENT)
        self.assertEqual(facts["differs-in"], ["size: 30x20, 31x20"])
        self.assertNotIn("pixels", facts)
        self.refused_with_output(USAGE, "compare", "a.png", "wide.png", "-o", "d.png", says="no difference picture")

    def test_integer_images(self):
        dem = example("measure16_dem.tif")
        self.vel("compare", "--convert", "widen", dem, dem)
        self.vel("scale", "--offset", "3", "--convert", "widen", "-i", dem, "-o", "up.tif")
        facts = self.facts(dem, "up.tif", "--convert", "widen", code=DIFFERENT)
        self.assertEqual((facts["largest"], facts["largest-channel"], facts["mean"]), (3, "value", 3.0))

    def test_mistakes(self):
        self.refused(INPUT, "compare", "a.png", "missing.png", says="missing.png")
        self.refused(USAGE, "compare", "a.png", says="two pictures, not 1")
        self.refused(USAGE, "compare", "a.png", "a.png", "--tolerance", "-1", says="tolerance")


class Terminal:
    """A shell on a terminal of its own; keys go in, what it shows comes out."""

    def __init__(self, words, environment, folder):
        self.master, slave = pty.openpty()
        self.process = subprocess.Popen(words, stdin=slave, stdout=slave, stderr=slave, env=environment, cwd=folder,
                                        start_new_session=True)
        os.close(slave)
        self.shown = ""

    def type(self, keys):
        os.write(self.master, keys.encode())

    def wait(self, text, seconds=30):
        """Reads until the text has appeared; returns what came up to then."""
        deadline = time.time() + seconds
        while text not in self.shown:
            left = deadline - time.time()
            if left <= 0 or not select.select([self.master], [], [], left)[0]:
                raise AssertionError("%r did not appear in %r" % (text, self.shown))
            try:
                self.shown += os.read(self.master, 4096).decode(errors="replace")
            except OSError:
                raise AssertionError("the shell ended: %r" % self.shown)
        before, self.shown = self.shown.split(text, 1)
        return before + text

    def end(self):
        self.process.kill()
        self.process.wait()
        os.close(self.master)


class Completion(VelTest):
    """The scripts in real shells."""

    def setUp(self):
        super().setUp()
        write_png(self.path("photo one.png"), photo_like(8, 8))
        write_png(self.path("picture.png"), photo_like(8, 8))
        self.environment = {**os.environ, "PATH": os.path.dirname(os.path.abspath(VEL)) + ":" + os.environ["PATH"],
                            "TERM": "dumb", "HOME": self.folder, "LC_ALL": "C"}

    def in_bash(self, keys):
        """A Bash with the script, into which the keys were typed."""
        script = self.path("vel.bash")
        with open(script, "w") as file:
            file.write(self.vel("completion", "bash")[0])
        terminal = Terminal(["bash", "--norc", "--noprofile", "-i"], self.environment, self.folder)
        terminal.type("bind 'set show-all-if-ambiguous on'; bind 'set completion-query-items 0'\n")
        terminal.type("source %s; PS1='> '; echo rea''dy\n" % script)
        terminal.wait("ready\r\n")
        terminal.type(keys)
        return terminal

    def completed(self, line, *expected):
        """TAB at the end of the line completes it with the one word, or lists them all."""
        terminal = self.in_bash(line + "\t")
        try:
            if len(expected) == 1:
                terminal.wait(line.rsplit(" ", 1)[0] + " " + expected[0] + " ")
            else:
                terminal.wait(line)
                for word in expected:
                    terminal.wait(word)
        finally:
            terminal.end()

    def test_bash_completes_names(self):
        self.completed("vel rot", "rotate", "rotate-paste", "rotate4")
        self.completed("vel run blur + gau", "gaussian-blur")
        self.completed("vel comp", "compare", "completion")

    def test_bash_completes_options_and_values(self):
        self.completed("vel rotate --an", "--angle")
        self.completed("vel rotate --angle 30 --method catm", "catmull-rom", "catmull-rom-half")
        self.completed("vel negative --over", "--overwrite")
        self.completed("vel negative --as web", "webp")
        self.completed("vel rotate --method=catm", "catmull-rom", "catmull-rom-half")
        self.completed("vel rotate --method=", "bicubic-sharp", "catmull-rom")
        self.completed("vel rotate --angle=30 --meth", "--method")

    def test_bash_completes_files_that_can_be_used(self):
        terminal = self.in_bash("vel info pho\t --json; echo rea''dy\n")
        try:
            shown = terminal.wait("ready\r\n")
            self.assertIn('"file": "photo one.png"', shown)
        finally:
            terminal.end()
        terminal = self.in_bash("vel negative -i pic\t -o out.png; echo rea''dy\n")
        try:
            terminal.wait("ready\r\n")
            self.assertIn("out.png", self.files())
        finally:
            terminal.end()

    @unittest.skipUnless(shutil.which("fish"), "fish is not installed")
    def test_fish(self):
        script = self.path("vel.fish")
        with open(script, "w") as file:
            file.write(self.vel("completion", "fish")[0])
        for line, expected in (("vel rot", ["rotate", "rotate-paste", "rotate4"]), ("vel rotate --method hermi", ["hermite", "hermite-scaled"]),
                               ("vel info pict", ["picture.png"])):
            done = subprocess.run(["fish", "--no-config", "-c", "source %s; complete -C '%s'" % (script, line)],
                                  env=self.environment, cwd=self.folder, capture_output=True, text=True)
            self.assertEqual(sorted(word.split("\t")[0] for word in done.stdout.splitlines()), expected, done.stderr)

    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_zsh(self):
        os.mkdir(self.path("functions"))
        with open(self.path("functions", "_vel"), "w") as file:
            file.write(self.vel("completion", "zsh")[0])
        terminal = Terminal(["zsh", "-f", "-i"], {**self.environment, "TERM": "vt100"}, self.folder)
        try:
            terminal.type("fpath=(%s $fpath); autoload -U compinit; compinit -u -d %s; echo rea''dy\n" %
                          (self.path("functions"), self.path("dump")))
            terminal.wait("ready\r\n")
            for line, expected in (("vel rotate --method hermi\t\t", "hermite-scaled"), ("vel run blur + gau\t", "ssian-blur")):
                terminal.type(line)
                terminal.wait(expected)
                terminal.type("\x15")
        finally:
            terminal.end()

    def test_candidates(self):
        def ask(*words):
            out, _ = self.vel("__complete", str(len(words)), *words)
            return [line.split("\t")[0] for line in out.splitlines()]

        names = [operation["name"] for operation in json.loads(self.vel("ops", "--json")[0])["operations"]]
        self.assertTrue(set(names) < set(ask("")))
        self.assertEqual([word for word in ask("run", "") if not word.startswith("-")], names)
        self.assertIn("+", ask("blur", ""))
        self.assertEqual(ask("copy", "--onto", ""), [":files"])
        self.assertEqual(ask("blur", "-o", ""), [":files"])
        self.assertIn(":files", ask("blur", "-i", "a.png", ""))
        self.assertNotIn(":files", ask("blur", "--seed", "4", ""))
        self.assertEqual(ask("gaussian-blur", "--level", "w"), ["wide", "widest"])
        self.assertEqual(ask("recipe", "make", "blur", "+", "neg"), ["negative"])
        self.assertEqual(ask("blur", "--on-error", ""), ["skip", "stop"])
        self.refused(USAGE, "completion", "tcsh", says="bash, zsh or fish")


class Manual(VelTest):
    def test_a_page_for_everything(self):
        self.vel("man", "--all", "man")
        names = [operation["name"] for operation in json.loads(self.vel("ops", "--json")[0])["operations"]]
        self.assertEqual(self.files(self.path("man")), sorted(["vel.1"] + ["vel-%s.1" % name for name in names]))
        with open(self.path("man", "vel-rotate.1")) as file:
            self.assertEqual(file.read(), self.vel("man", "rotate")[0])
        self.refused(USAGE, "man", "rotat", says="did you mean 'rotate'")

    @unittest.skipUnless(shutil.which("man"), "man is not installed")
    def test_pages_are_good_roff(self):
        self.vel("man", "--all", "man")
        for name in self.files(self.path("man")):
            done = subprocess.run(["man", "--warnings", "-l", self.path("man", name)], capture_output=True, text=True,
                                  env={**os.environ, "MANWIDTH": "100", "LC_ALL": "C.UTF-8", "MANPAGER": "cat", "PAGER": "cat"})
            self.assertEqual((done.returncode, done.stderr), (0, ""), name)
            self.assertIn("NAME " + name[:-2] + " - ", " ".join(done.stdout.split()))
            for part in ("SYNOPSIS", "EXAMPLE"):
                self.assertIn(part, done.stdout)


if __name__ == "__main__":
    unittest.main()
