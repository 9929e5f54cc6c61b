"""Image processing with the same bits on every machine, on NumPy arrays.

>>> import numpy as np
>>> import velmaths
>>> image = np.array([[0, 0, 0], [0, 90, 0], [0, 0, 0]], np.uint8)
>>> velmaths.dilate(image, size=3)
array([[90, 90, 90],
       [90, 90, 90],
       [90, 90, 90]], dtype=uint8)

Arrays are uint8 of shape (H, W), (H, W, 3) or (H, W, 4), or int32 of shape (H, W) for integer images; `Image` holds the
depths and palettes that arrays cannot. Nothing is converted or copied unasked, and inputs stay as they are.
"""

from . import operations
from ._call import Note
from ._image import Image, load, save
from ._native import (ArgumentError, Error, FileAccessError, FileIsThereError, MissingFileError, OutOfMemoryError,
                      PictureError, lib as _lib, text as _text)
from .operations import *  # noqa: F401,F403

__version__: str = _text(_lib.vel_version())

__all__ = ["ArgumentError", "Error", "FileAccessError", "FileIsThereError", "Image", "MissingFileError", "Note",
           "OutOfMemoryError", "PictureError", "load", "save", "__version__"]
__all__ += operations.__all__
