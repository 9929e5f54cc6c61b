// Kernels of weighted sums; see Convolution.h.

static inline uint8_t ClampSum(uint32_t magnitude, uint32_t sign, int32_t offset) {
    const int32_t value = static_cast<int32_t>((magnitude ^ sign) - sign + static_cast<uint32_t>(offset));
    return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

// |s| / d is truncated by way of (|s| + 1/2) * (1 / d): the exact (|s| + 1/2) / d lies at least 1 / (2 d) away from
// every integer, and the roundings move it by less: by at most |s| / d * 2^-23 in single precision, below 2^22, and by
// |s| / d * 2^-52 in double precision, always.
static inline uint8_t QuotientOfNarrow(uint32_t sum, float reciprocal, uint32_t negate, int32_t offset) {
    const int32_t value = static_cast<int32_t>(sum);
    const int32_t magnitude = static_cast<int32_t>((fabsf(static_cast<float>(value)) + 0.5f) * reciprocal);
    return ClampSum(static_cast<uint32_t>(magnitude), static_cast<uint32_t>(value >> 31) ^ negate, offset);
}

static inline uint8_t QuotientOf(uint32_t sum, double reciprocal, uint32_t negate, int32_t offset) {
    const int32_t value = static_cast<int32_t>(sum);
    const int32_t magnitude = static_cast<int32_t>((fabs(static_cast<double>(value)) + 0.5) * reciprocal);
    return ClampSum(static_cast<uint32_t>(magnitude), static_cast<uint32_t>(value >> 31) ^ negate, offset);
}

// The same of any sum, for quotients that have a farthest one.
static inline uint8_t QuotientOfNearest(uint32_t sum, int32_t farthest, float reciprocal, uint32_t negate,
                                        int32_t offset) {
    const int32_t value = static_cast<int32_t>(sum), below = value < farthest ? value : farthest;
    return QuotientOfNarrow(static_cast<uint32_t>(below > -farthest ? below : -farthest), reciprocal, negate, offset);
}

static void QuotientRow(uint8_t* dst, const uint32_t* sums, size_t count, const Quotient& quotient) {
    const uint32_t negate = quotient.negate;
    const int32_t offset = quotient.offset;
    const double reciprocal = quotient.reciprocal;
    const float narrowReciprocal = static_cast<float>(reciprocal);
    const int32_t farthest = quotient.farthest;
    if (!quotient.divide) {
        for (size_t i = 0; i < count; ++i) dst[i] = ClampSum(sums[i], negate, offset);
    } else if (quotient.narrow) {
        for (size_t i = 0; i < count; ++i) dst[i] = QuotientOfNarrow(sums[i], narrowReciprocal, negate, offset);
    } else if (farthest) {
        for (size_t i = 0; i < count; ++i) {
            dst[i] = QuotientOfNearest(sums[i], farthest, narrowReciprocal, negate, offset);
        }
    } else {
        for (size_t i = 0; i < count; ++i) dst[i] = QuotientOf(sums[i], reciprocal, negate, offset);
    }
}

static void WeighSums(uint32_t* dst, const uint32_t* src, const uint32_t* factors, size_t n, size_t step,
                      size_t count) {
    constexpr size_t kBlock = 256;  // sums stay in the first-level cache while the factors pass
    for (size_t done = 0; done < count; done += kBlock) {
        const size_t size = count - done < kBlock ? count - done : kBlock;
        const uint32_t* from = src + done;
        uint32_t sums[kBlock];
        for (size_t i = 0; i < size; ++i) sums[i] = factors[0] * from[i];
        for (size_t j = 1; j < n; ++j) {
            const uint32_t factor = factors[j];
            const uint32_t* shifted = from + j * step;
            for (size_t i = 0; i < size; ++i) sums[i] += factor * shifted[i];
        }
        memcpy(dst + done, sums, size * sizeof *sums);
    }
}

static void SlideColumns(uint32_t* sums, const uint8_t* added, const uint8_t* dropped, size_t count) {
    for (size_t i = 0; i < count; ++i) sums[i] += static_cast<uint32_t>(added[i] - dropped[i]);
}

// One sum per byte of a pixel moves along the row.
template <size_t step>
static inline void SlideRowOf(uint32_t* dst, const uint32_t* src, size_t n, size_t count) {
    if (count == 0) return;
    uint32_t sums[step] = {};
    for (size_t j = 0; j < n; ++j) {
        for (size_t c = 0; c < step; ++c) sums[c] += src[j * step + c];
    }
    for (size_t c = 0; c < step; ++c) dst[c] = sums[c];
    const uint32_t* added = src + n * step;
    size_t i = step;
#if VEL_AVX512
    // As many whole pixels as 16 lanes hold. The changes are summed by shifts of 1, 2, 4 (and 8) pixels, then the last
    // pixel's sums of the step before are added to all.
    constexpr size_t kWhole = 16 / step * step;
    uint32_t spread[16], last[16];
    for (size_t lane = 0; lane < 16; ++lane) {
        spread[lane] = sums[lane % step];
        last[lane] = static_cast<uint32_t>(kWhole - step + lane % step);
    }
    const __m512i nothing = _mm512_setzero_si512(), lastPixel = _mm512_loadu_si512(last);
    __m512i carried = _mm512_loadu_si512(spread);
    for (; i + 16 <= count; i += kWhole) {
        __m512i change = _mm512_sub_epi32(_mm512_loadu_si512(added + i - step), _mm512_loadu_si512(src + i - step));
        change = _mm512_add_epi32(change, _mm512_alignr_epi32(change, nothing, 16 - step));
        change = _mm512_add_epi32(change, _mm512_alignr_epi32(change, nothing, 16 - 2 * step));
        if (step < 4) change = _mm512_add_epi32(change, _mm512_alignr_epi32(change, nothing, (16 - 4 * step) & 15));
        if (step == 1) change = _mm512_add_epi32(change, _mm512_alignr_epi32(change, nothing, 8));
        const __m512i moved = _mm512_add_epi32(change, carried);
        _mm512_storeu_si512(dst + i, moved);
        carried = _mm512_permutexvar_epi32(lastPixel, moved);
    }
    _mm512_storeu_si512(spread, carried);
    for (size_t c = 0; c < step; ++c) sums[c] = spread[c];
#endif
    for (; i < count; i += step) {
        for (size_t c = 0; c < step; ++c) dst[i + c] = sums[c] += added[i - step + c] - src[i - step + c];
    }
}

static void SlideRow(uint32_t* dst, const uint32_t* src, size_t n, size_t step, size_t count) {
    switch (step) {
        case 1: SlideRowOf<1>(dst, src, n, count); break;
        case 3: SlideRowOf<3>(dst, src, n, count); break;
        default: SlideRowOf<4>(dst, src, n, count); break;
    }
}

template <class QuotientOfSum>
static inline void WeighRowBy(uint8_t* dst, const uint8_t* src, size_t count, uint32_t factor,
                              QuotientOfSum quotientOf) {
    for (size_t i = 0; i < count; ++i) {
        uint32_t value;
        memcpy(&value, src + 4 * i, 4);
        const uint32_t result = quotientOf(value * factor);
        memcpy(dst + 4 * i, &result, 4);
    }
}

static void WeighRow(uint8_t* dst, const uint8_t* src, size_t count, uint32_t factor, const Quotient& quotient) {
    const uint32_t negate = quotient.negate;
    const int32_t offset = quotient.offset, farthest = quotient.farthest;
    const double reciprocal = quotient.reciprocal;
    const float narrowReciprocal = static_cast<float>(reciprocal);
    if (!quotient.divide) {
        WeighRowBy(dst, src, count, factor, [=](uint32_t sum) { return ClampSum(sum, negate, offset); });
    } else if (farthest) {
        WeighRowBy(dst, src, count, factor,
                   [=](uint32_t sum) { return QuotientOfNearest(sum, farthest, narrowReciprocal, negate, offset); });
    } else {
        WeighRowBy(dst, src, count, factor, [=](uint32_t sum) { return QuotientOf(sum, reciprocal, negate, offset); });
    }
}

#include "ConvolutionSmall.inl"
#include "ConvolutionWords.inl"

#if VEL_VECTOR
#include "ConvolutionVectors.inl"
#else

// Rows lie one behind the other.
static void PrepareQuad(uint8_t* quad, const uint8_t* const* rows, size_t at, size_t count, size_t quadBytes) {
    for (size_t j = 0; j < 4; ++j) memcpy(quad + j * quadBytes + at, rows[j], count);
}

constexpr size_t kSumBlock = 256;

// Adds two coefficients' products at a time: below 2^15 together, so that they are made in 16 bits.
static inline void AddProducts(uint32_t* sums, const uint8_t* a, const uint8_t* b, int8_t ka, int8_t kb, size_t count) {
    const int16_t wa = ka, wb = kb;
    for (size_t i = 0; i < count; ++i) {
        const int16_t products =
            static_cast<int16_t>(static_cast<int16_t>(wa * a[i]) + static_cast<int16_t>(wb * b[i]));
        sums[i] += static_cast<uint32_t>(static_cast<int32_t>(products));
    }
}

// Sums `at` to `at` + count - 1 (at most kSumBlock) of one row of the image.
static void SumBlock(uint32_t* sums, const uint8_t* const* quads, size_t quadBytes, const TapPlan& plan, int row,
                     size_t at, size_t count) {
    memset(sums, 0, count * sizeof *sums);
    const size_t inPlane = static_cast<size_t>(plan.quads) * plan.columns * TapPlan::kRows;
    for (int plane = plan.planes - 1; plane >= 0; --plane) {
        for (size_t i = 0; i < count; ++i) sums[i] <<= TapPlan::kPlaneBits;
        const uint32_t* tap = plan.taps + static_cast<size_t>(plane) * inPlane + static_cast<size_t>(row);
        for (int q = 0; q < plan.quads; ++q) {
            const uint8_t* src = quads[q] + at;
            for (size_t x = 0; x < plan.columns; ++x, src += plan.step, tap += TapPlan::kRows) {
                int8_t k[4];
                memcpy(k, tap, 4);
                if (k[0] || k[1]) AddProducts(sums, src, src + quadBytes, k[0], k[1], count);
                if (k[2] || k[3]) AddProducts(sums, src + 2 * quadBytes, src + 3 * quadBytes, k[2], k[3], count);
            }
        }
    }
}

static void ConvolveRows(uint8_t* const* dst, const uint8_t* const* quads, size_t quadBytes, const TapPlan& plan,
                         const Quotient& quotient, const NextRows&, size_t count) {
    for (int row = 0; row < TapPlan::kRows; ++row) {
        for (size_t at = 0; at < count; at += kSumBlock) {
            const size_t size = count - at < kSumBlock ? count - at : kSumBlock;
            uint32_t sums[kSumBlock];
            SumBlock(sums, quads, quadBytes, plan, row, at, size);
            QuotientRow(dst[row] + at, sums, size, quotient);
        }
    }
}

static void SumRows(uint32_t* const* sums, const uint8_t* const* quads, size_t quadBytes, const TapPlan& plan,
                    size_t count) {
    for (int row = 0; row < TapPlan::kRows; ++row) {
        for (size_t at = 0; at < count; at += kSumBlock) {
            const size_t size = count - at < kSumBlock ? count - at : kSumBlock;
            SumBlock(sums[row] + at, quads, quadBytes, plan, row, at, size);
        }
    }
}
#endif
