// How Scale8 maps integers: prepared once per image.
#pragma once

#include "Kernels/Arithmetic.h"

namespace vel {

// Tries for a single-precision factor, which takes a few microseconds: for images of some size.
OffsetScale OffsetScaleOf(double factor, int offset, bool trySingle);

}  // namespace vel
