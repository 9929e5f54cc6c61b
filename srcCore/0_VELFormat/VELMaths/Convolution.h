// Weighted sums over square windows.
#pragma once

#include "VELMathsHelpers.h"

namespace vel {

// Each channel of `target` becomes (sum of kernel * source) / divisor + offset, clamped; see Quotient. A divisor of 0
// divides by nothing. The kernel is `size` rows of `size` coefficients, size being 1 or more. Alpha is that of the
// window's last sample. E_FAIL without memory.
HRESULT ConvolveImage(const ImageView& target, const ImageView& source, const int* kernel, int size, int divisor,
                      int offset);

}  // namespace vel
