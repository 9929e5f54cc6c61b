"""Every operation beside its rule in NumPy (tests/models/rules.py): 8, 24 and 32 bits, both channel orders, integers.

Equal to the byte unless a test says otherwise.
"""
import ctypes
import math

import numpy as np
import pytest

import rules  # conftest puts its folder on the path
import velmaths
from conftest import photo

pytestmark = pytest.mark.filterwarnings("ignore::velmaths.Note")
same = np.testing.assert_array_equal

KINDS = ["grey", "rgb", "bgr", "rgba", "bgra", "integers"]
SIZES = [(1, 1), (1, 9), (7, 1), (2, 3), (23, 31)]


class Case:
    """A picture, the call's channel order, and the picture as the rules see it."""

    def __init__(self, kind, size, seed=1):
        channels = {"grey": (), "integers": (4,)}.get(kind, (len(kind),))
        self.kind, self.pixels = kind, photo(size + channels, seed)
        self.channels = "bgr" if kind.startswith("bgr") else "rgb"
        self.blue = 2 if kind.startswith("rgb") else 0
        self.image = np.ascontiguousarray(self.pixels).view("<i4")[..., 0] if kind == "integers" else self.pixels
        self.colour = self.pixels.ndim == 3

    def run(self, name, *images, **arguments):
        """The operation's result, as the rules see it."""
        before = self.image.copy()
        result = getattr(velmaths, name)(self.image, *images, channels=self.channels, **arguments)
        same(self.image, before)
        return self.seen(result)

    def seen(self, result):
        if isinstance(result, np.ndarray) and result.dtype == np.int32:
            return np.ascontiguousarray(result).view(np.uint8).reshape(result.shape + (4,))
        return result


@pytest.fixture(params=KINDS)
def kind(request):
    return request.param


@pytest.fixture(params=SIZES, ids=str)
def case(request, kind):
    return Case(kind, request.param)


# --- single pixels

def test_negative(case):
    same(case.run("negative"), rules.with_alpha_of(case.pixels, 255 - rules.colours(case.pixels)))


def test_tables(case):
    table = np.random.default_rng(4).integers(0, 256, 256, dtype=np.uint8)
    same(case.run("lut", table=table), rules.looked_up(case.pixels, table))
    for value in (0.3, 1.0, 1.8, 2.2, 7.5):
        same(case.run("gamma", value=value), rules.looked_up(case.pixels, rules.gamma_table(value)))
    for brightness, contrast in ((0, 0), (-70, 0), (12, 30), (255, -100), (5, 250), (0, -37)):
        same(case.run("light", brightness=brightness, contrast=contrast),
             rules.looked_up(case.pixels, rules.light_table(brightness, contrast)))


def test_grey_and_threshold(case):
    same(case.run("grayscale"), rules.grey(case.pixels))
    for level in (-1, 0, 90, 127, 200, 255):
        same(case.run("threshold", level=level), rules.threshold(case.pixels, level))


@pytest.mark.parametrize("red, green, blue", [(0, 0, 0), (30, -40, 5), (255, 0, -255), (1, 1, 1), (-255, 254, 7)])
def test_shift(case, red, green, blue):
    shifts = [red, green, blue] if case.blue == 2 else [blue, green, red]
    same(case.run("shift_rgb", red=red, green=green, blue=blue), rules.shifted(case.pixels, shifts))


@pytest.mark.parametrize("hue, saturation, blend", [(0, 255, 1.0), (40, 200, 0.6), (85, 0, 1.0), (85, 0, 0.5), (170, 128, 0.999),
                                                    (255, 77, 0.0), (200, 255, 0.33), (127, 254, 0.9995)])
def test_colorize(case, hue, saturation, blend):
    same(case.run("colorize", hue=hue, saturation=saturation, blend=blend),
         rules.colourised(case.pixels, hue, saturation, blend, case.blue))


