"""The blocks of docs/command-line.md, run in their order in one folder."""
import os
import re
import shutil
import subprocess
import unittest

from support import SOURCE, VEL, VelTest, example, photo_like, write_png


class Guide(VelTest):
    def test_every_block_does_what_the_page_says(self):
        for name, source in {"photo.png": "nature_chelsea.png", "palette.png": "palette8_coffee.png",
                             "document.png": "document_text_1bit.png", "measure.png": "measure16_dem.png"}.items():
            shutil.copy(example(source), self.path(name))
        write_png(self.path("logo.png"), photo_like(30, 20))
        os.mkdir(self.path("photos"))
        for name in ("one.png", "two.png"):
            write_png(self.path("photos", name), photo_like(60, 40))
        with open(os.path.join(SOURCE, "docs", "command-line.md")) as file:
            page = file.read()
        environment = {**os.environ, "PATH": os.path.dirname(os.path.abspath(VEL)) + ":" + os.environ["PATH"]}
        blocks = re.findall(r"```(\w*)( fails=(\d))?\n(.*?)```", page, re.S)
        self.assertGreaterEqual(len(blocks), 10)
        said = ""
        for kind, _, fails, text in blocks:
            if kind == "output":
                self.assertEqual(said, text)
                continue
            self.assertEqual(kind, "sh")
            done = subprocess.run(["bash", "-euo", "pipefail", "-c", text], cwd=self.folder, env=environment,
                                  capture_output=True, text=True)
            self.assertEqual(done.returncode, int(fails or 0), text + done.stderr)
            said = done.stderr
        self.assertEqual(self.files(self.path("negatives")), ["one.png", "two.png"])
        self.assertEqual(self.files(self.path("grey")), ["001-one.jpg", "002-two.jpg"])

    def test_the_exit_codes_are_those_of_the_help(self):
        with open(os.path.join(SOURCE, "docs", "command-line.md")) as file:
            page = file.read()
        documented = dict(re.findall(r"^\| (\d+) \| (?:`compare`: )?(.*?) \|$", page, re.M))
        told = dict(re.findall(r"^  (\d+) +(?:compare: )?(.*)$", self.vel("help", "exit-codes")[0], re.M))
        for code, meaning in documented.items():
            self.assertTrue(told[code].startswith(meaning.split(";")[0].split(":")[0][:30]), (code, meaning, told[code]))
        self.assertEqual(set(documented) | {"130"}, set(told))


if __name__ == "__main__":
    unittest.main()
