"""Runs an operation on arrays and images: arguments, channel order, where the result goes."""

import warnings
from contextlib import ExitStack
from ctypes import byref, c_int64, c_void_p
from typing import Any, Dict, NamedTuple, Optional, Tuple

import numpy as np

from . import _arrays as arrays
from . import _native as native
from ._arguments import Arguments, integer
from ._image import Image, ImageLike
from ._mapping import Lookup
from ._types import Array


class Note(UserWarning):
    """Something that a caller should know of a successful run, such as a depth that the operation leaves alone."""


class Operation(NamedTuple):
    """What the generated functions say of an operation."""

    name: str
    images: Tuple[Tuple[str, str], ...]  # name and role: source, destination, mask
    parameters: Dict[str, str]  # name and type
    result: str  # in-place, replaces, new-image, destination
    blue_first: Tuple[int, ...]  # depths at which blue and red are treated differently
    names_channels: bool  # arguments name a channel or a colour


def _same_view(a: Array, b: Array) -> bool:
    return a is b or (a.ctypes.data == b.ctypes.data and a.shape == b.shape and a.strides == b.strides
                      and a.dtype == b.dtype)


def _width(given: ImageLike) -> int:
    return given.width if isinstance(given, Image) else int(given.shape[1])


def _channel_count(given: ImageLike) -> int:
    return int(given.shape[2]) if isinstance(given, np.ndarray) and given.ndim == 3 else 1


def shown(name: str) -> str:
    """The name of an image argument in Python."""
    return "image" if name == "input" else name


