// Weighted sums by byte vectors. The four rows of a quad are interleaved: 32-bit lane i holds byte i of each, and a
// coefficient word holds what they are weighed with, so that one product of vectors adds four taps (at sse2, two).

#if VEL_AVX512
// Interleaves vectors of 8- or 16-bit elements: the first (second) halves of a and b.
static inline void Interleave8(Bytes& low, Bytes& high, Bytes a, Bytes b) {
    uint8_t places[128];
    for (int i = 0; i < 128; ++i) places[i] = static_cast<uint8_t>(i / 2 + (i & 1) * 64);
    low = _mm512_permutex2var_epi8(a, LoadBytes(places), b);
    high = _mm512_permutex2var_epi8(a, LoadBytes(places + 64), b);
}
static inline void Interleave16(Bytes& low, Bytes& high, Bytes a, Bytes b) {
    uint16_t places[64];
    for (int i = 0; i < 64; ++i) places[i] = static_cast<uint16_t>(i / 2 + (i & 1) * 32);
    low = _mm512_permutex2var_epi16(a, LoadBytes(places), b);
    high = _mm512_permutex2var_epi16(a, LoadBytes(places + 32), b);
}
#elif VEL_AVX2
static inline void Interleave8(Bytes& low, Bytes& high, Bytes a, Bytes b) {
    const Bytes first = _mm256_unpacklo_epi8(a, b), second = _mm256_unpackhi_epi8(a, b);
    low = _mm256_permute2x128_si256(first, second, 0x20);
    high = _mm256_permute2x128_si256(first, second, 0x31);
}
static inline void Interleave16(Bytes& low, Bytes& high, Bytes a, Bytes b) {
    const Bytes first = _mm256_unpacklo_epi16(a, b), second = _mm256_unpackhi_epi16(a, b);
    low = _mm256_permute2x128_si256(first, second, 0x20);
    high = _mm256_permute2x128_si256(first, second, 0x31);
}
#else
static inline void Interleave8(Bytes& low, Bytes& high, Bytes a, Bytes b) {
    low = _mm_unpacklo_epi8(a, b);
    high = _mm_unpackhi_epi8(a, b);
}
static inline void Interleave16(Bytes& low, Bytes& high, Bytes a, Bytes b) {
    low = _mm_unpacklo_epi16(a, b);
    high = _mm_unpackhi_epi16(a, b);
}
#endif

static void PrepareQuad(uint8_t* quad, const uint8_t* const* rows, size_t at, size_t count, size_t) {
    quad += 4 * at;
    size_t i = 0;
    for (; i + kVectorBytes <= count; i += kVectorBytes) {
        Bytes ab[2], cd[2], abcd[4];
        Interleave8(ab[0], ab[1], LoadBytes(rows[0] + i), LoadBytes(rows[1] + i));
        Interleave8(cd[0], cd[1], LoadBytes(rows[2] + i), LoadBytes(rows[3] + i));
        Interleave16(abcd[0], abcd[1], ab[0], cd[0]);
        Interleave16(abcd[2], abcd[3], ab[1], cd[1]);
        for (size_t k = 0; k < 4; ++k) StoreBytes(quad + 4 * i + k * kVectorBytes, abcd[k]);
    }
    for (; i < count; ++i) {
        for (size_t j = 0; j < 4; ++j) quad[4 * i + j] = rows[j][i];
    }
}

static constexpr size_t kLanes = kVectorBytes / 4;
static constexpr int kRows = TapPlan::kRows;
// Vectors of sums that a row gets at once: as many as registers hold beside the other rows'.
#if VEL_AVX512
static constexpr int kAcross = 4;
#else
static constexpr int kAcross = 2;
#endif
static_assert(kQuadSlack >= kAcross * kVectorBytes);

static inline Bytes Plus32(Bytes a, Bytes b) { return VEL_BYTES_OP(add_epi32)(a, b); }

