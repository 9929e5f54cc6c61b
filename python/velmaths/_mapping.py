"""Coordinate mappings for `transform` and `transform_paste`."""

from ctypes import byref, c_void_p
from typing import Any, Optional, Tuple, Union

import numpy as np

from . import _native as native
from ._types import Array, RowFunction


class Lookup:
    """Positions from an array: that of pixel (x, y) is coordinates[y, x]."""

    def __init__(self, coordinates: Array) -> None:
        if coordinates.ndim != 3 or coordinates.shape[2] != 2 or 0 in coordinates.shape:
            raise ValueError(f"map has shape {coordinates.shape}, but coordinates are (height, width, 2): x and y of the "
                             "source position for every pixel; write np.stack([x, y], axis=-1)")
        if coordinates.dtype.kind not in "fiu":
            raise TypeError(f"map has dtype {coordinates.dtype}, but coordinates are numbers; "
                            "write map.astype(np.float64)")
        self.coordinates = coordinates

    @property
    def size(self) -> Tuple[int, int]:
        return self.coordinates.shape[1], self.coordinates.shape[0]

    def __call__(self, x: Array, y: Array) -> Tuple[Array, Array]:
        width, height = self.size
        # Positions are asked for ahead, so some lie behind the row's end; nobody uses their answers.
        column = np.clip(x, 0, width - 1).astype(np.intp)
        row = np.clip(y, 0, height - 1).astype(np.intp)
        found = self.coordinates[row, column]
        return found[:, 0], found[:, 1]


def _checked(answer: Any, count: int) -> Tuple[Any, Any]:
    """The two coordinates that a mapping's function answered."""
    try:
        x, y = answer
    except (TypeError, ValueError):
        raise TypeError(f"map answered {type(answer).__name__}, but two arrays are needed; write return x, y") from None
    if any(np.shape(a) not in ((), (count,)) for a in (x, y)):
        raise ValueError(f"map answered shapes {np.shape(x)} and {np.shape(y)} for {count} positions; answer two arrays of "
                         f"shape ({count},)")
    return x, y


class RowMapping:
    """A Python function as a mapping of the library, asked for whole rows.

    An exception in the function ends the run; `raise_again` lets it go on to the caller.
    """

    def __init__(self, function: RowFunction, batch: int) -> None:
        self._function = function
        self._error: Optional[BaseException] = None
        self._callback: Any = native.MappingFunction(self._call)
        value = c_void_p()
        native.check(native.lib.vel_mapping_create(self._callback, None, max(1, min(batch, 65535)), byref(value)))
        self.handle: Optional[native.Handle] = native.Handle(value.value, "vel_mapping_release")

    def _call(self, _user: Any, x: Any, y: Any, count: int) -> int:
        try:
            xs = np.ctypeslib.as_array(x, (count,))
            ys = np.ctypeslib.as_array(y, (count,))
            xs[:], ys[:] = _checked(self._function(xs.copy(), ys.copy()), count)
            return 0
        except BaseException as error:  # it must not cross the library; raise_again hands it on
            self._error = error
            return 1

    def close(self) -> None:
        """Lets go of the callback, which refers to this object."""
        self.handle, self._callback = None, None

    def raise_again(self) -> None:
        error, self._error = self._error, None
        try:
            if error is not None:
                raise error
        finally:
            del error  # else this frame and the error's traceback would hold each other


def mapping_of(given: Any, batch: int) -> Union[str, RowMapping]:
    """A text for the library's own mappings, or a mapping of a callable or of an array of coordinates."""
    if isinstance(given, str):
        return given
    if isinstance(given, np.ndarray):
        return RowMapping(Lookup(given), batch)
    if isinstance(given, Lookup) or callable(given):
        return RowMapping(given, batch)
    raise TypeError(f"map is a {type(given).__name__}, but a callable of (x, y), an array of coordinates or a text such as "
                    "'affine:1,0,0,0,1,0' is needed")
