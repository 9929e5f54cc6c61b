// Sampling kernels; see Sampling.h.

static void TurnRow(float* x, float* y, const float* columns, float row, const TurnTerms* turn, size_t count) {
    const TurnTerms t = *turn;
    const float rowSine = row * t.sine, rowCosine = row * t.cosine;
    for (size_t k = 0; k < count; ++k) {
        x[k] = columns[k] * t.cosine + rowSine + t.addX;
        y[k] = rowCosine - columns[k] * t.sine + t.addY;
    }
}

static void PrefetchRow(const SampledPixels* pixels, const float* x, const float* y, ptrdiff_t ahead, size_t count) {
    const SampledPixels source = *pixels;
    // Neighbouring positions mostly share a line.
    for (size_t k = 0; k < count; k += 4) {
        const ptrdiff_t at = static_cast<int32_t>(y[k]) * source.stride +
                             static_cast<ptrdiff_t>(static_cast<int32_t>(x[k])) * source.pixelBytes;
        Prefetch(source.bits + at, ahead);
    }
}

static void AddRow(float* sums, const float* values, float add, size_t count) {
    for (size_t k = 0; k < count; ++k) sums[k] = values[k] + add;
}

static void OpaqueRow(uint32_t* colours, size_t count) {
    for (size_t k = 0; k < count; ++k) {
        colours[k] = colours[k] >> 24 == 1 ? colours[k] : colours[k] | 0xFF000000u;
    }
}

// The places of pixels that CopyPlaces may read, all of them; false where their offsets or their words reach too far.
template <int kFrom>
static inline bool PlacesOf(int32_t* places, const SampledPixels& source, const float* x, const float* y, float add,
                            size_t count) {
    if (!kCopiesPlaces || source.end - source.begin >= 0x7FFFFFFF) return false;
    const auto stride = static_cast<int32_t>(source.stride);
    int32_t last = INT32_MIN;
    for (size_t k = 0; k < count; ++k) {
        places[k] = static_cast<int32_t>(y[k] + add) * stride + static_cast<int32_t>(x[k] + add) * kFrom;
        last = places[k] > last ? places[k] : last;
    }
    return kFrom == 1 || source.end - source.bits - last >= 4;
}

template <int kFrom, int kTo>
static inline void CopyNearest(uint8_t* dst, const SampledPixels& source, const float* x, const float* y, float add,
                               ptrdiff_t ahead, size_t count) {
    constexpr size_t kPart = 128;
    alignas(64) int32_t places[kPart];
    for (size_t first = 0; first < count; first += kPart) {
        const size_t part = count - first < kPart ? count - first : kPart;
        if (PlacesOf<kFrom>(places, source, x + first, y + first, add, part)) {
            CopyPlaces<kFrom, kTo>(dst + first * kTo, source.bits, places, ahead, part);
            continue;
        }
        for (size_t k = first; k < first + part; ++k) {
            const ptrdiff_t column = static_cast<int32_t>(x[k] + add), row = static_cast<int32_t>(y[k] + add);
            const uint32_t pixel = PixelWord(source.bits + row * source.stride + column * kFrom, kFrom);
            __builtin_memcpy(dst + k * kTo, &pixel, kTo);
        }
    }
}

static void NearestRow(uint32_t* colours, const SampledPixels* pixels, const float* x, const float* y, float add,
                       ptrdiff_t ahead, size_t count) {
    auto* dst = reinterpret_cast<uint8_t*>(colours);
    switch (pixels->pixelBytes) {
        case 1: CopyNearest<1, 4>(dst, *pixels, x, y, add, ahead, count); break;
        case 3: CopyNearest<3, 4>(dst, *pixels, x, y, add, ahead, count); break;
        default: CopyNearest<4, 4>(dst, *pixels, x, y, add, ahead, count);
    }
}

static void TakeRow(uint8_t* dst, const SampledPixels* pixels, const float* x, const float* y, float add,
                    ptrdiff_t ahead, size_t count) {
    switch (pixels->pixelBytes) {
        case 1: CopyNearest<1, 1>(dst, *pixels, x, y, add, ahead, count); break;
        case 3: CopyNearest<3, 3>(dst, *pixels, x, y, add, ahead, count); break;
        default: CopyNearest<4, 4>(dst, *pixels, x, y, add, ahead, count);
    }
}

