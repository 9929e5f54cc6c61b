// Kernels between pixels and samples; see Samples.h.

static void UnpackRow(uint8_t* dst, const uint8_t* src, size_t pixels, uint32_t bitsPerPixel) {
    if (bitsPerPixel == 4) {
        for (size_t i = 0; i < pixels; ++i) dst[i] = src[i / 2] >> (i & 1 ? 0 : 4) & 0x0F;
    } else {
        for (size_t i = 0; i < pixels; ++i) dst[i] = src[i / 8] >> (7 - (i & 7)) & 0x01;
    }
}

static void PackRow(uint8_t* dst, const uint8_t* src, size_t pixels, uint32_t bitsPerPixel) {
    const size_t inByte = 8 / bitsPerPixel;
    const uint32_t pixelMask = (1u << bitsPerPixel) - 1;
    for (size_t i = 0; i < pixels; i += inByte, ++dst) {
        const size_t count = pixels - i < inByte ? pixels - i : inByte;
        uint32_t byte = 0;
        for (size_t j = 0; j < count; ++j) byte = byte << bitsPerPixel | (src[i + j] & pixelMask);
        const uint32_t keptBits = static_cast<uint32_t>(8 - count * bitsPerPixel);
        const uint32_t kept = (1u << keptBits) - 1;
        *dst = static_cast<uint8_t>(byte << keptBits | (*dst & kept));
    }
}

static void CopyAlphaRow(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        uint32_t to, from;
        memcpy(&to, dst + 4 * i, 4);
        memcpy(&from, src + 4 * i, 4);
        to = (to & 0x00FFFFFFu) | (from & 0xFF000000u);
        memcpy(dst + 4 * i, &to, 4);
    }
}