def test_alpha(case):
    if case.pixels.shape[2:] != (4,):
        with pytest.raises(velmaths.Error):
            case.run("set_image_alpha", alpha=1)
        return
    found = rules.at_key(case.pixels, (7, 8, 9))
    key = (9, 8, 7) if case.kind == "integers" else (7, 8, 9)  # an integer's lowest byte is its blue
    for alpha, written in ((0, 1), (1, 1), (77, 77), (255, 255)):
        for name, arguments, expected in (
                ("set_image_alpha", {}, written), ("set_image_alpha_transparency", {"key": key}, np.where(found, 0, written))):
            result = case.run(name, alpha=alpha, **arguments)
            same(result[..., :3], case.pixels[..., :3])
            same(result[..., 3], np.broadcast_to(expected, found.shape))
    result = case.run("set_image_transparent_pixel", key=key)
    same(result[..., :3], case.pixels[..., :3])
    same(result[..., 3], np.where(found, 0, case.pixels[..., 3]))


# --- windows

@pytest.mark.parametrize("name", rules.FIXED_KERNELS)
def test_fixed_filters(case, name):
    same(case.run(name), rules.convolved(case.pixels, *rules.FIXED_KERNELS[name]))


def test_gaussian_blur(case):
    for level, kernel in zip(("fine", "medium", "wide", "widest"), rules.GAUSSIAN_KERNELS):
        same(case.run("gaussian_blur", level=level), rules.convolved(case.pixels, *kernel))


@pytest.mark.parametrize("size, divisor, offset", [(1, 2, 0), (2, 5, 3), (3, 9, 0), (3, 0, -40), (4, -13, 200), (5, 40, 20),
                                                   (7, 60, 0), (16, 900, 1)])
def test_any_kernel(case, size, divisor, offset):
    kernel = np.random.default_rng(size).integers(-4, 9, (size, size))
    same(case.run("filter", kernel=kernel, divisor=divisor, offset=offset),
         rules.convolved(case.pixels, kernel, divisor, offset))


@pytest.mark.parametrize("size", [1, 2, 3, 4, 5, 9, 16])
def test_morphology(case, size):
    same(case.run("erode", size=size), rules.eroded(case.pixels, size))
    same(case.run("dilate", size=size), rules.dilated(case.pixels, size))
    same(case.run("edge", size=size), rules.edges(case.pixels, size))


def test_contour(case):
    same(case.run("contour"), rules.contour(case.pixels))


@pytest.mark.parametrize("size", [1, 2, 3, 4, 5, 9])
def test_median(case, size):
    """Which of several pixels of the middle key it is, is open: it is one of the window's."""
    result = case.run("median", size=size)
    same(rules.brightness(result, case.blue), rules.middle_keys(case.pixels, size, case.blue))
    same_pixel = rules.windows(case.pixels, size) == result
    assert (same_pixel.all(axis=-1) if case.colour else same_pixel).any(axis=0).all()


@pytest.mark.parametrize("size, divisor, offset", [(1, 3, 5), (2, 0, -7), (3, -4, 100), (5, 9, 0)])
def test_integer_kernel(size, divisor, offset):
    kernel = np.arange(1, size * size + 1).reshape(size, size)
    for shape in ((6, 8), (5, 9), (9, 5), (17, 12)):
        values = np.random.default_rng(size).integers(-900, 900, shape).astype(np.int32)
        same(velmaths.kernel(values, kernel=kernel, divisor=divisor, offset=offset),
             rules.last_coefficient(values, kernel, divisor, offset))


def draws(shape, count):
    """The C library's numbers as fractions, `count` for each pixel; the same ones come next."""
    libc = ctypes.CDLL(None)
    libc.srand(11)
    drawn = np.array([libc.rand() for _ in range(shape[0] * shape[1] * count)]).reshape(shape[:2] + (count,))
    libc.srand(11)
    return (drawn.astype(np.float32) * np.float32(2.0 ** -31)).astype(float)


@pytest.mark.parametrize("amount", [0, 1, 4, 40, 300])
def test_random_filters(case, amount):
    shape = case.pixels.shape
    moved = np.trunc((draws(shape, 2) - 0.5) * (2 * amount)).astype(int)
    y, x = np.mgrid[0:shape[0], 0:shape[1]]
    new_x, new_y = x + moved[..., 0], y + moved[..., 1]
    inside = (new_x >= 0) & (new_x < shape[1]) & (new_y >= 0) & (new_y < shape[0])
    same(case.run("jitter", radius=amount), case.pixels[np.where(inside, new_y, y), np.where(inside, new_x, x)])
    change = np.trunc((draws(shape, 3) - 0.5) * amount).astype(int)
    result = case.run("noise", level=amount)
    if case.colour:
        change = change if case.blue == 2 else change[..., ::-1]
        same(result, rules.with_alpha_of(case.pixels, np.clip(rules.colours(case.pixels).astype(int) + change, 0, 255)))
    else:
        noisy = np.clip(case.pixels.astype(int)[..., None] + change, 0, 255)
        same(result, [[rules.nearest_grey(colour) for colour in row] for row in noisy])


