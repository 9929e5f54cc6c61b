// Square kernels whose sums are made in 16 bits, row by row; see WordPlan.

static inline uint8_t WordQuotient(int32_t sum, const WordPlan& plan) {
    const uint32_t magnitude = sum < 0 ? 0 : static_cast<uint32_t>(sum) + plan.raise;
    const uint32_t word = magnitude < 0xFFFF ? magnitude : 0xFFFF, excess = magnitude - word + plan.rest;
    const uint32_t quotient =
        (word * plan.multiplier >> 16 >> plan.shift) + (excess * plan.multiplier >> 16 >> plan.shift);
    return Saturate(static_cast<int>(quotient) - plan.below);
}

// The window's last sample gives the alpha.
static inline uint8_t WordByte(const uint8_t* const* rows, const WordPlan& plan, size_t i) {
    const size_t reach = static_cast<size_t>(plan.size / 2) * plan.step;
    if (plan.step == 4 && i % 4 == 3) return rows[plan.size - 1][i + reach];
    int32_t sum = 0;
    for (int y = 0; y < plan.size; ++y) {
        for (int x = 0; x < plan.size; ++x)
            sum += plan.taps[y][x] * *(rows[y] + i - reach + static_cast<size_t>(x) * plan.step);
    }
    return WordQuotient(sum, plan);
}

#if VEL_VECTOR
// A row's bytes are multiplied two at a time, as pairs of bytes or, at sse2, as words: the first of a window with the
// last, and so on inwards. `folded`: each of the two has the same coefficient.
template <int size, bool folded>
struct WindowTerms {
#if VEL_AVX2
    static constexpr int kCount = (size + 1) / 2;
    WordPair term[kCount];
    [[gnu::always_inline]] WindowTerms(const uint8_t* p, size_t step) {
        for (int t = 0; t < kCount; ++t) {
            const Bytes a = LoadBytes(p + static_cast<size_t>(t) * step);
            const Bytes b = 2 * t + 1 < size ? LoadBytes(p + static_cast<size_t>(size - 1 - t) * step) : Splat8(0);
            term[t] = {VEL_BYTES_OP(unpacklo_epi8)(a, b), VEL_BYTES_OP(unpackhi_epi8)(a, b)};
        }
    }
    static Bytes Taps(const int8_t* row, int t) {
        const int second = 2 * t + 1 < size ? row[size - 1 - t] : 0;
        return Splat16((row[t] & 0xFF) | second * 256);
    }
    static Bytes Weighed(Bytes term, Bytes taps) { return VEL_BYTES_OP(maddubs_epi16)(term, taps); }
#else
    static constexpr int kCount = folded ? (size + 1) / 2 : size;
    WordPair term[kCount];
    [[gnu::always_inline]] WindowTerms(const uint8_t* p, size_t step) {
        for (int t = 0; t < kCount; ++t) {
            term[t] = Words(LoadBytes(p + static_cast<size_t>(t) * step));
            if (folded && 2 * t + 1 < size) {
                term[t] = Plus(term[t], Words(LoadBytes(p + static_cast<size_t>(size - 1 - t) * step)));
            }
        }
    }
    static Bytes Taps(const int8_t* row, int t) { return Splat16(row[t]); }
    static Bytes Weighed(Bytes term, Bytes taps) { return VEL_BYTES_OP(mullo_epi16)(term, taps); }
#endif
    [[gnu::always_inline]] WordPair Sum(const Bytes* taps) const {
        WordPair sum = {Weighed(term[0].low, taps[0]), Weighed(term[0].high, taps[0])};
        for (int t = 1; t < kCount; ++t) {
            sum = Plus(sum, {Weighed(term[t].low, taps[t]), Weighed(term[t].high, taps[t])});
        }
        return sum;
    }
};

struct WordDivision {
    Bytes multiplier, raise, rest, below;
    __m128i shift;
    explicit WordDivision(const WordPlan& plan)
        : multiplier(Splat16(plan.multiplier)),
          raise(Splat16(plan.raise)),
          rest(Splat16(plan.rest)),
          below(Splat16(plan.below)),
          shift(_mm_cvtsi32_si128(plan.shift)) {}
    Bytes Shifted(Bytes sums) const {
        return VEL_BYTES_OP(srl_epi16)(VEL_BYTES_OP(mulhi_epu16)(sums, multiplier), shift);
    }
    // Of the sum of two words.
    template <WordRange range>
    Bytes Of(Bytes a, Bytes b) const {
        Bytes quotient;
        if (range == WordRange::Signed) {
            quotient = Shifted(VEL_BYTES_OP(max_epi16)(Plus16(a, b), Splat8(0)));
        } else if (range == WordRange::Unsigned) {
            quotient = Shifted(Plus16(a, b));
        } else {
            const Bytes raised = VEL_BYTES_OP(adds_epu16)(b, raise);
            const Bytes excess = VEL_BYTES_OP(subs_epu16)(a, Xor(raised, Splat8(-1)));
            quotient = Plus16(Shifted(VEL_BYTES_OP(adds_epu16)(a, raised)), Shifted(Plus16(excess, rest)));
        }
        return VEL_BYTES_OP(subs_epu16)(quotient, below);
    }
};

