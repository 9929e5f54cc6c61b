"""Runs over many pictures: names, worker processes, interrupts, journals, reports, recipes."""
import json
import os
import pty
import shutil
import signal
import subprocess
import time
import unittest

from support import (INPUT, OK, OUTPUT, USAGE, VEL, WORKER, VelTest, example, photo_like, read_png,
                     write_png)


def negative(picture):
    return [[tuple(255 - v for v in pixel) for pixel in row] for row in picture.rows]


class Names(VelTest):
    def setUp(self):
        super().setUp()
        os.makedirs(self.path("in", "sub", "deep"))
        self.picture = photo_like(6, 5)
        for name in ("a.png", "b.PNG", "sub/c.png", "sub/deep/a.png", ".hidden.png"):
            write_png(self.path("in", name), self.picture)
        with open(self.path("in", "notes.txt"), "w") as file:
            file.write("not a picture")

    def outputs(self):
        found = []
        for folder, _, names in os.walk(self.path("out")):
            found += [os.path.relpath(os.path.join(folder, name), self.path("out")) for name in names]
        return sorted(found)

    def test_templates(self):
        self.vel("negative", "-i", "in/a.png", "in/b.PNG", "-o", "out/{n:3}-{stem}-x.{ext}")
        self.assertEqual(self.outputs(), ["001-a-x.png", "002-b-x.PNG"])
        self.vel("negative", "-i", "in/a.png", "in/sub/c.png", "-o", "{dir}/n-{n}.bmp")
        self.assertIn("n-1.bmp", self.files(self.path("in")))
        self.assertIn("n-2.bmp", self.files(self.path("in", "sub")))

    def test_folders_hold_pictures_by_extension_in_the_order_of_names(self):
        self.vel("negative", "-i", "in", "-o", "out/")
        self.assertEqual(self.outputs(), ["a.png", "b.PNG"])
        self.assertEqual(read_png(self.path("out", "a.png")).rows, negative(self.picture))

    def test_folders_below_folders_keep_their_places(self):
        self.vel("negative", "-r", "-i", "in", "-o", "out/")
        self.assertEqual(self.outputs(), ["a.png", "b.PNG", "sub/c.png", "sub/deep/a.png"])
        os.mkdir(self.path("empty"))
        self.refused(INPUT, "negative", "-i", "empty", "-o", "out/", says="no pictures")
        self.refused(INPUT, "negative", "-i", "in/sub/deep/none-*.png", "-o", "out/", says="no file has such a name")

    def test_patterns(self):
        self.vel("negative", "-i", "in/*.png", "in/sub/?.png", "-o", "out/{n}.png")
        self.assertEqual(self.outputs(), ["1.png", "2.png"])
        write_png(self.path("in", "odd[1].png"), self.picture)
        self.vel("negative", "-i", "in/odd[1].png", "-o", "odd.png")

    def test_lists(self):
        with open(self.path("list"), "w") as file:
            file.write("in/a.png\r\n\nin/sub/c.png\n")
        self.vel("negative", "-i", "@list", "-o", "out/{n}.png")
        self.assertEqual(self.outputs(), ["1.png", "2.png"])
        self.vel("negative", "-i", "@-", "-o", "out/x-{n}.png", stdin=b"in/a.png\n")
        self.assertEqual(self.outputs(), ["1.png", "2.png", "x-1.png"])
        self.refused(INPUT, "negative", "-i", "@missing", "-o", "out/", says="missing")

    def test_a_dry_run_writes_nothing(self):
        out, _ = self.vel("run", "negative", "+", "blur", "-n", "-i", "in", "-o", "out/")
        self.assertEqual(out.splitlines(), ["negative + blur", "in/a.png -> out/a.png", "in/b.PNG -> out/b.PNG"])
        self.assertFalse(os.path.exists(self.path("out")))
        self.vel("negative", "-i", "in/a.png", "-o", "out/")
        out, _ = self.vel("negative", "-n", "-i", "in", "nowhere.png", "-o", "out/", code=OUTPUT)
        self.assertIn("in/a.png -> out/a.png (exists)", out)
        self.assertIn("nowhere.png -> out/nowhere.png (no such file)", out)


