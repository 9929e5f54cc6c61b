// Row kernels of weighted sums over windows. A sum is 32 bits wide and wraps; counts are bytes, each byte of a pixel
// being summed on its own.
#pragma once

#include "Level.h"

namespace vel {

// What becomes of a sum: sum / divisor, truncated towards zero, plus offset, clamped to a byte.
struct Quotient {
    uint32_t negate;  // all bits set when the divisor is negative
    int32_t offset;
    bool divide;       // false when the divisor's magnitude is 1, or when there is none
    bool narrow;       // magnitudes of sums stay below 2^22
    double reciprocal; // of the divisor's magnitude
};

#define VEL_CONVOLUTION_KERNELS(X)                                                                          \
    /* sums[i] += factor * src[i] */                                                                        \
    X(void, AddScaledRow, (uint32_t * sums, const uint8_t* src, size_t count, uint32_t factor))             \
    /* dst[i] = the quotient of sums[i] */                                                                  \
    X(void, QuotientRow, (uint8_t * dst, const uint32_t* sums, size_t count, const Quotient& quotient))           \
    /* 32-bit integers: dst[i] = the quotient of factor * src[i] */                                         \
    X(void, WeighRow, (uint8_t * dst, const uint8_t* src, size_t count, uint32_t factor, const Quotient& quotient))

VEL_KERNEL_FAMILY(Convolution, VEL_CONVOLUTION_KERNELS)

}  // namespace vel
