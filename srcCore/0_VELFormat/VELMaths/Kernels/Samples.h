// Row kernels that bring pixels into rows of samples and back.
#pragma once

#include "Level.h"

namespace vel {

#define VEL_SAMPLES_KERNELS(X)                                                                         \
    /* 1- or 4-bit pixels, the leftmost in the high bits, to one byte each. */                         \
    X(void, UnpackRow, (uint8_t * dst, const uint8_t* src, size_t pixels, uint32_t bitsPerPixel))      \
    /* The low bits of one byte a pixel to 1- or 4-bit pixels; bits beyond the last pixel are kept. */ \
    X(void, PackRow, (uint8_t * dst, const uint8_t* src, size_t pixels, uint32_t bitsPerPixel))        \
    /* The fourth byte of 4-byte pixels; the other three are kept. */                                  \
    X(void, CopyAlphaRow, (uint8_t * dst, const uint8_t* src, size_t pixels))

VEL_KERNEL_FAMILY(Samples, VEL_SAMPLES_KERNELS)

}  // namespace vel
