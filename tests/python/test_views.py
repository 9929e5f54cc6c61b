"""Any view is as good as a fresh contiguous copy of its pixels: as input, as out=, and where both share memory."""
import gc
import sys

import numpy as np
import pytest

import velmaths
from conftest import CALLS, TWO, photo

hypothesis = pytest.importorskip("hypothesis")
from hypothesis import given, settings, strategies as st  # noqa: E402

pytestmark = pytest.mark.filterwarnings("ignore::velmaths.Note")
same = np.testing.assert_array_equal
MANY = settings(max_examples=1200, deadline=None, derandomize=True, database=None)

TURNS = {"half_turn": ("rotate4", {"angle": 180}), "quarter_turn": ("rotate", {"angle": 270}),
         "general_turn": ("rotate", {"angle": 30, "keep_size": True, "method": "nearest_neighbour"}),
         "no_turn": ("rotate", {"angle": 0}), "same_size": ("resample", {"mode": "replicate"}),
         "integer_kernel": ("kernel", {"kernel": [[1, 2], [3, 4]], "divisor": 3}), "scale": ("scale", {"factor": 0.5}),
         "to_bytes": ("scale", {"factor": 0.5, "depth": 8}), "scale8": ("scale8", {"factor": 0.25, "offset": 3})}
CASES = {**{name: (name, arguments) for name, arguments in CALLS.items()}, **TURNS}


class View:
    """A picture somewhere in larger memory whose other bytes are 99."""

    def __init__(self, shape, dtype, above, below, left, right, step, fixed, seed):
        height, width = shape[:2]
        rows = above + below + (height - 1) * abs(step) + 1
        self.memory = np.full((rows, left + width + right) + shape[2:], 99, dtype)
        part = self.memory[above:rows - below:abs(step), left:left + width]
        self.array = part if step > 0 else part[::-1]
        values = photo(shape + (4,) if dtype == np.int32 else shape, seed)
        self.array[...] = values.view("<i4")[..., 0] % 5000 if dtype == np.int32 else values
        self.array.flags.writeable = not fixed

    def rest(self):
        """The bytes that are none of the picture's."""
        copy = self.memory.copy()
        begin = self.array.__array_interface__["data"][0] - self.memory.__array_interface__["data"][0]
        np.lib.stride_tricks.as_strided(copy.reshape(-1).view(np.uint8)[begin:].view(self.array.dtype) if begin else
                                        copy.reshape(-1), self.array.shape, self.array.strides)[...] = 0
        return copy


@st.composite
def views(draw, shape, dtype, fixed=st.booleans()):
    gap = st.integers(0, 3)
    return View(shape, dtype, draw(gap), draw(gap), draw(gap), draw(gap), draw(st.sampled_from([1, -1, 2, -2, -3])),
                draw(fixed), draw(st.integers(0, 3)))


@st.composite
def calls(draw):
    """An operation, its images as views, and its further arguments."""
    name, arguments = CASES[draw(st.sampled_from(sorted(CASES)))]
    shape = draw(st.tuples(st.integers(1, 14), st.integers(1, 17)))
    channels = draw(st.sampled_from([(), (3,), (4,), None]))
    dtype = np.int32 if channels is None else np.uint8
    shape += channels or ()
    images = [draw(views(shape, dtype)) for _ in range(2 if name in TWO else 1)]
    arguments = dict(arguments, channels=draw(st.sampled_from(["rgb", "bgr"])))
    if arguments.get("mode") == "replicate":
        arguments["size"] = (shape[1], shape[0])
    return getattr(velmaths, name), images, arguments


def expected_of(call):
    """The result on contiguous copies, or the error that such a call gives."""
    function, images, arguments = call
    try:
        return function(*(np.array(view.array, order="C") for view in images), **arguments)
    except velmaths.Error as error:
        return error


def fails_alike(error, call, **more):
    function, images, arguments = call
    with pytest.raises(type(error)) as raised:
        function(*(view.array for view in images), **arguments, **more)
    assert str(raised.value) == str(error)


@MANY
@given(calls())
def test_inputs(call):
    function, images, arguments = call
    expected = expected_of(call)
    before = [view.memory.copy() for view in images]
    if isinstance(expected, velmaths.Error):
        fails_alike(expected, call)
    else:
        result = function(*(view.array for view in images), **arguments)
        same(result, expected)
        assert result.dtype == expected.dtype and result.flags.writeable
        assert not any(np.shares_memory(result, view.array) for view in images)
    for view, memory in zip(images, before):
        same(view.memory, memory)


@MANY
@given(calls(), st.data())
def test_out(call, data):
    function, images, arguments = call
    expected = expected_of(call)
    if isinstance(expected, velmaths.Error):
        fails_alike(expected, call, out=np.empty_like(images[0].array))
        return
    out = data.draw(views(expected.shape, expected.dtype.type, fixed=st.just(False)))
    before, rest = [view.memory.copy() for view in images], out.rest()
    assert function(*(view.array for view in images), **arguments, out=out.array) is out.array
    same(out.array, expected)
    same(out.rest(), rest)
    for view, memory in zip(images, before):
        same(view.memory, memory)


