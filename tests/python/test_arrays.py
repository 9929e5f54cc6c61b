"""Arrays in and out: shapes, strides, types, channel order, out=, inputs kept."""
import numpy as np
import pytest

import velmaths
from conftest import CALLS, RANDOM, TWO, photo, run

hypothesis = pytest.importorskip("hypothesis")
from hypothesis import given, settings, strategies as st  # noqa: E402

pytestmark = pytest.mark.filterwarnings("ignore::velmaths.Note")
NAMES = sorted(CALLS)
# What refuses images without alpha.
ALPHA_ONLY = {"set_image_alpha", "set_image_alpha_transparency", "set_image_transparent_pixel"}
SHAPES = {"grey": (), "colour": (3,), "alpha": (4,)}


def acts(name, kind):
    """Whether the operation takes the depth and looks at pixels only; skips the test otherwise."""
    if name in ALPHA_ONLY and kind != "alpha":
        with pytest.raises(velmaths.Error) as raised:
            run(velmaths, name, photo((14, 13) + SHAPES[kind]))
        assert raised.value.code & 0xFFFFFFFF == 0x80004005
        pytest.skip("needs alpha, and says so")
    if kind == "grey" and name == "rotate_paste":
        pytest.skip("8 bits are refused")


def layouts(image):
    """The same pixels at other strides: bottom-up, a crop of something larger, both."""
    yield np.ascontiguousarray(image[::-1])[::-1]
    large = np.full((image.shape[0] + 3, image.shape[1] + 5) + image.shape[2:], 99, np.uint8)
    large[1:-2, 2:-3] = image
    yield large[1:-2, 2:-3]
    yield large[1:-2, 2:-3][::-1][::-1]


@pytest.mark.parametrize("kind", SHAPES)
@pytest.mark.parametrize("name", NAMES)
def test_strides_do_not_matter_and_inputs_are_kept(name, kind):
    image = photo((14, 13) + SHAPES[kind])
    acts(name, kind)
    expected = run(velmaths, name, image)
    for view in layouts(image):
        before = view.copy()
        base = view.base.copy()
        result = run(velmaths, name, view)
        np.testing.assert_array_equal(result, expected)
        np.testing.assert_array_equal(view, before)
        np.testing.assert_array_equal(view.base, base)
        assert not np.shares_memory(result, view)


@pytest.mark.parametrize("kind", ["colour", "alpha"])
@pytest.mark.parametrize("name", NAMES)
def test_rgb_is_bgr_exchanged(name, kind):
    image = photo((14, 13) + SHAPES[kind])
    acts(name, kind)
    order = [2, 1, 0] + ([3] if kind == "alpha" else [])
    exchange = {"channels": "bgr"}
    for colour in ("colour", "key", "transparent"):
        if colour in CALLS[name]:
            exchange[colour] = CALLS[name][colour][::-1]
    rgb = run(velmaths, name, image)
    second = [photo(image.shape, 2)[..., order].copy()] if name in TWO else []
    arguments = {**CALLS[name], **exchange}
    bgr = getattr(velmaths, name)(image[..., order].copy(), *second, **arguments)
    wider = order if rgb.shape[-1] == len(order) else [2, 1, 0] + ([3] if rgb.shape[-1] == 4 else [])
    np.testing.assert_array_equal(rgb, bgr[..., wider] if rgb.ndim == 3 else bgr)


@pytest.mark.parametrize("kind", SHAPES)
@pytest.mark.parametrize("name", NAMES)
def test_out_of_every_layout(name, kind):
    image = photo((14, 13) + SHAPES[kind])
    acts(name, kind)
    expected = run(velmaths, name, image)
    large = np.full((expected.shape[0] + 2, expected.shape[1] + 3) + expected.shape[2:], 99, np.uint8)
    for out in (np.empty_like(expected), np.empty_like(expected)[::-1], large[1:-1, 1:-2], large[1:-1, 1:-2][::-1]):
        before = image.copy()
        assert run(velmaths, name, image, out=out) is out
        np.testing.assert_array_equal(out, expected)
        np.testing.assert_array_equal(image, before)
    frame = np.ones(large.shape[:2], bool)
    frame[1:-1, 1:-2] = False
    assert (large[frame] == 99).all()
    if expected.shape == image.shape:
        assert run(velmaths, name, image, out=image) is image
        np.testing.assert_array_equal(image, expected)


@pytest.mark.parametrize("name", ["negative", "erode", "mirror", "median", "grayscale", "colorize"])
def test_out_that_overlaps_the_input(name):
    store = photo((20, 13, 3))
    expected = run(velmaths, name, store[:-3].copy())
    out = store[3:]
    run(velmaths, name, store[:-3], out=out)
    np.testing.assert_array_equal(out, expected)


