"""The command line's grammar, its messages, help and listings."""
import json
import os
import pty
import shlex
import subprocess
import unittest

from support import INPUT, OK, OUTPUT, USAGE, VEL, VelTest, photo_like, write_png


class Messages(VelTest):
    def check(self, *words, says):
        """Nothing is done, and one line says what is wrong."""
        self.refused(USAGE, *words, says=says)

    def test_names(self):
        run = ["-i", "in.png", "-o", "out.png"]
        self.check("rotat", *run, says=("'rotat'", "did you mean 'rotate'"))
        self.check("run", "blurr", *run, says=("step 1", "'blurr'", "did you mean 'blur'"))
        self.check("run", "blur", "+", "gama", "--value", "2", *run, says=("step 2", "'gama'", "did you mean 'gamma'"))
        self.check("run", "blur", "+", *run, says=("step 2", "name is missing"))
        self.check("run", *run, says="step 1: an operation's name is missing")
        self.check("run", says="step 1: an operation's name is missing")
        self.check("hlep", says="did you mean 'help'")
        self.check("help", "rotatte", says="did you mean 'rotate'")
        self.check("no\nsuch\033[31mthing", *run, says="'no?such?[31mthing'")

    def test_options(self):
        run = ["-i", "in.png", "-o", "out.png"]
        self.check("rotate", "--angel", "30", *run, says=("'--angel'", "did you mean '--angle'"))
        self.check("rotate", "--angle", "30", "--overwritten", *run, says=("'--overwritten'", "did you mean '--overwrite'"))
        self.check("blur", "stray", *run, says="'stray' is unexpected")
        self.check("gamma", *run, says=("step 1 (gamma)", "--value is missing", "a number from 0.01 to 100"))
        self.check("rotate", "--angle", "1", "--angle", "2", *run, says=("step 1 (rotate)", "--angle"))
        self.check("copy", *run, says=("step 1 (copy)", "--onto FILE is missing"))
        self.check("negative", "-o", "out.png", says="-i is missing")
        self.check("negative", "-i", "in.png", says="-o is missing")
        self.check("ops", "--jsn", says="--json")
        self.check("info", says="which file")

    def test_values(self):
        run = ["-i", "in.png", "-o", "out.png"]
        self.check("gamma", "--value", "abc", *run, says=("step 1 (gamma)", "--value 'abc'", "a number from 0.01 to 100"))
        self.check("run", "blur", "+", "gamma", "--value", "0", *run, says=("step 2 (gamma)", "'0'", "0.01 to 100"))
        self.check("rotate", "--angle", "1.5", *run, says="a whole number")
        self.check("rotate", "--angle", "1", "--method", "catmul", *run, says=("one of nearest-neighbour", "'catmull-rom'"))
        self.check("rotate", "--angle", "1", "--method", "16", *run, says="one of nearest-neighbour")
        self.check("resample", "--size", "10", *run, says="WIDTHxHEIGHT")
        self.check("skew", "--pivot", "1", *run, says="x,y")
        self.check("set-image-transparent-pixel", "--key", "purple", *run, says="#rrggbb")
        self.check("lut", "--table", "1,2,3", *run, says="256 values")
        self.check("filter", "--kernel", "1 2 / 3", *run, says="a square of whole numbers")
        self.check("lut", "--table", "@missing.txt", *run, says="'missing.txt' cannot be read")
        self.check("rotate", "--angle", "1", "--keep-size=maybe", *run, says="--keep-size 'maybe': allowed is true or false")
        self.check("blur", "--convert", "everything", *run, says="--convert")
        self.check("blur", "--as", "pgn", *run, says=("--as 'pgn'", "'png'"))
        self.check("noise", "--seed", "-1", *run, says="--seed '-1'")
        self.check("blur", "-i", "in.png", "-o", "{name}.png", says=("{stem}", "{n}"))


