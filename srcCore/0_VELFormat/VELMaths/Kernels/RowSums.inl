// Weighted sums of rows of bytes, byte by byte.

static inline uint8_t SumOfRows(const uint8_t* const* rows, const float* weights, int taps, size_t at) {
    float sum = 0;
    for (int j = 0; j < taps; ++j) sum += weights[j] * static_cast<float>(rows[j][at]);
    return static_cast<uint8_t>(ByteOfSum(sum));
}

// What sums of all terms can differ by from the sums of the kept ones. A row's further terms change its sum by at most
// 255 * neglected * |the row's weight|, and its rounding by no more, as rounding to nearest never moves a sum further
// than the added term. The products round twice in both, and so do the sums, by 2^-24 of each partial sum.
struct RowTolerance {
    float fixed;
    RowTolerance(const float* weights, int taps, float neglected) : fixed(0) {
        for (int j = 0; j < taps; ++j) fixed += Magnitude(weights[j]);
        fixed = 255.0f * fixed * (2 * neglected + 4 / 16777216.0f);
    }
    // `partial` is the sum of the partial sums' magnitudes.
    float Value(float partial) const { return 1.05f * (2 / 16777216.0f * partial + fixed); }
};

static inline uint8_t GuardedSum(uint8_t* doubt, const uint8_t* const* rows, const float* weights, int taps, size_t at,
                                 const RowTolerance& tolerance) {
    float sum = 0, partial = 0;
    for (int j = 0; j < taps; ++j) {
        sum += weights[j] * static_cast<float>(rows[j][at]);
        partial += Magnitude(sum);
    }
    *doubt = NearStep(sum, tolerance.Value(partial)) ? 1 : 0;
    return static_cast<uint8_t>(ByteOfSum(sum));
}

#if VEL_AVX2
#if VEL_AVX512
typedef __m512 Floats;
#define VEL_FLOATS_OP(name) VEL_JOIN(_mm512_, name)
static inline Floats FloatsOfBytes(const uint8_t* p) {
    return _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
static inline void StoreAsBytes(uint8_t* p, Floats sums) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm512_cvtepi32_epi8(BytesOfSums(sums)));
}
#else
typedef __m256 Floats;
#define VEL_FLOATS_OP(name) VEL_JOIN(_mm256_, name)
static inline Floats FloatsOfBytes(const uint8_t* p) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
static inline void StoreAsBytes(uint8_t* p, Floats sums) {
    const __m256 clamped = _mm256_min_ps(_mm256_max_ps(sums, _mm256_setzero_ps()), _mm256_set1_ps(255.0f));
    const __m256i words = _mm256_cvttps_epi32(clamped);
    const __m128i halves = _mm_packus_epi32(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(halves, halves));
}
#endif
static constexpr size_t kFloats = sizeof(Floats) / sizeof(float);

// Four vectors at once hide the latency of the additions.
static inline size_t SumVectors(uint8_t* dst, const uint8_t* const* rows, const float* weights, int taps,
                                size_t bytes) {
    size_t at = 0;
    for (; at + 4 * kFloats <= bytes; at += 4 * kFloats) {
        Floats sums[4];
        for (Floats& sum : sums) sum = VEL_FLOATS_OP(setzero_ps)();
        for (int j = 0; j < taps; ++j) {
            const Floats weight = VEL_FLOATS_OP(set1_ps)(weights[j]);
            for (size_t k = 0; k < 4; ++k) {
                const Floats values = FloatsOfBytes(rows[j] + at + k * kFloats);
                sums[k] = VEL_FLOATS_OP(add_ps)(sums[k], VEL_FLOATS_OP(mul_ps)(weight, values));
            }
        }
        for (size_t k = 0; k < 4; ++k) StoreAsBytes(dst + at + k * kFloats, sums[k]);
    }
    return at;
}
#else
static inline size_t SumVectors(uint8_t*, const uint8_t* const*, const float*, int, size_t) { return 0; }
#endif

#if VEL_AVX512
static size_t GuardedVectors(uint8_t* dst, uint8_t* doubts, const uint8_t* const* rows, const float* weights, int taps,
                             const RowTolerance& tolerance, size_t bytes, uint32_t* any) {
    const __m512 fixed = _mm512_set1_ps(tolerance.fixed), unit = _mm512_set1_ps(2 / 16777216.0f);
    size_t at = 0;
    for (; at + 16 <= bytes; at += 16) {
        __m512 sum = _mm512_setzero_ps(), partial = _mm512_setzero_ps();
        for (int j = 0; j < taps; ++j) {
            sum = _mm512_add_ps(sum, _mm512_mul_ps(_mm512_set1_ps(weights[j]), FloatsOfBytes(rows[j] + at)));
            partial = _mm512_add_ps(partial, _mm512_abs_ps(sum));
        }
        const __m512 width = _mm512_mul_ps(_mm512_set1_ps(1.05f), _mm512_add_ps(_mm512_mul_ps(unit, partial), fixed));
        const __mmask16 near = NearSteps(sum, width);
        StoreAsBytes(dst + at, sum);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(doubts + at), _mm_maskz_set1_epi8(near, 1));
        *any |= near;
    }
    return at;
}
#else
static inline size_t GuardedVectors(uint8_t*, uint8_t*, const uint8_t* const*, const float*, int, const RowTolerance&,
                                    size_t, uint32_t*) {
    return 0;
}
#endif

static void SumRows(uint8_t* dst, const uint8_t* const* rows, const float* weights, int taps, size_t bytes) {
    size_t at = SumVectors(dst, rows, weights, taps, bytes);
    for (; at < bytes; ++at) dst[at] = SumOfRows(rows, weights, taps, at);
}

static int GuardedRows(uint8_t* dst, uint8_t* doubts, const uint8_t* const* rows, const float* weights, int taps,
                       float neglected, size_t bytes) {
    const RowTolerance tolerance(weights, taps, neglected);
    uint32_t any = 0;
    size_t at = GuardedVectors(dst, doubts, rows, weights, taps, tolerance, bytes, &any);
    for (; at < bytes; ++at) {
        dst[at] = GuardedSum(doubts + at, rows, weights, taps, at, tolerance);
        any |= doubts[at];
    }
    return any ? 1 : 0;
}