@settings(max_examples=80, deadline=None, derandomize=True, database=None)
@given(height=st.integers(1, 9), width=st.integers(1, 20), channels=st.sampled_from([(), (3,), (4,)]),
       flip=st.booleans(), left=st.integers(0, 3), right=st.integers(0, 3), name=st.sampled_from(
           ["negative", "erode", "blur", "flip", "mirror", "rotate4", "lut", "dilate", "emboss", "contour", "light"]),
       seed=st.integers(0, 5))
def test_any_view(height, width, channels, flip, left, right, name, seed):
    large = photo((height, left + width + right) + channels, seed)
    view = large[:, left:left + width]
    view = view[::-1] if flip else view
    np.testing.assert_array_equal(run(velmaths, name, view), run(velmaths, name, np.ascontiguousarray(view)))


@pytest.mark.parametrize("shape", [(0, 0), (0, 5), (5, 0), (0, 4, 3), (3, 0, 4)])
def test_empty_arrays(shape):
    empty = np.zeros(shape, np.uint8)
    for name in ("negative", "flip", "erode", "grayscale", "blur"):
        try:
            assert run(velmaths, name, empty).shape == shape
        except velmaths.Error as error:  # what an operation answers to an empty image
            assert str(error)


@pytest.mark.parametrize("image, kind, words", [
    (np.zeros((4, 4)), TypeError, "float64"), (np.zeros((4, 4), np.float32), TypeError, "np.rint"),
    (np.zeros((4, 4), bool), TypeError, "astype(np.uint8) * 255"), (np.zeros((4, 4), np.uint16), TypeError, ">> 8"),
    (np.zeros((4, 4), np.int8), TypeError, "np.clip"), (np.zeros((4, 4), np.int64), TypeError, "astype(np.uint8)"),
    (np.zeros((4, 4), ">i4"), TypeError, "astype"), ([[1, 2]], TypeError, "np.asarray(image)"), (None, TypeError, "None"),
    (np.zeros(4, np.uint8), ValueError, "(height, width)"), (np.zeros((4, 4, 2), np.uint8), ValueError, "(4, 4, 2)"),
    (np.zeros((4, 4, 1), np.uint8), ValueError, "image[..., 0]"),
    (np.zeros((3, 8, 8), np.uint8), ValueError, "transpose(1, 2, 0)"),
    (np.zeros((4, 4, 3), np.int32), ValueError, "(height, width)"),
    (np.zeros((4, 8), np.uint8)[:, ::2], ValueError, "np.ascontiguousarray(image)"),
    (np.zeros((4, 4), np.uint8).T[::1], None, ""), (np.zeros((4, 6), np.uint8).T, ValueError, "np.ascontiguousarray(image)"),
    (np.zeros((4, 4, 3), np.uint8)[..., ::-1], ValueError, "np.ascontiguousarray(image)"),
])
def test_wrong_images_say_what_to_write(image, kind, words):
    if kind is None:
        return
    with pytest.raises(kind) as raised:
        velmaths.negative(image)
    assert words in str(raised.value)


def test_wrong_outs():
    image = photo((6, 5, 3))
    frozen = np.empty_like(image)
    frozen.flags.writeable = False
    for out, kind in ((frozen, ValueError), (np.empty((5, 6, 3), np.uint8), ValueError),
                      (np.empty((6, 5), np.uint8), ValueError), (np.empty((6, 5, 3)), TypeError),
                      (np.empty((6, 10, 3), np.uint8)[:, ::2], ValueError), ([], TypeError),
                      (np.lib.stride_tricks.as_strided(np.zeros(100, np.uint8), (6, 5, 3), (3, 3, 1)), ValueError)):
        with pytest.raises(kind):
            velmaths.negative(image, out=out)
        with pytest.raises(kind):
            velmaths.erode(image, out=out)
        with pytest.raises(kind):
            velmaths.median(image, out=out)


