"""Operations and chains on picture files: pixels, depths, palettes, overwriting, exit codes."""
import json
import math
import os
import struct
import unittest

from support import (INPUT, MODULE, OPERATION, OUTPUT, USAGE, VelTest, Picture, example, photo_like, read_bmp8, read_png,
                     write_png)


def single(number):
    return struct.unpack("f", struct.pack("f", number))[0]


def gamma_table(gamma):
    inverse = single(1.0 / single(gamma))
    norm = math.pow(255.0, inverse) / 255.0
    return [max(0, min(255, int(math.pow(i, inverse) / norm))) for i in range(256)]


def light_table(brightness, contrast):
    scale, offset = single((contrast + 100) / 100.0), float(brightness + 128)
    return [max(0, min(255, int(single(single((i - 128) * scale) + offset)))) for i in range(256)]


class Chains(VelTest):
    def test_a_chain_on_a_photo_computes_what_its_formulas_say(self):
        photo = example("nature_chelsea.png")
        _, err = self.vel("run", "gamma", "--value", "1.8", "+", "light", "--contrast", "20", "-i", photo, "-o", "out.png")
        self.assertEqual(err, "")
        before, after = read_png(photo), read_png(self.path("out.png"))
        gamma, light = gamma_table(1.8), light_table(0, 20)
        self.assertEqual((after.width, after.height, after.kind, after.depth), (451, 300, "rgb", 8))
        for row, result in zip(before.rows, after.rows):
            self.assertEqual([tuple(light[gamma[v]] for v in pixel) for pixel in row], result)

    def test_the_shorthand_and_run_do_the_same(self):
        source = write_png(self.path("in.png"), photo_like(20, 9))
        self.vel("shift-rgb", "--red", "9", "-i", source, "-o", "a.png")
        self.vel("run", "shift-rgb", "--red=9", "-i", source, "-o", "b.png")
        self.vel("shift_rgb", "--red", "5", "+", "shift-rgb", "--red", "4", "-i", source, "-o", "c.png")
        a = read_png(self.path("a.png"))
        self.assertEqual(a, read_png(self.path("b.png")))
        self.assertEqual(a, read_png(self.path("c.png")))
        self.assertEqual(a.rows[3][4][0], photo_like(20, 9).rows[3][4][0] + 9)

    def test_an_opaque_circle_keeps_its_alpha_in_the_file(self):
        """Also of grey pictures, whose format code would make the 32-bit result one of integers."""
        for kind in ("rgb", "grey"):
            write_png(self.path("in.png"), photo_like(24, 32, kind))
            self.vel("circle-transform", "--mode", "swirl", "--opaque", "-i", "in.png", "-o", "out.png", "--overwrite")
            result = read_png(self.path("out.png"))
            self.assertEqual(result.kind, "rgba", kind)
            self.assertEqual((result.rows[16][12][3], result.rows[0][0][3]), (255, 1), kind)

    def test_options_of_the_run_may_stand_in_any_step(self):
        write_png(self.path("in.png"), photo_like(8, 8))
        self.vel("negative", "-i", "in.png", "+", "negative", "-o", "out.png")
        self.assertEqual(read_png(self.path("out.png")), photo_like(8, 8))

    def test_negative_numbers_and_points_are_values(self):
        write_png(self.path("in.png"), photo_like(30, 20))
        self.vel("rotate", "--angle", "-90", "-i", "in.png", "-o", "turned.png")
        turned = read_png(self.path("turned.png"))
        self.assertEqual((turned.width, turned.height), (20, 30))
        self.vel("skew", "--x-factor", "-0.5", "--pivot", "-3,2", "-i", "in.png", "-o", "skewed.png")

    def test_colours_are_red_green_blue_whatever_the_operation_wants(self):
        write_png(self.path("in.png"), photo_like(6, 4))
        self.vel("equal", "--colour", "#102030", "-i", "in.png", "-o", "flat.png")
        self.assertEqual(read_png(self.path("flat.png")).rows[1][1], (0x10, 0x20, 0x30))
        self.vel("increase-bpp", "--depth", "32", "+", "set-image-transparent-pixel", "--key", "16,32,48", "-i", "flat.png",
                 "-o", "clear.png")
        self.assertEqual(read_png(self.path("clear.png")).rows[3][5], (0x10, 0x20, 0x30, 0))

    def test_switches_have_a_negative_form(self):
        write_png(self.path("in.png"), photo_like(30, 20))
        corners = ["--top-left", "2.25,2", "--top-right", "20,2", "--bottom-left", "2,15", "--bottom-right", "20,15"]
        for name, words in {"default": [], "on": ["--interpolate"], "no": ["--no-interpolate"],
                            "off": ["--interpolate=false"]}.items():
            self.vel("quad", *corners, *words, "-i", "in.png", "-o", name + ".png")
        default, on, no, off = (read_png(self.path(name + ".png")) for name in ("default", "on", "no", "off"))
        self.assertEqual(default, on)
        self.assertEqual(no, off)
        self.assertNotEqual(on, no)

    def test_two_images(self):
        write_png(self.path("photo.png"), photo_like(30, 20))
        write_png(self.path("logo.png"), Picture(4, 3, "rgb", 8, [[(1, 2, 3)] * 4] * 3))
        # The picture that comes in takes the first place that is not given.
        self.vel("copy", "--onto", "photo.png", "--position", "5,6", "-i", "logo.png", "-o", "a.png")
        self.vel("copy", "--source", "logo.png", "--position", "5,6", "-i", "photo.png", "-o", "b.png")
        a = read_png(self.path("a.png"))
        self.assertEqual(a, read_png(self.path("b.png")))
        expected = photo_like(30, 20)
        for y in range(3):
            expected.rows[6 + y][5:9] = [(1, 2, 3)] * 4
        self.assertEqual(a, expected)
        # The second picture and the destination are as they were for every input.
        self.vel("copy", "--onto", "photo.png", "-i", "logo.png", "-o", "c.png")
        self.assertEqual(read_png(self.path("photo.png")), photo_like(30, 20))

    def test_counts_are_told(self):
        write_png(self.path("a.png"), photo_like(30, 20))
        changed = photo_like(30, 20)
        changed.rows[4][7] = (255, 0, changed.rows[4][7][2])
        write_png(self.path("b.png"), changed)
        _, err = self.vel("subtract", "--second", "b.png", "--mode", "absolute", "-i", "a.png", "-o", "d.png")
        self.assertIn("step 1 (subtract): count 2", err)
        _, err = self.vel("subtract", "--second", "b.png", "-i", "a.png", "-o", "e.png", "--quiet")
        self.assertEqual(err, "")

    def test_random_filters_repeat_and_follow_the_seed(self):
        write_png(self.path("in.png"), photo_like(40, 30))
        for name, seed in (("a", []), ("b", []), ("c", ["--seed", "1"]), ("d", ["--seed", "2"])):
            self.vel("noise", "--level", "60", *seed, "-i", "in.png", "-o", name + ".png")
        a, b, c, d = (read_png(self.path(name + ".png")) for name in "abcd")
        self.assertEqual(a, b)
        self.assertEqual(a, c)
        self.assertNotEqual(a, d)

    def test_standard_input_and_output(self):
        write_png(self.path("in.png"), photo_like(9, 9))
        with open(self.path("in.png"), "rb") as file:
            data = file.read()
        out, err = self.vel("negative", "-i", "-", "-o", "-", stdin=data, text=False)
        self.assertEqual(err, "")
        self.assertEqual([[tuple(255 - v for v in p) for p in row] for row in photo_like(9, 9).rows], read_png(out).rows)
        out, _ = self.vel("negative", "-i", "-", "-o", "-", "--as", "bmp", stdin=data, text=False)
        self.assertEqual(out[:2], b"BM")


