// Minima and maxima over windows, and contours.
#pragma once

#include "VELMathsHelpers.h"

namespace vel {

enum class Extremum { Minimum, Maximum, Spread };

// Least or greatest value of each channel in `size` x `size` windows, or the greatest less the least; size is 1 or
// more. Alpha is that of the window's last sample. E_FAIL without memory.
HRESULT ExtremumImage(const ImageView& target, const ImageView& source, int size, Extremum extremum);

// Contours of 3 x 3 windows; see Marked in Kernels/Morphology.inl. E_FAIL without memory.
HRESULT ContourImage(const ImageView& target, const ImageView& source);

}  // namespace vel
