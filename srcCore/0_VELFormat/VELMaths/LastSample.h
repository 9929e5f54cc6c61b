// The class's own operation on images of one 32-bit integer a pixel.
#pragma once

#include "VELMathsHelpers.h"

namespace vel {

// Over rows of 32-bit integers, both strides counting such values: of a `size` x `size` kernel only the last
// coefficient counts, times the window's last value, as a Quotient; it goes to the window's middle (the half-th column
// and row). The windows of the last `size` rows and columns are left out. A size below 1 weighs nothing: each value is
// the quotient of the one before it, the first of 0, in a walk that starts and ends -size rows and columns outside.
void WeighLastSample(const ImageView& target, const ImageView& source, const short* kernel, int size, int divisor,
                     int offset);

}  // namespace vel
