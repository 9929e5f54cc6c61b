// Arithmetic kernels; see Arithmetic.h.

// ---------------------------------------------------------------------------------------------------------------
// Fills and masks

// Three vectors hold whole pixels of 3 or 4 bytes. Their bytes repeat every 24, which are three words.
static inline void FillPattern(uint8_t* dst, size_t bytes, uint32_t word, size_t pixelBytes) {
    const uint64_t four = word | static_cast<uint64_t>(word) << 32, p = word & 0x00FFFFFF;
    const uint64_t period[3] = {pixelBytes == 4 ? four : p | p << 24 | p << 48,
                                pixelBytes == 4 ? four : p >> 16 | p << 8 | p << 32 | p << 56,
                                pixelBytes == 4 ? four : p >> 8 | p << 16 | p << 40};
    uint8_t pattern[192];
    for (size_t k = 0; k < 24; ++k) memcpy(pattern + 8 * k, period + k % 3, 8);
    size_t i = 0;
#if VEL_VECTOR
    const Bytes a = LoadBytes(pattern), b = LoadBytes(pattern + kVectorBytes),
                c = LoadBytes(pattern + 2 * kVectorBytes);
    for (; i + 3 * kVectorBytes <= bytes; i += 3 * kVectorBytes) {
        StoreBytes(dst + i, a);
        StoreBytes(dst + i + kVectorBytes, b);
        StoreBytes(dst + i + 2 * kVectorBytes, c);
    }
#endif
    for (; i + sizeof pattern <= bytes; i += sizeof pattern) memcpy(dst + i, pattern, sizeof pattern);
    memcpy(dst + i, pattern, bytes - i);
}

static void FillRow24(uint8_t* dst, size_t pixels, uint32_t word) { FillPattern(dst, pixels * 3, word, 3); }

static void FillRow32(uint8_t* dst, size_t pixels, uint32_t word) { FillPattern(dst, pixels * 4, word, 4); }

static inline void StoreMaskedBytes(uint8_t* dst, const uint8_t* src, const uint8_t* mask, size_t bytes) {
    size_t i = 0;
#if VEL_AVX512
    for (; i + 64 <= bytes; i += 64) {
        const __m512i selected = LoadBytes(mask + i);
        const __mmask64 stored = _mm512_test_epi8_mask(selected, selected);
        StoreBytes(dst + i, _mm512_mask_blend_epi8(stored, LoadBytes(dst + i), LoadBytes(src + i)));
    }
    if (i < bytes) {
        const __m512i selected = LoadFirst(mask + i, bytes - i);
        const __mmask64 stored = _mm512_test_epi8_mask(selected, selected);
        _mm512_mask_storeu_epi8(dst + i, stored, _mm512_maskz_loadu_epi8(stored, src + i));
        return;
    }
#elif VEL_VECTOR
    for (; i + kVectorBytes <= bytes; i += kVectorBytes) {
        const Bytes kept = VEL_BYTES_OP(cmpeq_epi8)(LoadBytes(mask + i), Splat8(0));
        const Bytes offered = LoadBytes(src + i), changed = Xor(offered, LoadBytes(dst + i));
        StoreBytes(dst + i, Xor(offered, And(kept, changed)));
    }
#endif
    for (; i < bytes; ++i) dst[i] = mask[i] ? src[i] : dst[i];
}

#if VEL_AVX512
// 64 pixels of 3 or 4 bytes; all three registers of 3-byte pixels ask for their pixels' mask bytes.
template <size_t kPixelBytes>
static inline void StoreMasked64(uint8_t* dst, const uint8_t* src, const uint8_t* mask) {
    for (size_t v = 0; v < kPixelBytes; ++v) {
        const __m512i old = LoadBytes(dst + 64 * v), offered = LoadBytes(src + 64 * v);
        if (kPixelBytes == 4) {
            const __m512i wide = WidenBytes(mask + 16 * v);
            StoreBytes(dst + 64 * v, _mm512_mask_blend_epi32(_mm512_test_epi32_mask(wide, wide), old, offered));
        } else {
            const __m512i wide = _mm512_permutexvar_epi8(LoadBytes(kPlacesOfPixels.place[v]), LoadBytes(mask));
            StoreBytes(dst + 64 * v, _mm512_mask_blend_epi8(_mm512_test_epi8_mask(wide, wide), old, offered));
        }
    }
}
#endif