class Formats(VelTest):
    def info(self, path):
        return json.loads(self.vel("info", "--json", path)[0])

    def test_negative_keeps_a_palette_bmp(self):
        source = example("palette8_coffee.bmp")
        self.vel("negative", "-i", source, "-o", "out.bmp")
        palette, rows, bottom_up = read_bmp8(source)
        new_palette, new_rows, new_bottom_up = read_bmp8(self.path("out.bmp"))
        self.assertEqual(palette, new_palette)
        self.assertEqual(bottom_up, new_bottom_up)
        self.assertEqual([[255 - v for v in row] for row in rows], new_rows)

    def test_negative_keeps_a_1_bit_png_and_says_that_it_left_it_alone(self):
        source = example("document_text_1bit.png")
        _, err = self.vel("negative", "-i", source, "-o", "out.png")
        self.assertEqual(read_png(source).depth, 1)
        self.assertEqual(read_png(self.path("out.png")), read_png(source))
        self.assertIn("leaves 1-bit images unchanged", err)
        self.assertIn("--expand", err)
        self.refused(OPERATION, "negative", "--strict", "-i", source, "-o", "strict.png", says="leaves 1-bit images unchanged")
        self.assertEqual(self.files(), ["out.png"])

    def test_expand_makes_low_depths_24_bit_colour(self):
        source = example("document_text_1bit.png")
        _, err = self.vel("negative", "--expand", "-i", source, "-o", "out.png")
        self.assertEqual(err, "")
        out = read_png(self.path("out.png"))
        self.assertEqual((out.kind, out.depth), ("rgb", 8))
        self.assertEqual([[(255 - 255 * v,) * 3 for v in row] for row in read_png(source).rows], out.rows)
        entries = [(10, 20, 30), (200, 100, 50), (7, 8, 9)]
        write_png(self.path("p.png"), Picture(5, 2, "palette", 4, [[0, 1, 2, 1, 0], [2, 2, 1, 0, 0]], entries))
        self.vel("light", "--expand", "-i", "p.png", "-o", "q.png")
        self.assertEqual(read_png(self.path("q.png")).rows[0], [entries[i] for i in (0, 1, 2, 1, 0)])

    def test_jpeg_and_tiff_go_through(self):
        photo = example("people_astronaut.png")
        self.vel("gamma", "--value", "1", "-i", photo, "-o", "photo.jpg")
        self.vel("gamma", "--value", "1", "-i", photo, "-o", "photo.tif")
        for name in ("photo.jpg", "photo.tif"):
            self.vel("negative", "-i", name, "-o", "negative-" + name)
            info = self.info("negative-" + name)
            self.assertEqual((info["format"], info["bits-per-pixel"]), ("jpeg" if name.endswith("jpg") else "tiff", 24))
            self.assertEqual((info["width"], info["height"]), (512, 512))
        # The decoded pixels of the JPEG are complemented exactly; only writing JPEG again loses.
        self.vel("gamma", "--value", "1", "-i", "photo.jpg", "-o", "plain.png")
        self.vel("negative", "-i", "photo.jpg", "-o", "negative.png")
        plain, negative = read_png(self.path("plain.png")), read_png(self.path("negative.png"))
        self.assertEqual([[tuple(255 - v for v in p) for p in row] for row in plain.rows], negative.rows)
        self.vel("negative", "-i", "negative-photo.tif", "-o", "again.png")
        self.assertEqual(read_png(self.path("again.png")).rows, read_png(photo).rows)

    def test_pictures_that_cannot_be_held_are_refused_with_the_option_that_converts_them(self):
        dem = example("measure16_dem.png")
        self.refused(INPUT, "negative", "-i", dem, "-o", "out.png", says=("16-bit", "--convert", "widen", "8bit"))
        self.vel("scale8", "--factor", "0.0625", "--convert", "widen", "-i", dem, "-o", "out.png")
        before, after = read_png(dem), read_png(self.path("out.png"))
        self.assertEqual((after.kind, after.depth), ("grey", 8))
        self.assertEqual([[min(255, int(v * 0.0625)) for v in row] for row in before.rows], after.rows)
        self.refused(OUTPUT, "light", "--convert", "widen", "-i", dem, "-o", "out.jpg", says="out.jpg")
        self.assertEqual(self.files(), ["out.png"])


