// Weighted sums of rows of bytes, byte by byte.

static inline uint8_t SumOfRows(const uint8_t* const* rows, const float* weights, int taps, size_t at) {
    float sum = 0;
    for (int j = 0; j < taps; ++j) sum += weights[j] * static_cast<float>(rows[j][at]);
    return static_cast<uint8_t>(ByteOfSum(sum));
}

// The sum of the weights' magnitudes, and what the magnitudes of the partial sums add up to at most, of values up to 1.
struct SumsOfMagnitudes {
    float weights = 0, partials = 0;
    SumsOfMagnitudes(const float* weight, int taps) {
        for (int j = 0; j < taps; ++j) partials += weights += Magnitude(weight[j]);
    }
};

// Against sums with further terms: a row's change its sum by at most 255 * neglected * |the row's weight|, and its
// rounding by no more, as rounding to nearest never moves a sum further than the added term. The products round twice
// in both, and so do the sums, by 2^-24 of each partial sum.
static inline float ToleranceOfFew(const float* weights, int taps, float neglected) {
    const SumsOfMagnitudes of(weights, taps);
    return Tolerance(255.0f * (of.weights * (2 * neglected + 4 / 16777216.0f) + of.partials * (2 / 16777216.0f)));
}

// Sums of T column sums against sums of T x T products, all parts of 2^-24. With W = 255 * reach * (sum of |weights|),
// which bounds the sum of all terms: products round by 2 W at most there, by W + W here; partial sums there, T a row,
// by T times those after the rows and T W between them; here the columns' by T W and the rows' by theirs. In all no
// more than (2 T + 4) W and T + 1 times the partial sums.
static inline float ToleranceOfColumns(const float* weights, int taps, float reach) {
    const auto terms = static_cast<float>(taps);
    const SumsOfMagnitudes of(weights, taps);
    return Tolerance(255.0f * reach * (of.weights * (2 * terms + 4) + of.partials * (terms + 1)) / 16777216.0f);
}

template <class Sample>
static inline uint8_t GuardedSum(uint8_t* doubt, const Sample* const* rows, const float* weights, int taps, size_t at,
                                 float tolerance) {
    float sum = 0;
    for (int j = 0; j < taps; ++j) sum += weights[j] * static_cast<float>(rows[j][at]);
    *doubt = NearStep(sum, tolerance) ? 1 : 0;
    return static_cast<uint8_t>(ByteOfSum(sum));
}

#if VEL_VECTOR
// A register of samples' worth of results, as four of floats; bytes keep to the halves or quarters of a register, and
// are stored as they came.
static inline FourFloats LoadSamples(const uint8_t* samples) { return FloatsOfBytes(LoadBytes(samples)); }
static inline FourFloats LoadSamples(const float* samples) {
    FourFloats floats;
    for (size_t i = 0; i < 4; ++i) floats.part[i] = LoadFloats(samples + i * kLanes);
    return floats;
}
static inline void StoreResults(uint8_t* dst, const Bytes* parts, const uint8_t*) {
    StoreBytes(dst, Narrowed(parts[0], parts[1], parts[2], parts[3]));
}
static inline void StoreResults(uint8_t* dst, const Bytes* parts, const float*) {
    StoreBytes(dst, InMemoryOrder(Narrowed(parts[0], parts[1], parts[2], parts[3])));
}

template <class Sample>
static inline FourFloats SumsOfRows(const Sample* const* rows, const float* weights, int taps, size_t at) {
    FourFloats sums;
    for (Floats& sum : sums.part) sum = SplatFloat(0);
    for (int j = 0; j < taps; ++j) {
        const Floats weight = SplatFloat(weights[j]);
        const FourFloats values = LoadSamples(rows[j] + at);
        for (int i = 0; i < 4; ++i) sums.part[i] = Add(sums.part[i], Multiply(weight, values.part[i]));
    }
    return sums;
}

// A register of bytes.
static inline void SumBlock(uint8_t* dst, const uint8_t* const* rows, const float* weights, int taps, size_t at) {
    const FourFloats sums = SumsOfRows(rows, weights, taps, at);
    Bytes whole[4];
    for (int i = 0; i < 4; ++i) whole[i] = BytesOfSums(sums.part[i]);
    StoreResults(dst + at, whole, rows[0]);
}

#if VEL_AVX512
#include "RowDigits.inl"
#endif

static inline size_t SumVectors(uint8_t* dst, const uint8_t* const* rows, const float* weights, int taps,
                                size_t bytes) {
    size_t at = 0;
#if VEL_AVX512
    at = taps == 4 ? SumDigitRows<4>(dst, rows, weights, bytes) : SumDigitRows<12>(dst, rows, weights, bytes);
#endif
    for (; at + sizeof(Bytes) <= bytes; at += sizeof(Bytes)) SumBlock(dst, rows, weights, taps, at);
    return at;
}

// As many as whole numbers are good for, of bytes.
template <class Sample>
static inline size_t GuardedWholeNumbers(uint8_t*, uint8_t*, const Sample* const*, const float*, int, float, size_t) {
    return 0;
}
#if VEL_AVX512
static inline size_t GuardedWholeNumbers(uint8_t* dst, uint8_t* doubts, const uint8_t* const* rows,
                                         const float* weights, int taps, float tolerance, size_t bytes) {
    return taps == 4 ? GuardDigitRows<4>(dst, doubts, rows, weights, tolerance, bytes)
                     : GuardDigitRows<12>(dst, doubts, rows, weights, tolerance, bytes);
}
#endif

