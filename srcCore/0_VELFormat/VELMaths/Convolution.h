// Weighted sums over square windows.
#pragma once

#include "VELMathsHelpers.h"

namespace vel {

// Each channel of `target` becomes (sum of kernel * source) / divisor + offset, clamped; see Quotient. A divisor of 0
// divides by nothing. The kernel is `size` rows of `size` coefficients, size being 1 or more. Alpha is that of the
// window's last sample. E_FAIL without memory.
HRESULT ConvolveImage(const ImageView& target, const ImageView& source, const int* kernel, int size, int divisor,
                      int offset);

// Over rows of 32-bit integers, both strides counting such values: of a `size` x `size` kernel only the last
// coefficient counts, times the window's last value, as a Quotient; it goes to the window's middle (the half-th column
// and row). The windows of the last `size` rows and columns are left out. A size below 1 weighs nothing: each value is
// the quotient of the one before it, the first of 0, in a walk that starts and ends -size rows and columns outside.
void WeighLastSample(const ImageView& target, const ImageView& source, const short* kernel, int size, int divisor,
                     int offset);

}  // namespace vel