static void TapOffsets(int64_t* offsets, const SampledPixels* pixels, const float* x, const float* y, int back,
                       size_t count) {
    const int64_t stride = pixels->stride, pixelBytes = pixels->pixelBytes;
    for (size_t k = 0; k < count; ++k) {
        offsets[k] = (static_cast<int32_t>(y[k]) - back) * stride + (static_cast<int32_t>(x[k]) - back) * pixelBytes;
    }
}

// Arguments that the compiler may take to be apart, which local pointers are not to every one.
template <class Curve>
static void WeighTaps(float* __restrict first, float* __restrict second, float* __restrict third,
                      float* __restrict fourth, const float* __restrict positions, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const float position = positions[i];
        // Sums of whole numbers round to single precision as the numbers themselves would.
        const auto cell = static_cast<float>(static_cast<int32_t>(position));
        first[i] = Curve::template Tap<0>((cell - 1) - position);
        second[i] = Curve::template Tap<1>(cell - position);
        third[i] = Curve::template Tap<2>((cell + 1) - position);
        fourth[i] = Curve::template Tap<3>((cell + 2) - position);
    }
}

template <class Curve>
static void WeighTaps(float* weights, size_t pitch, const float* positions, size_t count) {
    WeighTaps<Curve>(weights, weights + pitch, weights + 2 * pitch, weights + 3 * pitch, positions, count);
}

static void TapWeights(float* weights, size_t pitch, const float* positions, size_t count, int curve) {
    switch (curve) {
        case kBSplineCurve: WeighTaps<BSplineCurve>(weights, pitch, positions, count); break;
        case kBicubicSharpCurve: WeighTaps<BicubicSharpCurve>(weights, pitch, positions, count); break;
        case kCatmullRomCurve: WeighTaps<CatmullRomCurve>(weights, pitch, positions, count); break;
        case kBoxCurve: WeighTaps<BoxCurve>(weights, pitch, positions, count); break;
        case kHermiteCurve: WeighTaps<HermiteCurve>(weights, pitch, positions, count); break;
        case kHermiteScaledCurve: WeighTaps<HermiteScaledCurve>(weights, pitch, positions, count); break;
        case kBesselCurve: WeighTaps<BesselCurve>(weights, pitch, positions, count); break;
        case kQuadraticCurve: WeighTaps<QuadraticCurve>(weights, pitch, positions, count); break;
        case kMitchellCurve: WeighTaps<MitchellCurve>(weights, pitch, positions, count); break;
        default: WeighTaps<CatmullRomHalfCurve>(weights, pitch, positions, count); break;
    }
}

// Clamped and truncated, not rounded.
static inline uint32_t ByteOfSum(float sum) {
    const float low = sum > 0 ? sum : 0.0f;
    return static_cast<uint32_t>(static_cast<int32_t>(low < 255 ? low : 255.0f));
}

// True when a number within `tolerance` of the sum truncates to another byte.
static inline bool NearStep(float sum, float tolerance) {
    const float low = sum > 0 ? sum : 0.0f, capped = low < 255.25f ? low : 255.25f;
    const auto step = static_cast<float>(static_cast<int32_t>(capped + 0.5f));
    return step >= 1 && Magnitude(sum - step) <= tolerance;
}

template <int kPixelBytes>
static inline uint32_t ColourOfSums(const float* sums) {
    if (kPixelBytes == 1) return ByteOfSum(sums[0]) * 0x010101u;
    uint32_t colour = 0;
    for (int c = 0; c < kPixelBytes; ++c) colour |= ByteOfSum(sums[c]) << (8 * c);
    return colour;
}

template <int kPixelBytes, int kTaps>
static void AccumulatePlain(uint32_t* colours, const SampledPixels& source, const TapRun& taps, size_t first,
                            size_t last) {
    for (size_t k = first; k < last; ++k) {
        const uint8_t* row = source.bits + taps.offsets[k];
        float sums[kPixelBytes] = {};
        for (size_t j = 0; j < kTaps; ++j, row += source.stride) {
            const float rowWeight = taps.rows[j * taps.rowPitch + k];
            const uint8_t* p = row;
            for (size_t i = 0; i < kTaps; ++i, p += kPixelBytes) {
                const float weight = taps.columns[i * taps.columnPitch + k] * rowWeight;
                for (int c = 0; c < kPixelBytes; ++c) sums[c] += weight * static_cast<float>(p[c]);
            }
        }
        colours[k] = ColourOfSums<kPixelBytes>(sums);
    }
}