template <class Sample>
static inline size_t GuardedVectors(uint8_t* dst, uint8_t* doubts, const Sample* const* rows, const float* weights,
                                    int taps, float tolerance, size_t count) {
    size_t at = GuardedWholeNumbers(dst, doubts, rows, weights, taps, tolerance, count);
    for (; at + sizeof(Bytes) <= count; at += sizeof(Bytes)) {
        const FourFloats sums = SumsOfRows(rows, weights, taps, at);
        Bytes whole[4], near[4];
        for (int i = 0; i < 4; ++i) {
            whole[i] = BytesOfSums(sums.part[i]);
            near[i] = NearSteps(sums.part[i], SplatFloat(tolerance));
        }
        StoreResults(dst + at, whole, rows[0]);
        StoreResults(doubts + at, near, rows[0]);
    }
    return at;
}

#if VEL_AVX512
// A stretch of a row in which 16 positions have all their taps, where they rise and lie near enough.
struct RowStretch {
    __m512i bytes, places;  // places of the positions' first taps
    bool fits;

    RowStretch(const uint8_t* row, const int64_t* offsets, int taps) {
        const int64_t last = offsets[15] - offsets[0];
        const __m512i first = _mm512_set1_epi64(offsets[0]), farthest = _mm512_set1_epi64(last);
        const __m512i low = _mm512_sub_epi64(_mm512_loadu_si512(offsets), first);
        const __m512i high = _mm512_sub_epi64(_mm512_loadu_si512(offsets + 8), first);
        fits = last >= 0 && last <= 64 - taps &&
               (_mm512_cmpgt_epu64_mask(low, farthest) | _mm512_cmpgt_epu64_mask(high, farthest)) == 0;
        if (!fits) return;
        const __m512i lowPlaces = _mm512_castsi256_si512(_mm512_cvtepi64_epi32(low));
        places = _mm512_inserti64x4(lowPlaces, _mm512_cvtepi64_epi32(high), 1);
        bytes = LoadFirst(row + offsets[0], static_cast<size_t>(last + taps));
    }
    Floats Column(int column) const {
        const __m512i at = _mm512_add_epi32(places, _mm512_set1_epi32(column));
        return FloatsOf(_mm512_maskz_permutexvar_epi8(0x1111111111111111ull, at, bytes));
    }
};
#endif

// As many positions as the level has lanes.
template <int kTaps>
static inline size_t SumColumnVectors(float* sums, const uint8_t* row, const int64_t* offsets, const float* weights,
                                      size_t pitch, size_t count) {
    size_t k = 0;
    for (; k + kLanes <= count; k += kLanes) {
        Floats sum = SplatFloat(0);
        const float* columnWeights = weights + k;
#if VEL_AVX512
        const RowStretch stretch(row, offsets + k, kTaps);
        if (stretch.fits) {
            for (int column = 0; column < kTaps; ++column, columnWeights += pitch) {
                sum = Add(sum, Multiply(LoadFloats(columnWeights), stretch.Column(column)));
            }
            StoreFloats(sums + k, sum);
            continue;
        }
#endif
        for (int group = 0; group < kTaps; group += 4) {
            const ColumnGroup<1> pixels(row + group, offsets + k);
            for (int column = 0; column < 4; ++column, columnWeights += pitch) {
                sum = Add(sum, Multiply(LoadFloats(columnWeights), pixels.Channel(column, 0)));
            }
        }
        StoreFloats(sums + k, sum);
    }
    return k;
}
#else
static inline size_t SumVectors(uint8_t*, const uint8_t* const*, const float*, int, size_t) { return 0; }
template <class Sample>
static inline size_t GuardedVectors(uint8_t*, uint8_t*, const Sample* const*, const float*, int, float, size_t) {
    return 0;
}
template <int>
static inline size_t SumColumnVectors(float*, const uint8_t*, const int64_t*, const float*, size_t, size_t) {
    return 0;
}
#endif

static void SumRows(uint8_t* dst, const uint8_t* const* rows, const float* weights, int taps, size_t bytes) {
    size_t at = SumVectors(dst, rows, weights, taps, bytes);
    for (; at < bytes; ++at) dst[at] = SumOfRows(rows, weights, taps, at);
}

template <class Sample>
static inline int GuardSamples(uint8_t* dst, uint8_t* doubts, const Sample* const* rows, const float* weights, int taps,
                               float tolerance, size_t count) {
    size_t at = GuardedVectors(dst, doubts, rows, weights, taps, tolerance, count);
    for (; at < count; ++at) dst[at] = GuardedSum(doubts + at, rows, weights, taps, at, tolerance);
    uint8_t any = 0;
    for (size_t i = 0; i < count; ++i) any |= doubts[i];
    return any;
}

static int GuardedRows(uint8_t* dst, uint8_t* doubts, const uint8_t* const* rows, const float* weights, int taps,
                       float neglected, size_t bytes) {
    return GuardSamples(dst, doubts, rows, weights, taps, ToleranceOfFew(weights, taps, neglected), bytes);
}

static void SumColumns(float* sums, const uint8_t* row, const int64_t* offsets, const float* weights, size_t pitch,
                       int taps, size_t count) {
    size_t k = taps == 4 ? SumColumnVectors<4>(sums, row, offsets, weights, pitch, count)
                         : SumColumnVectors<12>(sums, row, offsets, weights, pitch, count);
    for (; k < count; ++k) {
        float sum = 0;
        for (int i = 0; i < taps; ++i) {
            sum += weights[static_cast<size_t>(i) * pitch + k] * static_cast<float>(row[offsets[k] + i]);
        }
        sums[k] = sum;
    }
}

static int GuardedSums(uint8_t* dst, uint8_t* doubts, const float* const* rows, const float* weights, int taps,
                       float reach, size_t count) {
    return GuardSamples(dst, doubts, rows, weights, taps, ToleranceOfColumns(weights, taps, reach), count);
}
