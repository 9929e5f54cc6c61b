// Pixels of 3 and 4 bytes in vector lanes. Included after Bytes.inl.

#if VEL_VECTOR
// kLanePixels 4-byte lanes of a vector hold one pixel each. Loading and storing them as 3-byte pixels touches at most
// kLaneSlack bytes beyond the pixels; what a store leaves there is meant to be overwritten by the next one.
static constexpr size_t kLanePixels = kVectorBytes / 4;

// kLanePixels bytes or 16-bit words, each in a lane.
static inline Bytes WidenBytes(const uint8_t* p) {
#if VEL_AVX512
    return _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
#elif VEL_AVX2
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
#else
    const Bytes zero = Splat8(0);
    return _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_loadu_si32(p), zero), zero);
#endif
}
static inline Bytes WidenWords(const uint8_t* p) {
#if VEL_AVX512
    return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
#elif VEL_AVX2
    return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
#else
    return _mm_unpacklo_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), Splat8(0));
#endif
}

// The lowest byte of each lane in its three colour bytes; the fourth is 0.
static inline Bytes RepeatInLanes(Bytes lanes) {
#if VEL_AVX2
    const __m128i places = _mm_set_epi8(-1, 12, 12, 12, -1, 8, 8, 8, -1, 4, 4, 4, -1, 0, 0, 0);
#if VEL_AVX512
    return _mm512_shuffle_epi8(lanes, _mm512_broadcast_i32x4(places));
#else
    return _mm256_shuffle_epi8(lanes, _mm256_broadcastsi128_si256(places));
#endif
#else
    const Bytes low = And(lanes, Splat32(0xFF));
    return Or(low, Or(_mm_slli_epi32(low, 8), _mm_slli_epi32(low, 16)));
#endif
}

#if VEL_AVX512
static constexpr size_t kLaneSlack = 16;

// 3-byte pixels to lanes; the fourth byte is 0.
static inline Bytes SpreadPixels(const uint8_t* p) {
    const __m512i places =
        _mm512_set_epi32(0x2F2E2D, 0x2C2B2A, 0x292827, 0x262524, 0x232221, 0x201F1E, 0x1D1C1B, 0x1A1918, 0x171615,
                         0x141312, 0x11100F, 0x0E0D0C, 0x0B0A09, 0x080706, 0x050403, 0x020100);
    return _mm512_maskz_permutexvar_epi8(0x7777777777777777ull, places, _mm512_loadu_si512(p));
}

// Three bytes of each lane, as `places` chooses them for 48 bytes.
static inline void StoreThirds(uint8_t* p, Bytes lanes, __m512i places) {
    // Not one masked store: in place, the next load would overlap its masked-out bytes and wait for it.
    const __m512i bytes = _mm512_permutexvar_epi8(places, lanes);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_castsi512_si256(bytes));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 32), _mm512_extracti32x4_epi32(bytes, 2));
}

// The lowest byte of each lane three times.
static inline void StoreRepeated(uint8_t* p, Bytes lanes) {
    StoreThirds(p, lanes,
                _mm512_set_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,                  //
                                60, 60, 60, 56, 56, 56, 52, 52, 52, 48, 48, 48, 44, 44, 44, 40,  //
                                40, 40, 36, 36, 36, 32, 32, 32, 28, 28, 28, 24, 24, 24, 20, 20,  //
                                20, 16, 16, 16, 12, 12, 12, 8, 8, 8, 4, 4, 4, 0, 0, 0));
}

// The three low bytes of each lane.
static inline void StorePixels(uint8_t* p, Bytes lanes) {
    StoreThirds(p, lanes,
                _mm512_set_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,                  //
                                62, 61, 60, 58, 57, 56, 54, 53, 52, 50, 49, 48, 46, 45, 44, 42,  //
                                41, 40, 38, 37, 36, 34, 33, 32, 30, 29, 28, 26, 25, 24, 22, 21,  //
                                20, 18, 17, 16, 14, 13, 12, 10, 9, 8, 6, 5, 4, 2, 1, 0));
}
#elif VEL_AVX2
static constexpr size_t kLaneSlack = 4;

static inline Bytes SpreadPixels(const uint8_t* p) {
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 12));
    const __m256i places =
        _mm256_broadcastsi128_si256(_mm_set_epi8(-1, 11, 10, 9, -1, 8, 7, 6, -1, 5, 4, 3, -1, 2, 1, 0));
    return _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(first), second, 1), places);
}

