// Row kernels of the arithmetic between images. Rows are byte runs without alignment; counts are bytes or pixels as
// named. A destination does not overlap a source, or is that very row.
#pragma once

#include "Level.h"

namespace vel {

// What becomes of the sum of two bytes: an entry a sum, and, unless it is 0, a multiplier that gives the same:
// entry[sum] = min(255, sum * multiplier >> 16).
struct SumTable {
    uint8_t entry[512];
    uint32_t multiplier;  // below 65536
};

// What an integer becomes: its product with the factor, truncated, plus the offset. Unless it is 0, `single` (then at
// most 1/2, with an offset within 32000) is a single-precision factor with the same results where they are in 0..255,
// and below or above where they are.
struct OffsetScale {
    double factor;
    float single;
    int offset;
};

#define VEL_ARITHMETIC_KERNELS(X)                                                                                     \
    /* Pixels of the low 3 bytes, or all 4 bytes, of `word` in memory order. */                                       \
    X(void, FillRow24, (uint8_t * dst, size_t pixels, uint32_t word))                                                 \
    X(void, FillRow32, (uint8_t * dst, size_t pixels, uint32_t word))                                                 \
    /* Copies the pixels of `pixelBytes` (at least 1) bytes whose mask byte is not 0. With pixelBytes 1 the mask      \
       may also be the destination. */                                                                                \
    X(void, StoreMaskedRow,                                                                                           \
      (uint8_t * dst, const uint8_t* src, const uint8_t* mask, size_t pixels, size_t pixelBytes))                     \
    /* Drops the fourth byte of each pixel. */                                                                        \
    X(void, PackRow32To24, (uint8_t * dst, const uint8_t* src, size_t pixels))                                        \
    /* Three bytes, or a grey byte three times, into 4-byte pixels that keep their fourth. */                         \
    X(void, ColourIntoRow32, (uint8_t * dst, const uint8_t* src, size_t pixels))                                      \
    X(void, GreyIntoRow32, (uint8_t * dst, const uint8_t* src, size_t pixels))                                        \
    /* 5-6-5 words to three bytes: low, middle, high bits first, or reversed. Low bits of the bytes are 0. */         \
    X(void, WordRow16To24, (uint8_t * dst, const uint8_t* src, size_t pixels, int reversed))                          \
    /* Every byte through the 256-entry table. */                                                                     \
    X(void, LookUpTo, (uint8_t * dst, const uint8_t* src, size_t bytes, const uint8_t* table))                        \
    /* The first three bytes of 4-byte pixels through the table to 3-byte pixels. */                                  \
    X(void, LookUpRow32To24, (uint8_t * dst, const uint8_t* src, size_t pixels, const uint8_t* table))                \
    /* min(255, first + second) */                                                                                    \
    X(void, AddRow, (uint8_t * dst, const uint8_t* first, const uint8_t* second, size_t bytes))                       \
    /* entry[first + second] of the table. */                                                                         \
    X(void, AddLookUpRow,                                                                                             \
      (uint8_t * dst, const uint8_t* first, const uint8_t* second, size_t bytes, const SumTable* table))              \
    /* first - second, as a magnitude or not below 0; returns how many bytes of the result are above 1. */            \
    X(size_t, SubtractRow, (uint8_t * dst, const uint8_t* first, const uint8_t* second, size_t bytes, int magnitude)) \
    /* The same for the first three bytes of 4-byte pixels; the fourth becomes `alpha`. */                            \
    X(size_t, SubtractRow32,                                                                                          \
      (uint8_t * dst, const uint8_t* first, const uint8_t* second, size_t pixels, int magnitude, uint8_t alpha))      \
    /* (first * firstFactor + second * secondFactor) + offset, clamped to 0..255 (NaN gives 0), truncated. */         \
    X(void, WeightedRow,                                                                                              \
      (uint8_t * dst, const uint8_t* first, const uint8_t* second, size_t bytes, float firstFactor,                   \
       float secondFactor, float offset))                                                                             \
    /* value * factor + offset. "To8" clamps to 0..255, "ToInt" to 0..INT32_MAX; NaN gives 0; truncated. The          \
       value: the sum of a pixel's first three bytes (pixels `pixelBytes`, 3 or 4, apart), an int32, a byte. */       \
    X(void, ScaleSumTo8,                                                                                              \
      (uint8_t * dst, const uint8_t* src, size_t pixels, size_t pixelBytes, float factor, float offset))              \
    X(void, ScaleIntTo8, (uint8_t * dst, const uint8_t* src, size_t pixels, float factor, float offset))              \
    X(void, ScaleIntToInt, (uint8_t * dst, const uint8_t* src, size_t pixels, float factor, float offset))            \
    X(void, ScaleByteToInt, (uint8_t * dst, const uint8_t* src, size_t pixels, float factor, float offset))           \
    /* int32 values by the scale (a product that is NaN counts as 0), clamped to 0..255. */                           \
    X(void, ScaleOffsetIntTo8, (uint8_t * dst, const uint8_t* src, size_t pixels, const OffsetScale* scale))

VEL_KERNEL_FAMILY(Arithmetic, VEL_ARITHMETIC_KERNELS)

}  // namespace vel
