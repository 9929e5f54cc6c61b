// Row kernels of the circular deformations.
#pragma once

#include "Sampling.h"

namespace vel {

// One destination row of a circular deformation. Coordinates count from the image's middle, positive to the left and
// upwards: a column x lies at centreX - x.
struct CircleRow {
    int mode;  // 0 fish-eye, 1 bulge, 2 swirl, 3 unwrap, 4 and above saw-tooth
    int32_t centreX, centreY, width, height;
    int32_t radius;  // points at this distance or farther have no source
    int32_t dy;      // of the row
};

// In place of a source column: the formula's value is too near to a whole number to be sure of its truncation.
static constexpr int32_t kUnsureColumn = -0x7FFFFFFF - 1;

// How points about the middle give those of mirrored pixels. kNotMirrored leaves a coordinate as it is.
struct CircleMirror {
    int32_t across;  // twice the middle's column; the columns of pixels are in reversed order, too
    int32_t down;    // twice the middle's row
};
static constexpr int32_t kNotMirrored = -1;

// Where and how the pixels of a deformation are fetched.
struct CircleSource {
    SampledPixels pixels;
    int32_t width, height;
    uint32_t outside;  // colour word of points outside the source
    uint32_t opaque;   // bits that every colour from inside gets but one whose alpha is kMarkedAlpha
};
// The alpha of colours that lie outside an image.
static constexpr uint32_t kMarkedAlpha = 1;

#define VEL_DEFORM_KERNELS(X)                                                                                          \
    /* Source columns and rows of the `count` pixels from column `first` on; (-1, -1) where there is none. Where the   \
       column is kUnsureColumn the point has to be found by the stated formula. Elsewhere both agree: the values here  \
       differ from it by less than 1e-6 of a pixel for images of up to 2^20 pixels a side, and values within 1e-5 of a \
       whole number are unsure. Returns whether any is. */                                                             \
    X(int, CirclePoints, (int32_t * columns, int32_t * rows, const CircleRow* row, int32_t first, size_t count))       \
    /* From the points of `count` pixels those of the mirrored ones; what is unsure stays so. */                       \
    X(void, MirrorPoints,                                                                                              \
      (int32_t * toColumns, int32_t * toRows, const int32_t* columns, const int32_t* rows, const CircleMirror* mirror, \
       size_t count))                                                                                                  \
    /* dst pixel i of `bytes` bytes (the source's pixel bytes, or 4) = the source pixel at (columns[i], rows[i]). Asks \
       for the cache lines `ahead` bytes from them, which need not be inside; not where that is 0. */                  \
    X(void, GatherPoints,                                                                                              \
      (uint8_t * dst, int bytes, const CircleSource* source, const int32_t* columns, const int32_t* rows,              \
       ptrdiff_t ahead, size_t count))                                                                                 \
    /* Blocks of 32 pixels, each every second one of 64 from src on, which moves on by 32 a block. */                  \
    X(void, HalveBlocks, (uint8_t * dst, const uint8_t* src, size_t blocks, int pixelBytes))

VEL_KERNEL_FAMILY(Deform, VEL_DEFORM_KERNELS)

}  // namespace vel