// Three bytes of each lane, as `places` chooses them for the 12 bytes of each half.
static inline void StoreThirds(uint8_t* p, Bytes lanes, __m128i places) {
    const __m256i bytes = _mm256_shuffle_epi8(lanes, _mm256_broadcastsi128_si256(places));
    const __m128i second = _mm256_extracti128_si256(bytes, 1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 12), second);
    const int last = _mm_extract_epi32(second, 2);
    memcpy(p + 20, &last, 4);
}

static inline void StoreRepeated(uint8_t* p, Bytes lanes) {
    StoreThirds(p, lanes, _mm_set_epi8(-1, -1, -1, -1, 12, 12, 12, 8, 8, 8, 4, 4, 4, 0, 0, 0));
}

static inline void StorePixels(uint8_t* p, Bytes lanes) {
    StoreThirds(p, lanes, _mm_set_epi8(-1, -1, -1, -1, 14, 13, 12, 10, 9, 8, 6, 5, 4, 2, 1, 0));
}
#else
static constexpr size_t kLaneSlack = 4;

static inline Bytes SpreadPixels(const uint8_t* p) { return And(SpreadFour(LoadBytes(p)), Splat32(0x00FFFFFF)); }

static inline void StorePixels(uint8_t* p, Bytes lanes) {
    // Two pixels are brought together in each half, then the halves.
    const Bytes pairs = Or(And(lanes, _mm_set1_epi64x(0x0000000000FFFFFF)),
                           And(_mm_srli_epi64(lanes, 8), _mm_set1_epi64x(0x0000FFFFFF000000)));
    const Bytes upper = _mm_and_si128(_mm_srli_si128(pairs, 2), _mm_set_epi32(0, -1, -65536, 0));
    const Bytes bytes = Or(_mm_move_epi64(pairs), upper);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), bytes);
    _mm_storeu_si32(p + 8, _mm_srli_si128(bytes, 8));
}

static inline void StoreRepeated(uint8_t* p, Bytes lanes) { StorePixels(p, RepeatInLanes(lanes)); }
#endif

// blue + green + red of each lane.
static inline Bytes ChannelSums(Bytes pixels) {
#if VEL_AVX512
    return _mm512_dpbusd_epi32(_mm512_setzero_si512(), pixels, Splat32(0x00010101));
#elif VEL_AVX2
    return _mm256_madd_epi16(_mm256_maddubs_epi16(pixels, Splat32(0x00010101)), Splat16(1));
#else
    const Bytes ends = _mm_madd_epi16(And(pixels, Splat32(0x00FF00FF)), Splat16(1));
    return _mm_add_epi32(ends, And(_mm_srli_epi32(pixels, 8), Splat32(0xFF)));
#endif
}
#endif

#if VEL_AVX512
// 64 pixels as a register of each channel.
struct Planes {
    __m512i blue, green, red;
};

// Byte indexes of three registers, known to the compiler.
struct PlanePlaces {
    uint8_t place[3][64];
};

// Pixel j's channel c is byte 3 j + c of three registers.
static constexpr PlanePlaces PlacesOfChannels() {
    PlanePlaces p{};
    for (int c = 0; c < 3; ++c) {
        for (int j = 0; j < 64; ++j) p.place[c][j] = static_cast<uint8_t>(3 * j + c);
    }
    return p;
}

// Byte 64 v + t of three registers is pixel (64 v + t) / 3; the second channel counts from 64 on.
static constexpr PlanePlaces PlacesOfPixels() {
    PlanePlaces p{};
    for (int v = 0; v < 3; ++v) {
        for (int t = 0; t < 64; ++t) {
            const int byte = 64 * v + t;
            p.place[v][t] = static_cast<uint8_t>(byte / 3 + (byte % 3 == 1 ? 64 : 0));
        }
    }
    return p;
}
struct QuadPlaces {
    uint8_t place[64];
};

// Byte 4 j of two registers, then byte 4 j + 1.
static constexpr QuadPlaces PlacesOfPairs() {
    QuadPlaces p{};
    for (int t = 0; t < 64; ++t) p.place[t] = static_cast<uint8_t>(t < 32 ? 4 * t : 4 * (t - 32) + 1);
    return p;
}

// Pixel t / 4, the second channel from 64 on.
static constexpr QuadPlaces PlacesOfQuads() {
    QuadPlaces p{};
    for (int t = 0; t < 64; ++t) p.place[t] = static_cast<uint8_t>(t / 4 + (t % 4 == 1 ? 64 : 0));
    return p;
}
static constexpr QuadPlaces kPlacesOfPairs = PlacesOfPairs(), kPlacesOfQuads = PlacesOfQuads();
static constexpr PlanePlaces kPlacesOfChannels = PlacesOfChannels(), kPlacesOfPixels = PlacesOfPixels();