# --- positions

def test_turns(case):
    same(case.run("flip"), case.pixels[::-1])
    same(case.run("mirror"), case.pixels[:, ::-1])
    for angle in (90, 270):
        same(case.run("rotate4", angle=angle), rules.quarter_turned(case.pixels, angle))
        same(case.run("rotate", angle=angle), rules.quarter_turned(case.pixels, angle))
    same(case.run("rotate", angle=-90), rules.quarter_turned(case.pixels, 270))
    for name in ("rotate4", "rotate"):
        same(case.run(name, angle=180)[:, :-1], rules.quarter_turned(case.pixels, 180)[:, :-1])
    same(case.run("rotate", angle=0), case.pixels)
    exchanged = case.pixels.copy()
    if case.colour:
        exchanged[..., [0, 2]] = exchanged[..., [2, 0]]
    same(case.run("flip_bits"), exchanged)


@pytest.mark.parametrize("size", [(1, 1), (40, 9), (9, 40), (31, 23), (64, 64), (10, 7)])
def test_replication(case, size):
    same(case.run("resample", size=size, mode="replicate"), rules.replicated(case.pixels, size))


@pytest.mark.parametrize("x_factor, y_factor, pivot", [(0.0, 0.0, (0, 0)), (1.0, 0.0, (0, 0)), (0.3, -0.7, (0, 0)),
                                                       (-1.9, 0.25, (3, 5))])
def test_skew(case, x_factor, y_factor, pivot):
    same(case.run("skew", x_factor=x_factor, y_factor=y_factor, pivot=pivot),
         rules.skewed(case.pixels, x_factor, y_factor, pivot))


@pytest.mark.parametrize("mode", ["fish_eye", "bulge", "swirl", "unwrap", "wave"])
def test_circle_transform(case, mode):
    same(case.run("circle_transform", mode=mode), rules.circled(case.pixels, mode))


@pytest.mark.parametrize("angle", [0.0, 23.0, -64.5, 142.75])
@pytest.mark.parametrize("kind", ["rgb", "bgr", "rgba", "bgra"])
@pytest.mark.parametrize("size", [(1, 1), (9, 12), (26, 19)])
def test_rotate_paste(kind, size, angle):
    case, onto = Case(kind, size), Case(kind, (21, 23), 2)
    same(case.run("rotate_paste", onto.image, angle=angle, method="nearest_neighbour", transparent=(7, 8, 9)),
         rules.turned_onto(case.pixels, onto.pixels, angle * math.pi / 180, (7, 8, 9)))


@pytest.mark.parametrize("interpolate", [True, False])
@pytest.mark.parametrize("corners, size", [([(2, 1), (17, 2), (1, 18), (20, 19)], (13, 11)),
                                           ([(1.5, 1.25), (20.75, 3), (4, 17.5), (15, 15)], (30, 25)),
                                           ([(18, 17), (3, 16), (19, 2), (2, 1)], (9, 9)),
                                           ([(0, 0), (30, 0), (0, 22), (30, 22)], (30, 22))])
def test_quad(kind, corners, size, interpolate):
    case = Case(kind, (23, 31))
    named = dict(zip(("top_left", "top_right", "bottom_left", "bottom_right"), corners))
    same(case.run("quad", **named, size=size, interpolate=interpolate),
         rules.straightened(case.pixels, corners, size, interpolate))


