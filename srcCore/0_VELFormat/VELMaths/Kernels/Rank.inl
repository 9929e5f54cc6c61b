// Kernels of the median; see Rank.h.

static void KeyRow(uint8_t* keys, const uint8_t* src, size_t pixels, size_t pixelBytes) {
    if (pixelBytes == 1) {
        memcpy(keys, src, pixels);  // the weights sum to 1024
        return;
    }
    for (size_t i = 0; i < pixels; ++i, src += pixelBytes) {
        keys[i] = static_cast<uint8_t>((117u * src[0] + 601u * src[1] + 306u * src[2]) >> 10);
    }
}
