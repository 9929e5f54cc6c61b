"""The neighbourhood filters beside SciPy, and image arithmetic beside NumPy and Pillow, on photos.

Compared is the interior only: outside an image VELMaths takes the colour of its first pixel, which no peer does. There
every result must be identical. Left out is what has no counterpart: Contour compares a difference with a value, and
Median ranks whole colours by their brightness, so it is compared on grey pictures only.
"""
import os
import subprocess
import sys
import tempfile
import unittest

try:
    import numpy
    from PIL import Image, ImageChops
    from scipy import ndimage
except ImportError as missing:
    print(f"left out: {missing}")
    sys.exit(77)

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "models"))
import rules  # noqa: E402

VEL = os.environ.get("VEL", "vel")
EXAMPLES = os.path.join(os.environ.get("VEL_SOURCE", "."), "examples")
PHOTOS = ["nature_chelsea.png", "people_astronaut.png", "document_text.png"]
GREY = ["document_text.png"]


def example(name):
    return os.path.join(EXAMPLES, name)


def pixels(path):
    """Rows, columns, channels; signed and wide enough for any sum."""
    array = numpy.asarray(Image.open(path)).astype(numpy.int64)
    return array if array.ndim == 3 else array[:, :, None]


def correlated(array, kernel, divisor, offset):
    """SciPy's correlation; an even kernel reaches one further to the left and upwards there, too."""
    sums = ndimage.correlate(array, numpy.asarray(kernel)[:, :, None])
    return numpy.clip(rules.quotient(sums, divisor) + offset, 0, 255)


class Peers(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def vel(self, *arguments):
        out = os.path.join(self.folder.name, "out.png")
        subprocess.run([VEL, *map(str, arguments), "--overwrite", "-o", out], check=True, stdout=subprocess.DEVNULL)
        return pixels(out)

    def assert_same_interior(self, ours, theirs, size):
        self.assertEqual(ours.shape, theirs.shape)
        before, after = size // 2, size - size // 2 - 1
        inside = (slice(before, ours.shape[0] - after), slice(before, ours.shape[1] - after))
        self.assertGreater(ours[inside].size, 10000)
        different = numpy.argwhere(ours[inside] != theirs[inside])
        self.assertEqual(len(different), 0, f"first difference at row, column, channel {different[:1]} of the interior")

    def test_fixed_kernels(self):
        kernels = {(name,): kernel for name, kernel in rules.FIXED_KERNELS.items()}
        kernels.update({("gaussian-blur", "--level", level): kernel for level, kernel in enumerate(rules.GAUSSIAN_KERNELS)})
        for photo in PHOTOS:
            for operation, (kernel, divisor, offset) in kernels.items():
                with self.subTest(photo=photo, operation=operation):
                    self.assert_same_interior(self.vel(*operation, "-i", example(photo)),
                                              correlated(pixels(example(photo)), kernel, divisor, offset), len(kernel))

    def test_any_kernel(self):
        random = numpy.random.RandomState(20)
        for size, divisor, offset in [(1, 2, 3), (2, 0, -40), (3, 5, 0), (4, -7, 200), (5, 40, 20), (9, 300, 60), (15, 900, 0)]:
            kernel = random.randint(-9, 20, (size, size))
            text = "/".join(" ".join(map(str, row)) for row in kernel)
            for photo in PHOTOS:
                with self.subTest(photo=photo, size=size):
                    ours = self.vel("filter", f"--kernel={text}", f"--divisor={divisor}", f"--offset={offset}", "-i", example(photo))
                    self.assert_same_interior(ours, correlated(pixels(example(photo)), kernel, divisor, offset), size)

    def test_morphology(self):
        for photo in PHOTOS:
            array = pixels(example(photo))
            for size in (2, 3, 4, 5, 15, 31):
                least = ndimage.minimum_filter(array, (size, size, 1))
                greatest = ndimage.maximum_filter(array, (size, size, 1))
                for operation, expected in (("erode", least), ("dilate", greatest), ("edge", greatest - least)):
                    with self.subTest(photo=photo, operation=operation, size=size):
                        ours = self.vel(operation, "--size", size, "-i", example(photo))
                        self.assert_same_interior(ours, expected, size)

    def test_median_of_grey(self):
        for photo in GREY:
            for size in (2, 3, 4, 5, 9, 15):
                with self.subTest(photo=photo, size=size):
                    expected = ndimage.rank_filter(pixels(example(photo)), size * size // 2, (size, size, 1))
                    self.assert_same_interior(self.vel("median", "--size", size, "-i", example(photo)), expected, size)

    def test_sums_and_differences(self):
        first, second = example("people_astronaut.png"), os.path.join(self.folder.name, "turned.png")
        picture = Image.open(first).convert("RGB")
        turned = picture.transpose(Image.FLIP_LEFT_RIGHT)
        turned.save(second)
        two = ("-i", first, "--second", second)
        a, b = pixels(first), pixels(second)
        expectations = [
            (("add",), ImageChops.add(picture, turned)),
            (("subtract",), ImageChops.subtract(picture, turned)),
            (("subtract", "--mode", "absolute"), ImageChops.difference(picture, turned)),
            (("add-scale",), (a + b) // 2),
            (("add-scale", "--first-factor", 1, "--second-factor", -1, "--offset", 128), numpy.clip(a - b + 128, 0, 255)),
            (("add", "--divisor", 4), (a + b) // 4),
        ]
        for operation, expected in expectations:
            with self.subTest(operation=operation):
                numpy.testing.assert_array_equal(self.vel(*operation, *two), numpy.asarray(expected))


if __name__ == "__main__":
    unittest.main()
