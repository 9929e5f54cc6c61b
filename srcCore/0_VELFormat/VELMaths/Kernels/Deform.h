// Row kernels of the circular deformations.
#pragma once

#include "Level.h"

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

#define VEL_DEFORM_KERNELS(X)                                                                                          \
    /* Source columns and rows of the `count` pixels from column `first` on; (-1, -1) where there is none. Where the   \
       column is kUnsureColumn the point has to be found by the stated formula. Elsewhere both agree: the values here  \
       differ from it by less than 1e-6 of a pixel for images of up to 2^20 pixels a side, and values within 1e-5 of a \
       whole number are unsure. */                                                                                     \
    X(void, CirclePoints, (int32_t * columns, int32_t * rows, const CircleRow* row, int32_t first, size_t count))

VEL_KERNEL_FAMILY(Deform, VEL_DEFORM_KERNELS)

}  // namespace vel