class Batches(VelTest):
    """A folder of real and broken files."""

    def setUp(self):
        super().setUp()
        os.mkdir(self.path("in"))
        for name in ("nature_chelsea.png", "palette8_coffee.bmp", "alpha_magnifier.png", "document_text.png"):
            shutil.copy(example(name), self.path("in"))
        with open(self.path("in", "broken.png"), "wb") as file:
            file.write(b"\x89PNG\r\n\x1a\n" + b"rubbish" * 20)
        open(self.path("in", "empty.jpg"), "w").close()
        with open(example("people_astronaut.png"), "rb") as source, open(self.path("in", "cut.png"), "wb") as file:
            file.write(source.read(60000))
        self.good = ["alpha_magnifier.png", "document_text.png", "nature_chelsea.png", "palette8_coffee.bmp"]
        self.bad = ["broken.png", "cut.png", "empty.jpg"]

    def report(self, name="r.json"):
        with open(self.path(name)) as file:
            return json.load(file)

    def test_broken_files_are_one_line_each_and_the_rest_is_done(self):
        _, err = self.vel("negative", "-j", "3", "-i", "in", "-o", "out/", "--report", "r.json", code=INPUT)
        self.assertEqual(self.files(self.path("out")), self.good)
        for name in self.bad:
            self.assertEqual(len([line for line in err.splitlines() if "in/" + name in line]), 1, err)
        report = self.report()
        self.assertEqual((report["pictures"], report["done"], report["failed"]), (7, 4, 3))
        self.assertEqual(report["exit-code"], INPUT)
        self.assertFalse(report["interrupted"])
        self.assertEqual([entry["input"] for entry in report["files"]], ["in/" + name for name in sorted(self.good + self.bad)])
        for entry in report["files"]:
            name = os.path.basename(entry["input"])
            self.assertEqual(entry["status"], "failed" if name in self.bad else "done")
            self.assertEqual("error" in entry, name in self.bad)
        chelsea = next(entry for entry in report["files"] if "chelsea" in entry["input"])
        self.assertEqual((chelsea["width"], chelsea["height"], chelsea["bits-per-pixel"]), (451, 300, 24))
        self.assertEqual(read_png(self.path("out", "nature_chelsea.png")).rows, negative(read_png(example("nature_chelsea.png"))))

    def test_on_error_stop(self):
        self.vel("negative", "--on-error", "stop", "-i", "in", "-o", "out/", "--report", "r.json", code=INPUT)
        report = self.report()
        self.assertEqual([entry["status"] for entry in report["files"]],
                         ["done", "failed"] + ["not-reached"] * 5)
        self.assertEqual(self.files(self.path("out")), self.good[:1])

    def test_results_do_not_depend_on_the_number_of_workers(self):
        for workers in ("1", "4"):
            self.vel("run", "noise", "--level", "90", "+", "jitter", "--radius", "3", "--expand", "--seed", "77", "-j",
                     workers, "-i", "in", "-o", "out" + workers + "/", code=INPUT)
        for name in self.good:
            with open(self.path("out1", name), "rb") as a, open(self.path("out4", name), "rb") as b:
                self.assertEqual(a.read(), b.read(), name)
        # Each picture has a start of its own: the seed plus its number.
        write_png(self.path("flat.png"), photo_like(40, 40))
        self.vel("noise", "--seed", "5", "-i", "flat.png", "flat.png", "flat.png", "-o", "f{n}.png")
        self.vel("noise", "--seed", "7", "-i", "flat.png", "-o", "single.png")
        self.assertEqual(read_png(self.path("f3.png")), read_png(self.path("single.png")))
        self.assertNotEqual(read_png(self.path("f1.png")), read_png(self.path("f2.png")))

    def test_plain_lines_without_a_terminal_and_a_bar_on_one(self):
        _, err = self.vel("negative", "-i", "in", "-o", "out/", code=INPUT)
        self.assertIn("vel: 1/7 in/alpha_magnifier.png -> out/alpha_magnifier.png\n", err)
        self.assertNotIn("\r", err)
        master, slave = pty.openpty()
        process = subprocess.Popen([VEL, "negative", "--overwrite", "-i", "in", "-o", "out/"], stdout=slave, stderr=slave,
                                   cwd=self.folder, env={**os.environ, "TERM": "xterm"})
        os.close(slave)
        data = b""
        try:
            while part := os.read(master, 4096):
                data += part
        except OSError:
            pass
        os.close(master)
        self.assertEqual(process.wait(), INPUT)
        self.assertRegex(data.decode(), r"\r\x1b\[K\[#+ *\] \d/7 +\d+%  [\d.]+/s  \d+:\d\d left")
        self.assertIn(b"7 of 7 pictures in", data)

    def test_notes_that_repeat_are_told_once(self):
        for name in ("p.bmp", "q.bmp"):
            shutil.copy(example("palette8_coffee.bmp"), self.path(name))
        _, err = self.vel("negative", "-i", "p.bmp", "q.bmp", "-o", "out/")
        self.assertEqual(err.count("computes with its indexes"), 2)  # one for the first, one that sums up the others
        self.assertIn("1 more with", err)
        _, err = self.vel("negative", "-q", "--overwrite", "-i", "p.bmp", "q.bmp", "-o", "out/")
        self.assertEqual(err, "")

    def test_a_missing_second_picture_is_one_message(self):
        self.refused(INPUT, "copy", "--onto", "missing.png", "-i", "in", "-o", "out/", says=("step 1 (copy)", "missing.png"))

    def test_the_report_is_an_output_too(self):
        with open(self.path("r.json"), "w") as file:
            file.write("mine")
        self.refused(OUTPUT, "negative", "-i", "in", "-o", "out/", "--report", "r.json", says=("r.json", "--overwrite"))
        self.refused(USAGE, "negative", "-i", "in/nature_chelsea.png", "-o", "r.png", "--report", "r.png", says="r.png")
        out, _ = self.vel("negative", "-i", "in/nature_chelsea.png", "-o", "x.png", "--report", "-")
        self.assertEqual(json.loads(out)["done"], 1)