@MANY
@given(calls(), st.data())
def test_out_is_an_input(call, data):
    function, images, arguments = call
    expected = expected_of(call)
    which = data.draw(st.integers(0, len(images) - 1))
    target = images[which]
    if isinstance(expected, velmaths.Error) or expected.shape != target.array.shape or \
            expected.dtype != target.array.dtype:
        return
    if not target.array.flags.writeable:
        with pytest.raises(ValueError, match="read-only"):
            function(*(view.array for view in images), **arguments, out=target.array)
        return
    rest, before = target.rest(), [view.memory.copy() for view in images]
    assert function(*(view.array for view in images), **arguments, out=target.array) is target.array
    same(target.array, expected)
    same(target.rest(), rest)
    for other, (view, memory) in enumerate(zip(images, before)):
        if other != which:
            same(view.memory, memory)


@MANY
@given(st.sampled_from(sorted(CASES)), st.integers(2, 9), st.integers(2, 12), st.sampled_from([(3,), (4,), ()]),
       st.integers(-2, 2), st.integers(-2, 2), st.booleans(), st.sampled_from(["rgb", "bgr"]))
def test_out_overlaps_an_input(name, height, width, channels, down, across, turned, order):
    """out= is the input moved by some pixels, or upside down."""
    name, arguments = CASES[name]
    memory = photo((height + 4, width + 4) + channels)
    image = memory[2:2 + height, 2:2 + width]
    images = [image, photo(image.shape, 2)] if name in TWO else [image]
    if arguments.get("mode") == "replicate":
        arguments = dict(arguments, size=(width, height))
    function = getattr(velmaths, name)
    try:
        expected = function(*images, **arguments, channels=order)
    except velmaths.Error:
        return
    out = memory[2 + down:2 + down + height, 2 + across:2 + across + width]
    out = out[::-1] if turned else out
    if expected.shape != out.shape or expected.dtype != out.dtype:
        return
    function(*images, **arguments, channels=order, out=out)
    same(out, expected)


@pytest.mark.parametrize("name", ["negative", "erode", "flip", "median", "transform"])
def test_rows_that_overlap_are_refused(name):
    function, arguments = getattr(velmaths, name), CALLS[name]
    image = photo((5, 12, 3))
    for stride in (0, 3, -9, 35):
        view = np.lib.stride_tricks.as_strided(np.zeros(500, np.uint8)[200:], (5, 12, 3), (stride, 3, 1))
        with pytest.raises(ValueError, match=r"rows overlap .*np\.ascontiguousarray\(image\)"):
            function(view, **arguments)
        with pytest.raises(ValueError, match="out has .*rows overlap"):
            function(image, **arguments, out=view)
    touching = np.lib.stride_tricks.as_strided(np.zeros(180, np.uint8), (5, 12, 3), (36, 3, 1))
    assert function(image, **arguments, out=touching) is touching
    one_row = np.broadcast_to(image[:1, :, :], (1, 12, 3))
    same(function(one_row, **arguments), function(image[:1], **arguments))


@settings(max_examples=150, deadline=None, derandomize=True, database=None)
@given(st.integers(2, 7), st.integers(2, 7), st.sampled_from(["columns", "back", "transposed", "channels", "planes"]),
       st.booleans())
def test_pixels_with_gaps_are_refused(height, width, how, as_out):
    image = photo((2 * height, 2 * width, 3))
    view = {"columns": image[:, ::2], "back": image[:, ::-1], "transposed": image.transpose(1, 0, 2),
            "channels": image[..., ::-1], "planes": np.moveaxis(np.zeros((3, height, width), np.uint8), 0, -1)}[how]
    name = "out" if as_out else "image"
    with pytest.raises(ValueError, match=rf"{name} has strides .*np\.ascontiguousarray\({name}\)"):
        if as_out:
            velmaths.erode(np.ascontiguousarray(view), out=view)
        else:
            velmaths.erode(view)
    same(velmaths.erode(np.ascontiguousarray(view)).shape, view.shape)


@pytest.mark.parametrize("dtype", [np.int8, np.uint16, np.int16, np.uint32, np.int64, np.uint64, np.float16, np.float32,
                                   np.float64, bool, np.complex64, object, "S1", "M8[s]"])
def test_wrong_types_say_what_to_write_and_that_works(dtype):
    """The expression of the message, evaluated, is an image."""
    array = np.zeros((4, 5), dtype)
    with pytest.raises(TypeError, match=r"image has dtype") as raised:
        velmaths.negative(array)
    if np.dtype(dtype).kind not in "biuf":
        return
    text = str(raised.value).split("; write ")[1].split(" (")[0]
    fixed = eval(text, {"np": np, "image": array})  # pylint: disable=eval-used
    assert velmaths.negative(fixed).shape == (4, 5)


def test_subclasses_and_scalars():
    masked = np.ma.masked_array(photo((4, 5)), mask=np.eye(4, 5, dtype=bool))
    for wrong in (5, "image", b"12", None, [[1, 2]], {}, photo((4, 5)).tolist(), memoryview(photo((4, 5)))):
        with pytest.raises(TypeError, match="image is a "):
            velmaths.negative(wrong)
    assert type(velmaths.negative(photo((4, 5)).view(np.matrix))) in (np.ndarray, np.matrix)
    same(np.asarray(velmaths.negative(masked)), 255 - photo((4, 5)))


