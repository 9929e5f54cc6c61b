// Windows of 3 x 3 and pairs of samples that need no general sum; see Convolution.h.

#if VEL_VECTOR
// Bytes as two vectors of words, in the order that unpacking brings and packing undoes.
struct WordPair {
    Bytes low, high;
};
static inline Bytes Plus16(Bytes a, Bytes b) { return VEL_BYTES_OP(add_epi16)(a, b); }
static inline WordPair Plus(WordPair a, WordPair b) { return {Plus16(a.low, b.low), Plus16(a.high, b.high)}; }
static inline WordPair Minus(WordPair a, WordPair b) {
    return {VEL_BYTES_OP(sub_epi16)(a.low, b.low), VEL_BYTES_OP(sub_epi16)(a.high, b.high)};
}
static inline WordPair Words(Bytes bytes) {
    return {VEL_BYTES_OP(unpacklo_epi8)(bytes, Splat8(0)), VEL_BYTES_OP(unpackhi_epi8)(bytes, Splat8(0))};
}
static inline WordPair SumOfBytes(Bytes a, Bytes b) {
#if VEL_AVX2
    const Bytes ones = Splat8(1);
    return {VEL_BYTES_OP(maddubs_epi16)(VEL_BYTES_OP(unpacklo_epi8)(a, b), ones),
            VEL_BYTES_OP(maddubs_epi16)(VEL_BYTES_OP(unpackhi_epi8)(a, b), ones)};
#else
    return Plus(Words(a), Words(b));
#endif
}

enum class BellCentre { None, Added, Subtracting };  // the last: the bell is subtracted from it

// A vector's width of all rows, from the top down: a row's (1 b 1) across is added to the sums of three windows, of
// which two are on their way at a time. `i` is the place of a whole pixel where there are alphas.
template <bool doubled, BellCentre kind, bool alpha>
static inline void BellColumn(uint8_t* const* dst, const uint8_t* const* rows, int n, const Bell& bell, size_t step,
                              const NextRows& next, size_t i) {
    const Bytes centre = Splat16(bell.centre), multiplier = Splat16(bell.multiplier), zero = Splat8(0);
    FetchNext(next, i, kVectorBytes);
    WordPair row = {zero, zero}, sum = {zero, zero};
    for (int y = 0; y < n + 2; ++y) {
        const uint8_t* p = rows[y] + i;
        FetchOn(rows[y], i, kVectorBytes);
        const WordPair middle = Words(LoadBytes(p));
        const Bytes after = LoadBytes(p + step);
        WordPair below = Plus(SumOfBytes(LoadBytes(p - step), after), middle);
        if (doubled) below = Plus(below, middle);
        if (y >= 2) {
            WordPair all = kind == BellCentre::Subtracting ? Minus(sum, below) : Plus(sum, below);
            if (kind != BellCentre::None) {
                all = {VEL_BYTES_OP(max_epi16)(all.low, zero), VEL_BYTES_OP(max_epi16)(all.high, zero)};
            }
            const Bytes result = VEL_BYTES_OP(packus_epi16)(VEL_BYTES_OP(mulhi_epu16)(all.low, multiplier),
                                                            VEL_BYTES_OP(mulhi_epu16)(all.high, multiplier));
            FetchOnToWrite(dst[y - 2], i, kVectorBytes);
            StoreBytes(dst[y - 2] + i, alpha ? WithAlphaOf(result, after) : result);
        }
        sum = Plus(row, below);
        if (doubled) sum = Plus(sum, below);
        if (kind != BellCentre::None) {
            const WordPair weighed = {VEL_BYTES_OP(mullo_epi16)(middle.low, centre),
                                      VEL_BYTES_OP(mullo_epi16)(middle.high, centre)};
            sum = kind == BellCentre::Added ? Plus(weighed, sum) : Minus(weighed, sum);
        }
        row = below;
    }
}

template <bool doubled, BellCentre kind>
static void BellVectors(uint8_t* const* dst, const uint8_t* const* rows, int n, const Bell& bell, size_t step,
                        const NextRows& next, size_t count) {
    const Bell of = bell;
    const NextRows fetched = next;
    if (step == 4) {
        ForVectors(dst[0], count, 4,
                   [=](size_t i) { BellColumn<doubled, kind, true>(dst, rows, n, of, 4, fetched, i); });
    } else {
        ForVectors(dst[0], count, 1,
                   [=](size_t i) { BellColumn<doubled, kind, false>(dst, rows, n, of, step, fetched, i); });
    }
}

template <BellCentre kind>
static void BellVectors(uint8_t* const* dst, const uint8_t* const* rows, int n, const Bell& bell, size_t step,
                        const NextRows& next, size_t count) {
    if (bell.doubled) return BellVectors<true, kind>(dst, rows, n, bell, step, next, count);
    BellVectors<false, kind>(dst, rows, n, bell, step, next, count);
}
#endif

static inline int BellByte(const uint8_t* p, size_t step, int weight) {
    return p[-static_cast<ptrdiff_t>(step)] + weight * p[0] + p[step];
}

static void BellRows(uint8_t* const* dst, const uint8_t* const* rows, int n, const Bell& bell, size_t step,
                     [[maybe_unused]] const NextRows& next, size_t count) {
#if VEL_VECTOR
    if (count >= kVectorBytes) {
        if (bell.negative) return BellVectors<BellCentre::Subtracting>(dst, rows, n, bell, step, next, count);
        if (bell.centre) return BellVectors<BellCentre::Added>(dst, rows, n, bell, step, next, count);
        return BellVectors<BellCentre::None>(dst, rows, n, bell, step, next, count);
    }
#endif
    const int weight = bell.doubled ? 2 : 1, sign = bell.negative ? -1 : 1;
    for (int y = 0; y < n; ++y) {
        for (size_t i = 0; i < count; ++i) {
            const int sum = BellByte(rows[y] + i, step, weight) + weight * BellByte(rows[y + 1] + i, step, weight) +
                            BellByte(rows[y + 2] + i, step, weight);
            const int all = sign * sum + bell.centre * rows[y + 1][i];
            const bool alpha = step == 4 && i % 4 == 3;
            dst[y][i] = alpha ? rows[y + 2][i + step] : Saturate(all < 0 ? 0 : all * bell.multiplier >> 16);
        }
    }
}

static void DifferenceRow(uint8_t* dst, const uint8_t* plus, const uint8_t* minus, size_t count, uint8_t offset) {
#if VEL_VECTOR
    if (count >= kVectorBytes) {
        // Of the two differences, cut off at 0, one is 0.
        const Bytes offsets = Splat8(offset);
        ForVectors(dst, count, 1, [=](size_t i) {
            const Bytes a = LoadBytes(plus + i), b = LoadBytes(minus + i);
            const Bytes raised = AddSaturated(offsets, SubtractSaturated(a, b));
            StoreBytes(dst + i, SubtractSaturated(raised, SubtractSaturated(b, a)));
        });
        return;
    }
#endif
    for (size_t i = 0; i < count; ++i) dst[i] = Saturate(plus[i] - minus[i] + offset);
}
