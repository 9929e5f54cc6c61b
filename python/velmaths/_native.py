"""The C interface of libvel through ctypes: structures, prototypes, and failures as exceptions.

Every call releases the interpreter lock while it runs.
"""

import ctypes
import json
import os
import re
from ctypes import POINTER, byref, c_char_p, c_double, c_int32, c_int64, c_size_t, c_uint8, c_uint32, c_uint64, c_void_p
from functools import lru_cache
from typing import List, Optional, Pattern, Type

ABI_MAJOR = 0

NOT_FOUND, ACCESS, EXISTS, UNSUPPORTED, DAMAGED, LIMIT = -1, -2, -3, -4, -5, -6
ARGUMENT, MEMORY, MODULE, OPERATION, CALLBACK, INTERNAL = -7, -8, -9, -10, -11, -12

MONO, BGR, ABGR, ARGB = 0x4F4E4F4D, 0x20524742, 0x52474241, 0x42475241

TEXT, INTEGER, FLOAT, BOOLEAN, COLOUR, SIZE, POINT, TABLE, KERNEL, MAPPING = range(10)


class Colour(ctypes.Structure):
    _fields_ = [("red", c_uint8), ("green", c_uint8), ("blue", c_uint8), ("reserved", c_uint8)]


class Size(ctypes.Structure):
    _fields_ = [("width", c_int64), ("height", c_int64)]


class Point(ctypes.Structure):
    _fields_ = [("x", c_double), ("y", c_double)]


class ImageInfo(ctypes.Structure):
    _fields_ = [(name, c_uint32) for name in ("size", "width", "height", "bits_per_pixel", "format", "planes",
                                              "palette_entries", "wrapped")] + [("stride", c_int64),
                                                                                ("row_bytes", c_uint64)]


class LoadOptions(ctypes.Structure):
    _fields_ = [(name, c_uint32) for name in ("size", "page", "convert", "reserved")] + \
               [(name, c_uint64) for name in ("max_pixels", "max_bytes", "max_file_bytes")]


class SaveOptions(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("overwrite", c_uint32), ("format", c_char_p), ("tiff_compression", c_char_p)] + \
               [(name, c_uint32) for name in ("sync", "rows", "alpha", "quality", "lossless", "effort")]


class ImageArgument(ctypes.Structure):
    _fields_ = [("name", c_char_p), ("image", c_void_p)]


class Value(ctypes.Union):
    _fields_ = [("text", c_char_p), ("integer", c_int64), ("real", c_double), ("colour", Colour), ("size", Size),
                ("point", Point), ("table", c_void_p), ("kernel", c_void_p), ("mapping", c_void_p)]


class Argument(ctypes.Structure):
    _fields_ = [("name", c_char_p), ("kind", c_int32), ("side", c_int32), ("value", Value)]


MappingFunction = ctypes.CFUNCTYPE(c_int32, c_void_p, POINTER(c_double), POINTER(c_double), c_size_t)


class Error(Exception):
    """A failure of the library.

    Attributes
    ----------
    result : int
        The C interface's result, negative.
    code : int
        The operation's own result code where it was the operation that failed, else 0; ``code & 0xFFFFFFFF`` is the
        usual way to write it, such as 0x80004005.
    """

    def __init__(self, text: str, result: int = INTERNAL, code: int = 0) -> None:
        super().__init__(text)
        self.result = result
        self.code = code


class ArgumentError(Error, ValueError):
    """Names, types, ranges or images do not fit."""


class PictureError(Error, ValueError):
    """A picture file that is damaged, too large, or not to be held without a conversion."""


class MissingFileError(Error, FileNotFoundError):
    """No such file."""


class FileIsThereError(Error, FileExistsError):
    """The file exists and overwriting was not asked for."""


class FileAccessError(Error, OSError):
    """The operating system refused to read or write."""


class OutOfMemoryError(Error, MemoryError):
    """No memory."""


_EXCEPTIONS = {NOT_FOUND: MissingFileError, ACCESS: FileAccessError, EXISTS: FileIsThereError,
               UNSUPPORTED: PictureError, DAMAGED: PictureError, LIMIT: PictureError, ARGUMENT: ArgumentError,
               MEMORY: OutOfMemoryError}


def _library_paths() -> List[str]:
    """Where libvel may lie: the environment's word, the wheel's folder, the system's library path."""
    named = os.environ.get("VELMATHS_LIBRARY")
    if named:
        return [named]
    bundled = os.path.join(os.path.dirname(os.path.abspath(__file__)), "_lib", "libvel.so")
    return [bundled] if os.path.exists(bundled) else ["libvel.so.0"]