class Trouble(VelTest):
    """Interrupts, time limits, crashes, full disks. A named pipe that nobody writes to is a picture that never ends."""

    def setUp(self):
        super().setUp()
        os.mkdir(self.path("in"))
        self.names = ["p%d.png" % i for i in range(6)]
        for name in self.names:
            write_png(self.path("in", name), photo_like(40, 30))
        self.endless = ["in/endless1.png", "in/endless2.png"]
        for name in self.endless:
            os.mkfifo(self.path(name))
        # Two workers do the first two pictures, and are stuck in the next two.
        paths = ["in/" + name for name in self.names]
        self.words = ["negative", "-j", "2", "-i", *paths[:2], *self.endless, *paths[2:], "-o", "out/", "--journal", "j",
                      "--report", "r.json"]

    def start(self, *words):
        process = subprocess.Popen([VEL, *words], cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def outputs(self):
        """Every file there is a whole picture, and nothing else is there."""
        names = self.files(self.path("out")) if os.path.isdir(self.path("out")) else []
        for name in names:
            self.assertFalse(name.startswith("."), name)
            self.assertEqual(read_png(self.path("out", name)).rows, negative(photo_like(40, 30)))
        return names

    def wait(self, condition, process):
        deadline = time.time() + 60
        while not condition():
            self.assertLess(time.time(), deadline)
            self.assertIsNone(process.poll())
            time.sleep(0.005)

    def entries(self):
        with open(self.path("j")) as file:
            return [json.loads(line) for line in file]

    def workers(self, process):
        found = subprocess.run(["ps", "-o", "pid=", "--ppid", str(process.pid)], capture_output=True, text=True)
        return [int(number) for number in found.stdout.split()]

    def reading(self, name, process):
        """The process, or a worker of it, is reading the named pipe; it will not see its end."""
        opened = []

        def reader():
            try:
                opened.append(os.open(self.path(name), os.O_WRONLY | os.O_NONBLOCK))
            except OSError:  # nobody reads
                pass
            return opened

        self.wait(reader, process)
        self.addCleanup(os.close, opened[0])

    def stuck(self, process):
        """Two pictures are done and recorded, and both workers are reading one that never ends."""
        self.wait(lambda: os.path.exists(self.path("j")) and len(self.entries()) == 1 + 4 + 2, process)
        for name in self.endless:
            self.reading(name, process)

    def interrupt_and_resume(self, number):
        process = self.start(*self.words)
        self.stuck(process)
        process.send_signal(number)
        _, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 128 + number, err)
        self.assertIn(b"interrupted; 6 pictures are left", err)
        self.assertEqual(self.outputs(), ["p0.png", "p1.png"])
        with open(self.path("r.json")) as file:
            report = json.load(file)
        self.assertEqual((report["interrupted"], report["done"], report["not-reached"]), (True, 2, 6))
        entries = self.entries()
        self.assertEqual(entries[0]["vel-journal"], 1)
        self.assertEqual(sorted(os.path.basename(entry["finished"]) for entry in entries if "finished" in entry),
                         ["p0.png", "p1.png"])
        stamps = [os.stat(self.path("out", name)).st_mtime_ns for name in self.outputs()]

        for name in self.endless:
            os.remove(self.path(name))
            write_png(self.path(name), photo_like(40, 30))
        # The earlier run may have written this one without a record; it is replaced.
        write_png(self.path("out", "endless1.png"), photo_like(3, 3))
        self.vel(*self.words, "--resume")
        self.assertEqual(self.outputs(), sorted(self.names + ["endless1.png", "endless2.png"]))
        with open(self.path("r.json")) as file:
            report = json.load(file)
        self.assertEqual((report["interrupted"], report["skipped"], report["done"]), (False, 2, 6))
        self.assertEqual([os.stat(self.path("out", name)).st_mtime_ns for name in ("p0.png", "p1.png")], stamps)

    def test_an_interrupt_leaves_whole_files_and_a_journal_to_go_on_with(self):
        self.interrupt_and_resume(signal.SIGINT)

    def test_so_does_a_termination(self):
        self.interrupt_and_resume(signal.SIGTERM)

    def test_an_interrupt_while_reading_leaves_nothing(self):
        process = self.start("negative", "-i", self.endless[0], "-o", "out.png")
        self.reading(self.endless[0], process)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=60)
        self.assertEqual(process.returncode, 130)
        self.assertEqual(self.files(), ["in"])

    def test_an_interrupt_at_any_time_leaves_a_whole_file_or_nothing(self):
        words = ["negative", "--effort", "9", "-i", example("people_astronaut.png"), "-o", "big.png"]
        begun = time.time()
        self.vel(*words)
        duration = time.time() - begun
        for i in range(12):
            os.remove(self.path("big.png")) if os.path.exists(self.path("big.png")) else None
            process = self.start(*words)
            time.sleep(duration * i / 11)
            process.send_signal(signal.SIGTERM)
            process.communicate(timeout=60)
            if process.returncode == OK:
                self.assertEqual(self.files(), ["big.png", "in"])
                self.assertEqual(read_png(self.path("big.png")).width, 512)
            else:
                self.assertEqual(process.returncode, 143 if process.returncode > 0 else -signal.SIGTERM)
                self.assertIn(self.files(), (["in"], ["big.png", "in"]))

    def test_workers_end_with_the_run(self):
        process = self.start(*self.words)
        self.stuck(process)
        workers = self.workers(process)
        self.assertEqual(len(workers), 2)
        process.kill()
        process.communicate()
        deadline = time.time() + 20
        while time.time() < deadline and any(os.path.exists("/proc/%d" % worker) for worker in workers):
            time.sleep(0.02)
        self.assertFalse([worker for worker in workers if os.path.exists("/proc/%d" % worker)])
        self.assertEqual(self.outputs(), ["p0.png", "p1.png"])

    def test_a_picture_that_takes_too_long_is_given_up(self):
        _, err = self.vel(*self.words, "--timeout", "3", code=WORKER)
        for name in self.endless:
            self.assertIn(name + ": took longer than 3 s", err)
        self.assertEqual(self.outputs(), self.names)
        # A single picture has the limit too.
        self.refused(WORKER, "negative", "-i", self.endless[0], "-o", "out.png", "--timeout", "0.3",
                     says="took longer than 0.3 s")

    def test_a_crash_costs_one_picture(self):
        process = self.start(*self.words)
        self.stuck(process)
        for worker in self.workers(process):
            os.kill(worker, signal.SIGKILL)
        _, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, WORKER, err)
        for name in self.endless:
            self.assertIn(name.encode() + b": the worker process ended by signal 9", err)
        self.assertEqual(self.outputs(), self.names)

    def test_a_full_disk(self):
        """A limit on the size of files makes every larger write fail, as a full disk does."""
        shutil.rmtree(self.path("in"))
        os.mkdir(self.path("in"))
        write_png(self.path("in", "small.png"), photo_like(8, 8))
        shutil.copy(example("people_astronaut.png"), self.path("in", "large.png"))
        script = 'trap "" XFSZ; ulimit -f 100; exec "$0" negative -i in -o out/ --report r.json'
        done = subprocess.run(["bash", "-c", script, VEL], cwd=self.folder, capture_output=True, text=True)
        self.assertEqual(done.returncode, OUTPUT, done.stderr)
        self.assertIn("large.png", done.stderr)
        self.assertEqual(self.files(self.path("out")), ["small.png"])