def test_memory_of_results_outlives_the_image():
    image = velmaths.Image.from_array(photo((200, 300, 3)))
    array, rows = np.asarray(image), [np.asarray(velmaths.erode(image, size=3))[n] for n in range(3)]
    kept = array.copy(), [row.copy() for row in rows]
    del image
    gc.collect()
    noise = [velmaths.dilate(photo((200, 300, 3), seed)) for seed in range(8)]
    same(array, kept[0])
    for row, copy in zip(rows, kept[1]):
        same(row, copy)
    assert noise


def test_an_array_of_an_image_writes_through():
    image = velmaths.Image.new(5, 4, 24)
    np.asarray(image)[1, 2] = (1, 2, 3)
    assert image.to_array()[1, 2].tolist() == [3, 2, 1]


def blocks():
    gc.collect()
    return sys.getallocatedblocks()


def test_failures_leave_no_objects():
    """Exceptions out of callbacks, wrong arguments and refusals: the count of Python's blocks stays."""
    image, count = photo((12, 13, 3)), 0

    class Mine(Exception):
        pass

    def mapping(x, y):
        nonlocal count
        count += 1
        if count % 5 == 0:
            raise Mine(x, y)
        return x, y

    def work():
        for call in (lambda: velmaths.transform(image, map=mapping), lambda: velmaths.set_image_alpha(image, alpha=3),
                     lambda: velmaths.erode(image, size=0), lambda: velmaths.negative(image, out=image[:, ::-1]),
                     lambda: velmaths.negative(image.astype(float)), lambda: velmaths.Image.load("/nowhere.png"),
                     lambda: velmaths.transform(image, map=lambda x, y: (x,)), lambda: velmaths.add(image, image[:3])):
            try:
                call()
            except (Mine, ValueError, TypeError, velmaths.Error, OSError):
                pass

    for _ in range(20):
        work()
    gc.disable()
    try:  # nothing waits for the collector
        references = sys.getrefcount(image)
        work()
        assert sys.getrefcount(image) == references
    finally:
        gc.enable()
    before = blocks()
    for _ in range(1000):
        work()
    assert blocks() - before < 700  # a lost object a round would be 1000


# --- arrays and images of the library in one call

MIXED = sorted(set(CALLS) - {"create_dest_image"})


@pytest.mark.parametrize("order", ["rgb", "bgr"])
@pytest.mark.parametrize("kind", [(3,), (4,)], ids=["colour", "alpha"])
@pytest.mark.parametrize("name", MIXED)
def test_images_beside_arrays(name, kind, order):
    """Any of a call's images, and its out, may be an Image: the colours are the same."""
    function, arguments = getattr(velmaths, name), dict(CALLS[name], channels=order)
    arrays = [photo((12, 13) + kind, seed) for seed in range(2 if name in TWO else 1)]
    try:
        expected = function(*arrays, **arguments)
    except velmaths.Error:
        return
    for which in range(2 ** len(arrays)):
        given = [velmaths.Image.from_array(a, order) if which >> n & 1 else a for n, a in enumerate(arrays)]
        results = [function(*given, **arguments)]
        for out in (np.empty_like(expected), velmaths.Image.from_array(np.zeros_like(expected), order)):
            assert function(*given, **arguments, out=out) is out
            results.append(out)
        for result in results:
            same(result.to_array(order) if isinstance(result, velmaths.Image) else result, expected)
        for image, array in zip(given, arrays):
            same(image.to_array(order) if isinstance(image, velmaths.Image) else image, array)


def test_an_out_that_does_not_fit_says_what_does():
    image = photo((20, 30, 3))
    for out in (np.empty_like(image), np.empty((32, 36), np.uint8), np.empty((32, 36), np.int32)):
        for order in ("rgb", "bgr"):
            with pytest.raises(ValueError, match=r"out is .*; write np\.empty\(\((\d+), (\d+), 3\), np\.uint8\)"):
                velmaths.rotate(image, angle=30, out=out, channels=order)
            with pytest.raises(ValueError, match=r"; write np\.empty\(\(20, 30, 3\), np\.uint8\)"):
                velmaths.median(image, out=out[:7], channels=order)


def test_copies_of_images():
    import copy
    image = velmaths.Image.from_array(photo((4, 5, 3)))
    for other in (copy.copy(image), copy.deepcopy(image), copy.deepcopy([image])[0]):
        assert other is not image and not np.shares_memory(np.asarray(other), np.asarray(image))
        same(np.asarray(other), np.asarray(image))


def test_tables_of_bytes():
    image, table = photo((4, 5, 3)), bytes(range(255, -1, -1))
    same(velmaths.lut(image, table=table), 255 - image)
    same(velmaths.lut(image, table=bytearray(table)), 255 - image)
    with pytest.raises(ValueError, match="256"):
        velmaths.lut(image, table=b"123")