@pytest.mark.parametrize("call, kind, words", [
    (lambda i: velmaths.erode(i, size=0), ValueError, "size"), (lambda i: velmaths.erode(i, size=3.0), TypeError, "int(size)"),
    (lambda i: velmaths.erode(i, size=True), TypeError, "size"), (lambda i: velmaths.erode(i, size=2**70), ValueError, "size"),
    (lambda i: velmaths.gamma(i, value="2"), TypeError, "value"),
    (lambda i: velmaths.rotate(i, angle=3, method="cubic"), ValueError, "method"),
    (lambda i: velmaths.rotate(i, angle=3, keep_size=1), TypeError, "True or False"),
    (lambda i: velmaths.equal(i, colour=(1, 2)), TypeError, "three"), (lambda i: velmaths.equal(i, colour=(1, 2, 300)), ValueError, "255"),
    (lambda i: velmaths.equal(i, colour="red"), ValueError, "#rrggbb"), (lambda i: velmaths.lut(i, table=[1, 2]), ValueError, "256"),
    (lambda i: velmaths.lut(i, table=np.full(256, 256)), ValueError, "np.clip"),
    (lambda i: velmaths.filter(i, kernel=np.ones((3, 3))), TypeError, "divisor"),
    (lambda i: velmaths.filter(i, kernel=np.ones((3, 2), int)), ValueError, "square"),
    (lambda i: velmaths.resample(i, size=5), TypeError, "(width, height)"), (lambda i: velmaths.blur(i, channels="gbr"), ValueError, "rgb"),
    (lambda i: velmaths.transform(i, map=3), TypeError, "callable"), (lambda i: velmaths.add(i, i[:2]), ValueError, ""),
    (lambda i: velmaths.transform(i, map=np.zeros((2, 2))), ValueError, "np.stack"),
])
def test_wrong_arguments(call, kind, words):
    with pytest.raises(kind) as raised:
        call(photo((6, 6, 3)))
    assert words in str(raised.value)


@pytest.mark.parametrize("call, words", [
    (lambda i: velmaths.rotate(i, angle=3, method="cubic"), "one of nearest_neighbour, integer_bilinear, b_spline"),
    (lambda i: velmaths.set_image_alpha(i, alpha=3), "set_image_alpha refuses 24-bit images; it acts on 32 bits; "
                                                     "increase_bpp(image, depth=32) first"),
    (lambda i: velmaths.add(i, i[..., 0].copy()), "increase_bpp brings 8- and 24-bit images"),
    (lambda i: velmaths.add_scale(i, i, first_factor=float("nan")), "first_factor"),
])
def test_refusals_are_written_in_python(call, words):
    with pytest.raises(velmaths.Error) as raised:
        call(photo((6, 6, 3)))
    assert words in str(raised.value)


def test_integer_images():
    counts = np.arange(-20, 40, dtype=np.int32).reshape(5, 12) * 30
    half = velmaths.scale(counts, factor=0.5, offset=7.0)
    assert half.dtype == np.int32
    np.testing.assert_array_equal(half, np.maximum(np.trunc(counts * 0.5 + 7), 0))
    np.testing.assert_array_equal(velmaths.scale(counts, factor=0.5, depth=8), np.clip(np.floor(counts * 0.5), 0, 255))
    for view in (counts[::-1], np.pad(counts, 2)[2:-2, 2:-2], counts[:, 3:9]):
        np.testing.assert_array_equal(velmaths.flip(view), view[::-1])
        np.testing.assert_array_equal(velmaths.mirror(view), view[:, ::-1])
    out = np.empty_like(counts)
    assert velmaths.mirror(counts, out=out) is out
    with pytest.raises(ValueError, match="int32"):
        velmaths.mirror(counts, out=np.empty((5, 12, 4), np.uint8))


def test_nothing_to_do_is_still_a_copy():
    image = photo((5, 6, 4))
    for result in (velmaths.rotate(image, angle=0), velmaths.increase_bpp(image, depth=32), velmaths.light(image)):
        assert not np.shares_memory(result, image)
        np.testing.assert_array_equal(result, image)


@pytest.mark.parametrize("name", sorted(RANDOM))
def test_random_operations_follow_the_c_library(name):
    """Seeded alike, rgb and bgr are the same picture."""
    import ctypes
    libc = ctypes.CDLL(None)
    image = photo((9, 8, 3))
    libc.srand(5)
    rgb = run(velmaths, name, image)
    libc.srand(5)
    bgr = run(velmaths, name, image[..., ::-1].copy(), channels="bgr")
    np.testing.assert_array_equal(rgb, bgr[..., ::-1])
    assert not np.array_equal(rgb, image)


def test_colours_follow_the_channels():
    image = np.zeros((1, 1, 3), np.uint8)
    for channels, colour, text in (("rgb", (1, 2, 3), "#010203"), ("bgr", (1, 2, 3), "#030201")):
        assert velmaths.equal(image, colour=colour, channels=channels).tolist() == [[[1, 2, 3]]]
        assert velmaths.equal(image, colour=text, channels=channels).tolist() == [[[1, 2, 3]]]
    # As a number, the value is 0xBBGGRR at 24 bits and 0xAARRGGBB at 32.
    assert velmaths.equal(image, value=0x010203).tolist() == [[[3, 2, 1]]]
    assert velmaths.equal(image, value=0x010203, channels="bgr").tolist() == [[[1, 2, 3]]]
    alpha = np.zeros((1, 1, 4), np.uint8)
    assert velmaths.equal(alpha, value=0x04010203).tolist() == [[[1, 2, 3, 4]]]
    assert velmaths.equal(alpha, value=0x04010203, channels="bgr").tolist() == [[[3, 2, 1, 4]]]