class Overwriting(VelTest):
    def setUp(self):
        super().setUp()
        write_png(self.path("in.png"), photo_like(8, 8))

    def test_an_output_that_exists_is_kept(self):
        write_png(self.path("out.png"), photo_like(3, 3))
        self.refused(OUTPUT, "negative", "-i", "in.png", "-o", "out.png", says=("out.png", "--overwrite"))
        self.assertEqual(read_png(self.path("out.png")), photo_like(3, 3))
        self.vel("negative", "-i", "in.png", "-o", "out.png", "--overwrite")
        self.assertEqual(read_png(self.path("out.png")).width, 8)

    def test_an_input_is_never_written_without_in_place(self):
        os.symlink("in.png", self.path("link.png"))
        os.mkdir(self.path("sub"))
        for name in ("in.png", "./in.png", "link.png", "sub/../in.png"):
            self.refused(OUTPUT, "negative", "--overwrite", "-i", "in.png", "-o", name, says="--in-place")
        self.refused(OUTPUT, "negative", "--overwrite", "-i", "in.png", "-o", ".", says="--in-place")
        self.assertEqual(read_png(self.path("in.png")), photo_like(8, 8))
        self.vel("negative", "-i", "in.png", "--in-place")
        self.vel("negative", "-i", "in.png", "--in-place")
        self.assertEqual(read_png(self.path("in.png")), photo_like(8, 8))
        self.refused(USAGE, "negative", "-i", "in.png", "--in-place", "-o", "x.png", says="--in-place")

    def test_two_inputs_never_share_an_output(self):
        os.mkdir(self.path("a"))
        os.mkdir(self.path("b"))
        os.mkdir(self.path("out"))
        write_png(self.path("a", "x.png"), photo_like(4, 4))
        write_png(self.path("b", "x.png"), photo_like(4, 4))
        self.refused(OUTPUT, "negative", "-i", "a/x.png", "b/x.png", "-o", "out", says=("a/x.png", "b/x.png"))
        self.assertEqual(self.files(self.path("out")), [])
        self.refused(USAGE, "negative", "-i", "a/x.png", "b/x.png", "-o", "y.png", says="{stem}")

    def test_nothing_is_left_of_an_output_that_cannot_be_written(self):
        self.refused(OUTPUT, "negative", "-i", "in.png", "-o", "missing/out.png", says="missing/out.png")
        self.refused(OUTPUT, "negative", "-i", "in.png", "-o", "/dev/full", "--as", "png", "--overwrite", says="/dev/full")
        self.assertEqual(self.files(), ["in.png"])


