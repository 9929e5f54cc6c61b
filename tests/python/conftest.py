"""What the tests of the package share."""
import os
import sys

import numpy as np
import pytest

SOURCE = os.environ.get("VEL_SOURCE", os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "models"))

# Every operation with arguments that let it act on a small picture. Further images are made like the first.
CALLS = {
    "add": {}, "add_scale": {"first_factor": 0.75, "second_factor": 0.5, "offset": 3.0}, "blur": {},
    "circle_transform": {"mode": "bulge", "opaque": False}, "colorize": {"hue": 40, "saturation": 200, "blend": 0.6},
    "contour": {}, "copy": {"position": (2, 1)}, "create_dest_image": {}, "dilate": {"size": 3}, "edge": {"size": 4},
    "emboss": {}, "equal": {"colour": (10, 20, 30)}, "erode": {"size": 5}, "fill_voids": {},
    "filter": {"kernel": [[1, 2, 1], [2, 4, -3], [1, 2, 1]], "divisor": 11, "offset": 4}, "flip": {}, "flip_bits": {},
    "gamma": {"value": 1.8}, "gaussian_blur": {"level": "wide"}, "grayscale": {}, "increase_bpp": {"depth": 32},
    "light": {"brightness": 12, "contrast": 30}, "lut": {"table": (np.arange(256) * 7 + 3) % 256}, "median": {"size": 3},
    "mirror": {}, "negative": {}, "quad": {"top_left": (2, 1), "top_right": (9, 2), "bottom_left": (1, 8),
                                           "bottom_right": (10, 9), "size": (8, 7)},
    "resample": {"size": (9, 14), "method": "catmull_rom"}, "rotate": {"angle": 30, "method": "mitchell"},
    "rotate4": {"angle": 90}, "rotate_paste": {"angle": 20.0, "method": "catmull_rom", "transparent": (1, 2, 3)},
    "set_image_alpha": {"alpha": 77}, "set_image_alpha_transparency": {"key": (7, 8, 9), "alpha": 30},
    "set_image_transparent_pixel": {"key": (7, 8, 9)}, "sharpen": {}, "shift_rgb": {"red": 20, "green": -9, "blue": 3},
    "skew": {"x_factor": 0.3, "y_factor": 0.1}, "soften": {}, "subtract": {"mode": "absolute"},
    "threshold": {"level": 120}, "transform": {"map": lambda x, y: (x * 0.9 + 1, y + x * 0.1)},
    "transform_paste": {"map": lambda x, y: (x * 0.9 + 1, y + x * 0.1), "mark_voids": True},
}
# Two at a time draw from the C library's generator; `kernel` and the scales take integer images.
RANDOM = {"jitter": {"radius": 3}, "noise": {"level": 30}}
TWO = {"add": "second", "add_scale": "second", "subtract": "second", "copy": "onto", "rotate_paste": "onto",
       "transform_paste": "onto"}


def photo(shape, seed=1):
    """A picture with gradients, edges and noise; some pixels are (7, 8, 9) and some 0."""
    random = np.random.default_rng(seed)
    height, width = shape[:2]
    y, x = np.mgrid[0:height, 0:width]
    base = 90 + 60 * np.sin(x / 3.0) + 50 * (y > height // 2)
    image = base if len(shape) == 2 else np.stack([base + 20 * c for c in range(shape[2])], axis=-1)
    image = np.clip(image + random.normal(0, 25, shape), 0, 255).astype(np.uint8)
    image[random.random(shape[:2]) < 0.05] = 0
    if len(shape) == 3:
        image[random.random(shape[:2]) < 0.1, :3] = (7, 8, 9)
    return image


def run(velmaths, name, image, **more):
    """An operation of the table on an image, and on a second one where it needs two."""
    arguments = dict(CALLS.get(name) or RANDOM.get(name) or {})
    arguments.update(more)
    images = [image]
    if name in TWO:
        second = photo(image.shape, 2) if image.dtype == np.uint8 else image[::-1].copy()
        images.append(second)
    return getattr(velmaths, name)(*images, **arguments)


@pytest.fixture(scope="session")
def source_folder():
    return os.path.abspath(SOURCE)
