// Neighbourhood filters. All of them work on plane 0 and make an image of the source's size and format.
#pragma once

#include "Made.h"

namespace ref {

Made Filter(const Image& source, const int32_t* kernel, int32_t size, int32_t divisor, int32_t offset);
Made Emboss(const Image& source);
Made Blur(const Image& source);
Made Soften(const Image& source);
Made Sharpen(const Image& source);
Made GaussianBlur(const Image& source, int32_t level);
// For hosts whose GetBits answers strides as counts of 32-bit values; the images here have their strides in bytes.
Made Kernel(const Image& source, const int16_t* kernel, int32_t size, int32_t divisor, int32_t offset);

Made Erode(const Image& source, int32_t size);
Made Dilate(const Image& source, int32_t size);
Made Edge(const Image& source, int32_t size);
Made Contour(const Image& source);

// Among samples of equal brightness: the one that a stable sort of the visiting order puts into the middle.
Made Median(const Image& source, int32_t size);
// Both draw from rand().
Made Jitter(const Image& source, int32_t radius);
Made Noise(const Image& source, int32_t level);

}  // namespace ref
