"""Turns and replication beside NumPy, to the byte, on whole photos."""
import unittest

import filters
from filters import PHOTOS, example, pixels, rules

import numpy


class Geometry(unittest.TestCase):
    setUp = filters.Peers.setUp
    vel = filters.Peers.vel

    def check(self, expected, *arguments):
        for name in PHOTOS:
            with self.subTest(name, arguments=arguments):
                before = pixels(example(name))
                after = self.vel(*arguments, "-i", example(name))
                numpy.testing.assert_array_equal(after, expected(before))

    def test_flip_and_mirror(self):
        self.check(lambda a: a[::-1], "flip")
        self.check(lambda a: a[:, ::-1], "mirror")

    def test_quarter_turns(self):
        for angle, quarters in ((90, -1), (270, 1)):
            self.check(lambda a, k=quarters: numpy.rot90(a, k), "rotate4", "--angle", angle)
            self.check(lambda a, k=quarters: numpy.rot90(a, k), "rotate", "--angle", angle)

    def test_the_half_turn_is_one_column_off(self):
        """Its last column holds what lies before each row in memory."""
        for name in PHOTOS:
            before = pixels(example(name))
            after = self.vel("rotate4", "--angle", 180, "-i", example(name))
            numpy.testing.assert_array_equal(after[:, :-1], before[::-1, ::-1][:, 1:])

    def test_replication(self):
        for size in ((1000, 700), (97, 61), (1024, 1024), (300, 900)):
            self.check(lambda a, s=size: rules.replicated(a, s), "resample", "--size", f"{size[0]}x{size[1]}", "--mode", "replicate")


if __name__ == "__main__":
    unittest.main()