// `mirrored`: the rows of coefficients are the same from the last one up, so each pair is summed once.
template <int size, bool mirrored, bool folded, WordRange range>
struct WordWindows {
    typedef WindowTerms<size, folded> Terms;
    static constexpr int kSums = mirrored ? (size + 1) / 2 : size;
    Bytes taps[kSums][Terms::kCount];
    WordDivision division;
    size_t step;

    explicit WordWindows(const WordPlan& plan) : division(plan), step(plan.step) {
        for (int k = 0; k < kSums; ++k) {
            for (int t = 0; t < Terms::kCount; ++t) taps[k][t] = Terms::Taps(plan.taps[k], t);
        }
    }
    // A vector's width of all rows, from the top down. Each row adds to the windows that it lies in; those not
    // complete yet wait in registers.
    template <bool alpha>
    [[gnu::always_inline]] void Column(uint8_t* const* dst, const uint8_t* const* rows, int n, size_t i) const {
        const size_t across = alpha ? 4 : step, reach = size / 2 * across;
        WordPair waiting[size] = {};
        for (int y = 0; y < n + size - 1; ++y) {
            FetchOn(rows[y], i, kVectorBytes);
            const Terms terms(rows[y] + i - reach, across);
            WordPair sums[kSums];
            for (int k = 0; k < kSums; ++k) sums[k] = terms.Sum(taps[k]);
            const auto& last = sums[mirrored ? 0 : size - 1];
            if (y >= size - 1) {
                const WordPair all = waiting[size - 2];
                const Bytes result = VEL_BYTES_OP(packus_epi16)(division.template Of<range>(all.low, last.low),
                                                                division.template Of<range>(all.high, last.high));
                FetchOnToWrite(dst[y - size + 1], i, kVectorBytes);
                StoreBytes(dst[y - size + 1] + i, alpha ? WithAlphaOf(result, LoadBytes(rows[y] + i + reach)) : result);
            }
            for (int k = size - 2; k > 0; --k) {
                waiting[k] = Plus(waiting[k - 1], sums[mirrored && 2 * k >= size ? size - 1 - k : k]);
            }
            waiting[0] = sums[0];
        }
    }
};

template <int size, bool mirrored, bool folded, WordRange range>
static void ConvolveWindows(uint8_t* const* dst, const uint8_t* const* rows, int n, const WordPlan& plan,
                            const NextRows& next, size_t count) {
    const WordWindows<size, mirrored, folded, range> windows(plan);
    const NextRows fetched = next;
    if (plan.step == 4) {
        ForVectors(dst[0], count, 4, [=](size_t i) {
            FetchNext(fetched, i, kVectorBytes);
            windows.template Column<true>(dst, rows, n, i);
        });
    } else {
        ForVectors(dst[0], count, 1, [=](size_t i) {
            FetchNext(fetched, i, kVectorBytes);
            windows.template Column<false>(dst, rows, n, i);
        });
    }
}

template <int size, bool mirrored, bool folded>
static void ConvolveWindows(uint8_t* const* dst, const uint8_t* const* rows, int n, const WordPlan& plan,
                            const NextRows& next, size_t count) {
    switch (plan.range) {
        case WordRange::Signed:
            return ConvolveWindows<size, mirrored, folded, WordRange::Signed>(dst, rows, n, plan, next, count);
        case WordRange::Unsigned:
            return ConvolveWindows<size, mirrored, folded, WordRange::Unsigned>(dst, rows, n, plan, next, count);
        default: return ConvolveWindows<size, mirrored, folded, WordRange::Above>(dst, rows, n, plan, next, count);
    }
}

template <int size>
static void ConvolveWindows(uint8_t* const* dst, const uint8_t* const* rows, int n, const WordPlan& plan,
                            const NextRows& next, size_t count) {
    if (!plan.mirrored) return ConvolveWindows<size, false, false>(dst, rows, n, plan, next, count);
#if !VEL_AVX2
    if (plan.folded) return ConvolveWindows<size, true, true>(dst, rows, n, plan, next, count);
#endif
    ConvolveWindows<size, true, false>(dst, rows, n, plan, next, count);
}
#endif

static void ConvolveWords(uint8_t* const* dst, const uint8_t* const* rows, int n, const WordPlan& plan,
                          [[maybe_unused]] const NextRows& next, size_t count) {
#if VEL_VECTOR
    if (count >= kVectorBytes) {
        if (plan.size == 3) return ConvolveWindows<3>(dst, rows, n, plan, next, count);
        return ConvolveWindows<5>(dst, rows, n, plan, next, count);
    }
#endif
    for (int y = 0; y < n; ++y) {
        for (size_t i = 0; i < count; ++i) dst[y][i] = WordByte(rows + y, plan, i);
    }
}

// Against sums by quads.
static int WordsWorthwhile(const WordPlan& plan) {
#if VEL_AVX512
    return plan.size == 3;
#elif VEL_AVX2
    return plan.size == 3 || plan.mirrored;
#else
    (void)plan;
    return 1;
#endif
}
