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

#if VEL_AVX512
// Lightness of 64 pixels: the rounding average is (max + min + 1) / 2.
static inline __m512i LightnessOf(const Planes& p) {
    return _mm512_avg_epu8(Max8(Max8(p.blue, p.green), p.red), Min8(Min8(p.blue, p.green), p.red));
}

// The tint of 64 pixels at once.
struct PlaneTint {
    ByteTable blue, green, red;
    explicit PlaneTint(const TintTable& table) : blue(table.blue), green(table.green), red(table.red) {}
    Planes operator()(const Planes& old) const {
        const __m512i lightness = LightnessOf(old);
        return {LookUp(lightness, blue), LookUp(lightness, green), LookUp(lightness, red)};
    }
};

// The same mixed with the old colours. Products of an unsigned and a signed byte are summed in pairs, so bytes count
// from -128; the sums then fit 16 signed bits, and their high bytes are the mix less 128.
struct PlaneBlend {
    PlaneTint tint;
    __m512i weights;
    PlaneBlend(const TintTable& table, int weight)
        : tint(table), weights(_mm512_set1_epi16(static_cast<short>((256 - weight) | weight << 8))) {}
    Planes operator()(const Planes& old) const {
        const Planes tinted = tint(old);
        return {Mix(old.blue, tinted.blue), Mix(old.green, tinted.green), Mix(old.red, tinted.red)};
    }
    __m512i Mix(__m512i old, __m512i tinted) const {
        const __m512i middle = Splat8(-128);
        const __m512i a = Xor(old, middle), b = Xor(tinted, middle);
        const __m512i low = _mm512_maddubs_epi16(weights, _mm512_unpacklo_epi8(a, b));
        const __m512i high = _mm512_maddubs_epi16(weights, _mm512_unpackhi_epi8(a, b));
        return Xor(_mm512_packus_epi16(_mm512_srli_epi16(low, 8), _mm512_srli_epi16(high, 8)), middle);
    }
};

template <class Change>
static inline void ChangePlanes24(uint8_t* row, size_t pixels, const Change& change) {
    for (; pixels >= 64; pixels -= 64, row += 192) StorePlanes24(row, change(LoadPlanes24(row)));
    if (pixels == 0) return;
    uint8_t part[192] = {};
    memcpy(part, row, pixels * 3);
    StorePlanes24(part, change(LoadPlanes24(part)));
    memcpy(row, part, pixels * 3);
}

template <class Change>
static inline void ChangePlanes32(uint8_t* row, size_t pixels, const Change& change) {
    for (; pixels >= 64; pixels -= 64, row += 256) StorePlanes32(row, change(LoadPlanes32(row)));
    if (pixels == 0) return;
    uint8_t part[256] = {};
    memcpy(part, row, pixels * 4);
    StorePlanes32(part, change(LoadPlanes32(part)));
    memcpy(row, part, pixels * 4);
}

static void TintRow24(uint8_t* row, size_t pixels, const TintTable* table) {
    ChangePlanes24(row, pixels, PlaneTint(*table));
}

static void TintRow32(uint8_t* row, size_t pixels, const TintTable* table) {
    ChangePlanes32(row, pixels, PlaneTint(*table));
}

static void BlendTintRow24(uint8_t* row, size_t pixels, const TintTable* table, int weight) {
    ChangePlanes24(row, pixels, PlaneBlend(*table, weight));
}

static void BlendTintRow32(uint8_t* row, size_t pixels, const TintTable* table, int weight) {
    ChangePlanes32(row, pixels, PlaneBlend(*table, weight));
}
#elif VEL_AVX2
// The tint of a pixel a lane, without alpha.
static inline Bytes TintOfLanes(Bytes pixels, const TintTable* table) {
    const Bytes green = _mm256_srli_epi32(pixels, 8), red = _mm256_srli_epi32(pixels, 16);
    const Bytes high = Max8(Max8(pixels, green), red), low = Min8(Min8(pixels, green), red);
    const Bytes lightness = And(_mm256_avg_epu8(high, low), Splat32(0xFF));
    return _mm256_i32gather_epi32(reinterpret_cast<const int*>(table->colour), lightness, 4);
}

// Blue and red, then green, as 16-bit lanes; `old` gives the alpha.
static inline Bytes MixedLanes(Bytes old, Bytes tinted, int weight) {
    const Bytes oldWeight = Splat16(256 - weight), newWeight = Splat16(weight), even = Splat32(0x00FF00FF);
    const auto mix = [&](Bytes a, Bytes b) {
        return _mm256_add_epi16(_mm256_mullo_epi16(a, oldWeight), _mm256_mullo_epi16(b, newWeight));
    };
    const Bytes ends = _mm256_srli_epi16(mix(And(old, even), And(tinted, even)), 8);
    const Bytes middle = mix(_mm256_srli_epi16(old, 8), _mm256_srli_epi16(tinted, 8));
    return Or(ends, And(middle, Splat32(0x0000FF00)));
}

template <class Change>
static inline void ChangeRow24(uint8_t* row, size_t pixels, const Change& change) {
    size_t i = 0;
    for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
        StorePixels(row + 3 * i, change(SpreadPixels(row + 3 * i)));
    }
    if (i == pixels) return;
    uint8_t part[3 * 2 * kLanePixels + kLaneSlack] = {};
    memcpy(part, row + 3 * i, 3 * (pixels - i));
    for (size_t k = 0; k < pixels - i; k += kLanePixels) StorePixels(part + 3 * k, change(SpreadPixels(part + 3 * k)));
    memcpy(row + 3 * i, part, 3 * (pixels - i));
}

template <class Change>
static inline void ChangeRow32(uint8_t* row, size_t pixels, const Change& change) {
    MapBytes(row, row, 4 * pixels, [&](Bytes old) {
        const Bytes changed = change(old);
        return Or(changed, And(old, Splat32(static_cast<int>(0xFF000000u))));
    });
}

static void TintRow24(uint8_t* row, size_t pixels, const TintTable* table) {
    ChangeRow24(row, pixels, [&](Bytes old) { return TintOfLanes(old, table); });
}
static void TintRow32(uint8_t* row, size_t pixels, const TintTable* table) {
    ChangeRow32(row, pixels, [&](Bytes old) { return TintOfLanes(old, table); });
}
static void BlendTintRow24(uint8_t* row, size_t pixels, const TintTable* table, int weight) {
    ChangeRow24(row, pixels, [&](Bytes old) { return MixedLanes(old, TintOfLanes(old, table), weight); });
}
static void BlendTintRow32(uint8_t* row, size_t pixels, const TintTable* table, int weight) {
    ChangeRow32(row, pixels, [&](Bytes old) { return MixedLanes(old, TintOfLanes(old, table), weight); });
}
#else
static void TintRow24(uint8_t* row, size_t pixels, const TintTable* table) { Tint(row, pixels, table, 3); }

static void TintRow32(uint8_t* row, size_t pixels, const TintTable* table) { Tint(row, pixels, table, 4); }

static void BlendTintRow24(uint8_t* row, size_t pixels, const TintTable* table, int weight) {
    BlendTint(row, pixels, table, weight, 3);
}

static void BlendTintRow32(uint8_t* row, size_t pixels, const TintTable* table, int weight) {
    BlendTint(row, pixels, table, weight, 4);
}
#endif

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
