// Row kernels of the point operations. Rows are byte runs without alignment; `row` is changed in place; counts are
// bytes or pixels as named; source and destination either do not overlap or are the same.
#pragma once

#include "Level.h"

namespace vel {

// What repeats every 3 or every 4 bytes repeats every 12; and so many times over, every three vectors at each level.
static constexpr size_t kShiftPeriod = 12, kShiftBytes = 192;

#define VEL_POINT_KERNELS(X)                                                                                      \
    /* Complements the bits of `mask`, repeated every 4 bytes from the row's start. */                            \
    X(void, ComplementRow, (uint8_t * row, size_t bytes, uint32_t mask))                                          \
    /* Every byte through the 256-entry table. */                                                                 \
    X(void, LookUpRow, (uint8_t * row, size_t bytes, const uint8_t* table))                                       \
    /* Blue, green and red of 4-byte pixels through the table; alpha is kept. */                                  \
    X(void, LookUpRow32, (uint8_t * row, size_t pixels, const uint8_t* table))                                    \
    /* Each 3-byte pixel becomes grey, floor((blue + green + red) / 3), in all three bytes. */                    \
    X(void, GreyRow24, (uint8_t * dst, const uint8_t* src, size_t pixels))                                        \
    /* The same for 4-byte pixels; alpha is copied. */                                                            \
    X(void, GreyRow32, (uint8_t * dst, const uint8_t* src, size_t pixels))                                        \
    /* dst[i] = (117 s[i] + 601 s[i + 1] + 306 s[i + 2]) >> 10: luma weights on three consecutive bytes. Reads    \
       count + 2 bytes. */                                                                                        \
    X(void, LumaRow8, (uint8_t * dst, const uint8_t* src, size_t count))                                          \
    /* Adds up[i] and takes down[i] away from byte i, saturating; both have kShiftBytes bytes, which repeat every \
       kShiftPeriod, and so they go on; at each place one of them is 0. */                                        \
    X(void, ShiftRow, (uint8_t * row, size_t bytes, const uint8_t* up, const uint8_t* down))                      \
    /* White where blue + green + red > limit, else black, of pixels of 3 or 4 bytes; alpha is copied. dst may be \
       src. */                                                                                                    \
    X(void, ThresholdRow, (uint8_t * dst, const uint8_t* src, size_t pixels, int pixelBytes, int limit))

VEL_KERNEL_FAMILY(Point, VEL_POINT_KERNELS)

}  // namespace vel