template <size_t kPixelBytes>
static inline void StoreMaskedPixels(uint8_t* dst, const uint8_t* src, const uint8_t* mask, size_t pixels) {
#if VEL_AVX512
    if (kPixelBytes != 2) {
        const size_t whole = pixels & ~size_t{63};
        for (size_t i = 0; i < whole; i += 64) {
            StoreMasked64<kPixelBytes>(dst + i * kPixelBytes, src + i * kPixelBytes, mask + i);
        }
        dst += whole * kPixelBytes;
        src += whole * kPixelBytes;
        mask += whole;
        pixels -= whole;
    }
#endif
    // The mask is widened to a byte a byte, in parts that stay in the nearest cache.
    constexpr size_t kPart = 1024;
    uint8_t wide[kPart * kPixelBytes];
    for (size_t i = 0; i < pixels; i += kPart) {
        const size_t count = pixels - i < kPart ? pixels - i : kPart;
        for (size_t k = 0; k < count; ++k) {
            for (size_t b = 0; b < kPixelBytes; ++b) wide[k * kPixelBytes + b] = mask[i + k];
        }
        StoreMaskedBytes(dst + i * kPixelBytes, src + i * kPixelBytes, wide, count * kPixelBytes);
    }
}

static void StoreMaskedRow(uint8_t* dst, const uint8_t* src, const uint8_t* mask, size_t pixels, size_t pixelBytes) {
    switch (pixelBytes) {
        case 1: StoreMaskedBytes(dst, src, mask, pixels); return;
        case 2: StoreMaskedPixels<2>(dst, src, mask, pixels); return;
        case 3: StoreMaskedPixels<3>(dst, src, mask, pixels); return;
        case 4: StoreMaskedPixels<4>(dst, src, mask, pixels); return;
        default: break;
    }
    for (size_t i = 0; i < pixels; ++i) {
        if (mask[i]) memcpy(dst + i * pixelBytes, src + i * pixelBytes, pixelBytes);
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Conversions

static void PackRow32To24(uint8_t* dst, const uint8_t* src, size_t pixels) {
    size_t i = 0;
#if VEL_AVX512
    for (; i + 64 <= pixels; i += 64) {
        Store4To3(dst + 3 * i, LoadBytes(src + 4 * i), LoadBytes(src + 4 * i + 64), LoadBytes(src + 4 * i + 128),
                  LoadBytes(src + 4 * i + 192));
    }
#endif
#if VEL_VECTOR
    for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
        StorePixels(dst + 3 * i, LoadBytes(src + 4 * i));
    }
#endif
    for (; i < pixels; ++i) {
        dst[3 * i] = src[4 * i];
        dst[3 * i + 1] = src[4 * i + 1];
        dst[3 * i + 2] = src[4 * i + 2];
    }
}

static void ColourIntoRow32(uint8_t* dst, const uint8_t* src, size_t pixels) {
    size_t i = 0;
#if VEL_VECTOR
    const Bytes alpha = Splat32(static_cast<int>(0xFF000000u));
    for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
        StoreBytes(dst + 4 * i, Or(And(LoadBytes(dst + 4 * i), alpha), SpreadPixels(src + 3 * i)));
    }
#endif
    for (; i < pixels; ++i) {
        dst[4 * i] = src[3 * i];
        dst[4 * i + 1] = src[3 * i + 1];
        dst[4 * i + 2] = src[3 * i + 2];
    }
}

static void GreyIntoRow32(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        StoreWord(dst + 4 * i, (LoadWord(dst + 4 * i) & 0xFF000000u) | src[i] * 0x010101u);
    }
}

#if VEL_AVX512
// 32 words: first and third byte of each colour, and in the low byte of each lane the second.
struct WordColours {
    __m512i ends, middle;
};
static inline WordColours ColoursOfWords(__m512i words, int reversed) {
    const __m512i low = _mm512_and_si512(_mm512_slli_epi16(words, 3), Splat16(0xF8));
    const __m512i high = _mm512_and_si512(words, Splat16(static_cast<short>(0xF800)));
    const __m512i ends = reversed ? Or(_mm512_slli_epi16(low, 8), _mm512_srli_epi16(high, 8)) : Or(low, high);
    return {ends, _mm512_and_si512(_mm512_srli_epi16(words, 3), Splat16(0xFC))};
}