class _Call:
    """One call of an operation."""

    def __init__(self, operation: Operation, images: Dict[str, ImageLike], parameters: Dict[str, Any],
                 channels: str, out: Optional[ImageLike]) -> None:
        arrays.channels_ok(channels)
        self.operation, self.images, self.parameters, self.channels = operation, images, parameters, channels
        count = _channel_count(next(iter(images.values())))
        self.of_pixels = count > 1
        red_first = channels == "rgb" and self.of_pixels
        self.swap = red_first and 8 * count in operation.blue_first
        given = [*images.values()] + ([] if out is None else [out])
        # An Image is blue first, so arrays beside one have to be so, too; then arguments name channels as they are.
        self.mixed = any(isinstance(i, Image) for i in given) and any(isinstance(i, np.ndarray) for i in given)
        if self.mixed:
            self.swap, self.of_pixels = channels == "rgb", self.of_pixels and channels == "bgr"
        elif red_first and operation.names_channels:
            self._exchange_arguments()

    def _exchange_arguments(self) -> None:
        given = self.parameters
        if "red" in given:
            given["red"], given["blue"] = given["blue"], given["red"]
        if given.get("value") is not None:
            value = integer(given["value"], "value")
            if -2**31 <= value < 2**32:
                given["value"] = (value & ~0xFF00FF) | (value & 0xFF) << 16 | (value >> 16 & 0xFF)

    def _target(self) -> Optional[str]:
        """The image that the operation changes, if it makes no new one."""
        if self.operation.result == "new-image":
            return None
        if self.operation.result != "destination":
            return self.operation.images[0][0]
        return next((name for name, role in self.operation.images if role == "destination" and name in self.images),
                    None)

    def _arguments(self) -> Arguments:
        given = self.parameters
        if isinstance(given.get("map"), np.ndarray):
            given["map"] = Lookup(given["map"])
        coordinates = given.get("map")
        if isinstance(coordinates, Lookup):
            if tuple(given.get("offset") or (0, 0)) != (0, 0):
                raise ValueError("offset goes with a callable or a text; an array of coordinates has a position for "
                                 "each pixel: write map[y:, x:]")
            if "size" in given and tuple(given["size"] or (0, 0)) == (0, 0):
                given["size"] = coordinates.size
        width = int(given["size"][0]) if "map" in given and given.get("size") else 0
        made = Arguments(self.channels, self.of_pixels, width or _width(next(iter(self.images.values()))))
        for name, value in given.items():
            if value is not None:
                made.add(name, self.operation.parameters[name], value)
        return made

    def _run(self, out: Optional[native.Handle]) -> Tuple[Optional[native.Handle], int]:
        """Runs it on the images as they are; the result's handle, or None with `out`."""
        handles = {name: given.handle if isinstance(given, Image) else arrays.wrap(given, shown(name))
                   for name, given in self.images.items()}
        images = (native.ImageArgument * len(handles))(
            *(native.ImageArgument(name.encode(), handle.value) for name, handle in handles.items()))
        arguments = self._arguments()
        items = (native.Argument * max(1, len(arguments.items)))(*arguments.items)
        count, result = c_int64(), c_void_p()
        name = self.operation.name.encode()
        with ExitStack() as stack:
            for mapping in arguments.mappings:
                stack.callback(mapping.close)
            if out is None:
                code = native.lib.vel_run(name, images, len(handles), items, len(arguments.items), byref(result),
                                          byref(count))
            else:
                code = native.lib.vel_run_into(name, images, len(handles), items, len(arguments.items), out.value,
                                               byref(count))
            for mapping in arguments.mappings:
                mapping.raise_again()
            try:
                native.check(code)
            except native.Error as error:
                error.args = (native.in_python(str(error)),)
                raise
        handle = native.Handle(result.value, "vel_image_release") if out is None else None
        notes = native.text(native.lib.vel_last_notes())
        if notes:
            warnings.warn(native.in_python(notes), Note, stacklevel=6)
        return handle, int(count.value)

    def _sees_memory(self) -> bool:
        """Whether bytes beside the rows count, or the length of a row in memory does.

        Grey weighs a byte with the two behind it, a half turn reads what lies before each row, and a turn at 8 bits
        scatters its pixels. Such operations run on contiguous arrays, so that the result is the same for any view.
        """
        first = next(iter(self.images.values()))
        grey = isinstance(first, np.ndarray) and first.ndim == 2 and first.dtype == np.uint8
        if self.operation.name in ("rotate", "rotate4"):
            return grey or self.parameters["angle"] == 180
        return grey and self.operation.name in ("grayscale", "threshold")

    def _blue_first(self) -> None:
        """Where blue and red have to be told apart, colour arrays become copies that are blue first."""
        if self.swap:
            self.images = {name: arrays.swapped(given) if isinstance(given, np.ndarray) and given.ndim == 3 else given
                           for name, given in self.images.items()}

    def fresh(self) -> Tuple[ImageLike, int]:
        """Runs it without `out`: the result is a new object and the inputs stay."""
        target = self._target()
        if self._sees_memory():
            self.images = {name: np.ascontiguousarray(given) if isinstance(given, np.ndarray) else given
                           for name, given in self.images.items()}
        for name, given in self.images.items():
            if isinstance(given, Image):
                if name == target:
                    self.images[name] = given.copy()
            elif name == target and not (self.swap and given.ndim == 3):
                self.images[name] = np.array(given, order="C")
        self._blue_first()
        handle, count = self._run(None)
        assert handle is not None
        return self._delivered(handle, target), count

    def _delivered(self, handle: native.Handle, target: Optional[str]) -> ImageLike:
        info = native.image_info(handle)
        first = next(iter(self.images.values()))
        if info.wrapped:
            # An array's own memory: the copy that was changed, or the input where there was nothing to do.
            source = self.images[target] if target else first
            assert isinstance(source, np.ndarray)
            result: Array = source if target or self.swap else np.array(source, order="C")
        elif isinstance(first, Image) or not arrays.plain(info):
            inputs = [given.handle.value for given in self.images.values() if isinstance(given, Image)]
            return Image(handle).copy() if target is None and handle.value in inputs else Image(handle)
        else:
            result = arrays.array_over(handle)
        if self.swap and result.ndim == 3:
            result[..., [0, 2]] = result[..., [2, 0]]
        return result

    def into(self, out: ImageLike) -> int:
        """Runs it with the result in `out`."""
        if isinstance(out, Image):
            self._blue_first()
            return self._run(out.handle)[1]
        mine = [given for given in self.images.values() if isinstance(given, np.ndarray)]
        if self.mixed or self.swap or self._sees_memory() or any(
                np.may_share_memory(out, a) and not _same_view(out, a) for a in mine):
            result, count = self.fresh()
            _copy_out(result.to_array(self.channels) if self.mixed and isinstance(result, Image) else result, out)
            return count
        handle = arrays.wrap(out, "out")
        try:
            _, count = self._run(handle)
        except native.ArgumentError as error:
            if not str(error).startswith("out is "):
                raise
            _copy_out(self.fresh()[0], out)  # says what would fit
            raise
        info = native.image_info(handle)
        if info.bits_per_pixel == 32 and (info.format == native.MONO) != (out.dtype == np.int32):
            wanted = "int32 (height, width)" if info.format == native.MONO else "uint8 (height, width, 4)"
            raise ValueError(f"out is {out.dtype} of shape {out.shape}, but the result is {wanted}")
        return count


def _copy_out(result: ImageLike, out: Array) -> None:
    if isinstance(result, Image):
        raise ValueError(f"out is {out.dtype} of shape {out.shape}, but the result is an image that no array can hold")
    if result.shape != out.shape or result.dtype != out.dtype:
        raise ValueError(f"out is {out.dtype} of shape {out.shape}, but the result is {result.dtype} of shape "
                         f"{result.shape}; write np.empty({result.shape}, np.{result.dtype})")
    np.copyto(out, result)


def call(operation: Operation, images: Dict[str, Any], parameters: Dict[str, Any], out: Any,
         channels: str) -> Tuple[Any, int]:
    """The result of an operation, and what it counts (-1 where it counts nothing)."""
    required = {name for name, role in operation.images if role == "source"}
    given = {name: image for name, image in images.items() if image is not None or name in required}
    for name, image in given.items():
        if not isinstance(image, Image):
            arrays.depth_of(image, shown(name))
            arrays.row_stride(image, shown(name))
    if out is not None and not isinstance(out, Image):
        arrays.needs_writing(out)
    made = _Call(operation, given, parameters, channels, out)
    return made.fresh() if out is None else (out, made.into(out))
