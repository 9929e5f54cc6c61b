// Source colours at real-valued positions; pixel (i, j) sits at the integer point (i, j).
#pragma once

#include "SamplingWeights.h"
#include "VELMathsHelpers.h"

// The colour at (x, y) by interpolation method 0 to 15 (SamplingWeights.h). Positions beyond the method's range give
// the outside colour of GetPixelColor. Positions whose taps all lie inside a 24- or 32-bit image are sampled from
// memory; the others pixel by pixel, and the two differ in the alpha they give.
uint32_t GetPixelColorInterpolated(unsigned char* bits, float x, float y, int width, int height, int stride, int method,
                                   int bitsPerPixel);

// A bilinear blender whose coordinates are integral: inside the image it returns that pixel, with alpha 255 where a
// right and a lower neighbour exist and the depth is 24 or more.
uint32_t GetBilinearColor(unsigned char* bits, int x, int y, int width, int height, int stride, int bitsPerPixel);

namespace vel {

// Towards zero, and one less for negative values: -0.3 gives -1, -1 gives -2.
int64_t CellOf(float position);

// Column or row of a position's first tap.
inline int64_t FirstTap(Interpolation method, float position) { return CellOf(position) - (TapsOf(method) / 2 - 1); }

// Which way a position takes along one axis of `size` pixels, by a method of several taps.
struct Reach {
    bool outside;  // beyond the method's range
    bool inside;   // every tap lies in the image
};
Reach ReachOf(Interpolation method, float position, int64_t size);

// weights[k * pitch] = the weight of tap k.
void WeighTaps(Interpolation method, float position, float* weights, size_t pitch);

}  // namespace vel