class Journals(VelTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("in"))
        for name in ("a", "b", "c"):
            write_png(self.path("in", name + ".png"), photo_like(9, 7))
        self.words = ["negative", "-i", "in", "-o", "out/", "--journal", "j"]

    def skipped(self, *more, code=OK):
        out, _ = self.vel(*self.words, *more, "--report", "-", code=code)
        return [entry["input"] for entry in json.loads(out)["files"] if entry["status"] == "skipped"]

    def test_what_is_done_is_left_out(self):
        self.assertEqual(self.skipped(), [])
        self.assertEqual(self.skipped("--resume"), ["in/a.png", "in/b.png", "in/c.png"])
        os.remove(self.path("out", "b.png"))
        os.utime(self.path("in", "c.png"), ns=(1, 1))
        self.assertEqual(self.skipped("--resume", code=OUTPUT), ["in/a.png"])  # c is there, and another picture now
        self.assertEqual(self.skipped("--resume", "--overwrite"), ["in/a.png", "in/b.png"])

    def test_a_journal_is_not_replaced_and_not_mixed(self):
        self.vel(*self.words)
        self.refused(OUTPUT, *self.words, "--overwrite", says=("j:", "--resume"))
        self.refused(USAGE, "blur", *self.words[1:], "--resume", says="another chain")
        self.refused(USAGE, *self.words, "--seed", "4", "--resume", says="another chain or other options")
        with open(self.path("text"), "w") as file:
            file.write("hello\n")
        self.refused(USAGE, *self.words[:-1], "text", "--resume", says="no journal")
        self.refused(USAGE, *self.words[:-2], "--resume", says="--journal")

    def test_a_cut_line_is_dropped(self):
        self.vel(*self.words)
        size = os.path.getsize(self.path("j"))
        with open(self.path("j"), "r+b") as file:
            file.truncate(size - 5)
        self.assertEqual(self.skipped("--resume"), ["in/a.png", "in/b.png"])
        self.assertEqual(self.skipped("--resume"), ["in/a.png", "in/b.png", "in/c.png"])

    def test_pictures_changed_in_place_are_not_changed_twice(self):
        words = ["negative", "-i", "in", "--in-place", "--journal", "k"]
        self.vel(*words)
        with open(self.path("k")) as file:
            lines = file.readlines()
        # As if the run had ended between the renaming and the record of the last picture.
        with open(self.path("k"), "w") as file:
            file.writelines(lines[:-1])
        self.vel(*words, "--resume")
        for name in "abc":
            self.assertEqual(read_png(self.path("in", name + ".png")).rows, negative(photo_like(9, 7)))


