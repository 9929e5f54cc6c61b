"""Parameters of a call in their C form."""

from typing import Any, List, Tuple

import numpy as np

from . import _native as native
from ._mapping import RowMapping, mapping_of
from ._types import Array


def integer(value: Any, name: str) -> int:
    if isinstance(value, (bool, np.bool_)) or not isinstance(value, (int, np.integer)):
        raise TypeError(f"{name} is {value!r}, but a whole number is needed; write int({name})")
    if not -2**63 <= int(value) < 2**63:
        raise ValueError(f"{name} is {value}, which is out of range")
    return int(value)


def _real(value: Any, name: str) -> float:
    if isinstance(value, (bool, np.bool_)) or not isinstance(value, (int, float, np.integer, np.floating)):
        raise TypeError(f"{name} is {value!r}, but a number is needed; write float({name})")
    return float(value)


def _two(value: Any, name: str, what: str) -> Tuple[Any, Any]:
    try:
        first, second = value
    except (TypeError, ValueError):
        raise TypeError(f"{name} is {value!r}, but {what} is needed") from None
    return first, second


def _colour(value: Any, name: str, channels: str, of_pixels: bool) -> native.Colour:
    """A colour of the library. A sequence stands in the order of the channels, like a pixel; a text is #rrggbb."""
    if isinstance(value, str):
        if len(value) != 7 or value[0] != "#" or any(c not in "0123456789abcdefABCDEF" for c in value[1:]):
            raise ValueError(f"{name} is {value!r}, but a colour as text is '#rrggbb'")
        red, green, blue = bytes.fromhex(value[1:])
        first, second, third = (red, green, blue) if channels == "rgb" else (blue, green, red)
    else:
        try:
            first, second, third = (integer(v, name) for v in value)
        except (TypeError, ValueError):
            raise TypeError(f"{name} is {value!r}, but a colour is three whole numbers or '#rrggbb'") from None
        if not all(0 <= v <= 255 for v in (first, second, third)):
            raise ValueError(f"{name} is {value!r}, but the values of a colour are 0 to 255")
    # The library takes a pixel's first byte for blue.
    if of_pixels or channels == "bgr":
        return native.Colour(red=third, green=second, blue=first)
    return native.Colour(red=first, green=second, blue=third)


def _table(value: Any, name: str) -> Array:
    table = np.frombuffer(value, np.uint8) if isinstance(value, (bytes, bytearray)) else np.asarray(value)
    if table.shape != (256,) or table.dtype.kind not in "iu":
        raise ValueError(f"{name} has shape {table.shape} and dtype {table.dtype}, but 256 whole numbers are needed")
    if table.dtype != np.uint8 and (table.min() < 0 or table.max() > 255):
        raise ValueError(f"{name} has values outside 0 to 255; write np.clip({name}, 0, 255)")
    return np.ascontiguousarray(table, np.uint8)


def _kernel(value: Any, name: str) -> Array:
    kernel = np.asarray(value)
    if kernel.ndim != 2 or kernel.shape[0] != kernel.shape[1] or not kernel.size:
        raise ValueError(f"{name} has shape {kernel.shape}, but a square of coefficients is needed")
    if kernel.dtype.kind not in "iu":
        raise TypeError(f"{name} has dtype {kernel.dtype}, but coefficients are whole numbers; scale them, write "
                        f"np.rint({name} * scale).astype(int) and give divisor=scale")
    if kernel.min() < -2**31 or kernel.max() >= 2**31:
        raise ValueError(f"{name} has coefficients beyond 32 bits")
    return np.ascontiguousarray(kernel, np.int32)


class Arguments:
    """The C form of a call's parameters, with what has to live as long as the call.

    A method `_put_TYPE` fills in an argument of that type.
    """

    def __init__(self, channels: str, of_pixels: bool, batch: int) -> None:
        self.items: List[native.Argument] = []
        self.mappings: List[RowMapping] = []
        self._keep: List[Any] = []
        self._channels, self._of_pixels, self._batch = channels, of_pixels, batch

    def add(self, name: str, kind: str, value: Any) -> None:
        item = native.Argument(name=name.encode(), side=0)
        if isinstance(value, str) and kind != "colour":
            if kind in ("integer", "float", "boolean"):
                wanted = "True or False" if kind == "boolean" else "a number"
                raise TypeError(f"{name} is {value!r}, but {wanted} is needed")
            self._put_text(item, value.replace("_", "-") if kind == "enumeration" else value)
        else:
            getattr(self, "_put_" + kind)(item, name, value)
        self.items.append(item)

    def _put_text(self, item: native.Argument, value: str) -> None:
        data = value.encode()
        self._keep.append(data)
        item.kind, item.value.text = native.TEXT, data

    def _put_integer(self, item: native.Argument, name: str, value: Any) -> None:
        item.kind, item.value.integer = native.INTEGER, integer(value, name)

    _put_enumeration = _put_integer

    def _put_float(self, item: native.Argument, name: str, value: Any) -> None:
        item.kind, item.value.real = native.FLOAT, _real(value, name)

    def _put_boolean(self, item: native.Argument, name: str, value: Any) -> None:
        if not isinstance(value, (bool, np.bool_)):
            raise TypeError(f"{name} is {value!r}, but True or False is needed")
        item.kind, item.value.integer = native.BOOLEAN, int(value)

    def _put_colour(self, item: native.Argument, name: str, value: Any) -> None:
        item.kind, item.value.colour = native.COLOUR, _colour(value, name, self._channels, self._of_pixels)

    def _put_size(self, item: native.Argument, name: str, value: Any) -> None:
        width, height = _two(value, name, "a size as (width, height)")
        item.kind, item.value.size = native.SIZE, native.Size(integer(width, name), integer(height, name))

    def _put_point(self, item: native.Argument, name: str, value: Any) -> None:
        x, y = _two(value, name, "a point as (x, y)")
        item.kind, item.value.point = native.POINT, native.Point(_real(x, name), _real(y, name))

    def _put_table(self, item: native.Argument, name: str, value: Any) -> None:
        table = _table(value, name)
        self._keep.append(table)
        item.kind, item.value.table = native.TABLE, table.ctypes.data

    def _put_kernel(self, item: native.Argument, name: str, value: Any) -> None:
        kernel = _kernel(value, name)
        self._keep.append(kernel)
        item.kind, item.side, item.value.kernel = native.KERNEL, kernel.shape[0], kernel.ctypes.data

    def _put_mapping(self, item: native.Argument, name: str, value: Any) -> None:
        made = mapping_of(value, self._batch)
        if isinstance(made, str):
            self._put_text(item, made)
            return
        assert made.handle is not None
        self.mappings.append(made)
        item.kind, item.value.mapping = native.MAPPING, made.handle.value