class Failures(VelTest):
    def test_inputs_that_cannot_be_read(self):
        self.refused(INPUT, "negative", "-i", "missing.png", "-o", "out.png", says="missing.png")
        with open(self.path("text.png"), "w") as file:
            file.write("no picture at all")
        self.refused(INPUT, "negative", "-i", "text.png", "-o", "out.png", says="text.png")
        write_png(self.path("cut.png"), photo_like(40, 40))
        with open(self.path("cut.png"), "r+b") as file:
            file.truncate(300)
        self.refused(INPUT, "negative", "-i", "cut.png", "-o", "out.png", says="cut.png")
        write_png(self.path("large.png"), photo_like(60, 60))
        self.refused(INPUT, "negative", "--max-pixels", "3k", "-i", "large.png", "-o", "out.png", says="large.png")
        self.vel("negative", "--max-pixels", "3600", "-i", "large.png", "-o", "out.png")
        self.refused(USAGE, "negative", "--max-pixels", "3x", "-i", "large.png", "-o", "out2.png", says="--max-pixels '3x'")

    def test_outputs_say_their_format(self):
        write_png(self.path("in.png"), photo_like(8, 8))
        for name in ("out", "out.xyz"):
            self.refused(OUTPUT, "negative", "-i", "in.png", "-o", name, says=("'%s'" % name, "--as"))
        self.vel("negative", "-i", "in.png", "-o", "out.xyz", "--as", "png")
        self.assertEqual(read_png(self.path("out.xyz")).width, 8)
        # Written over itself, a file keeps its format whatever its name.
        self.vel("negative", "-i", "out.xyz", "--in-place")
        self.assertEqual(read_png(self.path("out.xyz")), photo_like(8, 8))

    def test_operations_that_refuse_name_the_way(self):
        write_png(self.path("in.png"), photo_like(8, 8))
        self.refused(OPERATION, "set-image-alpha", "--alpha", "9", "-i", "in.png", "-o", "out.png",
                     says=("step 1 (set-image-alpha)", "24-bit", "increase-bpp --depth 32"))
        self.vel("increase-bpp", "--depth", "32", "+", "set-image-alpha", "--alpha", "9", "-i", "in.png", "-o", "out.png")
        self.assertEqual(read_png(self.path("out.png")).rows[2][2][3], 9)

    def test_other_inputs_go_on_after_a_failure(self):
        write_png(self.path("a.png"), photo_like(8, 8))
        write_png(self.path("c.png"), photo_like(8, 8))
        _, err = self.vel("negative", "-i", "a.png", "b.png", "c.png", "-o", "n-{stem}.{ext}", code=INPUT)
        self.assertEqual(len([line for line in err.splitlines() if "b.png" in line]), 1)
        self.assertEqual(self.files(), ["a.png", "c.png", "n-a.png", "n-c.png"])

    def test_the_module_is_found_beside_the_tool_or_missing_with_a_message(self):
        import shutil
        from support import VEL
        write_png(self.path("in.png"), photo_like(8, 8))
        shutil.copy(VEL, self.path("vel-alone"))
        import subprocess
        done = subprocess.run([self.path("vel-alone"), "negative", "-i", "in.png", "-o", "out.png"], capture_output=True,
                              cwd=self.folder)
        self.assertEqual(done.returncode, MODULE, done.stderr)
        self.assertIn(b"VELMaths.so", done.stderr)


if __name__ == "__main__":
    unittest.main()
