// Row kernels of the median: brightness keys and their ranks.
#pragma once

#include "Level.h"

namespace vel {

#define VEL_RANK_KERNELS(X)                                                                                 \
    /* keys[i] = (117 blue + 601 green + 306 red) >> 10 of samples of 1 (the grey itself), 3 or 4 bytes */  \
    X(void, KeyRow, (uint8_t * keys, const uint8_t* src, size_t pixels, size_t pixelBytes))

VEL_KERNEL_FAMILY(Rank, VEL_RANK_KERNELS)

}  // namespace vel