// What lanes of pixels, and coefficients for all lanes, become before they are multiplied.
#if VEL_AVX2
typedef Bytes Quads;
static inline Quads QuadsOf(Bytes lanes) { return lanes; }
#else
struct Quads {
    Bytes even, odd;  // the first and third byte of each lane, and the second and fourth, as words
};
static inline Quads QuadsOf(Bytes lanes) { return {And(lanes, Splat16(0xFF)), VEL_BYTES_OP(srli_epi16)(lanes, 8)}; }
#endif
static inline Quads TapsOf(uint32_t taps) {
    const Bytes lanes = Splat32(static_cast<int>(taps));
#if VEL_AVX2
    return lanes;
#else
    return {VEL_BYTES_OP(srai_epi16)(VEL_BYTES_OP(slli_epi16)(lanes, 8), 8), VEL_BYTES_OP(srai_epi16)(lanes, 8)};
#endif
}

#if VEL_AVX512
// By hand, because g++ 12 copies each sum to another register and back around its own intrinsic: up to 1.5 times
// slower.
static inline Bytes AddTaps(Bytes sum, Quads pixels, Quads taps, bool) {
    asm("vpdpbusd %2, %1, %0" : "+v"(sum) : "v"(pixels), "v"(taps));
    return sum;
}
#elif VEL_AVX2
// The products of two bytes add up in 16 bits without overflow, coefficients being 7 bits. Sums that stay small are
// kept so, two words for a lane, till the end.
static inline Bytes AddTaps(Bytes sum, Quads pixels, Quads taps, bool narrow) {
    const Bytes pairs = _mm256_maddubs_epi16(pixels, taps);
    return narrow ? _mm256_add_epi16(sum, pairs) : Plus32(sum, _mm256_madd_epi16(pairs, Splat16(1)));
}
#else
static inline Bytes AddTaps(Bytes sum, Quads pixels, Quads taps, bool) {
    return Plus32(
        sum, Plus32(VEL_BYTES_OP(madd_epi16)(pixels.even, taps.even), VEL_BYTES_OP(madd_epi16)(pixels.odd, taps.odd)));
}
#endif

// The sums of kAcross * kLanes bytes of four rows. They live in registers, so everything that touches them is inlined
// into one function.
struct SumTile {
    Bytes sum[kRows][kAcross];

    [[gnu::always_inline]] SumTile() {
        for (auto& row : sum) {
            for (Bytes& s : row) s = Splat8(0);
        }
    }
    // One quad's taps, for the rows from firstRow on.
    template <int firstRow, bool narrow>
    [[gnu::always_inline]] void Add(const uint8_t* pixels, const uint32_t* taps, size_t columns, size_t step) {
        for (size_t x = 0; x < columns; ++x, pixels += 4 * step, taps += kRows) {
            Quads part[kAcross];
            for (int k = 0; k < kAcross; ++k) {
                part[k] = QuadsOf(LoadBytes(pixels + static_cast<size_t>(k) * kVectorBytes));
            }
            for (int row = firstRow; row < kRows; ++row) {
                const Quads tap = TapsOf(taps[row]);
                for (int k = 0; k < kAcross; ++k) sum[row][k] = AddTaps(sum[row][k], part[k], tap, narrow);
            }
        }
    }
    // Sums from byte `at` on.
    template <int lastFrom, bool narrow>
    [[gnu::always_inline]] void Make(const uint8_t* const* quads, const TapPlan& plan, size_t at) {
        const size_t columns = plan.columns, step = plan.step, inQuad = columns * kRows;
        const size_t before = static_cast<size_t>(plan.quads - 1);  // quads before the last one
        for (int plane = plan.planes - 1;; --plane) {
            const uint32_t* taps = plan.taps + static_cast<size_t>(plane) * (before + 1) * inQuad;
            for (size_t q = 0; q < before; ++q, taps += inQuad) Add<0, narrow>(quads[q] + 4 * at, taps, columns, step);
            Add<lastFrom, narrow>(quads[before] + 4 * at, taps, columns, step);
            if (plane == 0) break;
            NextPlane();
        }
#if VEL_AVX2 && !VEL_AVX512
        if (narrow) PairsToLanes();
#endif
    }

private:
    [[gnu::always_inline]] void NextPlane() {
        for (auto& row : sum) {
            for (Bytes& s : row) s = VEL_BYTES_OP(slli_epi32)(s, TapPlan::kPlaneBits);
        }
    }
    [[gnu::always_inline]] void PairsToLanes() {
        for (auto& row : sum) {
            for (Bytes& s : row) s = VEL_BYTES_OP(madd_epi16)(s, Splat16(1));
        }
    }
};

