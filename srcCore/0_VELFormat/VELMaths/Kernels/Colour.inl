// Tint and alpha kernels; see Colour.h.

static inline uint32_t LightnessOf(const uint8_t* pixel) {
    const uint32_t b = pixel[0], g = pixel[1], r = pixel[2];
    uint32_t high = b > g ? b : g, low = b < g ? b : g;
    high = high > r ? high : r;
    low = low < r ? low : r;
    return (high + low + 1) >> 1;
}

static inline uint8_t Mixed(uint32_t old, uint32_t tint, uint32_t weight) {
    return static_cast<uint8_t>((old * (256 - weight) + tint * weight) >> 8);
}

// A tint of pixels `step` bytes apart.
static inline void Tint(uint8_t* row, size_t pixels, const TintTable* table, size_t step) {
    for (size_t i = 0; i < pixels; ++i, row += step) {
        const uint32_t colour = table->colour[LightnessOf(row)];
        row[0] = static_cast<uint8_t>(colour);
        row[1] = static_cast<uint8_t>(colour >> 8);
        row[2] = static_cast<uint8_t>(colour >> 16);
    }
}

static inline void BlendTint(uint8_t* row, size_t pixels, const TintTable* table, int weight, size_t step) {
    const uint32_t share = static_cast<uint32_t>(weight);
    for (size_t i = 0; i < pixels; ++i, row += step) {
        const uint32_t colour = table->colour[LightnessOf(row)];
        row[0] = Mixed(row[0], colour & 0xFF, share);
        row[1] = Mixed(row[1], colour >> 8 & 0xFF, share);
        row[2] = Mixed(row[2], colour >> 16 & 0xFF, share);
    }
}

static void TintRow24(uint8_t* row, size_t pixels, const TintTable* table) { Tint(row, pixels, table, 3); }

static void TintRow32(uint8_t* row, size_t pixels, const TintTable* table) { Tint(row, pixels, table, 4); }

static void BlendTintRow24(uint8_t* row, size_t pixels, const TintTable* table, int weight) {
    BlendTint(row, pixels, table, weight, 3);
}

static void BlendTintRow32(uint8_t* row, size_t pixels, const TintTable* table, int weight) {
    BlendTint(row, pixels, table, weight, 4);
}

static void AlphaRow(uint8_t* row, size_t pixels, uint8_t alpha) {
    const uint32_t top = static_cast<uint32_t>(alpha) << 24;
    for (size_t i = 0; i < pixels; ++i) StoreWord(row + 4 * i, (LoadWord(row + 4 * i) & 0x00FFFFFFu) | top);
}

static void KeyAlphaRow(uint8_t* row, size_t pixels, uint32_t key, uint8_t alpha) {
    const uint32_t top = static_cast<uint32_t>(alpha) << 24;
    for (size_t i = 0; i < pixels; ++i) {
        const uint32_t colour = LoadWord(row + 4 * i) & 0x00FFFFFFu;
        StoreWord(row + 4 * i, colour == key ? colour : colour | top);
    }
}

static void KeyRow(uint8_t* row, size_t pixels, uint32_t key) {
    for (size_t i = 0; i < pixels; ++i) {
        const uint32_t word = LoadWord(row + 4 * i);
        StoreWord(row + 4 * i, (word & 0x00FFFFFFu) == key ? key : word);
    }
}
