// Pixel-moving kernels; see Move.h.

// Calls `action` with the pixel size as a constant, so that copies of one pixel become single moves.
#define VEL_WITH_PIXEL_BYTES(pixelBytes, action) \
    switch (pixelBytes) {                        \
        case 1: action(1); break;                \
        case 2: action(2); break;                \
        case 3: action(3); break;                \
        case 4: action(4); break;                \
        default: action(pixelBytes); break;      \
    }

static inline void MirrorPixels(uint8_t* dst, const uint8_t* src, size_t pixels, size_t bytes) {
    src += pixels * bytes;
    for (size_t i = 0; i < pixels; ++i) {
        src -= bytes;
        memcpy(dst, src, bytes);
        dst += bytes;
    }
}

static void MirrorRow(uint8_t* dst, const uint8_t* src, size_t pixels, int pixelBytes) {
#define VEL_MIRROR(bytes) MirrorPixels(dst, src, pixels, static_cast<size_t>(bytes))
    VEL_WITH_PIXEL_BYTES(pixelBytes, VEL_MIRROR)
#undef VEL_MIRROR
}

static void ExchangeRow(uint8_t* row, size_t pixels, int pixelBytes) {
    for (size_t i = 0; i < pixels; ++i, row += pixelBytes) {
        const uint8_t first = row[0];
        row[0] = row[2];
        row[2] = first;
    }
}

static inline void TransposePixels(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride,
                                   size_t rows, size_t columns, size_t bytes) {
    // Blocks small enough that the source lines of one block stay in the first-level cache.
    const size_t block = 32;
    for (size_t top = 0; top < rows; top += block) {
        const size_t bottom = top + block < rows ? top + block : rows;
        for (size_t left = 0; left < columns; left += block) {
            const size_t right = left + block < columns ? left + block : columns;
            for (size_t r = top; r < bottom; ++r) {
                uint8_t* to = dst + static_cast<ptrdiff_t>(r) * dstStride + static_cast<ptrdiff_t>(left * bytes);
                const uint8_t* from = src + static_cast<ptrdiff_t>(left) * srcStride + static_cast<ptrdiff_t>(r * bytes);
                for (size_t c = left; c < right; ++c, to += bytes, from += srcStride) memcpy(to, from, bytes);
            }
        }
    }
}

static void Transpose(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride, size_t rows,
                      size_t columns, int pixelBytes) {
#define VEL_TRANSPOSE(bytes) \
    TransposePixels(dst, dstStride, src, srcStride, rows, columns, static_cast<size_t>(bytes))
    VEL_WITH_PIXEL_BYTES(pixelBytes, VEL_TRANSPOSE)
#undef VEL_TRANSPOSE
}

static void GreyTo24(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) dst[3 * i] = dst[3 * i + 1] = dst[3 * i + 2] = src[i];
}

static void GreyTo32(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        const uint32_t word = src[i] * 0x010101u | 0xFF000000u;
        memcpy(dst + 4 * i, &word, 4);
    }
}

static void ColourTo32(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        dst[4 * i] = src[3 * i];
        dst[4 * i + 1] = src[3 * i + 1];
        dst[4 * i + 2] = src[3 * i + 2];
        dst[4 * i + 3] = 255;
    }
}

static void PaletteTo24(uint8_t* dst, const uint8_t* src, size_t pixels, const uint8_t* palette) {
    for (size_t i = 0; i < pixels; ++i) memcpy(dst + 3 * i, palette + 4 * src[i], 3);
}

static void PaletteTo32(uint8_t* dst, const uint8_t* src, size_t pixels, const uint8_t* palette) {
    for (size_t i = 0; i < pixels; ++i) memcpy(dst + 4 * i, palette + 4 * src[i], 3);
}
