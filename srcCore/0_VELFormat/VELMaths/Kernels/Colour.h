// Row kernels of the tint and of alpha. Rows are byte runs without alignment, changed in place; counts are pixels.
#pragma once

#include "Level.h"

namespace vel {

// What a tint makes of each lightness: once as colour words without alpha, once a channel.
struct TintTable {
    uint32_t colour[256];
    uint8_t blue[256], green[256], red[256];
};

#define VEL_COLOUR_KERNELS(X)                                                                                 \
    /* Each 3-byte pixel becomes the table's colour of its lightness, (max + min + 1) / 2 of its channels. */ \
    X(void, TintRow24, (uint8_t * row, size_t pixels, const TintTable* table))                                \
    /* The same for 4-byte pixels; alpha is kept. */                                                          \
    X(void, TintRow32, (uint8_t * row, size_t pixels, const TintTable* table))                                \
    /* Mixed with the pixel's own channels: (old * (256 - weight) + new * weight) >> 8, weight 1 to 255. */   \
    X(void, BlendTintRow24, (uint8_t * row, size_t pixels, const TintTable* table, int weight))               \
    X(void, BlendTintRow32, (uint8_t * row, size_t pixels, const TintTable* table, int weight))               \
    /* The alpha of every pixel. */                                                                           \
    X(void, AlphaRow, (uint8_t * row, size_t pixels, uint8_t alpha))                                          \
    /* Alpha 0 where the colour (alpha not looked at) is `key`, else `alpha`. */                              \
    X(void, KeyAlphaRow, (uint8_t * row, size_t pixels, uint32_t key, uint8_t alpha))                         \
    /* Alpha 0 where the colour is `key`; other pixels are kept. */                                           \
    X(void, KeyRow, (uint8_t * row, size_t pixels, uint32_t key))

VEL_KERNEL_FAMILY(Colour, VEL_COLOUR_KERNELS)

}  // namespace vel