class Recipes(VelTest):
    def setUp(self):
        super().setUp()
        write_png(self.path("in.png"), photo_like(30, 20))
        os.mkdir(self.path("recipes"))
        write_png(self.path("recipes", "logo.png"), photo_like(5, 5))

    def write(self, recipe):
        with open(self.path("recipes", "r.json"), "w") as file:
            file.write(recipe if isinstance(recipe, str) else json.dumps(recipe))

    def test_a_recipe_does_what_the_command_line_does(self):
        self.write({"description": "for the test", "steps": [
            {"op": "rotate", "angle": -30, "method": "catmull-rom", "keep-size": True},
            {"op": "filter", "kernel": [[0, 1, 0], [1, 4, 1], [0, 1, 0]], "divisor": 8},
            {"op": "copy", "comment": "relative to this file", "source": "logo.png", "position": [3, 4]}]})
        out, _ = self.vel("recipe", "check", "recipes/r.json")
        self.assertEqual(out, "recipes/r.json: good: rotate + filter + copy\n")
        self.vel("run", "--recipe", "recipes/r.json", "-i", "in.png", "-o", "a.png")
        chain = ["rotate", "--angle", "-30", "--method", "4", "--keep-size", "+", "filter", "--kernel",
                 "0 1 0/1 4 1/0 1 0", "--divisor", "8", "+", "copy", "--source", "recipes/logo.png", "--position", "3,4"]
        self.vel("run", *chain, "-i", "in.png", "-o", "b.png")
        self.assertEqual(read_png(self.path("a.png")), read_png(self.path("b.png")))
        # One made from the command line does it again, and steps may follow a recipe.
        out, _ = self.vel("recipe", "make", *chain)
        with open(self.path("made.json"), "w") as file:
            file.write(out)
        self.vel("run", "--recipe", "made.json", "-i", "in.png", "+", "negative", "-o", "c.png")
        self.assertEqual(read_png(self.path("c.png")).rows, negative(read_png(self.path("a.png"))))

    def test_mistakes_name_the_file_the_step_and_the_value(self):
        for recipe, texts in [
                ("{", ["r.json", "no JSON"]),
                ([], ["r.json", "steps"]),
                ({"steps": []}, ["at least one step"]),
                ({"steps": [{"op": "blur"}], "setps": 1}, ["'setps'", "did you mean 'steps'"]),
                ({"steps": [{"op": "blur"}, {"operation": "x"}]}, ["r.json: step 2", "\"op\""]),
                ({"steps": [{"op": "blurr"}]}, ["r.json: step 1", "did you mean 'blur'"]),
                ({"steps": [{"op": "gamma", "value": 0}]}, ["step 1 (gamma)", "--value '0'", "0.01 to 100"]),
                ({"steps": [{"op": "gamma", "valeu": 2}]}, ["'valeu'", "did you mean 'value'"]),
                ({"steps": [{"op": "gamma"}]}, ["--value is missing"]),
                ({"steps": [{"op": "rotate", "angle": [1, 2]}]}, ["step 1 (rotate)", "--angle"]),
                ({"steps": [{"op": "rotate", "angle": None}]}, ["step 1 (rotate)", "--angle"]),
                ({"steps": [{"op": "copy", "onto": 5}]}, ["'onto' must be a file's name"])]:
            self.write(recipe)
            for words in (["recipe", "check", "recipes/r.json"],
                          ["run", "--recipe", "recipes/r.json", "-i", "in.png", "-o", "out.png"]):
                self.refused(USAGE, *words, says=texts)
        self.refused(INPUT, "recipe", "check", "missing.json", says="missing.json")
        self.refused(USAGE, "recipe", "chekc", "x", says="did you mean 'check'")


if __name__ == "__main__":
    unittest.main()
