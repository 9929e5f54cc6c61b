// Pixels gathered by offsets.

static inline uint32_t PixelWord(const uint8_t* p, int pixelBytes) {
    if (pixelBytes == 1) return p[0] * 0x010101u;
    return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           (pixelBytes == 4 ? static_cast<uint32_t>(p[3]) << 24 : 0u);
}

// Whether pixels are taken by CopyPlaces where it can be; the yardstick of the tests takes them one by one.
#ifdef VEL_PLAIN
static constexpr bool kCopiesPlaces = false;
#else
static constexpr bool kCopiesPlaces = true;
#endif

// Asks for the cache line `ahead` bytes from p, wherever that is. Always inlined, as FetchNext is.
[[gnu::always_inline]] static inline void Prefetch(const uint8_t* p, ptrdiff_t ahead) {
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(ahead)));
}

// The pixel at `p` as kTo bytes: as it is, or a colour word. Reads a word where it has more than one byte.
template <int kFrom, int kTo>
static inline uint32_t PixelAs(const uint8_t* p) {
    if (kFrom == 1) return kTo == 1 ? *p : *p * 0x010101u;
    uint32_t word;
    __builtin_memcpy(&word, p, 4);
    return kFrom == 3 && kTo == 4 ? word & 0x00FFFFFF : word;
}

// The pixels at `places`, one after the other; what lies `ahead` of them, if not 0, is fetched meanwhile. One load and
// one store a pixel: to collect them in registers takes several operations for each. A store of 3 bytes writes a fourth
// that the next one overwrites, so the last pixels are stored by themselves.
template <int kFrom, int kTo, class Place>
static inline void CopyPlaces(uint8_t* dst, const uint8_t* bits, const Place* places, ptrdiff_t ahead, size_t count) {
    constexpr size_t kGroup = 8, kStore = kTo == 3 ? 4 : kTo, kOverlap = kStore - kTo;
    size_t k = 0;
    for (; k + kGroup + kOverlap <= count; k += kGroup) {
        uint32_t pixels[kGroup];
#pragma GCC unroll 8
        for (size_t i = 0; i < kGroup; ++i) pixels[i] = PixelAs<kFrom, kTo>(bits + places[k + i]);
        if (ahead != 0) {  // Neighbours mostly share a line.
            Prefetch(bits + places[k], ahead);
            Prefetch(bits + places[k + kGroup / 2], ahead);
        }
#pragma GCC unroll 8
        for (size_t i = 0; i < kGroup; ++i) __builtin_memcpy(dst + (k + i) * kTo, &pixels[i], kStore);
    }
    for (; k < count; ++k) {
        const uint32_t pixel = PixelAs<kFrom, kTo>(bits + places[k]);
        __builtin_memcpy(dst + k * kTo, &pixel, kTo);
    }
}

#if VEL_VECTOR
// Words at offsets, one in each lane. Loads by themselves: the processor's own gather takes up to three
// times as long where the words are not in the first cache.
static inline __m128i FourWords(const uint8_t* bits, const int64_t* offsets) {
    __m128i word[4];
    for (int i = 0; i < 4; ++i) word[i] = _mm_loadu_si32(bits + offsets[i]);
    return _mm_unpacklo_epi64(_mm_unpacklo_epi32(word[0], word[1]), _mm_unpacklo_epi32(word[2], word[3]));
}

static inline Bytes WordsAt(const uint8_t* bits, const int64_t* offsets) {
#if VEL_AVX2
    const __m256i low = _mm256_set_m128i(FourWords(bits, offsets + 4), FourWords(bits, offsets));
#if VEL_AVX512
    const __m256i high = _mm256_set_m128i(FourWords(bits, offsets + 12), FourWords(bits, offsets + 8));
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
#else
    return low;
#endif
#else
    return FourWords(bits, offsets);
#endif
}
#endif
