"""Operations beside SciPy, scikit-image, Pillow and OpenCV where the rule is the same, to the byte.

Outside an image VELMaths sees the colour of its first pixel, which none of them does, so windows are compared in the
interior. Left out is what rounds differently (OpenCV's and Pillow's blurs) or follows another rule.
"""
import numpy as np
import pytest

import velmaths
from conftest import photo

SHAPES = [(41, 53), (41, 53, 3), (41, 53, 4)]
TABLE = np.random.default_rng(4).integers(0, 256, 256, dtype=np.uint8)
pytestmark = pytest.mark.parametrize("shape", SHAPES, ids=["grey", "colour", "alpha"])


def colours(image):
    return image[..., :3] if image.ndim == 3 else image


def same(ours, theirs):
    """Colours only: alpha has rules of its own, which rules.py has."""
    np.testing.assert_array_equal(colours(ours), colours(theirs))


def same_inside(ours, theirs, margin=8):
    inside = slice(margin, -margin), slice(margin, -margin)
    assert ours.shape == theirs.shape and ours[inside].size > 500
    same(ours[inside], theirs[inside])


def flat(size, shape):
    """A window for libraries that take one size for each dimension."""
    return (size, size) + (1,) * (len(shape) - 2)


@pytest.mark.parametrize("size", [1, 2, 3, 4, 7, 12])
def test_scipy_windows(shape, size):
    ndimage = pytest.importorskip("scipy.ndimage")
    image, window = photo(shape), flat(size, shape)
    low, high = ndimage.minimum_filter(image, window), ndimage.maximum_filter(image, window)
    same_inside(velmaths.erode(image, size=size), low)
    same_inside(velmaths.dilate(image, size=size), high)
    same_inside(velmaths.edge(image, size=size), high - low)
    if len(shape) == 2:
        same_inside(velmaths.median(image, size=size), ndimage.rank_filter(image, size * size // 2, window))
    if size % 2:
        same_inside(velmaths.erode(image, size=size), ndimage.grey_erosion(image, window))
        same_inside(velmaths.edge(image, size=size), ndimage.morphological_gradient(image, window))


@pytest.mark.parametrize("size, divisor, offset", [(2, 3, 0), (3, 9, 0), (4, 0, -300), (5, 31, 7), (9, -200, 255)])
def test_scipy_correlation(shape, size, divisor, offset):
    ndimage = pytest.importorskip("scipy.ndimage")
    image = photo(shape)
    kernel = np.random.default_rng(size).integers(-3, 9, (size, size))
    sums = ndimage.correlate(image.astype(np.int64), kernel.reshape(flat(size, shape)))
    expected = np.clip((np.trunc(sums / divisor) if divisor else sums) + offset, 0, 255)
    same_inside(velmaths.filter(image, kernel=kernel, divisor=divisor, offset=offset), expected)


def test_scipy_mapping(shape):
    ndimage = pytest.importorskip("scipy.ndimage")
    image = photo(shape)
    whole = np.random.default_rng(6).integers(-5, 60, (30, 40, 2))  # x, y
    planes = np.atleast_3d(image)
    expected = np.stack([ndimage.map_coordinates(planes[..., c], [whole[..., 1], whole[..., 0]], order=0, mode="constant")
                         for c in range(planes.shape[2])], axis=-1)
    same(velmaths.transform(image, map=whole), expected if image.ndim == 3 else expected[..., 0])


def test_scikit_image(shape):
    pytest.importorskip("skimage")
    from skimage import filters, morphology, transform, util
    image = photo(shape)
    same(velmaths.negative(image), util.invert(image))
    if len(shape) == 2:
        square = np.ones((5, 5), np.uint8)
        same_inside(velmaths.erode(image, size=5), morphology.erosion(image, square))
        same_inside(velmaths.dilate(image, size=5), morphology.dilation(image, square))
        same_inside(velmaths.median(image, size=5), filters.median(image, square))
        same_inside(velmaths.edge(image, size=5), filters.rank.gradient(image, square))
    turned = transform.rotate(image, 90, resize=True, order=0, preserve_range=True).astype(np.uint8)
    same(velmaths.rotate4(image, angle=270), turned)


def test_pillow(shape):
    pillow = pytest.importorskip("PIL.Image")
    from PIL import ImageChops, ImageFilter, ImageOps
    first, second = photo(shape, 1), photo(shape, 2)
    a, b = pillow.fromarray(first), pillow.fromarray(second)
    turn = pillow.Transpose
    for name, ours, theirs in (
            ("lut", velmaths.lut(first, table=TABLE), a.point(list(TABLE) * len(a.getbands()))),
            ("mirror", velmaths.mirror(first), ImageOps.mirror(a)), ("flip", velmaths.flip(first), ImageOps.flip(a)),
            ("90", velmaths.rotate4(first, angle=90), a.transpose(turn.ROTATE_270)),
            ("270", velmaths.rotate(first, angle=270), a.transpose(turn.ROTATE_90)),
            ("twice as large", velmaths.resample(first, size=(106, 82), mode="replicate"),
             a.resize((106, 82), pillow.Resampling.NEAREST)),
            ("subtract", velmaths.subtract(first, second), ImageChops.subtract(a, b)),
            ("difference", velmaths.subtract(first, second, mode="absolute"), ImageChops.difference(a, b)),
            ("darkest", velmaths.erode(first, size=5)[8:-8, 8:-8], a.filter(ImageFilter.MinFilter(5)).crop((8, 8, 45, 33))),
            ("brightest", velmaths.dilate(first, size=3)[8:-8, 8:-8],
             a.filter(ImageFilter.MaxFilter(3)).crop((8, 8, 45, 33)))):
        assert ours.shape[:2] == np.asarray(theirs).shape[:2], name
        same(ours, np.asarray(theirs))
    if len(shape) == 2:
        same_inside(velmaths.median(first, size=5), np.asarray(a.filter(ImageFilter.MedianFilter(5))))
    if shape[2:] != (4,):  # at 32 bits, add walks bytes
        same(velmaths.add(first, second), np.asarray(ImageChops.add(a, b)))
        same(velmaths.negative(first), np.asarray(ImageOps.invert(a)))
    page = pillow.fromarray(second)
    page.paste(a.crop((0, 0, 20, 10)), (7, 5))
    np.testing.assert_array_equal(velmaths.copy(first[:10, :20], second, position=(7, 5)), np.asarray(page))
    mask = (photo(shape[:2], 3) > 100).astype(np.uint8) * 255
    mixed = pillow.composite(a, b, pillow.fromarray(mask))
    np.testing.assert_array_equal(velmaths.add_scale(first, first, onto=second, mask=mask, first_factor=1.0,
                                                     second_factor=0.0), np.asarray(mixed))


def test_opencv(shape):
    cv2 = pytest.importorskip("cv2")
    first, second = photo(shape, 1), photo(shape, 2)
    for ours, theirs in (
            (velmaths.negative(first), cv2.bitwise_not(first)), (velmaths.lut(first, table=TABLE), cv2.LUT(first, TABLE)),
            (velmaths.subtract(first, second), cv2.subtract(first, second)),
            (velmaths.subtract(first, second, mode="absolute"), cv2.absdiff(first, second)),
            (velmaths.flip(first), cv2.flip(first, 0)), (velmaths.mirror(first), cv2.flip(first, 1)),
            (velmaths.rotate4(first, angle=90), cv2.rotate(first, cv2.ROTATE_90_CLOCKWISE)),
            (velmaths.rotate4(first, angle=270), cv2.rotate(first, cv2.ROTATE_90_COUNTERCLOCKWISE)),
            (velmaths.resample(first, size=(106, 82), mode="replicate"),
             cv2.resize(first, (106, 82), interpolation=cv2.INTER_NEAREST))):
        assert ours.shape == theirs.shape
        same(ours, theirs)
    square = np.ones((5, 5), np.uint8)
    same_inside(velmaths.erode(first, size=5), cv2.erode(first, square))
    same_inside(velmaths.dilate(first, size=5), cv2.dilate(first, square))
    same_inside(velmaths.edge(first, size=5), cv2.morphologyEx(first, cv2.MORPH_GRADIENT, square))
    y, x = np.mgrid[0:shape[0], 0:shape[1]].astype(np.float32)
    whole = np.stack([np.floor(x * 0.8 - 3), np.floor(y * 1.1)], axis=-1)
    same(velmaths.transform(first, map=whole), cv2.remap(first, whole, None, cv2.INTER_NEAREST))
    if len(shape) == 3:
        np.testing.assert_array_equal(velmaths.flip_bits(first), first[..., [2, 1, 0, 3][:shape[2]]])
    else:
        same_inside(velmaths.median(first, size=5), cv2.medianBlur(first, 5))
        same(velmaths.increase_bpp(first, depth=24), cv2.cvtColor(first, cv2.COLOR_GRAY2RGB))
        same(velmaths.threshold(np.dstack([first] * 3), level=100)[..., 0],
             cv2.threshold(first, 100, 255, cv2.THRESH_BINARY)[1])
    if shape[2:] == (3,):
        same_inside(velmaths.median(np.dstack([first[..., 1]] * 3), size=5)[..., 0], cv2.medianBlur(first[..., 1], 5))
        np.testing.assert_array_equal(velmaths.increase_bpp(first, depth=32), cv2.cvtColor(first, cv2.COLOR_RGB2RGBA))
        np.testing.assert_array_equal(velmaths.grayscale(np.dstack([first[..., 0]] * 3))[..., 0], first[..., 0])
    if shape[2:] != (4,):
        same(velmaths.add(first, second), cv2.add(first, second))
