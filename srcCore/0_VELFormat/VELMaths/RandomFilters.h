// Filters that draw from the C library's generator, which the module never seeds.
#pragma once

#include "VELMathsHelpers.h"

namespace vel {

// Both draw for every pixel in row order, also where the depth or a missing pixel block lets nothing be written, so
// that the generator's state afterwards depends on the image's size alone. E_FAIL without memory.

// Each pixel is replaced by one up to `radius` columns and rows away, or stays where that one is outside the image.
// Two draws a pixel: column, then row.
HRESULT JitterImage(const ImageView& target, const ImageView& source, int radius);

// Each channel moves by up to level / 2 either way. Three draws a pixel: red, green, blue.
HRESULT NoiseImage(const ImageView& target, const ImageView& source, int level);

}  // namespace vel