def _load() -> ctypes.CDLL:
    path = _library_paths()[0]
    try:
        library = ctypes.CDLL(path)
    except OSError as reason:
        raise ImportError(f"velmaths: the library {path} cannot be loaded ({reason}); install the package's wheel, or "
                          "set VELMATHS_LIBRARY to the file libvel.so") from None
    library.vel_abi_version.restype = c_uint32
    if library.vel_abi_version() >> 16 != ABI_MAJOR:
        raise ImportError(f"velmaths: {path} has another interface version than this package")
    return library


def _declare(library: ctypes.CDLL) -> None:
    """Argument types of the functions in use; all but the texts and the releases answer a result."""
    image, out = c_void_p, POINTER(c_void_p)
    images, arguments, count = POINTER(ImageArgument), POINTER(Argument), POINTER(c_int64)
    prototypes = {
        "vel_open": [c_char_p],
        "vel_image_create": [c_uint32, c_uint32, c_uint32, c_uint32, out],
        "vel_image_wrap": [c_void_p, c_int64, c_uint32, c_uint32, c_uint32, c_uint32, out],
        "vel_image_clone": [image, out],
        "vel_image_get_info": [image, POINTER(ImageInfo)],
        "vel_image_pixels": [image, POINTER(c_void_p), POINTER(c_int64)],
        "vel_image_get_palette": [image, POINTER(Colour), c_uint32, POINTER(c_uint32)],
        "vel_image_set_palette": [image, POINTER(Colour), c_uint32],
        "vel_image_load": [c_char_p, POINTER(LoadOptions), out],
        "vel_image_load_memory": [c_char_p, c_size_t, POINTER(LoadOptions), out],
        "vel_image_save": [image, c_char_p, POINTER(SaveOptions)],
        "vel_image_save_memory": [image, POINTER(SaveOptions), POINTER(c_void_p), POINTER(c_size_t)],
        "vel_mapping_create": [MappingFunction, c_void_p, c_uint32, out],
        "vel_run": [c_char_p, images, c_size_t, arguments, c_size_t, out, count],
        "vel_run_into": [c_char_p, images, c_size_t, arguments, c_size_t, image, count],
        "vel_operations_json": [POINTER(c_char_p)],
        "vel_formats_json": [POINTER(c_char_p)],
    }
    for name, types in prototypes.items():
        function = getattr(library, name)
        function.argtypes, function.restype = types, c_int32
    for name in ("vel_last_error", "vel_last_notes", "vel_version"):
        getattr(library, name).restype = c_char_p
    library.vel_last_code.restype = c_int32
    for name, kind in (("vel_image_release", image), ("vel_mapping_release", c_void_p), ("vel_free", c_void_p),
                       ("vel_load_options_init", POINTER(LoadOptions)),
                       ("vel_save_options_init", POINTER(SaveOptions))):
        function = getattr(library, name)
        function.argtypes, function.restype = [kind], None


lib = _load()
_declare(lib)


def text(value: Optional[bytes]) -> str:
    return (value or b"").decode("utf-8", "replace")


def check(result: int) -> None:
    """Raises what a negative result stands for, with the library's own words."""
    if result >= 0:
        return
    kind: Type[Error] = _EXCEPTIONS.get(result, Error)
    code = int(lib.vel_last_code()) if result == OPERATION else 0
    raise kind(text(lib.vel_last_error()), result, code)


@lru_cache(maxsize=None)
def _hyphenated() -> Pattern[str]:
    """The library's names that have hyphens: operations, parameters, choices."""
    value = c_char_p()
    check(lib.vel_operations_json(byref(value)))
    names = set()
    for operation in json.loads(value.value or b"{}")["operations"]:
        names.add(operation["name"])
        for parameter in operation["parameters"]:
            names.update([parameter["name"], *(choice["name"] for choice in parameter.get("choices", []))])
    found = sorted((name for name in names if "-" in name), key=len, reverse=True)
    return re.compile(r"(?<![\w-])(" + "|".join(map(re.escape, found)) + r")(?![\w-])")


def in_python(message: str) -> str:
    """What the library says of a run, with names and options as they are written in Python."""
    message = re.sub(r" --([a-z0-9-]+) ([a-z0-9]+)( first)?", r"(image, \1=\2)\3", message)
    return _hyphenated().sub(lambda found: found.group().replace("-", "_"), message)


class Handle:
    """One reference to an image or mapping of the library, released with the object."""

    __slots__ = ("value", "_release")

    def __init__(self, value: Optional[int], release: str) -> None:
        self.value = value
        self._release = getattr(lib, release)

    def __del__(self) -> None:
        value, self.value = self.value, None
        if value:
            self._release(value)


def image_from(function: str, *arguments: object) -> Handle:
    """Calls a function whose last argument receives an image."""
    value = c_void_p()
    check(getattr(lib, function)(*arguments, byref(value)))
    return Handle(value.value, "vel_image_release")


def image_info(image: Handle) -> ImageInfo:
    info = ImageInfo(size=ctypes.sizeof(ImageInfo))
    check(lib.vel_image_get_info(image.value, byref(info)))
    return info
