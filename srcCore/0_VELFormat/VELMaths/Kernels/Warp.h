// Row kernels of walks across a picture in 24.8 fixed point.
#pragma once

#include "Sampling.h"

namespace vel {

// The k-th point of a walk is (x + k * xStep, y + k * yStep), 8 fractional bits.
struct FixedWalk {
    int32_t x, y, xStep, yStep;
};

// Pixels `bytes` apart in rows `stride` apart, of which `width` and `height` are there.
struct PixelGrid {
    int32_t width, height, bytes, stride;
};
// The place of a point that has no pixel.
constexpr int64_t kNoPlace = INT64_MIN;

#define VEL_WARP_KERNELS(X)                                                                                     \
    /* dst pixel k = the source pixel nearest to point k. All are inside. */                                    \
    X(void, NearestWalk, (uint8_t * dst, const SampledPixels* pixels, const FixedWalk* walk, size_t count))     \
    /* dst pixel k = the blend of the four source pixels around point k, each weighted with the sum of its      \
       nearness in x and in y, channel by channel; bytes beyond the fourth become 0. All are inside. */         \
    X(void, BlendedWalk, (uint8_t * dst, const SampledPixels* pixels, const FixedWalk* walk, size_t count))     \
    /* places[k] = the offset from row 0 of the pixel that point (x[k], y[k]) lies in, or kNoPlace; returns how \
       many have one. */                                                                                        \
    X(size_t, PlacesOfPoints, (int64_t * places, const double* x, const double* y, const PixelGrid* grid, size_t count))

VEL_KERNEL_FAMILY(Warp, VEL_WARP_KERNELS)

}  // namespace vel