// 64 3-byte pixels; a two-register permute ignores index bits above its own, so one index serves the third register.
static inline Planes LoadPlanes24(const uint8_t* p) {
    const __m512i a = _mm512_loadu_si512(p), b = _mm512_loadu_si512(p + 64), c = _mm512_loadu_si512(p + 128);
    const auto channel = [&](int index, __mmask64 inThird) {
        const __m512i places = _mm512_loadu_si512(kPlacesOfChannels.place[index]);
        return _mm512_mask_permutexvar_epi8(_mm512_permutex2var_epi8(a, places, b), inThird, places, c);
    };
    // Pixels whose byte 3 j + c is beyond 127.
    return {channel(0, ~0ull << 43), channel(1, ~0ull << 43), channel(2, ~0ull << 42)};
}

static inline void StorePlanes24(uint8_t* p, const Planes& planes) {
    const auto part = [&](int index, __mmask64 reds) {
        const __m512i places = _mm512_loadu_si512(kPlacesOfPixels.place[index]);
        const __m512i others = _mm512_permutex2var_epi8(planes.blue, places, planes.green);
        _mm512_storeu_si512(p + 64 * index, _mm512_mask_permutexvar_epi8(others, reds, places, planes.red));
    };
    part(0, 0x4924924924924924ull);
    part(1, 0x2492492492492492ull);
    part(2, 0x9249249249249249ull);
}

// 64 4-byte pixels.
static inline Planes LoadPlanes32(const uint8_t* p) {
    // Of two registers: 32 blue and 32 green bytes, or 32 red ones and alpha.
    const auto pairs = [](int first, const uint8_t* q) {
        const __m512i places =
            _mm512_add_epi8(_mm512_loadu_si512(kPlacesOfPairs.place), _mm512_set1_epi8(static_cast<char>(first)));
        return _mm512_permutex2var_epi8(_mm512_loadu_si512(q), places, _mm512_loadu_si512(q + 64));
    };
    const __m512i low = pairs(0, p), high = pairs(0, p + 128);
    return {_mm512_shuffle_i64x2(low, high, 0x44), _mm512_shuffle_i64x2(low, high, 0xEE),
            _mm512_shuffle_i64x2(pairs(2, p), pairs(2, p + 128), 0x44)};
}

// Keeps what is there as alpha.
static inline void StorePlanes32(uint8_t* p, const Planes& planes) {
    for (int v = 0; v < 4; ++v) {
        const __m512i places =
            _mm512_add_epi8(_mm512_loadu_si512(kPlacesOfQuads.place), _mm512_set1_epi8(static_cast<char>(16 * v)));
        const __m512i others = _mm512_permutex2var_epi8(planes.blue, places, planes.green);
        const __m512i colours = _mm512_mask_permutexvar_epi8(others, 0x4444444444444444ull, places, planes.red);
        const __m512i old = _mm512_loadu_si512(p + 64 * v);
        _mm512_storeu_si512(p + 64 * v, _mm512_mask_mov_epi8(colours, 0x8888888888888888ull, old));
    }
}

// 64 pixels of 4 bytes as 3-byte ones: each register of bytes comes from two neighbouring registers of pixels.
static constexpr PlanePlaces PlacesOfThirds() {
    PlanePlaces p{};
    for (int v = 0; v < 3; ++v) {
        for (int t = 0; t < 64; ++t) {
            const int byte = 64 * v + t;
            p.place[v][t] = static_cast<uint8_t>(4 * (byte / 3) + byte % 3 - 64 * v);
        }
    }
    return p;
}
static constexpr PlanePlaces kPlacesOfThirds = PlacesOfThirds();

static inline void Store4To3(uint8_t* p, __m512i a, __m512i b, __m512i c, __m512i d) {
    _mm512_storeu_si512(p, _mm512_permutex2var_epi8(a, _mm512_loadu_si512(kPlacesOfThirds.place[0]), b));
    _mm512_storeu_si512(p + 64, _mm512_permutex2var_epi8(b, _mm512_loadu_si512(kPlacesOfThirds.place[1]), c));
    _mm512_storeu_si512(p + 128, _mm512_permutex2var_epi8(c, _mm512_loadu_si512(kPlacesOfThirds.place[2]), d));
}
#endif