// Byte t of the 96 bytes of 32 pixels: from the first register byte 2 (t / 3), or the one after it for the third of a
// pixel; from the second (64 on) for its second.
static constexpr PlanePlaces PlacesOfWords() {
    PlanePlaces p{};
    for (int t = 0; t < 96; ++t) {
        p.place[t / 64][t % 64] = static_cast<uint8_t>(2 * (t / 3) + (t % 3 == 1 ? 64 : t % 3 / 2));
    }
    return p;
}
static constexpr PlanePlaces kPlacesOfWords = PlacesOfWords();
#endif

static void WordRow16To24(uint8_t* dst, const uint8_t* src, size_t pixels, int reversed) {
    const int first = reversed ? 16 : 0;
    size_t i = 0;
#if VEL_AVX512
    for (; i + 64 <= pixels; i += 64) {
        const WordColours a = ColoursOfWords(LoadBytes(src + 2 * i), reversed);
        const WordColours b = ColoursOfWords(LoadBytes(src + 2 * i + 64), reversed);
        const __m512i places = LoadBytes(kPlacesOfWords.place[0]), rest = LoadBytes(kPlacesOfWords.place[1]);
        uint8_t* out = dst + 3 * i;
        StoreBytes(out, _mm512_permutex2var_epi8(a.ends, places, a.middle));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 64),
                            _mm512_castsi512_si256(_mm512_permutex2var_epi8(a.ends, rest, a.middle)));
        StoreBytes(out + 96, _mm512_permutex2var_epi8(b.ends, places, b.middle));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 160),
                            _mm512_castsi512_si256(_mm512_permutex2var_epi8(b.ends, rest, b.middle)));
    }
#endif
#if VEL_VECTOR
    for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
        const Bytes words = WidenWords(src + 2 * i);
        const auto moved = [&](int left, int mask) {
            return And(left < 0 ? VEL_BYTES_OP(srli_epi32)(words, -left) : VEL_BYTES_OP(slli_epi32)(words, left),
                       Splat32(mask));
        };
        const Bytes ends = reversed ? Or(moved(19, 0xF80000), moved(-8, 0xF8)) : Or(moved(3, 0xF8), moved(8, 0xF80000));
        StorePixels(dst + 3 * i, Or(ends, moved(5, 0xFC00)));
    }
#endif
    for (; i < pixels; ++i) {
        uint16_t word;
        memcpy(&word, src + 2 * i, 2);
        const uint32_t low = word << 3 & 0xF8, middle = word >> 3 & 0xFC, high = word >> 8 & 0xF8;
        const uint32_t pixel = low << first | middle << 8 | high << (16 - first);
        for (size_t k = 0; k < 3; ++k) dst[3 * i + k] = static_cast<uint8_t>(pixel >> (8 * k));
    }
}

static void LookUpTo(uint8_t* dst, const uint8_t* src, size_t bytes, const uint8_t* table) {
    LookUpBytes(dst, src, bytes, table);
}

static void LookUpRow32To24(uint8_t* dst, const uint8_t* src, size_t pixels, const uint8_t* table) {
    size_t i = 0;
#if VEL_AVX2
    const ByteTable registers(table);
#if VEL_AVX512
    for (; i + 64 <= pixels; i += 64) {
        const auto found = [&](size_t k) { return LookUp(LoadBytes(src + 4 * i + 64 * k), registers); };
        Store4To3(dst + 3 * i, found(0), found(1), found(2), found(3));
    }
#endif
    for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
        StorePixels(dst + 3 * i, LookUp(LoadBytes(src + 4 * i), registers));
    }
