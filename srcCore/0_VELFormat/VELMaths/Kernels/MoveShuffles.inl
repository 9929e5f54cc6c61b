// Moves of pixels by 16-byte shuffles, for the levels below avx512: transposes at sse2 and avx2, the rest at avx2.

static inline __m128i Load16(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
static inline void Store16(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Row i of 16 becomes column i.
static inline void TransposeBytes(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride) {
    __m128i v[16], w[16];
    for (int i = 0; i < 16; ++i) v[i] = Load16(src + i * srcStride);
    // Each step interleaves the first eight rows with the last eight.
    for (int step = 0; step < 4; ++step) {
        for (int i = 0; i < 8; ++i) {
            w[2 * i] = _mm_unpacklo_epi8(v[i], v[i + 8]);
            w[2 * i + 1] = _mm_unpackhi_epi8(v[i], v[i + 8]);
        }
        for (int i = 0; i < 16; ++i) v[i] = w[i];
    }
    for (int i = 0; i < 16; ++i) Store16(dst + i * dstStride, v[i]);
}

static inline void TransposeWords(__m128i (&v)[4]) {
    const __m128i a = _mm_unpacklo_epi32(v[0], v[1]), b = _mm_unpackhi_epi32(v[0], v[1]);
    const __m128i c = _mm_unpacklo_epi32(v[2], v[3]), d = _mm_unpackhi_epi32(v[2], v[3]);
    v[0] = _mm_unpacklo_epi64(a, c);
    v[1] = _mm_unpackhi_epi64(a, c);
    v[2] = _mm_unpacklo_epi64(b, d);
    v[3] = _mm_unpackhi_epi64(b, d);
}

#if VEL_AVX2
// Four pixels of 3 bytes as words and back, without touching a thirteenth byte.
static inline __m128i LoadSpread(const uint8_t* p) {
    int32_t last;
    memcpy(&last, p + 8, 4);
    const __m128i bytes = _mm_insert_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), last, 2);
    return _mm_shuffle_epi8(bytes, _mm_set_epi8(-1, 11, 10, 9, -1, 8, 7, 6, -1, 5, 4, 3, -1, 2, 1, 0));
}
static inline void StorePacked(uint8_t* p, __m128i words) {
    const __m128i bytes = _mm_shuffle_epi8(words, _mm_set_epi8(-1, -1, -1, -1, 14, 13, 12, 10, 9, 8, 6, 5, 4, 2, 1, 0));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), bytes);
    const int32_t last = _mm_extract_epi32(bytes, 2);
    memcpy(p + 8, &last, 4);
}
#endif

#if VEL_AVX2
static constexpr bool kTransposes3 = true;
#else
static constexpr bool kTransposes3 = false;
#endif

// Four by four pixels of 4 bytes, or of 3 where kTransposes3.
static inline void TransposeFour(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride,
                                 size_t bytes) {
    __m128i v[4];
    if (bytes == 4) {
        for (int i = 0; i < 4; ++i) v[i] = Load16(src + i * srcStride);
        TransposeWords(v);
        for (int i = 0; i < 4; ++i) Store16(dst + i * dstStride, v[i]);
        return;
    }
#if VEL_AVX2
    for (int i = 0; i < 4; ++i) v[i] = LoadSpread(src + i * srcStride);
    TransposeWords(v);
    for (int i = 0; i < 4; ++i) StorePacked(dst + i * dstStride, v[i]);
#endif
}

// A block of 16 by 16 pixels.
static inline void TransposeBlock(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride,
                                  size_t bytes) {
    if (bytes == 1) return TransposeBytes(dst, dstStride, src, srcStride);
    if (bytes != 4 && !(bytes == 3 && kTransposes3)) {
        return TransposePixels(dst, dstStride, src, srcStride, 16, 16, bytes);
    }
    for (size_t r = 0; r < 16; r += 4) {
        for (size_t c = 0; c < 16; c += 4) {
            uint8_t* const to = dst + static_cast<ptrdiff_t>(r) * dstStride + c * bytes;
            const uint8_t* const from = src + static_cast<ptrdiff_t>(c) * srcStride + r * bytes;
            TransposeFour(to, dstStride, from, srcStride, bytes);
        }
    }
}

#if VEL_AVX2
// The whole pixels of 16 bytes in reverse order. Those of 3 bytes are read from byte 1 on, and byte 15 is any.
static inline __m128i MirrorPlaces(size_t bytes) {
    alignas(16) uint8_t places[16];
    const size_t whole = 16 / bytes * bytes, skipped = 16 - whole;
    for (size_t i = 0; i < 16; ++i) {
        const size_t pixel = i / bytes;
        places[i] = i < whole ? static_cast<uint8_t>(skipped + whole - (pixel + 1) * bytes + i % bytes) : 0;
    }
    return _mm_load_si128(reinterpret_cast<const __m128i*>(places));
}

static inline size_t MirrorVectors(uint8_t* dst, const uint8_t* src, size_t pixels, size_t bytes) {
    const size_t step = 16 / bytes, skipped = 16 % bytes;
    const __m128i places = MirrorPlaces(bytes);
    size_t i = 0;
    // Where a byte is left over, a further pixel before those read and behind those written makes room for it.
    for (; i + step + skipped <= pixels; i += step) {
        const __m128i read = Load16(src + (pixels - i - step) * bytes - skipped);
        Store16(dst + i * bytes, _mm_shuffle_epi8(read, places));
    }
    return i;
}

// Bytes 0 and 2 of the 3-byte pixels in three neighbouring registers: where byte i of register `part` comes from in
// register `source`; bytes that come from elsewhere become 0.
static inline __m128i ExchangePlaces(int part, int source) {
    alignas(16) int8_t places[16];
    for (int i = 0; i < 16; ++i) {
        const int at = 16 * part + i, from = at % 3 == 0 ? at + 2 : at % 3 == 2 ? at - 2 : at;
        places[i] = static_cast<int8_t>(from / 16 == source ? from % 16 : -1);
    }
    return _mm_load_si128(reinterpret_cast<const __m128i*>(places));
}

static size_t ExchangeVectors(uint8_t* row, size_t pixels, int pixelBytes) {
    size_t i = 0;
    if (pixelBytes == 4) {
        const __m128i places = _mm_set_epi8(15, 12, 13, 14, 11, 8, 9, 10, 7, 4, 5, 6, 3, 0, 1, 2);
        for (; i + 4 <= pixels; i += 4) Store16(row + 4 * i, _mm_shuffle_epi8(Load16(row + 4 * i), places));
        return i;
    }
    const __m128i a0 = ExchangePlaces(0, 0), b0 = ExchangePlaces(0, 1), a1 = ExchangePlaces(1, 0);
    const __m128i b1 = ExchangePlaces(1, 1), c1 = ExchangePlaces(1, 2), b2 = ExchangePlaces(2, 1);
    const __m128i c2 = ExchangePlaces(2, 2);
    for (; i + 16 <= pixels; i += 16) {
        uint8_t* const p = row + 3 * i;
        const __m128i a = Load16(p), b = Load16(p + 16), c = Load16(p + 32);
        Store16(p, _mm_or_si128(_mm_shuffle_epi8(a, a0), _mm_shuffle_epi8(b, b0)));
        const __m128i middle = _mm_or_si128(_mm_shuffle_epi8(a, a1), _mm_shuffle_epi8(c, c1));
        Store16(p + 16, _mm_or_si128(middle, _mm_shuffle_epi8(b, b1)));
        Store16(p + 32, _mm_or_si128(_mm_shuffle_epi8(b, b2), _mm_shuffle_epi8(c, c2)));
    }
    return i;
}
#endif
