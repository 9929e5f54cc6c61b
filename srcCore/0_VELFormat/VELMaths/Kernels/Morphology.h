// Row kernels of minima and maxima over windows. Counts are bytes: each byte of a pixel is compared on its own.
#pragma once

#include "Level.h"

namespace vel {

#define VEL_MORPHOLOGY_KERNELS(X)                                                                           \
    /* dst[i] = the lesser (greater) of a[i] and b[i]; dst may be a or b, and a may be dst + n */           \
    X(void, MinRow, (uint8_t * dst, const uint8_t* a, const uint8_t* b, size_t count))                      \
    X(void, MaxRow, (uint8_t * dst, const uint8_t* a, const uint8_t* b, size_t count))                      \
    /* dst[i] = high[i] - low[i] */                                                                         \
    X(void, SpreadRow, (uint8_t * dst, const uint8_t* high, const uint8_t* low, size_t count))              \
    /* Contours from three rows of `pixelBytes` samples, each readable one sample before and after. */      \
    X(void, ContourRow, (uint8_t * dst, const uint8_t* above, const uint8_t* row, const uint8_t* below,     \
                         size_t count, size_t pixelBytes))

VEL_KERNEL_FAMILY(Morphology, VEL_MORPHOLOGY_KERNELS)

}  // namespace vel