#endif
    for (; i < pixels; ++i) {
        dst[3 * i] = table[src[4 * i]];
        dst[3 * i + 1] = table[src[4 * i + 1]];
        dst[3 * i + 2] = table[src[4 * i + 2]];
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Sums and differences

static void AddRow(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes) {
#if VEL_VECTOR
    MapBytes(dst, first, second, bytes, [](Bytes a, Bytes b) { return AddSaturated(a, b); });
#else
    for (size_t i = 0; i < bytes; ++i) dst[i] = Saturate(first[i] + second[i]);
#endif
}

static void AddLookUpRow(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes,
                         const SumTable* table) {
#if VEL_AVX512
    const ByteTable low(table->entry), high(table->entry + 256);
    MapBytes(dst, first, second, bytes, [&](Bytes a, Bytes b) {
        const __m512i sum = _mm512_add_epi8(a, b);
        return _mm512_mask_blend_epi8(_mm512_cmplt_epu8_mask(sum, a), LookUp(sum, low), LookUp(sum, high));
    });
    return;
#elif VEL_VECTOR
    if (table->multiplier) {
        const Bytes multiplier = Splat16(static_cast<short>(table->multiplier)), zero = Splat8(0);
        MapBytes(dst, first, second, bytes, [&](Bytes a, Bytes b) {
            const Bytes low =
                VEL_BYTES_OP(add_epi16)(VEL_BYTES_OP(unpacklo_epi8)(a, zero), VEL_BYTES_OP(unpacklo_epi8)(b, zero));
            const Bytes high =
                VEL_BYTES_OP(add_epi16)(VEL_BYTES_OP(unpackhi_epi8)(a, zero), VEL_BYTES_OP(unpackhi_epi8)(b, zero));
            return VEL_BYTES_OP(packus_epi16)(VEL_BYTES_OP(mulhi_epu16)(low, multiplier),
                                              VEL_BYTES_OP(mulhi_epu16)(high, multiplier));
        });
        return;
    }
#endif
    for (size_t i = 0; i < bytes; ++i) dst[i] = table->entry[first[i] + second[i]];
}

// Differences of the bytes where `counted` has ones; the others become those of `set`.
static inline size_t SubtractPixels(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes,
                                    int magnitude, uint32_t counted, uint32_t set) {
#if VEL_VECTOR
    const Bytes negatives = Splat8(magnitude ? -1 : 0), one = Splat8(1);
    const Bytes kept = Splat32(static_cast<int>(counted)), others = Splat32(static_cast<int>(set));
    Bytes above = Splat8(0);
    MapBytes(dst, first, second, bytes, [&](Bytes a, Bytes b) {
        const Bytes difference = Or(SubtractSaturated(a, b), And(SubtractSaturated(b, a), negatives));
        const Bytes result = And(difference, kept);
        const Bytes aboveOne = Min8(SubtractSaturated(result, one), one);
        above = VEL_BYTES_OP(add_epi64)(above, VEL_BYTES_OP(sad_epu8)(aboveOne, Splat8(0)));
        return Or(result, others);
    });
    uint64_t sums[kVectorBytes / 8], total = 0;
    StoreBytes(sums, above);
    for (const uint64_t sum : sums) total += sum;
    return static_cast<size_t>(total);
#else
    size_t above = 0;
    for (size_t i = 0; i < bytes; ++i) {
        const uint32_t shift = 8 * (i & 3);
        const int difference = first[i] - second[i];
        const int result = (difference >= 0 ? difference : magnitude ? -difference : 0) & (counted >> shift & 0xFF);
        above += result > 1;
        dst[i] = static_cast<uint8_t>(result | (set >> shift & 0xFF));
    }
    return above;
#endif
}

static size_t SubtractRow(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes, int magnitude) {
    return SubtractPixels(dst, first, second, bytes, magnitude, 0xFFFFFFFFu, 0);
}

static size_t SubtractRow32(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t pixels, int magnitude,
                            uint8_t alpha) {
    return SubtractPixels(dst, first, second, pixels * 4, magnitude, 0x00FFFFFFu, static_cast<uint32_t>(alpha) << 24);
}

// ---------------------------------------------------------------------------------------------------------------
// Single precision

// A comparison with NaN fails, so NaN takes the lower limit.
static inline float Limited(float value, float high) {
    const float floored = value > 0.0f ? value : 0.0f;
    return floored < high ? floored : high;
}

static inline uint8_t ClampedByte(float value) {
    return static_cast<uint8_t>(static_cast<int32_t>(Limited(value, 255.0f)));
}

// The greatest int32 is no float: what reaches 2^31 becomes it.
static inline int32_t FlooredInt(float value) {
    const int32_t truncated = static_cast<int32_t>(Limited(value, 2147483520.0f));
    return value >= 2147483648.0f ? INT32_MAX : truncated;
}

static inline float LoadInt(const uint8_t* bytes) { return static_cast<float>(static_cast<int32_t>(LoadWord(bytes))); }

#if VEL_VECTOR
// Scaling by factor and offset; "To8" and "ToInt" as in the kernels' names.
struct Scaler {
    Floats factor, offset;
    Scaler(float f, float o) : factor(SplatFloat(f)), offset(SplatFloat(o)) {}
    Floats Scaled(Bytes ints) const { return Add(Multiply(FloatsOf(ints), factor), offset); }
    // Saturates when narrowed to bytes.
    Bytes ToNarrow(Bytes ints) const { return TruncatedBelow(Scaled(ints), 255.0f); }
    Bytes ToInt(Bytes ints) const {
        // NaN is the first operand, so the maximum is 0. What is too great becomes the lowest integer, and that the
        // greatest.
        const Bytes v = VEL_BYTES_OP(cvttps_epi32)(VEL_BYTES_OP(max_ps)(Scaled(ints), SplatFloat(0.0f)));
        return Xor(v, VEL_BYTES_OP(srai_epi32)(v, 31));
    }
};

// dst bytes, a vector at a time, from 4 bytes of src each: step(p) makes a vector of them from what is at p. It reads
// no more than `slack` bytes beyond that.
template <class Step>
static inline void MapToBytes(uint8_t* dst, const uint8_t* src, size_t pixels, size_t pixelBytes, size_t slack,
                              const Step& step) {
    size_t i = 0;
    for (; (i + kVectorBytes) * pixelBytes + slack <= pixels * pixelBytes; i += kVectorBytes) {
        StoreBytes(dst + i, step(src + i * pixelBytes));
    }
    while (i < pixels) {
        const size_t count = pixels - i < kVectorBytes ? pixels - i : kVectorBytes;
        uint8_t part[kVectorBytes * 4 + 64] = {};
        memcpy(part, src + i * pixelBytes, count * pixelBytes);
        const Bytes bytes = step(part);
        if (count < kVectorBytes) {
            StoreFirst(dst + i, bytes, count);
        } else {
            StoreBytes(dst + i, bytes);
        }
        i += count;
    }
}

// Four vectors of integers, `distance` bytes apart, narrowed: load(p) gives one.
template <class Load>
static inline Bytes ScaledFour(const Scaler& scaler, const uint8_t* p, size_t distance, const Load& load) {
    return InMemoryOrder(Narrowed(scaler.ToNarrow(load(p)), scaler.ToNarrow(load(p + distance)),
                                  scaler.ToNarrow(load(p + 2 * distance)), scaler.ToNarrow(load(p + 3 * distance))));
}
#endif

#if VEL_VECTOR
// `bounded`: no sum reaches 2^31, so that narrowing is all that limits it.
template <bool bounded>
static inline void WeighBytes(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes,
                              float firstFactor, float secondFactor, float offset) {
    const Floats f1 = SplatFloat(firstFactor), f2 = SplatFloat(secondFactor), raise = SplatFloat(offset);
    MapBytes(dst, first, second, bytes, [&](Bytes a, Bytes b) {
        const FourFloats x = FloatsOfBytes(a), y = FloatsOfBytes(b);
        const auto sum = [&](int k) {
            const Floats value = Add(Add(Multiply(x.part[k], f1), Multiply(y.part[k], f2)), raise);
            return bounded ? VEL_BYTES_OP(cvttps_epi32)(value) : TruncatedBelow(value, 255.0f);
        };
        return Narrowed(sum(0), sum(1), sum(2), sum(3));
    });
}
#endif

static void WeightedRow(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes, float firstFactor,
                        float secondFactor, float offset) {
#if VEL_VECTOR
    const float most = 255 * (__builtin_fabsf(firstFactor) + __builtin_fabsf(secondFactor)) + __builtin_fabsf(offset);
    const auto weigh = most < 2e9f ? WeighBytes<true> : WeighBytes<false>;
    weigh(dst, first, second, bytes, firstFactor, secondFactor, offset);
#else
    for (size_t i = 0; i < bytes; ++i) {
        dst[i] = ClampedByte((first[i] * firstFactor + second[i] * secondFactor) + offset);
    }
#endif
}

static void ScaleSumTo8(uint8_t* dst, const uint8_t* src, size_t pixels, size_t pixelBytes, float factor,
                        float offset) {
#if VEL_VECTOR
    const Scaler scaler(factor, offset);
    MapToBytes(dst, src, pixels, pixelBytes, pixelBytes == 3 ? kLaneSlack : 0, [&](const uint8_t* p) {
        return pixelBytes == 3
                   ? ScaledFour(scaler, p, 3 * kLanePixels,
                                [](const uint8_t* q) { return ChannelSums(SpreadPixels(q)); })
                   : ScaledFour(scaler, p, kVectorBytes, [](const uint8_t* q) { return ChannelSums(LoadBytes(q)); });
    });
#else
    for (size_t i = 0; i < pixels; ++i, src += pixelBytes) {
        dst[i] = ClampedByte(static_cast<float>(src[0] + src[1] + src[2]) * factor + offset);
    }
#endif
}

static void ScaleIntTo8(uint8_t* dst, const uint8_t* src, size_t pixels, float factor, float offset) {
#if VEL_VECTOR
    const Scaler scaler(factor, offset);
    MapToBytes(dst, src, pixels, 4, 0, [&](const uint8_t* p) {
        return ScaledFour(scaler, p, kVectorBytes, [](const uint8_t* q) { return LoadBytes(q); });
    });
#else
    for (size_t i = 0; i < pixels; ++i) dst[i] = ClampedByte(LoadInt(src + 4 * i) * factor + offset);
#endif
}

static void ScaleIntToInt(uint8_t* dst, const uint8_t* src, size_t pixels, float factor, float offset) {
#if VEL_VECTOR
    const Scaler scaler(factor, offset);
    MapBytes(dst, src, pixels * 4, [&](Bytes ints) { return scaler.ToInt(ints); });
#else
    for (size_t i = 0; i < pixels; ++i) {
        StoreWord(dst + 4 * i, static_cast<uint32_t>(FlooredInt(LoadInt(src + 4 * i) * factor + offset)));
    }
#endif
}

static void ScaleByteToInt(uint8_t* dst, const uint8_t* src, size_t pixels, float factor, float offset) {
    size_t i = 0;
#if VEL_VECTOR
    const Scaler scaler(factor, offset);
    for (; i + kLanePixels <= pixels; i += kLanePixels) {
        StoreBytes(dst + 4 * i, scaler.ToInt(WidenBytes(src + i)));
    }
#endif
    for (; i < pixels; ++i) {
        StoreWord(dst + 4 * i, static_cast<uint32_t>(FlooredInt(static_cast<float>(src[i]) * factor + offset)));
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Truncated products and an offset

#if VEL_VECTOR
// The offset added and the sums narrowed, four vectors of integers to one of bytes. What 16 bits cut off stays outside
// 0 to 255 with an offset within 32000.
template <class Ints>
static inline void MapWithOffset(uint8_t* dst, const uint8_t* src, size_t pixels, int offset, const Ints& ints) {
    const Bytes raise = Splat16(offset);
    const auto raised = [&](Bytes a, Bytes b) {
        return VEL_BYTES_OP(adds_epi16)(VEL_BYTES_OP(packs_epi32)(a, b), raise);
    };
    MapToBytes(dst, src, pixels, 4, 0, [&](const uint8_t* p) {
        const Bytes low = raised(ints(p), ints(p + kVectorBytes));
        const Bytes high = raised(ints(p + 2 * kVectorBytes), ints(p + 3 * kVectorBytes));
        return InMemoryOrder(VEL_BYTES_OP(packus_epi16)(low, high));
    });
}
#endif

#if VEL_AVX2
static constexpr int kTowardsZero = _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC;

// Half as many integers as a vector of bytes has lanes of 4, in double precision.
#if VEL_AVX512
typedef __m512d Doubles;
#define VEL_DOUBLES_OP(name) VEL_JOIN(_mm512_, name)
static inline Doubles DoublesOf(const uint8_t* p) {
    return _mm512_cvtepi32_pd(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
}
static inline Doubles Whole(Doubles v) { return _mm512_roundscale_pd(v, kTowardsZero); }
static inline Bytes JoinInts(__m256i low, __m256i high) {
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}
#else
typedef __m256d Doubles;
#define VEL_DOUBLES_OP(name) VEL_JOIN(_mm256_, name)
static inline Doubles DoublesOf(const uint8_t* p) {
    return _mm256_cvtepi32_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
static inline Doubles Whole(Doubles v) { return _mm256_round_pd(v, kTowardsZero); }
static inline Bytes JoinInts(__m128i low, __m128i high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}
#endif

// For factors that keep an int32 an int32.
static inline void ScaleSmall(uint8_t* dst, const uint8_t* src, size_t pixels, double factor, int offset) {
    const Doubles f = VEL_DOUBLES_OP(set1_pd)(factor);
    MapWithOffset(dst, src, pixels, offset, [&](const uint8_t* p) {
        const auto half = [&](const uint8_t* q) {
            return VEL_DOUBLES_OP(cvttpd_epi32)(VEL_DOUBLES_OP(mul_pd)(DoublesOf(q), f));
        };
        return JoinInts(half(p), half(p + kVectorBytes / 2));
    });
}

// For finite factors. 255 and more saturate when narrowed, as does what is below 0.
static inline void ScaleFinite(uint8_t* dst, const uint8_t* src, size_t pixels, double factor, int offset) {
    const Doubles f = VEL_DOUBLES_OP(set1_pd)(factor), raise = VEL_DOUBLES_OP(set1_pd)(offset);
    const Doubles most = VEL_DOUBLES_OP(set1_pd)(255.0);
    const auto ints = [&](const uint8_t* p) {
        const auto half = [&](const uint8_t* q) {
            const Doubles sum = VEL_DOUBLES_OP(add_pd)(Whole(VEL_DOUBLES_OP(mul_pd)(DoublesOf(q), f)), raise);
            return VEL_DOUBLES_OP(cvttpd_epi32)(VEL_DOUBLES_OP(min_pd)(sum, most));
        };
        return JoinInts(half(p), half(p + kVectorBytes / 2));
    };
    MapToBytes(dst, src, pixels, 4, 0, [&](const uint8_t* p) {
        return InMemoryOrder(
            Narrowed(ints(p), ints(p + kVectorBytes), ints(p + 2 * kVectorBytes), ints(p + 3 * kVectorBytes)));
    });
}
#endif

static void ScaleOffsetIntTo8(uint8_t* dst, const uint8_t* src, size_t pixels, const OffsetScale* scale) {
    const double factor = scale->factor;
    const int offset = scale->offset;
#if VEL_VECTOR
    if (scale->single != 0) {
        const Floats f = SplatFloat(scale->single);
        MapWithOffset(dst, src, pixels, offset, [&](const uint8_t* p) {
            return VEL_BYTES_OP(cvttps_epi32)(Multiply(FloatsOf(LoadBytes(p)), f));
        });
        return;
    }
#endif
#if VEL_AVX2
    if (factor > -1 && factor <= 1 && offset >= -32000 && offset <= 32000) {
        ScaleSmall(dst, src, pixels, factor, offset);
        return;
    }
    if (factor - factor == 0) {
        ScaleFinite(dst, src, pixels, factor, offset);
        return;
    }
#endif
    // Products beyond these limits end at 0 or 255 like the limits themselves.
    const double low = -1.0 - offset, high = 256.0 - offset;
    for (size_t i = 0; i < pixels; ++i) {
        const double product = static_cast<int32_t>(LoadWord(src + 4 * i)) * factor;
        const double number = product == product ? product : 0.0;
        const double raised = number > low ? number : low;
        const int64_t value = static_cast<int64_t>(raised < high ? raised : high) + offset;
        dst[i] = static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
}