#include "SamplingGuarded.inl"
#if VEL_VECTOR
#include "SamplingVector.inl"
#else
template <int kPixelBytes, int kTaps>
static inline void AccumulateRun(uint32_t* colours, const SampledPixels& source, const TapRun& taps, size_t count) {
    AccumulatePlain<kPixelBytes, kTaps>(colours, source, taps, 0, count);
}
template <int kPixelBytes, int kTaps>
static inline void GuardRun(uint32_t* colours, uint32_t* doubts, const SampledPixels& source, const TapRun& taps,
                            size_t count) {
    GuardPlain<kPixelBytes, kTaps>(colours, doubts, source, taps, 0, count);
}
#endif

template <int kTaps>
static inline void AccumulateTaps(uint32_t* colours, const SampledPixels& source, const TapRun& taps, size_t count) {
    switch (source.pixelBytes) {
        case 1: AccumulateRun<1, kTaps>(colours, source, taps, count); break;
        case 3: AccumulateRun<3, kTaps>(colours, source, taps, count); break;
        default: AccumulateRun<4, kTaps>(colours, source, taps, count); break;
    }
}

template <int kTaps>
static inline void GuardTaps(uint32_t* colours, uint32_t* doubts, const SampledPixels& source, const TapRun& taps,
                             size_t count) {
    switch (source.pixelBytes) {
        case 1: GuardRun<1, kTaps>(colours, doubts, source, taps, count); break;
        case 3: GuardRun<3, kTaps>(colours, doubts, source, taps, count); break;
        default: GuardRun<4, kTaps>(colours, doubts, source, taps, count); break;
    }
}

static void Accumulate4(uint32_t* colours, const SampledPixels* pixels, const TapRun* taps, size_t count) {
    AccumulateTaps<4>(colours, *pixels, *taps, count);
}
static void Accumulate12(uint32_t* colours, const SampledPixels* pixels, const TapRun* taps, size_t count) {
    AccumulateTaps<12>(colours, *pixels, *taps, count);
}
static void GuardedSums4(uint32_t* colours, uint32_t* doubts, const SampledPixels* pixels, const TapRun* taps,
                         size_t count) {
    GuardTaps<4>(colours, doubts, *pixels, *taps, count);
}
static void GuardedSums12(uint32_t* colours, uint32_t* doubts, const SampledPixels* pixels, const TapRun* taps,
                          size_t count) {
    GuardTaps<12>(colours, doubts, *pixels, *taps, count);
}

#include "RowSums.inl"

static void StoreRow24(uint8_t* dst, const uint32_t* colours, size_t count) {
    size_t k = 0;
#if VEL_AVX512
    const __m512i places = kPackPlaces.Load();
    for (; k + 16 <= count; k += 16) {
        const __m512i packed = _mm512_permutexvar_epi8(places, _mm512_loadu_si512(colours + k));
        _mm512_mask_storeu_epi8(dst + 3 * k, k48Bytes, packed);
    }
#endif
    for (; k < count; ++k) {
        dst[3 * k] = static_cast<uint8_t>(colours[k]);
        dst[3 * k + 1] = static_cast<uint8_t>(colours[k] >> 8);
        dst[3 * k + 2] = static_cast<uint8_t>(colours[k] >> 16);
    }
}

static void StoreRow8(uint8_t* dst, const uint32_t* colours, size_t count) {
    for (size_t k = 0; k < count; ++k) {
        const uint32_t sum = (colours[k] & 0xFF) + (colours[k] >> 8 & 0xFF) + (colours[k] >> 16 & 0xFF);
        // A third of up to 766: 43691 / 2^17 is 1/3 + 2.5e-6, too little to reach the next integer.
        dst[k] = static_cast<uint8_t>((sum + 1) * 43691u >> 17);
    }
}

#if VEL_AVX512
// 16 pixels of 3 or 4 bytes as words, and back.
static inline __m512i LoadPixels(const uint8_t* p, int pixelBytes) {
    if (pixelBytes == 4) return _mm512_loadu_si512(p);
    return _mm512_permutexvar_epi8(kSpreadPlaces.Load(), _mm512_maskz_loadu_epi8(k48Bytes, p));
}
static inline void StorePixels(uint8_t* p, int pixelBytes, __m512i words) {
    if (pixelBytes == 4) {
        _mm512_storeu_si512(p, words);
    } else {
        _mm512_mask_storeu_epi8(p, k48Bytes, _mm512_permutexvar_epi8(kPackPlaces.Load(), words));
    }
}

