"""NumPy arrays as images of the library and back, without a copy.

Shapes: (H, W) uint8 is a grey image of 8 bits, (H, W, 3) uint8 one of 24, (H, W, 4) uint8 one of 32 with alpha last,
(H, W) int32 an image of integers.
"""

from ctypes import byref, c_int64, c_void_p
from typing import Any, Dict, Optional, Tuple

import numpy as np

from . import _native as native
from ._types import Array

_CAST = {"b": "np.clip(image, 0, 255).astype(np.uint8)", "?": "image.astype(np.uint8) * 255",
         "f": "np.clip(np.rint(image * 255), 0, 255).astype(np.uint8) (for values from 0 to 1)",
         "d": "np.clip(np.rint(image * 255), 0, 255).astype(np.uint8) (for values from 0 to 1)",
         "e": "np.clip(np.rint(image * 255), 0, 255).astype(np.uint8) (for values from 0 to 1)",
         "H": "(image >> 8).astype(np.uint8) (for 16-bit samples)"}


def channels_ok(channels: str) -> None:
    if channels not in ("rgb", "bgr"):
        raise ValueError(f'channels is {channels!r}, but "rgb" or "bgr" is needed')


def _wrong_type(name: str, array: Array) -> TypeError:
    cast = _CAST.get(array.dtype.char, "image.astype(np.uint8)").replace("image", name)
    return TypeError(f"{name} has dtype {array.dtype}, but images are uint8 (or int32 for integer images); "
                     f"write {cast}")


def depth_of(array: Any, name: str = "image") -> Tuple[int, int]:
    """Bits per pixel and format code of an array, or a TypeError or ValueError that says what to write instead."""
    if not isinstance(array, np.ndarray):
        raise TypeError(f"{name} is a {type(array).__name__}, but a numpy.ndarray or velmaths.Image is needed; "
                        f"write np.asarray({name})")
    if array.dtype == np.int32 and array.dtype.isnative:
        if array.ndim == 2:
            return 32, native.MONO
        raise ValueError(f"{name} is int32 of shape {array.shape}, but an integer image is (height, width)")
    if array.dtype != np.uint8:
        raise _wrong_type(name, array)
    if array.ndim == 2:
        return 8, native.MONO
    if array.ndim == 3 and array.shape[2] in (3, 4):
        return (24, native.BGR) if array.shape[2] == 3 else (32, native.ARGB)
    hint = f"; write {name}[..., 0]" if array.ndim == 3 and array.shape[2] == 1 else (
        f"; write {name}.transpose(1, 2, 0) for channels first" if array.ndim == 3 and array.shape[0] in (3, 4) else "")
    raise ValueError(f"{name} has shape {array.shape}, but (height, width), (height, width, 3) or (height, width, 4) is "
                     f"needed{hint}")


def row_stride(array: Array, name: str = "image") -> int:
    """Bytes from a row to the next; a ValueError where a row's pixels do not follow each other, or rows overlap."""
    height, width = array.shape[:2]
    pixel = array.itemsize * (array.shape[2] if array.ndim == 3 else 1)
    together = (array.ndim == 2 or array.strides[2] == array.itemsize) and (width <= 1 or array.strides[1] == pixel)
    if not together and array.size:
        raise ValueError(f"{name} has strides {array.strides}: within a row, pixels must follow each other without gaps; "
                         f"write np.ascontiguousarray({name})")
    if height > 1 and abs(array.strides[0]) < width * pixel:
        raise ValueError(f"{name} has strides {array.strides}: its rows overlap each other; "
                         f"write np.ascontiguousarray({name})")
    return array.strides[0] if height > 1 else width * pixel


def wrap(array: Array, name: str = "image") -> native.Handle:
    """An image over the array's memory. The caller keeps the array alive."""
    bits, code = depth_of(array, name)
    stride = row_stride(array, name)
    height, width = array.shape[:2]
    return native.image_from("vel_image_wrap", array.ctypes.data, stride, width, height, bits, code)


def needs_writing(array: Any, name: str = "out") -> None:
    """Refuses what cannot receive pixels."""
    depth_of(array, name)
    row_stride(array, name)
    if not array.flags.writeable:
        raise ValueError(f"{name} is read-only; pass an array that can be written, such as np.empty_like({name})")


class Pixels:
    """What owns a result's memory: arrays over it keep this object, which keeps the library's image."""

    __slots__ = ("handle", "__array_interface__")

    def __init__(self, handle: native.Handle, interface: Dict[str, Any]) -> None:
        self.handle = handle
        self.__array_interface__ = interface


def interface_of(handle: native.Handle, info: native.ImageInfo) -> Optional[Dict[str, Any]]:
    """NumPy's description of an image's memory; rows of packed bytes at 1 and 4 bits."""
    shapes = {1: ("|u1", (info.row_bytes,), 1), 4: ("|u1", (info.row_bytes,), 1), 8: ("|u1", (info.width,), 1),
              16: ("<u2", (info.width,), 2), 24: ("|u1", (info.width, 3), 3), 32: ("|u1", (info.width, 4), 4)}
    if info.bits_per_pixel not in shapes:
        return None
    kind, row, step = shapes[info.bits_per_pixel]
    if info.bits_per_pixel == 32 and info.format == native.MONO:
        kind, row = "<i4", (info.width,)
    row0, stride = c_void_p(), c_int64()
    native.check(native.lib.vel_image_pixels(handle.value, byref(row0), byref(stride)))
    strides = (stride.value, step) + ((1,) if len(row) == 2 else ())
    shape = (info.height,) + tuple(int(n) for n in row)
    if not row0.value or 0 in shape:
        return {"version": 3, "shape": shape, "typestr": kind, "data": (0, False), "strides": None}
    return {"version": 3, "shape": shape, "typestr": kind, "data": (row0.value, False), "strides": strides}


def array_over(handle: native.Handle) -> Array:
    """An array over an image's memory; the memory lives as long as the array or a view of it."""
    info = native.image_info(handle)
    interface = interface_of(handle, info)
    if interface is None:
        raise ValueError("the image has no pixels")
    if 0 in interface["shape"]:
        return np.zeros(interface["shape"], interface["typestr"])
    return np.asarray(Pixels(handle, interface))


def plain(info: native.ImageInfo) -> bool:
    """Whether an array says all that the image holds: a depth from 8 bits on that has a shape, and no palette."""
    return info.bits_per_pixel in (8, 24, 32) and info.palette_entries == 0


def swapped(array: Array) -> Array:
    """A copy with the first and third channel exchanged; alpha stays."""
    copy = np.empty(array.shape, array.dtype)
    copy[..., 0], copy[..., 1], copy[..., 2] = array[..., 2], array[..., 1], array[..., 0]
    if array.shape[2] == 4:
        copy[..., 3] = array[..., 3]
    return copy
