"""Operations beside models in NumPy, and beside SciPy, scikit-image, Pillow and OpenCV where the rule is the same.

Outside an image the filters see the colour of pixel (0, 0), which the models state as a padding; libraries that extend
images otherwise are compared in the interior.
"""
import numpy as np
import pytest

import velmaths
from conftest import photo

SHAPES = [(23, 31), (23, 31, 3)]


def padded(image, size):
    """int64 rows with the first pixel's colour around; an even window reaches one further left and up."""
    before, after = size // 2, size - size // 2 - 1
    frame = np.empty((image.shape[0] + before + after, image.shape[1] + before + after) + image.shape[2:], np.int64)
    frame[...] = image[0, 0]
    frame[before:before + image.shape[0], before:before + image.shape[1]] = image
    return frame


def windows(image, size):
    frame = padded(image, size)
    height, width = image.shape[:2]
    return [frame[y:y + height, x:x + width] for y in range(size) for x in range(size)]


def quotient(values, divisor):
    return np.sign(values) * np.sign(divisor) * (abs(values) // abs(divisor)) if divisor else values


def convolved(image, kernel, divisor, offset):
    kernel = np.asarray(kernel)
    sums = sum(int(k) * w for k, w in zip(kernel.ravel(), windows(image, kernel.shape[0])))
    return np.clip(quotient(sums, divisor) + offset, 0, 255)


FIXED = {
    "blur": (np.ones((3, 3), int), 9, 0), "soften": ([[1, 1, 1], [1, 8, 1], [1, 1, 1]], 16, 0),
    "sharpen": ([[-1, -1, -1], [-1, 15, -1], [-1, -1, -1]], 7, 0), "emboss": ([[0, 0, -1], [0, 0, 0], [1, 0, 0]], 0, 127),
}


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("name", FIXED)
def test_fixed_filters(name, shape):
    image = photo(shape)
    np.testing.assert_array_equal(getattr(velmaths, name)(image), convolved(image, *FIXED[name]))


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("size, divisor, offset", [(1, 2, 0), (2, 5, 3), (3, 9, 0), (3, -7, 100), (4, 13, -20), (7, 60, 0)])
def test_general_filter(shape, size, divisor, offset):
    image = photo(shape)
    kernel = np.random.default_rng(size).integers(-4, 9, (size, size))
    np.testing.assert_array_equal(velmaths.filter(image, kernel=kernel, divisor=divisor, offset=offset),
                                  convolved(image, kernel, divisor, offset))


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("size", [1, 2, 3, 4, 5, 9, 16])
def test_morphology(shape, size):
    image = photo(shape)
    low, high = np.min(windows(image, size), axis=0), np.max(windows(image, size), axis=0)
    np.testing.assert_array_equal(velmaths.erode(image, size=size), low)
    np.testing.assert_array_equal(velmaths.dilate(image, size=size), high)
    np.testing.assert_array_equal(velmaths.edge(image, size=size), high - low)


@pytest.mark.parametrize("size", [3, 5, 7])
def test_median_picks_the_pixel_of_middle_rank(size):
    image = photo((15, 17, 3))
    red, green, blue = (image[..., c].astype(int) for c in range(3))
    ranks = np.stack([np.broadcast_to(w, image.shape[:2]) for w in windows((117 * blue + 601 * green + 306 * red) >> 10, size)])
    result = velmaths.median(image, size=size).astype(int)
    rank = (117 * result[..., 2] + 601 * result[..., 1] + 306 * result[..., 0]) >> 10
    np.testing.assert_array_equal(rank, np.median(ranks, axis=0))


@pytest.mark.parametrize("shape", SHAPES)
def test_point_operations(shape):
    image = photo(shape)
    table = np.random.default_rng(4).integers(0, 256, 256, dtype=np.uint8)
    np.testing.assert_array_equal(velmaths.negative(image), 255 - image)
    np.testing.assert_array_equal(velmaths.lut(image, table=table), table[image])
    gamma = (255 * (np.arange(256) / 255) ** (1 / 1.8)).astype(np.uint8)
    assert abs(velmaths.gamma(image, value=1.8).astype(int) - gamma[image]).max() <= 1


def test_grey_and_threshold():
    image = photo((23, 31, 3))
    sums = image.sum(axis=2, dtype=int)
    grey = np.repeat((sums // 3)[..., None], 3, axis=2)
    np.testing.assert_array_equal(velmaths.grayscale(image), grey)
    for level in (0, 90, 200):
        np.testing.assert_array_equal(velmaths.threshold(image, level=level), np.where(grey > level, 255, 0))


def test_shift():
    image = photo((23, 31, 3)).astype(int)
    expected = np.clip(image + (30, -40, 5), 0, 255)
    np.testing.assert_array_equal(velmaths.shift_rgb(image.astype(np.uint8), red=30, green=-40, blue=5), expected)


@pytest.mark.parametrize("shape", SHAPES + [(23, 31, 4)])
def test_turns(shape):
    image = photo(shape)
    np.testing.assert_array_equal(velmaths.flip(image), image[::-1])
    np.testing.assert_array_equal(velmaths.mirror(image), image[:, ::-1])
    np.testing.assert_array_equal(velmaths.rotate4(image, angle=90), np.rot90(image, -1))
    np.testing.assert_array_equal(velmaths.rotate4(image, angle=270), np.rot90(image))


def test_alpha():
    image = photo((9, 10, 4))
    np.testing.assert_array_equal(velmaths.set_image_alpha(image, alpha=50), np.dstack([image[..., :3], np.full((9, 10), 50)]))
    at_key = (image[..., :3] == (7, 8, 9)).all(axis=2)
    assert at_key.any()
    np.testing.assert_array_equal(velmaths.set_image_alpha_transparency(image, key=(7, 8, 9), alpha=50)[..., 3],
                                  np.where(at_key, 0, 50))
    np.testing.assert_array_equal(velmaths.increase_bpp(image[..., :3].copy(), depth=32)[..., :3], image[..., :3])


@pytest.mark.parametrize("shape", SHAPES)
def test_arithmetic(shape):
    first, second = photo(shape, 1).astype(int), photo(shape, 2).astype(int)
    a, b = first.astype(np.uint8), second.astype(np.uint8)
    np.testing.assert_array_equal(velmaths.add(a, b), np.minimum(first + second, 255))
    np.testing.assert_array_equal(velmaths.subtract(a, b), np.maximum(first - second, 0))
    result, count = velmaths.subtract(a, b, mode="absolute", with_count=True)
    np.testing.assert_array_equal(result, abs(first - second))
    assert count == ((result > 1).sum() if len(shape) == 3 else 0)
    weighted = np.float32(0.7) * a.astype(np.float32) + np.float32(-0.2) * b.astype(np.float32) + np.float32(11)
    np.testing.assert_array_equal(velmaths.add_scale(a, b, first_factor=float(np.float32(0.7)),
                                                     second_factor=float(np.float32(-0.2)), offset=11.0),
                                  np.clip(weighted, 0, 255).astype(np.uint8))
    mask = (photo(shape[:2], 3) > 100).astype(np.uint8)
    selected = mask.astype(bool)
    onto = np.full_like(a, 77)
    masked = velmaths.add_scale(a, b, onto=onto, mask=mask, first_factor=1.0, second_factor=1.0)
    np.testing.assert_array_equal(masked[selected], np.minimum(first + second, 255)[selected])
    assert (masked[~selected] == 77).all() and (onto == 77).all()


def test_copy_and_scale():
    source, page = photo((5, 6, 3)), photo((12, 14, 3), 2)
    expected = page.copy()
    expected[4:9, 3:9] = source
    np.testing.assert_array_equal(velmaths.copy(source, page, position=(3, 4)), expected)
    counts = np.random.default_rng(1).integers(-500, 2000, (9, 11)).astype(np.int32)
    np.testing.assert_array_equal(velmaths.scale8(counts, factor=0.25, offset=-30),
                                  np.clip(np.floor(counts * 0.25) - 30, 0, 255))


# --- other libraries

def test_scipy():
    ndimage = pytest.importorskip("scipy.ndimage")
    image = photo((40, 50))
    inside = slice(4, -4), slice(4, -4)
    np.testing.assert_array_equal(velmaths.erode(image, size=5)[inside], ndimage.grey_erosion(image, (5, 5))[inside])
    np.testing.assert_array_equal(velmaths.dilate(image, size=7)[inside], ndimage.maximum_filter(image, 7)[inside])
    colour = photo((40, 50, 3))
    np.testing.assert_array_equal(velmaths.edge(colour, size=3)[inside],
                                  ndimage.morphological_gradient(colour, size=(3, 3, 1))[inside])
    kernel = np.array([[1, 2, 1], [2, 4, 2], [1, 2, 1]])
    np.testing.assert_array_equal(velmaths.gaussian_blur(image, level="fine")[inside],
                                  (ndimage.correlate(image.astype(int), kernel) // 16)[inside])


def test_scikit_image():
    pytest.importorskip("skimage")
    from skimage import morphology, util
    image = photo((40, 50))
    inside = slice(4, -4), slice(4, -4)
    square = np.ones((5, 5), np.uint8)
    np.testing.assert_array_equal(velmaths.erode(image, size=5)[inside], morphology.erosion(image, square)[inside])
    np.testing.assert_array_equal(velmaths.dilate(image, size=5)[inside], morphology.dilation(image, square)[inside])
    np.testing.assert_array_equal(velmaths.negative(image), util.invert(image))


def test_pillow():
    pillow = pytest.importorskip("PIL.Image")
    from PIL import ImageChops, ImageOps
    first, second = photo((30, 40, 3), 1), photo((30, 40, 3), 2)
    a, b = pillow.fromarray(first), pillow.fromarray(second)
    for ours, theirs in ((velmaths.add(first, second), ImageChops.add(a, b)),
                         (velmaths.subtract(first, second), ImageChops.subtract(a, b)),
                         (velmaths.subtract(first, second, mode="absolute"), ImageChops.difference(a, b)),
                         (velmaths.negative(first), ImageOps.invert(a)), (velmaths.mirror(first), ImageOps.mirror(a)),
                         (velmaths.rotate4(first, angle=90), a.transpose(pillow.Transpose.ROTATE_270)),
                         (velmaths.resample(first, size=(80, 60), mode="replicate"),
                          a.resize((80, 60), pillow.Resampling.NEAREST))):
        np.testing.assert_array_equal(ours, np.asarray(theirs))


def test_opencv():
    cv2 = pytest.importorskip("cv2")
    first, second = photo((30, 40, 3), 1), photo((30, 40, 3), 2)
    inside = slice(3, -3), slice(3, -3)
    table = np.random.default_rng(4).integers(0, 256, 256, dtype=np.uint8)
    square = np.ones((5, 5), np.uint8)
    for ours, theirs in ((velmaths.add(first, second), cv2.add(first, second)), (velmaths.flip(first), cv2.flip(first, 0)),
                         (velmaths.lut(first, table=table), cv2.LUT(first, table)),
                         (velmaths.subtract(first, second, mode="absolute"), cv2.absdiff(first, second)),
                         (velmaths.rotate4(first, angle=90), cv2.rotate(first, cv2.ROTATE_90_CLOCKWISE))):
        np.testing.assert_array_equal(ours, theirs)
    np.testing.assert_array_equal(velmaths.erode(first, size=5)[inside], cv2.erode(first, square)[inside])
    grey = photo((30, 40))
    # On greys, ranking whole pixels by brightness is the plain median.
    np.testing.assert_array_equal(velmaths.median(grey, size=5)[inside], cv2.medianBlur(grey, 5)[inside])
    np.testing.assert_array_equal(velmaths.median(np.dstack([grey] * 3), size=5)[inside][..., 0],
                                  cv2.medianBlur(grey, 5)[inside])