@pytest.mark.parametrize("method", ["nearest_neighbour", "integer_bilinear"] + list(rules.SAMPLING))
@pytest.mark.parametrize("kind", ["rgb", "bgra"])
@pytest.mark.parametrize("angle, keep_size", [(30, False), (-77, True)])
def test_rotation(kind, method, angle, keep_size):
    """Kernels in double precision here: a level may differ where a sum is close to a whole number."""
    case = Case(kind, (26, 33))
    result = case.run("rotate", angle=angle, method=method, keep_size=keep_size)[..., :3]
    expected = rules.rotated(case.pixels, angle, method, keep_size)
    assert result.shape == expected.shape
    if method in ("nearest_neighbour", "integer_bilinear"):
        same(result, expected)
    else:
        near = abs(expected - np.rint(expected)) < 1e-3
        same(result[~near], np.trunc(expected)[~near])
        assert abs(result - expected)[near].max(initial=0) <= 1.001


@pytest.mark.parametrize("kind", ["rgb", "bgra"])
@pytest.mark.parametrize("method", ["nearest_neighbour", "catmull_rom", "gaussian", "lanczos6"])
def test_shrinking(kind, method):
    """Columns are snapped to a multiple of a pixel's bytes."""
    case = Case(kind, (40, 60))
    result = case.run("resample", size=(17, 13), method=method)[..., :3]
    single, pixel = np.float32, case.pixels.shape[2]
    y = (np.arange(13, dtype=single) + single(0.5)) * (single(40) / single(13)) - single(0.5)
    x = (np.arange(17, dtype=single) + single(0.5)) * (single(60) / single(17)) - single(0.5)
    x, y = np.meshgrid(np.trunc(x) // pixel * pixel, y)
    expected = rules.sampled(rules.colours(case.pixels), x.astype(float), y.astype(float), method)
    near = abs(expected - np.rint(expected)) < 1e-3
    same(result[~near], np.trunc(expected)[~near])
    assert abs(result - expected)[near].max(initial=0) <= 1.001


def test_transform(case):
    height, width = case.pixels.shape[:2]
    y, x = np.mgrid[0:height, 0:width].astype(float)
    u, v = 0.9 * x + 0.2 * y - 0.75, -0.1 * x + 0.8 * y + 0.5
    opaque = case.kind in ("rgba", "bgra")
    background = (0, 0, 0, 255) if opaque else 0
    expected = rules.mapped(case.pixels, u, v, background)
    same(case.run("transform", map=lambda x, y: (0.9 * x + 0.2 * y - 0.75, -0.1 * x + 0.8 * y + 0.5)), expected)
    same(case.run("transform", map=np.stack([u, v], axis=-1)), expected)


@pytest.mark.parametrize("mark_voids", [False, True])
@pytest.mark.parametrize("kind", ["grey", "rgb", "bgr", "rgba", "bgra"])
@pytest.mark.parametrize("size", [(1, 1), (9, 12), (14, 11)])
def test_transform_paste(kind, size, mark_voids):
    case, onto = Case(kind, size), Case(kind, (15, 17), 2)
    onto.image[4:9] = 0
    y, x = np.mgrid[0:size[0], 0:size[1]].astype(float)
    u, v = 1.6 * x - 0.3 * y + 1, 0.4 * x + 1.2 * y - 2
    order = [2, 1, 0, 3][:case.pixels.shape[-1]] if case.blue == 2 else slice(None)
    source, page = (p if p.ndim == 2 else np.ascontiguousarray(p[..., order]) for p in (case.pixels, onto.pixels))
    expected = rules.pasted(source, page, u, v, mark_voids)
    result = case.run("transform_paste", onto.image, map=np.stack([u, v], axis=-1), mark_voids=mark_voids)
    same(result if result.ndim == 2 else result[..., order], expected)


@pytest.mark.parametrize("kind", KINDS)
def test_fill_voids(kind):
    for size in ((2, 9), (3, 3), (12, 15)):
        case = Case(kind, size)
        case.image[np.random.default_rng(3).random(size) < 0.5] = 0
        order = [2, 1, 0, 3][:case.pixels.shape[-1]] if case.blue == 2 else slice(None)
        pixels = case.pixels if case.pixels.ndim == 2 else np.ascontiguousarray(case.pixels[..., order])
        result = case.run("fill_voids")
        same(result if result.ndim == 2 else result[..., order], rules.filled_voids(pixels, kind != "integers"))


def test_depths(kind):
    case = Case(kind, (5, 6))
    if kind == "grey":
        same(case.run("increase_bpp", depth=24), np.dstack([case.pixels] * 3))
        same(case.run("increase_bpp", depth=32), np.dstack([case.pixels] * 3 + [np.full((5, 6), 255, np.uint8)]))
    elif kind in ("rgb", "bgr"):
        same(case.run("increase_bpp", depth=32), np.dstack([case.pixels, np.full((5, 6), 255, np.uint8)]))
    same(case.run("increase_bpp", depth=8), case.pixels)
    made = case.run("create_dest_image")
    assert made.shape == case.pixels.shape and made.dtype == np.uint8


# --- two images

@pytest.fixture
def pair(case):
    return case, Case(case.kind, case.pixels.shape[:2], 2)


@pytest.mark.parametrize("divisor", [0.0, 2.0, 3.0, 0.7, -1.0])
def test_add(pair, divisor):
    case, other = pair
    order = [2, 1, 0, 3] if case.blue == 2 and case.pixels.shape[-1] == 4 else None
    first, second = (p if order is None else np.ascontiguousarray(p[..., order]) for p in (case.pixels, other.pixels))
    result = case.run("add", other.image, divisor=divisor)
    same(result if order is None else result[..., order], rules.added(first, second, divisor))


@pytest.mark.parametrize("mode", ["clip", "absolute", "clip_alpha_0", "absolute_alpha_0"])
def test_subtract(pair, mode):
    case, other = pair
    alpha = case.pixels.shape[2:] == (4,)
    absolute = mode.startswith("absolute") or (mode != "clip" and not alpha)
    expected, count = rules.subtracted(case.pixels, other.pixels, absolute, mode.endswith("0"))
    same(case.run("subtract", other.image, mode=mode), expected)
    result, counted = velmaths.subtract(case.image, other.image, mode=mode, with_count=True, channels=case.channels)
    same(case.seen(result), expected)
    assert counted == count


def test_weighted_sum(pair):
    case, other = pair
    for first, second, offset in ((0.5, 0.5, 0.0), (1.0, -1.0, 128.0), (0.7, -0.2, 11.0), (3.3, 1.1, -200.5)):
        expected = rules.weighted(case.pixels, other.pixels, first, second, offset)
        factors = {"first_factor": first, "second_factor": second, "offset": offset}
        same(case.run("add_scale", other.image, **factors), expected)
        mask = (photo(case.pixels.shape[:2], 3) > 100).astype(np.uint8) * 9
        onto = Case(case.kind, case.pixels.shape[:2], 5)
        where = mask.astype(bool) if not case.colour else mask.astype(bool)[..., None]
        same(case.run("add_scale", other.image, onto=onto.image, mask=mask, **factors),
             np.where(where, expected, onto.pixels))


def test_copy_and_fill(case):
    onto = Case(case.kind, (12, 14), 2)
    for x, y in ((0, 0), (13, 11), (3, 4)):
        expected = onto.pixels.copy()
        part = case.pixels[:12 - y, :14 - x]
        expected[y:y + part.shape[0], x:x + part.shape[1]] = part
        same(case.run("copy", onto.image, position=(x, y)), expected)
    colour = (10, 20, 30)
    if case.kind == "grey":
        same(case.run("equal", value=0x177), np.full_like(case.pixels, 0x77))
    elif case.kind == "integers":
        same(velmaths.equal(case.image, value=-70000), np.full_like(case.image, -70000))
    elif case.pixels.shape[2] == 3:
        same(case.run("equal", colour=colour), np.broadcast_to(np.uint8(colour), case.pixels.shape))
    mask = (photo(case.pixels.shape[:2], 3) > 100).astype(np.uint8)
    if case.kind in ("grey", "integers"):
        same(velmaths.equal(case.image, mask=mask, value=5), np.where(mask, 5, case.image))


def test_scale():
    counts = np.random.default_rng(1).integers(-500, 2000, (9, 11)).astype(np.int32)
    byte = photo((9, 11))
    for factor, offset in ((1.0, 0.0), (0.25, -30.0), (-1.7, 300.5), (1 / 3, 0.0)):
        on_counts, on_bytes = rules.scaled(counts, factor, offset), rules.scaled(byte, factor, offset)
        clamped, floored = np.clip(on_counts, 0, 255).astype(np.uint8), np.trunc(np.maximum(on_counts, 0)).astype(np.int32)
        arguments = {"factor": factor, "offset": offset}
        same(velmaths.scale(counts, **arguments), floored)
        same(velmaths.scale(counts, depth=8, **arguments), clamped)
        same(velmaths.scale(counts, depth=24, **arguments), np.dstack([clamped] * 3))
        same(velmaths.scale(byte, **arguments), np.clip(on_bytes, 0, 255).astype(np.uint8))
        same(velmaths.scale(byte, depth=24, **arguments), np.dstack([np.clip(on_bytes, 0, 255).astype(np.uint8)] * 3))
        same(velmaths.scale(byte, depth=32, format="mono", **arguments), np.trunc(np.maximum(on_bytes, 0)).astype(np.int32))
        for channels in ((3,), (4,)):
            colour = photo((9, 11) + channels)
            sums = rules.scaled(colour[..., :3].sum(axis=2, dtype=int), factor, offset)
            same(velmaths.scale(colour, depth=8, **arguments), np.clip(sums, 0, 255).astype(np.uint8))
        each = np.clip(rules.scaled(colour[..., :3], factor, offset), 0, 255).astype(np.uint8)
        same(velmaths.scale(colour, depth=24, **arguments), each)
        whole = np.trunc(counts * float(factor)) + int(offset)
        same(velmaths.scale8(counts, factor=float(factor), offset=int(offset)), np.clip(whole, 0, 255))


# --- 1 and 4 bits: greys 0 to 15, of which the result's low bits are kept

LOW = {"erode": lambda i: rules.eroded(i, 3), "dilate": lambda i: rules.dilated(i, 3), "edge": lambda i: rules.edges(i, 3),
       "contour": rules.contour, "median": lambda i: rules.middle_keys(i, 3, 0),
       "shift_rgb": lambda i: rules.shifted(i, [20, -9, 3]), "colorize": lambda i: rules.colourised(i, 40, 200, 0.6, 0),
       "skew": lambda i: rules.skewed(i, 0.3, 0.1, (0, 0)), "circle_transform": lambda i: rules.circled(i, "swirl"),
       "flip": lambda i: i[::-1], "threshold": np.zeros_like,
       "filter": lambda i: rules.convolved(i, [[1, 2, 1], [2, 4, -3], [1, 2, 1]], 2, 4),
       **{name: lambda i, n=name: rules.convolved(i, *rules.FIXED_KERNELS[n]) for name in rules.FIXED_KERNELS}}
ARGUMENTS = {"shift_rgb": {"red": 3, "green": -9, "blue": 20}, "colorize": {"hue": 40, "saturation": 200, "blend": 0.6},
             "skew": {"x_factor": 0.3, "y_factor": 0.1}, "circle_transform": {"mode": "swirl"},
             "filter": {"kernel": [[1, 2, 1], [2, 4, -3], [1, 2, 1]], "divisor": 2, "offset": 4}}


@pytest.mark.parametrize("bits", [1, 4])
@pytest.mark.parametrize("name", sorted(LOW))
@pytest.mark.parametrize("size", [(1, 1), (5, 7), (12, 19)])
def test_low_depths(name, size, bits):
    indexes = np.random.default_rng(bits).integers(0, 2 ** bits, size, dtype=np.uint8)
    image = velmaths.Image.from_indexes(indexes, bits)
    result = getattr(velmaths, name)(image, **ARGUMENTS.get(name, {}))
    same(result.indexes(), LOW[name](indexes).astype(np.uint8) & (2 ** bits - 1))
    same(image.indexes(), indexes)


@pytest.mark.parametrize("bits", [1, 4, 8])
def test_palettes(bits):
    indexes = np.random.default_rng(bits).integers(0, 2 ** bits, (6, 9), dtype=np.uint8)
    palette = np.random.default_rng(9).integers(0, 256, (2 ** bits, 3), dtype=np.uint8)
    image = velmaths.Image.from_indexes(indexes, bits, palette=palette)
    same(image.to_array(), palette[indexes])
    if bits == 8:  # an opaque alpha is not written through a palette
        same(velmaths.increase_bpp(image, depth=24).to_array(), palette[indexes])
        same(velmaths.increase_bpp(image, depth=32).to_array(), np.dstack([palette[indexes], np.zeros((6, 9), np.uint8)]))