// Two vectors of sums as words, clamped to 0 and 65535.
static inline Bytes WordsOfSums(Bytes a, Bytes b) {
#if VEL_AVX2
    return VEL_BYTES_OP(packus_epi32)(a, b);
#else
    // Less by 2^15, they are clamped as signed words.
    const Bytes half = Splat32(0x8000);
    return Xor(_mm_packs_epi32(_mm_sub_epi32(a, half), _mm_sub_epi32(b, half)), Splat16(-0x8000));
#endif
}

// Quotients of two vectors of sums, as words: see Quotient.
struct WordQuotients {
    Bytes multiplier, below;
    __m128i shift;
    explicit WordQuotients(const Quotient& quotient)
        : multiplier(Splat16(quotient.multiplier)),
          below(Splat16(-quotient.offset)),
          shift(_mm_cvtsi32_si128(quotient.shift)) {}
    Bytes Of(Bytes a, Bytes b) const {
        const Bytes words = VEL_BYTES_OP(mulhi_epu16)(WordsOfSums(a, b), multiplier);
        return VEL_BYTES_OP(subs_epu16)(VEL_BYTES_OP(srl_epi16)(words, shift), below);
    }
};

#if VEL_AVX512
#define VEL_FLOATS_OP(name) VEL_JOIN(_mm512_, name)
typedef __m512 Floats;
#elif VEL_AVX2
#define VEL_FLOATS_OP(name) VEL_JOIN(_mm256_, name)
typedef __m256 Floats;
#else
#define VEL_FLOATS_OP(name) VEL_JOIN(_mm_, name)
typedef __m128 Floats;
#endif

// QuotientOfNarrow; without a divisor the reciprocal is 1.
struct NarrowQuotients {
    Floats reciprocal;
    Bytes offset;
    explicit NarrowQuotients(const Quotient& quotient)
        : reciprocal(
              VEL_FLOATS_OP(set1_ps)(static_cast<float>(quotient.negate ? -quotient.reciprocal : quotient.reciprocal))),
          offset(Splat32(quotient.offset)) {}
    Bytes Lane(Bytes sum) const {
        const Floats value = VEL_FLOATS_OP(cvtepi32_ps)(sum);
        // One half with the sum's sign.
        const Bytes half = Or(And((Bytes)value, Splat32(static_cast<int>(0x80000000u))), Splat32(0x3F000000));
        const Floats moved = VEL_FLOATS_OP(add_ps)(value, (Floats)half);
        return Plus32(VEL_FLOATS_OP(cvttps_epi32)(VEL_FLOATS_OP(mul_ps)(moved, reciprocal)), offset);
    }
    Bytes Of(Bytes a, Bytes b) const { return VEL_BYTES_OP(packs_epi32)(Lane(a), Lane(b)); }
};

// Every sum by itself, through memory.
struct WideQuotients {
    const Quotient& quotient;
    explicit WideQuotients(const Quotient& q) : quotient(q) {}
};

static constexpr size_t kTileBytes = kAcross * kLanes;

template <class Quotients>
static inline void StoreQuotients(uint8_t* dst, size_t count, const Bytes* sums, const Quotients& quotients) {
#if VEL_AVX512
    const Bytes bytes = _mm512_packus_epi16(quotients.Of(sums[0], sums[1]), quotients.Of(sums[2], sums[3]));
    const Bytes ordered = InMemoryOrder(bytes);
    if (count >= kTileBytes) {
        StoreBytes(dst, ordered);
    } else {
        _mm512_mask_storeu_epi8(dst, FirstBytes(count), ordered);
    }
#else
    const Bytes words = quotients.Of(sums[0], sums[1]);
    const Bytes bytes = VEL_BYTES_OP(packus_epi16)(words, words);
#if VEL_AVX2
    const __m128i ordered =
        _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 0, 4, 1, 5)));
