"""Images of every depth, with palettes, and picture files."""

import ctypes
import os
from ctypes import byref, c_size_t, c_void_p
from typing import Any, Dict, Optional, Union

import numpy as np

from . import _arrays as arrays
from . import _native as native
from ._types import Array

_FORMATS = {"mono": native.MONO, "bgr": native.BGR, "abgr": native.ABGR, "argb": native.ARGB}
_CONVERT = {"widen": 1, "eight-bit": 2, "8bit": 2, "rgb": 4, "round": 8, "all": 16}
_USUAL = {1: "mono", 4: "mono", 8: "mono", 16: "bgr", 24: "bgr", 32: "argb"}

Path = Union[str, "os.PathLike[str]"]


class Image:
    """An image of the library: 1, 4, 8, 16, 24 or 32 bits a pixel, with a palette where it has one.

    Operations take it as they take arrays, and give an `Image` back. Arrays are enough at 8, 24 and 32 bits; an `Image`
    holds what an array cannot say: packed pixels of 1 and 4 bits, 5-6-5 words of 16 bits, palettes. Make one with
    `Image.new`, `Image.load`, `Image.from_array` or `Image.from_indexes`.

    ``np.asarray(image)`` is its memory without a copy, blue first: (H, W) uint8 at 8 bits, (H, W, 3) at 24, (H, W, 4) at
    32 (or int32 (H, W) for integers), (H, W) uint16 at 16, and the packed bytes of the rows at 1 and 4 bits; `indexes`
    unpacks those.
    """

    __slots__ = ("handle",)

    def __init__(self, handle: native.Handle) -> None:
        if not isinstance(handle, native.Handle):
            raise TypeError("make an image with Image.new, Image.load, Image.from_array or Image.from_indexes")
        self.handle = handle

    @classmethod
    def new(cls, width: int, height: int, bits_per_pixel: int, format: Optional[str] = None) -> "Image":
        """An image of zeros.

        Parameters
        ----------
        width, height : int
            Size in pixels.
        bits_per_pixel : int
            1, 4, 8, 16, 24 or 32.
        format : str, optional
            Colour format: "mono", "bgr", "abgr" or "argb". By default the usual one of the depth: "mono" up to 8 bits,
            "bgr" at 16 and 24, "argb" at 32; "mono" at 32 bits makes an image of integers.
        """
        name = format or _USUAL.get(bits_per_pixel, "bgr")
        if name not in _FORMATS:
            raise ValueError(f"format is {format!r}, but one of {', '.join(_FORMATS)} is needed")
        if width < 0 or height < 0 or width >= 2**32 or height >= 2**32:
            raise ValueError(f"the size {width}x{height} is no size of an image")
        return cls(native.image_from("vel_image_create", width, height, bits_per_pixel, _FORMATS[name]))

    @classmethod
    def from_array(cls, array: Array, channels: str = "rgb") -> "Image":
        """An image with a copy of the array's pixels: uint8 (H, W), (H, W, 3), (H, W, 4) or int32 (H, W)."""
        arrays.channels_ok(channels)
        bits, code = arrays.depth_of(array, "array")
        height, width = array.shape[:2]
        image = cls(native.image_from("vel_image_create", width, height, bits, code))
        if array.size:
            target = np.asarray(image)
            target[...] = arrays.swapped(array) if channels == "rgb" and array.ndim == 3 else array
        return image

    @classmethod
    def from_indexes(cls, indexes: Array, bits_per_pixel: int, palette: Optional[Any] = None) -> "Image":
        """An image of 1, 4 or 8 bits from an array of indexes (or greys), one uint8 a pixel.

        Parameters
        ----------
        indexes : ndarray of uint8, shape (H, W)
            Values below 2 ** bits_per_pixel.
        bits_per_pixel : {1, 4, 8}
            Depth of the image.
        palette : array_like of int, shape (N, 3), optional
            Red, green and blue of the colours; at most 2 ** bits_per_pixel of them.
        """
        if bits_per_pixel not in (1, 4, 8):
            raise ValueError(f"bits_per_pixel is {bits_per_pixel}, but indexes have 1, 4 or 8 bits")
        if not isinstance(indexes, np.ndarray) or indexes.dtype != np.uint8 or indexes.ndim != 2:
            raise TypeError("indexes are a two-dimensional array of uint8; write np.asarray(indexes, np.uint8)")
        if indexes.size and int(indexes.max()) >= 2**bits_per_pixel:
            raise ValueError(f"an index of {int(indexes.max())} does not fit {bits_per_pixel} bits")
        height, width = indexes.shape
        image = cls.new(width, height, bits_per_pixel)
        if indexes.size:
            rows = np.asarray(image)
            if bits_per_pixel == 8:
                rows[...] = indexes
            elif bits_per_pixel == 1:
                rows[...] = np.packbits(indexes, axis=1)
            else:
                even = np.zeros((height, width + width % 2), np.uint8)
                even[:, :width] = indexes
                rows[...] = even[:, 0::2] << 4 | even[:, 1::2]
        if palette is not None:
            image.palette = palette
        return image

    @classmethod
    def load(cls, source: Union[Path, bytes], page: int = 0, convert: Optional[str] = None) -> "Image":
        """Reads a picture: PNG, JPEG, TIFF, WebP or BMP, by its content.

        Parameters
        ----------
        source : path or bytes
            A file's name, or a file's content.
        page : int
            Which picture of a file with several.
        convert : {"widen", "eight-bit", "rgb", "round", "all"}, optional
            Conversions that are allowed where no image can hold the picture as it is (comma-separated); nothing is
            converted unasked.

        Raises
        ------
        FileNotFoundError
            There is no such file.
        PictureError
            Not a picture, damaged, too large, or not to be held without a conversion.
        """
        options = native.LoadOptions()
        native.lib.vel_load_options_init(byref(options))
        options.page = page
        for name in (convert or "").split(","):
            if name.strip() and name.strip() not in _CONVERT:
                raise ValueError(f"convert is {convert!r}, but {', '.join(_CONVERT)} are known")
            options.convert |= _CONVERT.get(name.strip(), 0)
        if isinstance(source, (bytes, bytearray, memoryview)):
            data = bytes(source)
            return cls(native.image_from("vel_image_load_memory", data, len(data), byref(options)))
        return cls(native.image_from("vel_image_load", os.fsencode(source), byref(options)))

    def save(self, path: Path, *, overwrite: bool = False, format: Optional[str] = None, quality: Optional[int] = None,
             lossless: Optional[bool] = None, effort: Optional[int] = None) -> None:
        """Writes a picture file; the format follows the name's extension unless it is given.

        The name holds the old content or all of the new one.

        Raises
        ------
        FileExistsError
            The file is there and `overwrite` is False.
        PictureError
            The format cannot hold the image as it is.
        """
        options = _save_options(format, overwrite, quality, lossless, effort)
        native.check(native.lib.vel_image_save(self.handle.value, os.fsencode(path), byref(options)))

    def encode(self, format: str, *, quality: Optional[int] = None, lossless: Optional[bool] = None,
               effort: Optional[int] = None) -> bytes:
        """The content of a picture file, such as ``image.encode("png")``."""
        options = _save_options(format, True, quality, lossless, effort)
        data, count = c_void_p(), c_size_t()
        native.check(native.lib.vel_image_save_memory(self.handle.value, byref(options), byref(data),
                                                      byref(count)))
        try:
            return ctypes.string_at(data, count.value)
        finally:
            native.lib.vel_free(data)

    @property
    def width(self) -> int:
        """Pixels of a row."""
        return int(native.image_info(self.handle).width)

    @property
    def height(self) -> int:
        """Number of rows."""
        return int(native.image_info(self.handle).height)

    @property
    def bits_per_pixel(self) -> int:
        """1, 4, 8, 16, 24 or 32."""
        return int(native.image_info(self.handle).bits_per_pixel)

    @property
    def format(self) -> str:
        """Colour format: "mono", "bgr", "abgr", "argb", or the code's number as text."""
        code = int(native.image_info(self.handle).format)
        return next((name for name, known in _FORMATS.items() if known == code), str(code))

    @property
    def palette(self) -> Optional[Array]:
        """Red, green and blue of the palette's colours, (N, 3) uint8; None without a palette. Can be set."""
        count = native.image_info(self.handle).palette_entries
        if not count:
            return None
        entries = (native.Colour * count)()
        native.check(native.lib.vel_image_get_palette(self.handle.value, entries, count, None))
        return np.array([[e.red, e.green, e.blue] for e in entries], np.uint8)

    @palette.setter
    def palette(self, colours: Optional[Any]) -> None:
        values = np.zeros((0, 3), np.uint8) if colours is None else np.asarray(colours)
        if values.ndim != 2 or values.shape[1] != 3 or values.dtype.kind not in "iu" or (
                values.size and (values.min() < 0 or values.max() > 255)):
            raise ValueError("a palette is an array of shape (N, 3) with red, green and blue from 0 to 255")
        entries = (native.Colour * max(1, len(values)))(*(native.Colour(int(r), int(g), int(b)) for r, g, b in values))
        native.check(native.lib.vel_image_set_palette(self.handle.value, entries, len(values)))

    @property
    def __array_interface__(self) -> Dict[str, Any]:
        interface = arrays.interface_of(self.handle, native.image_info(self.handle))
        if interface is None:
            raise AttributeError("the image has no pixels")
        return interface

    def indexes(self) -> Array:
        """The pixels of an image of 1, 4 or 8 bits as an array of its own, one uint8 a pixel."""
        info = native.image_info(self.handle)
        if info.bits_per_pixel not in (1, 4, 8):
            raise ValueError(f"an image of {info.bits_per_pixel} bits has no indexes")
        if not info.width or not info.height:
            return np.zeros((info.height, info.width), np.uint8)
        rows = np.asarray(self)
        if info.bits_per_pixel == 8:
            return rows.copy()
        if info.bits_per_pixel == 1:
            return np.unpackbits(rows, axis=1)[:, :info.width].copy()
        nibbles: Array = np.stack([rows >> 4, rows & 15], axis=-1).reshape(info.height, -1)
        return nibbles[:, :info.width].copy()

    def to_array(self, channels: str = "rgb") -> Array:
        """The pixels as an array of its own: colours where there is a palette or 16 bits, greys from 1 and 4 bits.

        Shapes are (H, W) and (H, W, 3) or (H, W, 4) of uint8, (H, W) of int32 for integers. 5 and 6 bits become 8 by
        repeating their high bits.
        """
        arrays.channels_ok(channels)
        info = native.image_info(self.handle)
        if info.bits_per_pixel <= 8:
            indexes, palette = self.indexes(), self.palette
            if palette is None:
                greys: Array = indexes * np.uint8(255 // (2**info.bits_per_pixel - 1))
                return greys
            colours = np.zeros((256, 3), np.uint8)
            colours[:len(palette)] = palette if channels == "rgb" else palette[:, ::-1]
            looked_up: Array = colours[indexes]
            return looked_up
        pixels = arrays.array_over(self.handle)
        if info.bits_per_pixel == 16:
            blue, green, red = pixels & 31, pixels >> 5 & 63, pixels >> 11
            bgr = np.stack([blue << 3 | blue >> 2, green << 2 | green >> 4, red << 3 | red >> 2], axis=-1)
            return np.ascontiguousarray(bgr[..., ::-1] if channels == "rgb" else bgr, np.uint8)
        if pixels.ndim == 3 and channels == "rgb":
            return arrays.swapped(pixels)
        return pixels.copy()

    def copy(self) -> "Image":
        """An image with pixels and palette of its own."""
        return Image(native.image_from("vel_image_clone", self.handle.value))

    def __copy__(self) -> "Image":
        return self.copy()

    def __deepcopy__(self, _memo: Dict[int, Any]) -> "Image":
        return self.copy()

    def __repr__(self) -> str:
        info = native.image_info(self.handle)
        palette = f", {info.palette_entries} colours" if info.palette_entries else ""
        return f"<velmaths.Image {info.width}x{info.height}, {info.bits_per_pixel} bits, {self.format}{palette}>"


def _save_options(format: Optional[str], overwrite: bool, quality: Optional[int], lossless: Optional[bool],
                  effort: Optional[int]) -> native.SaveOptions:
    options = native.SaveOptions()
    native.lib.vel_save_options_init(byref(options))
    options.overwrite = int(overwrite)
    options.format = format.encode() if format else None
    if quality is not None:
        options.quality = quality
    if lossless is not None:
        options.lossless = int(lossless)
    if effort is not None:
        options.effort = effort
    return options


def load(source: Union[Path, bytes], channels: str = "rgb", *, convert: str = "widen") -> Array:
    """Reads a picture as an array, without loss.

    (H, W), (H, W, 3) or (H, W, 4) of uint8; (H, W) of int32 for greys of 16 or 32 bits. Colours of palettes are looked up,
    1 and 4 bits become greys from 0 to 255. `Image.load` keeps a picture as the file has it.

    Parameters
    ----------
    source : path or bytes
        A file's name, or a file's content.
    channels : {"rgb", "bgr"}
        Order of the channels.
    convert : {"widen", "eight-bit", "rgb", "round", "all"}
        Conversions that are allowed (comma-separated): "eight-bit" scales wide samples to 8 bits, "rgb" takes CMYK and other
        colours, "round" floats, "all" whatever it takes.

    Raises
    ------
    FileNotFoundError
        There is no such file.
    PictureError
        Not a picture, damaged, too large, or not to be held without a conversion; the text names it.
    """
    return Image.load(source, convert=convert).to_array(channels)


def save(path: Path, array: "ImageLike", channels: str = "rgb", *, overwrite: bool = False,
         quality: Optional[int] = None) -> None:
    """Writes an array or image as a picture file; the format follows the name's extension.

    Raises
    ------
    FileExistsError
        The file is there and `overwrite` is False.
    PictureError
        The format cannot hold the image as it is.
    """
    image = array if isinstance(array, Image) else Image.from_array(array, channels)
    image.save(path, overwrite=overwrite, quality=quality)


ImageLike = Union[Array, Image]
