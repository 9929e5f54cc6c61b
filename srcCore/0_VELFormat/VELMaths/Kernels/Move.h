// Row kernels that move pixels without computing with them. Rows are byte runs without alignment; source and
// destination do not overlap; counts are pixels.
#pragma once

#include "Level.h"

namespace vel {

// Pixels whose bytes, up to 64, lie `places` bytes after the first one's, all below 128.
struct PickBlock {
    uint8_t places[64];
    uint32_t pixels, advance;
};

#define VEL_MOVE_KERNELS(X)                                                                                            \
    /* dst pixel i = src pixel (pixels - 1 - i); pixelBytes at least 1. */                                             \
    X(void, MirrorRow, (uint8_t * dst, const uint8_t* src, size_t pixels, int pixelBytes))                             \
    /* Exchanges bytes 0 and 2 of pixels 3 or 4 bytes apart. */                                                        \
    X(void, ExchangeRow, (uint8_t * row, size_t pixels, int pixelBytes))                                               \
    /* dst row r, pixel c = src row c, pixel r, for dst of `rows` by `columns`; pixelBytes at least 1. */              \
    X(void, Transpose,                                                                                                 \
      (uint8_t * dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride, size_t rows, size_t columns,       \
       int pixelBytes))                                                                                                \
    /* dst pixel i = the pixelBytes (1 to 4) bytes at src + offsets[i]; offsets do not decrease. No byte at or beyond  \
       `end` is read. */                                                                                               \
    X(void, PickRow,                                                                                                   \
      (uint8_t * dst, const uint8_t* src, const uint8_t* end, const uint32_t* offsets, size_t pixels, int pixelBytes)) \
    /* The same where offsets[i + block->pixels] = offsets[i] + block->advance; see PickBlock. */                      \
    X(void, PickBlocks,                                                                                                \
      (uint8_t * dst, const uint8_t* src, const uint8_t* end, const uint32_t* offsets, const PickBlock* block,         \
       size_t pixels, int pixelBytes))                                                                                 \
    /* One grey byte becomes (v, v, v). */                                                                             \
    X(void, GreyTo24, (uint8_t * dst, const uint8_t* src, size_t pixels))                                              \
    /* One grey byte becomes (v, v, v, 255). */                                                                        \
    X(void, GreyTo32, (uint8_t * dst, const uint8_t* src, size_t pixels))                                              \
    /* (b, g, r) becomes (b, g, r, 255). */                                                                            \
    X(void, ColourTo32, (uint8_t * dst, const uint8_t* src, size_t pixels))                                            \
    /* Index k becomes the first three bytes of entry k of the 256-entry, 4-byte palette. */                           \
    X(void, PaletteTo24, (uint8_t * dst, const uint8_t* src, size_t pixels, const uint8_t* palette))                   \
    /* The same for 4-byte pixels; dst keeps its fourth byte. */                                                       \
    X(void, PaletteTo32, (uint8_t * dst, const uint8_t* src, size_t pixels, const uint8_t* palette))

VEL_KERNEL_FAMILY(Move, VEL_MOVE_KERNELS)

}  // namespace vel