#else
    const __m128i ordered = bytes;
#endif
    if (count >= kTileBytes) {
        memcpy(dst, &ordered, kTileBytes);
    } else {
        memcpy(dst, &ordered, count);
    }
#endif
}

static inline void StoreSums(uint32_t* dst, size_t count, const Bytes* sums) {
    if (count >= kTileBytes) {
        for (int k = 0; k < kAcross; ++k) StoreBytes(dst + static_cast<size_t>(k) * kLanes, sums[k]);
    } else {
        memcpy(dst, sums, count * sizeof *dst);
    }
}

static inline void StoreQuotients(uint8_t* dst, size_t count, const Bytes* sums, const WideQuotients& quotients) {
    QuotientRow(dst, reinterpret_cast<const uint32_t*>(sums), count < kTileBytes ? count : kTileBytes,
                quotients.quotient);
}

template <int lastFrom, bool narrow, class Store>
static void ForTilesOf(const uint8_t* const* quads, const TapPlan& plan, const NextRows& next, size_t count,
                       Store store) {
    for (size_t at = 0; at < count; at += kTileBytes) {
        FetchNext(next, at, kTileBytes);
        SumTile tile;
        tile.Make<lastFrom, narrow>(quads, plan, at);
        for (int row = 0; row < kRows; ++row) store(row, at, count - at, tile.sum[row]);
    }
}

// Calls store(row, at, count left, sums) for each row of each tile.
template <class Store>
static inline void ForTiles(const uint8_t* const* quads, const TapPlan& plan, const NextRows& next, size_t count,
                            Store store) {
    switch (plan.lastFrom + (plan.narrow ? kRows : 0)) {
        case 0: ForTilesOf<0, false>(quads, plan, next, count, store); break;
        case 1: ForTilesOf<1, false>(quads, plan, next, count, store); break;
        case 2: ForTilesOf<2, false>(quads, plan, next, count, store); break;
        case 3: ForTilesOf<3, false>(quads, plan, next, count, store); break;
        case 4: ForTilesOf<0, true>(quads, plan, next, count, store); break;
        case 5: ForTilesOf<1, true>(quads, plan, next, count, store); break;
        case 6: ForTilesOf<2, true>(quads, plan, next, count, store); break;
        default: ForTilesOf<3, true>(quads, plan, next, count, store); break;
    }
}

template <class Quotients>
static void ConvolveTiles(uint8_t* const* dst, const uint8_t* const* quads, const TapPlan& plan,
                          const Quotient& quotient, const NextRows& next, size_t count) {
    const Quotients quotients(quotient);
    ForTiles(quads, plan, next, count, [=](int row, size_t at, size_t left, const Bytes* sums) {
        StoreQuotients(dst[row] + at, left, sums, quotients);
    });
}

static void ConvolveRows(uint8_t* const* dst, const uint8_t* const* quads, size_t, const TapPlan& plan,
                         const Quotient& quotient, const NextRows& next, size_t count) {
    if (quotient.words) {
        ConvolveTiles<WordQuotients>(dst, quads, plan, quotient, next, count);
    } else if (quotient.narrow) {
        ConvolveTiles<NarrowQuotients>(dst, quads, plan, quotient, next, count);
    } else {
        ConvolveTiles<WideQuotients>(dst, quads, plan, quotient, next, count);
    }
}

static void SumRows(uint32_t* const* sums, const uint8_t* const* quads, size_t, const TapPlan& plan, size_t count) {
    ForTiles(quads, plan, {}, count,
             [=](int row, size_t at, size_t left, const Bytes* tile) { StoreSums(sums[row] + at, left, tile); });
}
