"""Types of arguments and results. At run time arrays are plainly numpy.ndarray, which keeps signatures readable."""

from typing import TYPE_CHECKING, Any, Callable, Literal, Sequence, Tuple, Union

import numpy as np

if TYPE_CHECKING:
    from numpy.typing import NDArray

    Array = NDArray[Any]
    Array8 = NDArray[np.uint8]
    Array32 = NDArray[np.int32]
    Positions = NDArray[np.float64]
else:
    Array = Array8 = Array32 = Positions = np.ndarray

Channels = Literal["rgb", "bgr"]
Colour = Union[str, Sequence[int], Array]
Table = Union[str, Sequence[int], Array]
Kernel = Union[str, Sequence[Sequence[int]], Array]
# Takes x and y of the positions of a row, gives x and y of what they map to.
RowFunction = Callable[[Positions, Positions], Tuple[Any, Any]]
MapLike = Union[str, RowFunction, Array]