static size_t BlendVectors(uint8_t* dst, int dstBytes, const uint32_t* colours, size_t count) {
    const __m512i byte = _mm512_set1_epi32(255);
    const __m512 full = _mm512_set1_ps(255.0f);
    size_t k = 0;
    for (; k + 16 <= count; k += 16, dst += 16 * dstBytes) {
        const __m512i colour = _mm512_loadu_si512(colours + k), old = LoadPixels(dst, dstBytes);
        const __m512i alpha = _mm512_srli_epi32(colour, 24);
        const __m512 own = _mm512_div_ps(_mm512_cvtepi32_ps(alpha), full);
        const __m512 other = _mm512_div_ps(_mm512_cvtepi32_ps(_mm512_sub_epi32(byte, alpha)), full);
        __m512i blended = _mm512_slli_epi32(alpha, 24);
        for (unsigned c = 0; c < 3; ++c) {
            const auto channel = [&](__m512i words) {
                return _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srli_epi32(words, 8 * c), byte));
            };
            const __m512 value = _mm512_add_ps(_mm512_mul_ps(channel(colour), own), _mm512_mul_ps(channel(old), other));
            blended = _mm512_or_si512(blended, _mm512_slli_epi32(_mm512_cvttps_epi32(value), 8 * c));
        }
        StorePixels(dst, dstBytes, blended);
    }
    return k;
}

static size_t KeyedVectors(uint8_t* dst, int dstBytes, const uint32_t* colours, uint32_t key, size_t count) {
    const __m512i low = _mm512_set1_epi32(0x00FFFFFF), skipped = _mm512_set1_epi32(static_cast<int>(key));
    size_t k = 0;
    for (; k + 16 <= count; k += 16, dst += 16 * dstBytes) {
        const __m512i colour = _mm512_loadu_si512(colours + k);
        const __mmask16 kept = _mm512_cmpeq_epi32_mask(_mm512_and_si512(colour, low), skipped);
        StorePixels(dst, dstBytes, kept ? _mm512_mask_mov_epi32(colour, kept, LoadPixels(dst, dstBytes)) : colour);
    }
    return k;
}
#else
static inline size_t BlendVectors(uint8_t*, int, const uint32_t*, size_t) { return 0; }
static inline size_t KeyedVectors(uint8_t*, int, const uint32_t*, uint32_t, size_t) { return 0; }
#endif

static void BlendRow(uint8_t* dst, int dstBytes, const uint32_t* colours, size_t count) {
    size_t k = BlendVectors(dst, dstBytes, colours, count);
    for (dst += k * static_cast<size_t>(dstBytes); k < count; ++k, dst += dstBytes) {
        // The quotient of two integers below 256 rounds to the same float from the exact and from the double quotient.
        const uint32_t alpha = colours[k] >> 24;
        const float own = static_cast<float>(alpha) / 255.0f, other = static_cast<float>(255 - alpha) / 255.0f;
        for (int c = 0; c < 3; ++c) {
            const auto channel = static_cast<float>(colours[k] >> (8 * c) & 0xFF);
            const float value = channel * own + static_cast<float>(dst[c]) * other;
            dst[c] = static_cast<uint8_t>(static_cast<int32_t>(value));
        }
        if (dstBytes == 4) dst[3] = static_cast<uint8_t>(alpha);
    }
}

static void KeyedRow(uint8_t* dst, int dstBytes, const uint32_t* colours, uint32_t key, size_t count) {
    size_t k = KeyedVectors(dst, dstBytes, colours, key, count);
    for (dst += k * static_cast<size_t>(dstBytes); k < count; ++k, dst += dstBytes) {
        const uint32_t colour = colours[k];
        if ((colour & 0x00FFFFFF) == key) continue;
        dst[0] = static_cast<uint8_t>(colour);
        dst[1] = static_cast<uint8_t>(colour >> 8);
        dst[2] = static_cast<uint8_t>(colour >> 16);
        if (dstBytes == 4) dst[3] = static_cast<uint8_t>(colour >> 24);
    }
}