class Listings(VelTest):
    def test_ops_lists_every_operation(self):
        listing = json.loads(self.vel("ops", "--json")[0])
        names = [operation["name"] for operation in listing["operations"]]
        self.assertEqual(len(names), 47)
        text, _ = self.vel("ops")
        for name in names:
            self.assertRegex(text, r"(?m)^  %s( |$)" % name)
        rotate = next(operation for operation in listing["operations"] if operation["name"] == "rotate")
        method = next(parameter for parameter in rotate["parameters"] if parameter["name"] == "method")
        self.assertEqual(len(method["choices"]), 16)
        self.assertEqual(rotate["rules"]["acts"], [1, 4, 8, 24, 32])

    def test_help_tells_every_operation_with_its_rules(self):
        for operation in json.loads(self.vel("ops", "--json")[0])["operations"]:
            text, _ = self.vel("help", operation["name"])
            self.assertTrue(text.startswith(operation["name"] + " - " + operation["summary"]))
            for parameter in operation["parameters"]:
                self.assertIn("--" + parameter["name"], text)
            for word in ("depths", "rounding", "alpha", "Example"):
                self.assertIn(word, text)
        self.assertEqual(self.vel("help", "rotate")[0], self.vel("rotate", "--help")[0])
        self.assertEqual(self.vel("help", "blur")[0], self.vel("run", "flip", "+", "blur", "--help")[0])

    def test_general_help_and_versions(self):
        general, _ = self.vel()
        self.assertEqual(general, self.vel("help")[0])
        self.assertEqual(general, self.vel("--help")[0])
        for word in ("run", "ops", "info", "version", "--overwrite", "--seed"):
            self.assertIn(word, general)
        for command in ("run", "compare", "info", "recipe", "completion", "man", "version", "ops", "help"):
            self.assertIn("vel " + command, self.vel("help", command)[0])
        self.assertIn("--tolerance", self.vel("help", "compare")[0])
        codes, _ = self.vel("help", "exit-codes")
        for code in (0, 1, 2, 3, 4, 5, 6, 7, 130):
            self.assertIn("  %d " % code, codes)
        version = json.loads(self.vel("version", "--json")[0])
        self.assertTrue(version["module"].endswith("VELMaths.so"))
        self.assertIn("png", [format["name"] for format in version["formats"]])
        self.assertIn(version["vel"], self.vel("--version")[0])

    def test_examples_of_the_help_are_understood(self):
        """The grammar takes every example line: it fails at most because the picture is not there."""
        write_png(self.path("other.png"), photo_like(8, 8))
        for operation in json.loads(self.vel("ops", "--json")[0])["operations"]:
            if any(parameter["type"] == "mapping" for parameter in operation["parameters"]):
                continue
            text, _ = self.vel("help", operation["name"])
            words = shlex.split(text[text.index("Example"):])[2:]
            _, err = self.vel(*words, code=INPUT)
            self.assertIn(words[words.index("-i") + 1] + ": cannot be opened", err)

    def on_terminal(self, words, environment, code=OK):
        """What a command writes when its output is a terminal."""
        master, slave = pty.openpty()
        clean = {key: value for key, value in os.environ.items() if key != "NO_COLOR"}
        process = subprocess.Popen([VEL, *words], stdout=slave, stderr=slave, env={**clean, **environment}, cwd=self.folder)
        os.close(slave)
        data = b""
        try:
            while part := os.read(master, 4096):
                data += part
        except OSError:
            pass
        os.close(master)
        self.assertEqual(process.wait(), code, data)
        return data.decode()

    def test_colours_only_on_a_terminal(self):
        colour = {"TERM": "xterm", "NO_COLOR": ""}
        self.assertIn("\033[", self.on_terminal(["help", "rotate"], colour))
        self.assertIn("\033[31mvel:", self.on_terminal(["rotat"], colour, USAGE))
        for words, code in ((["help", "rotate"], OK), (["rotat"], USAGE)):
            self.assertNotIn("\033", self.on_terminal(words, {**colour, "NO_COLOR": "1"}, code))
            self.assertNotIn("\033", self.on_terminal(words, {"TERM": "dumb"}, code))
        self.assertNotIn("\033", self.vel("help", "rotate", env=colour)[0])

    def test_pictures_are_not_written_to_a_terminal(self):
        write_png(self.path("in.png"), photo_like(7, 5))
        shown = self.on_terminal(["negative", "-i", "in.png", "-o", "-"], {"TERM": "dumb"}, OUTPUT)
        self.assertIn("standard output is a terminal", shown)

    def test_info(self):
        write_png(self.path("in.png"), photo_like(7, 5, "rgba"))
        info = json.loads(self.vel("info", "in.png", "--json")[0])
        self.assertEqual(info["width"], 7)
        self.assertEqual(info["height"], 5)
        self.assertEqual(info["bits-per-pixel"], 32)
        self.assertEqual(info["colour-format"], "argb")
        self.assertTrue(info["alpha"])
        text, _ = self.vel("info", "in.png")
        self.assertIn("7 x 5", text)


if __name__ == "__main__":
    unittest.main()
